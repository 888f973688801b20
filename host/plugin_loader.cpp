// SPDX-License-Identifier: MIT

#include "host/plugin_loader.h"

#include <cerrno>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>

#include <log4cplus/logger.h>

#include "host/elf_check.h"
#include "host/escape.h"
#include "host/retried_open.h"

namespace host {
namespace {

using Instances = std::vector<std::shared_ptr<kovari::Interface>>;
using Entry = void (*)(Instances&);

constexpr std::size_t PATH_LIMIT = 4096;

/// A failure with its one line: "<path>: <what>; <remedy>".
LoadResult Fail(LoadFailure failure, const std::string& path, const std::string& what, const char* remedy)
{
    LoadResult result;
    result.failure = failure;
    result.message = EscapeText(path, PATH_LIMIT) + ": " + what + "; " + remedy;
    return result;
}

LoadResult BadPath(const std::string& path, const char* what)
{
    return Fail(LoadFailure::NO_FILE, path, what, "give the path of a plug-in library");
}

LoadResult NoFile(const std::string& path, int error)
{
    return Fail(LoadFailure::NO_FILE, path, "cannot be read: " + std::generic_category().message(error),
                "give the path of a plug-in library");
}

LoadResult NotRegular(const std::string& path, const char* kind)
{
    return Fail(LoadFailure::NOT_A_LIBRARY, path, std::string("is a ") + kind + ", not a regular file",
                "give the path of a plug-in library");
}

LoadResult CutShort(const std::string& path, const ElfShortfall& shortfall)
{
    return Fail(LoadFailure::NOT_A_LIBRARY, path,
                "cut short: " + std::to_string(shortfall.size) + " bytes, its program headers need " +
                    std::to_string(shortfall.needed),
                "copy or build it anew");
}

LoadResult Refused(const std::string& path, const std::string& linkerText)
{
    return Fail(LoadFailure::NOT_A_LIBRARY, path, "the dynamic linker refuses it: " + linkerText,
                "build it as a shared library for this machine and install the libraries that it needs");
}

LoadResult UndefinedSymbol(const std::string& path, const std::string& linkerText)
{
    return Fail(LoadFailure::UNDEFINED_SYMBOL, path, linkerText,
                "link the plug-in with the library that defines it");
}

LoadResult NoEntry(const std::string& path)
{
    return Fail(
        LoadFailure::NO_ENTRY, path, "has no function GetInstance",
        "export extern \"C\" void GetInstance(std::vector<std::shared_ptr<kovari::Interface>>& interfaces)");
}

LoadResult NoInstance(const std::string& path, std::size_t nullPointers)
{
    const std::string what = nullPointers == 0 ? "GetInstance appended no instance"
                                               : "GetInstance appended no instance but null pointers (" +
                                                     std::to_string(nullPointers) + ")";
    return Fail(LoadFailure::NO_INSTANCE, path, what, "append at least one kovari::Interface");
}

LoadResult EntryThrew(const std::string& path, const std::string& what)
{
    return Fail(LoadFailure::ENTRY_THREW, path, "GetInstance raised " + what,
                "correct what it complains about and load it again");
}

LoadResult NoDirectory(const std::string& directory, int error)
{
    return Fail(LoadFailure::NO_FILE, directory,
                "cannot be read as a directory: " + std::generic_category().message(error),
                "give a directory that holds plug-in libraries");
}

LoadResult EmptyDirectory(const std::string& directory)
{
    return Fail(LoadFailure::NO_FILE, directory, "holds no file that ends in \".so\"",
                "give a directory that holds plug-in libraries");
}

std::string NullPointersLeftOut(const std::string& path, std::size_t nullPointers)
{
    return EscapeText(path, PATH_LIMIT) + ": GetInstance appended " + std::to_string(nullPointers) +
           " null pointers beside its instances; left out";
}

const char* KindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return "directory";
        case S_IFIFO:
            return "pipe";
        case S_IFSOCK:
            return "socket";
        case S_IFCHR:
        case S_IFBLK:
            return "device";
        default:
            return "special file";
    }
}

class Descriptor {
public:
    explicit Descriptor(int opened) : value(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (value >= 0) {
            close(value);
        }
    }
    int Get() const { return value; }

private:
    int value;
};

