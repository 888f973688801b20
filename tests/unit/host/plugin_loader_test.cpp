// SPDX-License-Identifier: MIT

#include "host/plugin_loader.h"

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::LoadFailure;
using host::LoadPlugin;
using host::LoadPluginDirectory;
using host::LoadResult;
using testing::ElementsAre;
using testing::StartsWith;

namespace fs = std::filesystem;

std::string Sample(const std::string& name)
{
    return std::string(SAMPLE_DIR) + "/sample_" + name + ".so";
}

/// A directory of its own for each test, gone afterwards.
class PluginLoader : public testing::Test {
protected:
    PluginLoader()
    {
        std::string pattern = (fs::temp_directory_path() / "plugin_loader_XXXXXX").string();
        directory = mkdtemp(pattern.data());
    }
    ~PluginLoader() override { fs::remove_all(directory); }

    std::string In(const std::string& name) const { return directory + "/" + name; }

    std::string Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(In(name), std::ios::binary) << text;
        return In(name);
    }

    std::string directory;
};

std::string ReadAll(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ExpectFailure(const std::string& path, LoadFailure failure, const std::string& message)
{
    const LoadResult result = LoadPlugin(path);
    EXPECT_EQ(result.plugin, nullptr);
    EXPECT_EQ(result.failure, failure) << path;
    EXPECT_EQ(result.message, message);
    EXPECT_EQ(result.remark, "");
}

bool IsLoaded(const std::string& path)
{
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

TEST_F(PluginLoader, LoadsAPluginThatFindsConcatInTheHost)
{
    const LoadResult result = LoadPlugin(Sample("good"));
    ASSERT_NE(result.plugin, nullptr) << result.message;
    EXPECT_EQ(result.failure, LoadFailure::NONE);
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(result.remark, "");
    EXPECT_EQ(result.plugin->Path(), Sample("good"));
    ASSERT_EQ(result.plugin->Instances().size(), 1U);
    EXPECT_EQ(result.plugin->Instances()[0]->name, "sample_good");
}

TEST_F(PluginLoader, InstancesGoBeforeTheLibrary)
{
    std::vector<std::string> log;
    LoadResult result = LoadPlugin(Sample("good"));
    ASSERT_NE(result.plugin, nullptr) << result.message;
    void* const handle = dlopen(Sample("good").c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    const auto setLog = reinterpret_cast<void (*)(std::vector<std::string>*)>(dlsym(handle, "SetLog"));
    dlclose(handle);
    ASSERT_NE(setLog, nullptr);
    setLog(&log);
    result.plugin.reset();
    EXPECT_THAT(log, ElementsAre("instance destroyed", "library unloaded"));
    EXPECT_FALSE(IsLoaded(Sample("good")));
}

TEST_F(PluginLoader, EachLoadHasInstancesOfItsOwn)
{
    const LoadResult first = LoadPlugin(Sample("good"));
    const LoadResult second = LoadPlugin(Sample("good"));
    ASSERT_NE(first.plugin, nullptr);
    ASSERT_NE(second.plugin, nullptr);
    EXPECT_NE(first.plugin->Instances()[0], second.plugin->Instances()[0]);
}

TEST_F(PluginLoader, LeavesNullPointersOut)
{
    const LoadResult result = LoadPlugin(Sample("some_null"));
    ASSERT_NE(result.plugin, nullptr) << result.message;
    ASSERT_EQ(result.plugin->Instances().size(), 2U);
    EXPECT_EQ(result.plugin->Instances()[0]->name, "first");
    EXPECT_EQ(result.plugin->Instances()[1]->name, "second");
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(result.remark,
              Sample("some_null") + ": GetInstance appended 2 null pointers beside its instances; left out");
}

TEST_F(PluginLoader, SaysWhatIsWrongWithAPath)
{
    ExpectFailure("", LoadFailure::NO_FILE, ": empty path; give the path of a plug-in library");
    ExpectFailure(In("absent.so"), LoadFailure::NO_FILE,
                  In("absent.so") +
                      ": cannot be read: No such file or directory; give the path of a plug-in "
                      "library");
    ExpectFailure(
        Write("file", "x") + "/below.so", LoadFailure::NO_FILE,
        In("file/below.so") + ": cannot be read: Not a directory; give the path of a plug-in library");
    ExpectFailure(In("line\nbreak.so"), LoadFailure::NO_FILE,
                  In("line\\nbreak.so") +
                      ": cannot be read: No such file or directory; give the path of a plug-in library");
    ExpectFailure(Sample("good") + std::string("\0.so", 4), LoadFailure::NO_FILE,
                  Sample("good") + "\\x00.so: holds a NUL byte; give the path of a plug-in library");
}

TEST_F(PluginLoader, DoesNotOpenWhatIsNoRegularFile)
{
    ASSERT_EQ(mkfifo(In("pipe.so").c_str(), 0600), 0);
    ExpectFailure(In("pipe.so"), LoadFailure::NOT_A_LIBRARY,
                  In("pipe.so") + ": is a pipe, not a regular file; give the path of a plug-in library");
    ExpectFailure(directory, LoadFailure::NOT_A_LIBRARY,
                  directory + ": is a directory, not a regular file; give the path of a plug-in library");
    ExpectFailure("/dev/null", LoadFailure::NOT_A_LIBRARY,
                  "/dev/null: is a device, not a regular file; give the path of a plug-in library");
}

TEST_F(PluginLoader, SaysWhatTheDynamicLinkerRefuses)
{
    const std::string remedy =
        "; build it as a shared library for this machine and install the libraries that it needs";
    ExpectFailure(Write("text.so", std::string(200, 'x')), LoadFailure::NOT_A_LIBRARY,
                  In("text.so") + ": the dynamic linker refuses it: invalid ELF header" + remedy);
    ExpectFailure(Write("empty.so", ""), LoadFailure::NOT_A_LIBRARY,
                  In("empty.so") + ": the dynamic linker refuses it: file too short" + remedy);
    ExpectFailure(Sample("missing_library"), LoadFailure::NOT_A_LIBRARY,
                  Sample("missing_library") + ": the dynamic linker refuses it: " + "sample_needed.so" +
                      ": cannot open shared object file: No such file or directory" + remedy);
}

TEST_F(PluginLoader, RefusesALibraryThatWasCutShort)
{
    const std::string whole = ReadAll(Sample("good"));
    ASSERT_GT(whole.size(), 8192U);
    const std::string cut = Write("cut.so", whole.substr(0, 4096));
    const LoadResult result = LoadPlugin(cut);
    EXPECT_EQ(result.failure, LoadFailure::NOT_A_LIBRARY);
    EXPECT_THAT(result.message, StartsWith(cut + ": cut short: 4096 bytes, its program headers need "));
    EXPECT_THAT(result.message, testing::EndsWith("; copy or build it anew"));
    for (const std::size_t size : {1U, 4U, 16U, 63U, 64U, 100U, 1000U, 5000U}) {
        EXPECT_EQ(LoadPlugin(Write("cut.so", whole.substr(0, size))).failure, LoadFailure::NOT_A_LIBRARY)
            << size;
    }
}

TEST_F(PluginLoader, NamesAnUndefinedSymbol)
{
    ExpectFailure(Sample("undefined_symbol"), LoadFailure::UNDEFINED_SYMBOL,
                  Sample("undefined_symbol") +
                      ": undefined symbol: sample_function_of_nobody; link the plug-in with the library that "
                      "defines it");
}

TEST_F(PluginLoader, MissesTheEntryPoint)
{
    ExpectFailure(Sample("no_entry"), LoadFailure::NO_ENTRY,
                  Sample("no_entry") +
                      ": has no function GetInstance; export extern \"C\" void "
                      "GetInstance(std::vector<std::shared_ptr<kovari::Interface>>& interfaces)");
    EXPECT_FALSE(IsLoaded(Sample("no_entry")));
}

TEST_F(PluginLoader, MissesAnInstance)
{
    ExpectFailure(
        Sample("no_instance"), LoadFailure::NO_INSTANCE,
        Sample("no_instance") + ": GetInstance appended no instance; append at least one kovari::Interface");
    ExpectFailure(Sample("only_null"), LoadFailure::NO_INSTANCE,
                  Sample("only_null") +
                      ": GetInstance appended no instance but null pointers (2); append at "
                      "least one kovari::Interface");
}

TEST_F(PluginLoader, TriesALibraryWithoutItsEntryPoint)
{
    for (const char* name : {"good", "no_entry", "entry_throws"}) {
        const LoadResult result = host::TryLibrary(Sample(name));
        EXPECT_EQ(result.failure, LoadFailure::NONE) << result.message;
        EXPECT_EQ(result.plugin, nullptr);
        EXPECT_EQ(dlopen(Sample(name).c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stayed loaded";
    }
    EXPECT_EQ(host::TryLibrary(Sample("undefined_symbol")).failure, LoadFailure::UNDEFINED_SYMBOL);
    EXPECT_EQ(host::TryLibrary(Sample("undefined_symbol")).message,
              LoadPlugin(Sample("undefined_symbol")).message);
    EXPECT_EQ(host::TryLibrary(directory).failure, LoadFailure::NOT_A_LIBRARY);
    EXPECT_EQ(host::TryLibrary(In("absent")).failure, LoadFailure::NO_FILE);
}

TEST_F(PluginLoader, SurvivesAnEntryPointThatThrows)
{
    const std::string remedy = "; correct what it complains about and load it again";
    ExpectFailure(
        Sample("entry_throws"), LoadFailure::ENTRY_THREW,
        Sample("entry_throws") + ": GetInstance raised an exception: no\\nlicence \\x1b[31m" + remedy);
    EXPECT_FALSE(IsLoaded(Sample("entry_throws")));
    ExpectFailure(
        Sample("entry_throws_other"), LoadFailure::ENTRY_THREW,
        Sample("entry_throws_other") + ": GetInstance raised an exception of unknown type" + remedy);
    EXPECT_FALSE(IsLoaded(Sample("entry_throws_other")));
}

TEST_F(PluginLoader, ANameWithoutSlashIsAFileOfTheCurrentDirectory)
{
    const fs::path before = fs::current_path();
    fs::current_path(SAMPLE_DIR);
    const LoadResult here = LoadPlugin("sample_good.so");
    // The linker would find this one in its own directories.
    const LoadResult elsewhere = LoadPlugin("libc.so.6");
    fs::current_path(before);
    EXPECT_NE(here.plugin, nullptr) << here.message;
    EXPECT_EQ(elsewhere.failure, LoadFailure::NO_FILE);
}

TEST_F(PluginLoader, ADirectoryGivesEveryLibraryInByteOrder)
{
    fs::create_symlink(Sample("some_null"), In("b.so"));
    fs::create_symlink(Sample("good"), In("Z.so"));
    fs::create_symlink(Sample("good"), In("c.so.1"));
    fs::create_symlink(Sample("good"), In(".so"));
    fs::create_directory(In("d.so"));
    ASSERT_EQ(mkfifo(In("e.so").c_str(), 0600), 0);
    fs::create_symlink(In("nowhere"), In("f.so"));
    Write("a.so", "no library");
    Write("readme.txt", "not looked at");

    const std::vector<LoadResult> results = LoadPluginDirectory(directory);
    ASSERT_EQ(results.size(), 6U);
    ASSERT_NE(results[0].plugin, nullptr) << results[0].message;
    EXPECT_EQ(results[0].plugin->Path(), In("Z.so"));
    EXPECT_THAT(results[1].message, StartsWith(In("a.so") + ": the dynamic linker refuses it: "));
    ASSERT_NE(results[2].plugin, nullptr) << results[2].message;
    EXPECT_EQ(results[2].plugin->Path(), In("b.so"));
    EXPECT_THAT(results[3].message, StartsWith(In("d.so") + ": is a directory, "));
    EXPECT_THAT(results[4].message, StartsWith(In("e.so") + ": is a pipe, "));
    EXPECT_THAT(results[5].message, StartsWith(In("f.so") + ": cannot be read: No such file or directory"));
}

TEST_F(PluginLoader, ADirectoryWithoutLibrariesIsAFailure)
{
    std::vector<LoadResult> results = LoadPluginDirectory(directory);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].failure, LoadFailure::NO_FILE);
    EXPECT_EQ(results[0].message, directory +
                                      ": holds no file that ends in \".so\"; give a directory that "
                                      "holds plug-in libraries");

    results = LoadPluginDirectory(In("absent"));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].failure, LoadFailure::NO_FILE);
    EXPECT_EQ(results[0].message,
              In("absent") +
                  ": cannot be read as a directory: No such file or directory; give a directory "
                  "that holds plug-in libraries");

    results = LoadPluginDirectory(Write("file", ""));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].message,
              In("file") +
                  ": cannot be read as a directory: Not a directory; give a directory that holds "
                  "plug-in libraries");
}

TEST_F(PluginLoader, LoadsAndUnloadsAThousandTimes)
{
    for (int i = 0; i < 1000; ++i) {
        ASSERT_NE(LoadPlugin(Sample("good")).plugin, nullptr);
        ASSERT_FALSE(IsLoaded(Sample("good")));
    }
}

}  // namespace
