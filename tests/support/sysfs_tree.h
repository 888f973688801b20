// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SYSFS_TREE_H
#define TESTS_SUPPORT_SYSFS_TREE_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace support {

/// A sysfs tree that a test builds and changes, gone at the end.
class SysfsTree {
public:
    SysfsTree()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "sysfs-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot make a directory at " + pattern);
        }
        root = std::filesystem::canonical(pattern).string();
        std::filesystem::create_directories(Entries());
    }

    /// The same with the content of a committed tree.
    explicit SysfsTree(const std::string& fixture) : SysfsTree()
    {
        std::filesystem::copy(fixture, root,
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::copy_symlinks |
                                  std::filesystem::copy_options::overwrite_existing);
    }

    SysfsTree(const SysfsTree&) = delete;
    SysfsTree& operator=(const SysfsTree&) = delete;

    ~SysfsTree()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    const std::string& Root() const { return root; }
    std::string Path(const std::string& name) const { return root + "/" + name; }
    std::string Entries() const { return root + "/bus/event_source/devices"; }
    std::string Device(const std::string& pmu) const { return root + "/devices/" + pmu; }

    /// Writes a file with the directories that it needs; the path counts from the root.
    SysfsTree& Write(const std::string& name, const std::string& text)
    {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        std::ofstream file(Path(name), std::ios::binary | std::ios::trunc);
        file << text;
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + Path(name));
        }
        return *this;
    }

    void Remove(const std::string& name) { std::filesystem::remove_all(Path(name)); }

    /// An entry that leads to devices/NAME, with a type file.
    SysfsTree& AddPmu(const std::string& pmu, const std::string& type)
    {
        Write("devices/" + pmu + "/type", type);
        std::filesystem::create_directory_symlink("../../../devices/" + pmu, Entries() + "/" + pmu);
        return *this;
    }

    /// The three events, event=0x0 to event=0x2, or all the same text.
    SysfsTree& AddEvents(const std::string& pmu, const std::string& text = "")
    {
        const std::string events = "devices/" + pmu + "/events/";
        Write("devices/" + pmu + "/format/event", "config:0-63\n");
        Write(events + "rx_outer", text.empty() ? "event=0x0\n" : text);
        Write(events + "rx_sccl", text.empty() ? "event=0x1\n" : text);
        return Write(events + "rx_ops_num", text.empty() ? "event=0x2\n" : text);
    }

private:
    std::string root;
};

}  // namespace support

#endif  // TESTS_SUPPORT_SYSFS_TREE_H
