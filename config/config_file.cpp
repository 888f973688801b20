// SPDX-License-Identifier: MIT

#include "config/config_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <exception>
#include <sstream>
#include <system_error>
#include <type_traits>

#include <yaml-cpp/anchor.h>
#include <yaml-cpp/emitterstyle.h>
#include <yaml-cpp/eventhandler.h>

#include "common/owned_descriptor.h"
#include "common/retried_open.h"

namespace {

TnResult LoadingError(const std::string& reason)
{
    return {1, "YAML loading error: " + reason};
}

TnResult NoRegularFile(const std::string& path, const std::string& kind)
{
    return LoadingError(path + " is " + kind + ", expected a regular file");
}

TnResult TooLarge(const std::string& path)
{
    return LoadingError(path + " is larger than " + std::to_string(config_file::MAX_BYTES) + " bytes");
}

TnResult TooManyNodes()
{
    return LoadingError("the file has more than " + std::to_string(config_file::MAX_NODES) +
                        " scalars, lists and mappings");
}

TnResult ReadFailed(const std::string& path, int error)
{
    return LoadingError(path + " cannot be read: " + std::generic_category().message(error));
}

/// yaml-cpp's own text for a file that it cannot open. The exception takes the path since 0.7.
template <typename BadFile>
TnResult CannotBeOpened(const std::string& path)
{
    if constexpr (std::is_constructible_v<BadFile, const std::string&>) {
        return LoadingError(BadFile(path).what());
    } else {
        return LoadingError(BadFile().what());
    }
}

std::string KindOf(mode_t mode)
{
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return "a directory";
        case S_IFIFO:
            return "a FIFO";
        case S_IFSOCK:
            return "a socket";
        case S_IFCHR:
            return "a character device";
        case S_IFBLK:
            return "a block device";
        default:
            return "of an unknown kind";
    }
}

/// Code 0 when what `status` describes may be read.
TnResult CheckKind(const std::string& path, const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        return NoRegularFile(path, KindOf(status.st_mode));
    }
    if (status.st_size > static_cast<off_t>(config_file::MAX_BYTES)) {
        return TooLarge(path);
    }
    return {};
}

TnResult ReadAll(const std::string& path, int fd, std::string& text)
{
    std::array<char, 16384> block;
    while (text.size() <= config_file::MAX_BYTES) {
        const ssize_t count = read(fd, block.data(), block.size());
        if (count == 0) {
            return {};
        }
        if (count < 0 && errno != EINTR) {
            return ReadFailed(path, errno);
        }
        if (count > 0) {
            text.append(block.data(), static_cast<std::size_t>(count));
        }
    }
    return TooLarge(path);  // it grew while it was read, or does not tell its size
}

TnResult ReadText(const std::string& path, std::string& text)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return CannotBeOpened<YAML::BadFile>(path);
    }
    if (TnResult result = CheckKind(path, status); result.code != 0) {
        return result;
    }
    // Not waiting for the writer of a FIFO that took the place of the file since it was looked at.
    const runtime::OwnedDescriptor file(
        runtime::OpenRetrying(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0) {
        return CannotBeOpened<YAML::BadFile>(path);
    }
    if (fstat(file.Get(), &status) != 0) {
        return ReadFailed(path, errno);
    }
    if (TnResult result = CheckKind(path, status); result.code != 0) {
        return result;
    }
    text.reserve(static_cast<std::size_t>(status.st_size) + 1);
    return ReadAll(path, file.Get(), text);
}

struct CountExceeded : std::exception {};

/// Counts what a document would be made of, without making it.
class NodeCounter : public YAML::EventHandler {
public:
    void OnDocumentStart(const YAML::Mark&) override {}
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark&, YAML::anchor_t) override { Count(); }
    void OnAlias(const YAML::Mark&, YAML::anchor_t) override { Count(); }
    void OnScalar(const YAML::Mark&, const std::string&, YAML::anchor_t, const std::string&) override
    {
        Count();
    }
    void OnSequenceStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                         YAML::EmitterStyle::value) override
    {
        Count();
    }
    void OnSequenceEnd() override {}
    void OnMapStart(const YAML::Mark&, const std::string&, YAML::anchor_t, YAML::EmitterStyle::value) override
    {
        Count();
    }
    void OnMapEnd() override {}

private:
    void Count()
    {
        if (++nodes > config_file::MAX_NODES) {
            throw CountExceeded();
        }
    }

    std::size_t nodes = 0;
};

/// A node takes a byte at least: small texts need not be looked at twice.
bool HasTooManyNodes(const std::string& text)
{
    if (text.size() <= config_file::MAX_NODES) {
        return false;
    }
    try {
        std::istringstream stream(text);
        YAML::Parser parser(stream);
        NodeCounter counter;
        parser.HandleNextDocument(counter);
        return false;
    } catch (const CountExceeded&) {
        return true;
    }
}

}  // namespace

namespace config_file {

TnResult Load(const std::string& path, YAML::Node& root)
{
    try {
        std::string text;
        if (TnResult result = ReadText(path, text); result.code != 0) {
            return result;
        }
        return Parse(text, root);
    } catch (const std::exception& error) {
        return LoadingError(error.what());
    }
}

TnResult Parse(const std::string& text, YAML::Node& root)
{
    try {
        if (HasTooManyNodes(text)) {
            return TooManyNodes();
        }
        root.reset(YAML::Load(text));
        return {};
    } catch (const std::exception& error) {
        return LoadingError(error.what());
    }
}

}  // namespace config_file
