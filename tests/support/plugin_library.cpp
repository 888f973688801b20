// SPDX-License-Identifier: MIT

#include "tests/support/plugin_library.h"

#include <dlfcn.h>

#include <cstring>
#include <stdexcept>

namespace support {

PluginLibrary::PluginLibrary(const std::string& path, int mode)
    : m_handle(dlopen(path.c_str(), mode | RTLD_LOCAL))
{
    if (m_handle == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

PluginLibrary::~PluginLibrary()
{
    dlclose(m_handle);
}

void PluginLibrary::GetInstance(Instances& interfaces) const
{
    using Entry = void (*)(Instances&);
    const auto entry = reinterpret_cast<Entry>(Symbol("GetInstance"));
    if (entry == nullptr) {
        throw std::runtime_error("the library has no GetInstance");
    }
    entry(interfaces);
}

void* PluginLibrary::Symbol(const char* name) const
{
    return dlsym(m_handle, name);
}

std::string ObjectOf(const void* address)
{
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
        return "";
    }
    return info.dli_fname;
}

std::string ObjectOfSlot(const void* object, std::size_t slot)
{
    const void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return ObjectOf(table[slot]);
}

}  // namespace support