/// Closes a library unless it was taken over.
class Library {
public:
    explicit Library(void* opened) : handle(opened) {}
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library()
    {
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
    void* Get() const { return handle; }
    void* Release() { return std::exchange(handle, nullptr); }

private:
    void* handle;
};

/// Text of the linker's last error without the path in front, which our lines begin with anyway.
std::string LinkerText(const std::string& linkerPath)
{
    const char* const error = dlerror();  // NOLINT(concurrency-mt-unsafe): its text is per thread
    std::string_view text = error == nullptr ? "no reason given" : error;
    const std::string prefix = linkerPath + ": ";
    if (text.substr(0, prefix.size()) == prefix) {
        text.remove_prefix(prefix.size());
    }
    return EscapeText(text, PATH_LIMIT);
}

/// Refuses what must not reach the dynamic linker: it would wait for ever for the writer of a pipe, and a
/// library that was cut short kills the process. Failure NONE when the file may be loaded.
LoadResult Examine(const std::string& path)
{
    if (path.empty()) {
        return BadPath(path, "empty path");
    }
    if (path.find('\0') != std::string::npos) {
        return BadPath(path, "holds a NUL byte");
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return NoFile(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return NotRegular(path, KindOf(status.st_mode));
    }
    // Should the file have become a pipe meanwhile, the open does not wait.
    const Descriptor file(OpenRetrying(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.Get() < 0) {
        return NoFile(path, errno);
    }
    const ElfShortfall shortfall = FindElfShortfall(file.Get());
    return shortfall.needed == 0 ? LoadResult() : CutShort(path, shortfall);
}

/// Plug-ins bring log4cplus along, which starts threads as soon as it is loaded. Were it unloaded with the
/// last plug-in, these would go on in memory that is no longer mapped. A program that needs the library
/// itself, as this use makes it do, keeps it.
void KeepLog4cplusLoaded()
{
    const log4cplus::Logger logger;
}

/// A library that the dynamic linker has taken, or why it has not.
struct OpenResult {
    void* handle = nullptr;  ///< of dlopen; the caller closes it
    LoadResult result;
};

OpenResult OpenLibrary(const std::string& path)
{
    KeepLog4cplusLoaded();
    OpenResult opened{nullptr, Examine(path)};
    if (opened.result.failure != LoadFailure::NONE) {
        return opened;
    }
    // A name without a slash would be searched for in the linker's own directories.
    const std::string linkerPath = path.find('/') == std::string::npos ? "./" + path : path;
    opened.handle = dlopen(linkerPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened.handle == nullptr) {
        const std::string text = LinkerText(linkerPath);
        const bool undefined = text.find("undefined symbol") != std::string::npos;
        opened.result = undefined ? UndefinedSymbol(path, text) : Refused(path, text);
    }
    return opened;
}

struct EntryOutcome {
    Instances instances;
    bool threw = false;
    std::string thrown;  ///< what was raised
};

/// The exception object may live in the library's memory: only its text leaves this function.
EntryOutcome CallEntry(Entry entry)
{
    EntryOutcome outcome;
    try {
        entry(outcome.instances);
    } catch (const std::exception& exception) {
        outcome.threw = true;
        outcome.thrown = "an exception: " + EscapeText(exception.what());
    } catch (...) {
        outcome.threw = true;
        outcome.thrown = "an exception of unknown type";
    }
    return outcome;
}

bool EndsInSo(std::string_view name)
{
    constexpr std::string_view SUFFIX = ".so";
    return name.size() > SUFFIX.size() && name.substr(name.size() - SUFFIX.size()) == SUFFIX;
}

struct DirectoryNames {
    int error = 0;
    std::vector<std::string> names;  ///< of libraries, in byte order
};

DirectoryNames ReadDirectory(const std::string& directory)
{
    DirectoryNames result;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(directory.c_str()), &closedir);
    if (!stream) {
        result.error = errno;
        return result;
    }
    errno = 0;
    while (const dirent* entry =
               readdir(stream.get())) {  // NOLINT(concurrency-mt-unsafe): a stream of our own
        if (EndsInSo(entry->d_name)) {
            result.names.emplace_back(entry->d_name);
        }
        errno = 0;
    }
    result.error = errno;
    std::sort(result.names.begin(), result.names.end());
    return result;
}

}  // namespace

Plugin::Plugin(std::string libraryPath, void* libraryHandle,
               std::vector<std::shared_ptr<kovari::Interface>> libraryInstances)
    : path(std::move(libraryPath)), handle(libraryHandle), instances(std::move(libraryInstances))
{
}

Plugin::~Plugin()
{
    // Their code goes with the library.
    instances.clear();
    dlclose(handle);
}

LoadResult LoadPlugin(const std::string& path)
{
    OpenResult opened = OpenLibrary(path);
    LoadResult& result = opened.result;
    if (result.failure != LoadFailure::NONE) {
        return std::move(result);
    }
    Library library(opened.handle);
    const auto entry = reinterpret_cast<Entry>(dlsym(library.Get(), "GetInstance"));
    if (entry == nullptr) {
        return NoEntry(path);
    }
    EntryOutcome outcome = CallEntry(entry);
    Instances& instances = outcome.instances;
    if (outcome.threw) {
        instances.clear();
        return EntryThrew(path, outcome.thrown);
    }
    const auto firstNull = std::remove(instances.begin(), instances.end(), nullptr);
    const auto nullPointers = static_cast<std::size_t>(instances.end() - firstNull);
    instances.erase(firstNull, instances.end());
    if (instances.empty()) {
        return NoInstance(path, nullPointers);
    }
    if (nullPointers != 0) {
        result.remark = NullPointersLeftOut(path, nullPointers);
    }
    result.plugin = std::make_unique<Plugin>(path, library.Get(), std::move(instances));
    library.Release();
    return std::move(result);
}

LoadResult TryLibrary(const std::string& path)
{
    OpenResult opened = OpenLibrary(path);
    const Library library(opened.handle);
    return std::move(opened.result);
}

std::vector<LoadResult> LoadPluginDirectory(const std::string& directory)
{
    std::vector<LoadResult> results;
    const DirectoryNames found = ReadDirectory(directory);
    if (found.error != 0) {
        results.push_back(NoDirectory(directory, found.error));
        return results;
    }
    const std::string prefix = directory + "/";
    for (const std::string& name : found.names) {
        results.push_back(LoadPlugin(prefix + name));
    }
    if (results.empty()) {
        results.push_back(EmptyDirectory(directory));
    }
    return results;
}

}  // namespace host
