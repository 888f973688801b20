// SPDX-License-Identifier: MIT

#ifndef HOST_PLUGIN_LOADER_H
#define HOST_PLUGIN_LOADER_H

#include <memory>
#include <string>
#include <vector>

#include "scenario/framework.h"

namespace host {

/// What may go wrong when a plug-in is loaded.
enum class LoadFailure {
    NONE,
    NO_FILE,        ///< nothing at that path, or not readable
    NOT_A_LIBRARY,  ///< no regular file, cut short, or refused by the dynamic linker: no ELF library, wrong
                    ///< machine, missing library
    UNDEFINED_SYMBOL,
    NO_ENTRY,     ///< no GetInstance
    NO_INSTANCE,  ///< GetInstance appended nothing, or only null pointers
    ENTRY_THREW,  ///< GetInstance raised an exception
};

/// A loaded plug-in library with the instances that it gave. The library stays loaded as long as this object
/// lives; the instances go first. Whoever copies an instance pointer out must let go of it before.
class Plugin {
public:
    Plugin(std::string path, void* handle, std::vector<std::shared_ptr<kovari::Interface>> instances);
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    ~Plugin();

    const std::string& Path() const { return path; }
    const std::vector<std::shared_ptr<kovari::Interface>>& Instances() const { return instances; }

private:
    std::string path;
    void* handle;  // of dlopen; closed by the destructor
    std::vector<std::shared_ptr<kovari::Interface>> instances;
};

/// Outcome for one file.
struct LoadResult {
    std::unique_ptr<Plugin> plugin;  ///< null on failure
    LoadFailure failure = LoadFailure::NONE;
    std::string message;  ///< one line: file, what is wrong, remedy; empty on success
    std::string remark;   ///< one line about what was wrong but did not matter; mostly empty
};

/// Loads one library (RTLD_NOW | RTLD_LOCAL) and calls its GetInstance once. Never throws for what
/// GetInstance does; std::bad_alloc may leave. (An exception out of a static constructor of the library is
/// beyond reach: it ends the process inside the dynamic linker.) A path without a slash is a file in the
/// current directory. Null pointers among the instances are left out. On failure nothing of the library stays
/// loaded.
LoadResult LoadPlugin(const std::string& path);

/// The first part of LoadPlugin alone: whether the file is a library, the dynamic linker takes it and finds
/// all that it needs. GetInstance is neither looked for nor called. `plugin` is null in any case; nothing of
/// the library stays loaded.
LoadResult TryLibrary(const std::string& path);

/// LoadPlugin for every name that ends in ".so" in `directory`, in byte order of the names; other entries are
/// left alone. A directory that cannot be read, or holds no such name, gives one result with the failure
/// NO_FILE.
std::vector<LoadResult> LoadPluginDirectory(const std::string& directory);

}  // namespace host

#endif  // HOST_PLUGIN_LOADER_H
