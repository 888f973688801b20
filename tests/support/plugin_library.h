// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PLUGIN_LIBRARY_H
#define TESTS_SUPPORT_PLUGIN_LIBRARY_H

#include <dlfcn.h>

#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "scenario/framework.h"

namespace support {

/// The two ways in which a host may bind a plug-in; a parameter of the tests that load one.
struct LoadMode {
    const char* name;
    int flag;
};
inline constexpr std::array<LoadMode, 2> LOAD_MODES{{{"Now", RTLD_NOW}, {"Lazy", RTLD_LAZY}}};

inline std::ostream& operator<<(std::ostream& out, const LoadMode& mode)
{
    return out << mode.name;
}

/// A plug-in library opened the way a host opens it: dlopen, the plain symbol GetInstance, dlclose.
class PluginLibrary {
public:
    using Instances = std::vector<std::shared_ptr<kovari::Interface>>;

    /// `mode` is RTLD_NOW or RTLD_LAZY; RTLD_LOCAL is added. Raises std::runtime_error with the loader's
    /// text.
    PluginLibrary(const std::string& path, int mode);
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    /// Closes. Whatever the library handed out must be gone: its code is unmapped.
    ~PluginLibrary();

    /// Calls the library's GetInstance; raises std::runtime_error when it has none.
    void GetInstance(Instances& interfaces) const;

    /// Address of an exported symbol, or null.
    void* Symbol(const char* name) const;

private:
    void* m_handle;
};

/// Path of the shared object that holds `address`, or an empty text.
std::string ObjectOf(const void* address);

/// Path of the shared object that holds the code behind virtual slot `slot` of `object`: the place where a
/// call through the virtual table ends.
std::string ObjectOfSlot(const void* object, std::size_t slot);

}  // namespace support

#endif  // TESTS_SUPPORT_PLUGIN_LIBRARY_H
