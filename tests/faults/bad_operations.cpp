// SPDX-License-Identifier: MIT

#include "tests/faults/bad_operations.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <new>

namespace faults {
namespace {

/// What all of them do: take memory, and read the first byte of a file.
struct Work {
    int first = 0;
    int second = 0;
};

int OpenFile()
{
    int fd = -1;
    do {
        fd = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

bool ReadByte(int fd)
{
    char byte = 0;
    ssize_t got = 0;
    do {
        got = read(fd, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1;
}

/// In the heap: the compiler may not leave the request out.
std::unique_ptr<std::string> Block()
{
    return std::make_unique<std::string>(100, 'x');
}

/// Blocks that nobody gives back, still reachable: the sweep's own count has to tell, not a sanitizer.
struct KeptBlock {
    std::unique_ptr<std::string> text;
    KeptBlock* before = nullptr;
};

KeptBlock* lastKept = nullptr;

void Keep(std::unique_ptr<std::string> text)
{
    lastKept = new KeptBlock{std::move(text), lastKept};
}

void GiveBackLast()
{
    delete std::exchange(lastKept, lastKept->before);
}

void Good(Work& work)
{
    const std::unique_ptr<std::string> block = Block();
    const int fd = OpenFile();
    if (fd < 0) {
        return;
    }
    const bool done = ReadByte(fd);
    close(fd);
    if (done) {
        work = {1, 1};
    }
}

void LeakDescriptor(Work& work)
{
    const int fd = OpenFile();
    const std::unique_ptr<std::string> block = Block();
    if (fd < 0 || !ReadByte(fd)) {
        return;
    }
    close(fd);
    work = {1, 1};
}

void LeakBlock(Work& work)
{
    Keep(Block());
    const std::unique_ptr<std::string> block = Block();
    const int fd = OpenFile();
    if (fd < 0) {
        return;
    }
    const bool done = ReadByte(fd);
    close(fd);
    if (done) {
        GiveBackLast();
        work = {1, 1};
    }
}

void ChangeHalf(Work& work)
{
    work.first = 1;
    Work whole;
    Good(whole);
    work.second = whole.second;
}

/// Takes what failed for done.
void TellNothing(Work& work)
{
    try {
        Work whole;
        Good(whole);
        work = whole;
    } catch (const std::bad_alloc&) {
        return;
    }
}

void CloseTwice(Work& work)
{
    const std::unique_ptr<std::string> block = Block();
    const int fd = OpenFile();
    const bool done = fd >= 0 && ReadByte(fd);
    if (!done && fd >= 0) {
        close(fd);
    }
    close(fd);
    if (done) {
        work = {1, 1};
    }
}

Operation On(const std::string& name, const std::function<void(Work&)>& call)
{
    return {name, Memory::THROWS,
            [call] {
                auto work = std::make_shared<Work>();
                return Trial{[call, work] { call(*work); },
                             [work] { return std::to_string(work->first) + std::to_string(work->second); }};
            },
            nullptr};
}

}  // namespace

std::vector<BadOperation> BadOperations()
{
    return {
        {On("good", Good), ""},
        {On("leaks a descriptor", LeakDescriptor), "leaves a descriptor open"},
        {On("leaks a block", LeakBlock), "leaks memory"},
        {On("changes half", ChangeHalf), "ends in the wrong way"},
        {On("tells nothing", TellNothing), "returned and ends in the wrong way", true, false},
        {On("closes twice", CloseTwice), "closes a descriptor twice", false, true},
    };
}

Operation FickleOperation()
{
    static int runs = 0;
    return On("fickle", [](Work& work) {
        if (++runs <= 3) {
            Good(work);
        }
        work = {1, 1};
    });
}

}  // namespace faults
