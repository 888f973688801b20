// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROBE_TREE_H
#define TESTS_SUPPORT_PROBE_TREE_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/pseudo_file.h"

namespace support {

/// Points the probes at a tree for the life of the object.
class ProbeRoot {
public:
    explicit ProbeRoot(std::string path) : root(std::move(path)) { probe::SetFileRoot(root.c_str()); }
    ~ProbeRoot() { probe::SetFileRoot(""); }
    ProbeRoot(const ProbeRoot&) = delete;
    ProbeRoot& operator=(const ProbeRoot&) = delete;

private:
    std::string root;
};

/// A temporary directory, removed at the end.
class TempTree {
public:
    TempTree()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "probe-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp " + pattern);
        }
        root = pattern;
    }
    ~TempTree()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::string& Root() const { return root; }
    std::string Path(const std::string& path) const { return root + "/" + path; }

    /// Writes a file, with the directories that it needs, and returns its full path.
    std::string Write(const std::string& path, const std::string& content) const
    {
        const std::string full = Path(path);
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full, std::ios::binary | std::ios::trunc) << content;
        return full;
    }

private:
    std::string root;
};

/// A temporary tree that the probes see as the root.
struct ProbeTree : TempTree {
    ProbeTree() : seen(Root()) {}
    ProbeRoot seen;
};

/// A file for each probe: CPU 7, node 1, "an-interface" and process 42. Texts are longer than what a string
/// holds without memory of its own.
inline void WriteProbedFiles(const TempTree& tree)
{
    tree.Write("sys/devices/system/cpu/smt/active", "1\n");
    tree.Write("sys/devices/system/cpu/cpu7/topology/physical_package_id", "3\n");
    tree.Write("sys/class/net/an-interface/device/numa_node", "2\n");
    tree.Write("sys/devices/system/node/node1/meminfo", "Node 1 MemTotal: 1 kB\nNode 1 MemFree: 4711 kB\n");
    tree.Write("proc/sys/kernel/numa_balancing", "1\n");
    tree.Write("proc/cpuinfo", "CPU implementer\t: 0x48\nCPU part\t: 0xd02\n");
    tree.Write("proc/version", "Linux version 5.10000000000000000000.7-x (y)\n");
    tree.Write("proc/42/comm", "kworker/u128:3-events_unbound\n");
    tree.Write("proc/42/status", "Name:\tkworker/u128:3-events_unbound\nPPid:\t2\n");
    tree.Write("proc/42/cmdline", std::string(100000, 'x'));
    tree.Write("proc/42/numa_maps", "7f00 default N0=5 N1=6\n");
}

}  // namespace support

#endif  // TESTS_SUPPORT_PROBE_TREE_H
