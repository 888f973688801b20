// SPDX-License-Identifier: MIT

#include "tools/tarnix/instance_lock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/owned_descriptor.h"
#include "common/retried_open.h"
#include "tools/tarnix/messages.h"

namespace tarnix {
namespace {

/// Never a link that somebody planted, never waiting for a FIFO.
constexpr int SAFELY = O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;

/// A lock on the whole file.
struct flock WholeFile(short type)
{
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// The process that keeps the file locked; 0 when none does.
pid_t Holder(int fd)
{
    struct flock lock = WholeFile(F_WRLCK);
    return fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

/// For people only: what counts is the lock, so that a full file system does not keep the program from
/// running.
void WritePid(int fd)
{
    const std::string text = std::to_string(getpid()) + "\n";
    if (ftruncate(fd, 0) != 0 || pwrite(fd, text.data(), text.size(), 0) < 0) {
        return;
    }
}

}  // namespace

InstanceLock::InstanceLock(const std::string& runtimeDirectory)
    : directory(runtimeDirectory), path(runtimeDirectory + "/tarnix.pid")
{
}

InstanceLock::~InstanceLock()
{
    if (fd >= 0) {
        close(fd);
    }
}

std::string InstanceLock::Acquire()
{
    mkdir(directory.c_str(), 0755);  // what matters shows with the file
    fd = runtime::OpenRetrying(path.c_str(), O_RDWR | O_CREAT | SAFELY, 0600);
    if (fd < 0) {
        return messages::CannotLock(path, errno);
    }
    fchmod(fd, 0600);  // whoever could read it could hold a lock of its own against us
    struct flock lock = WholeFile(F_WRLCK);
    if (fcntl(fd, F_SETLK, &lock) != 0) {
        const int error = errno;
        return error == EAGAIN || error == EACCES ? messages::AlreadyRunning(Holder(fd), path)
                                                  : messages::CannotLock(path, error);
    }
    WritePid(fd);
    return {};
}

std::string InstanceLock::Signal(int number) const
{
    const runtime::OwnedDescriptor file(runtime::OpenRetrying(path.c_str(), O_RDONLY | SAFELY));
    if (file.Get() < 0) {
        return errno == ENOENT || errno == ENOTDIR ? messages::NotRunning(path)
                                                   : messages::CannotReadLock(path, errno);
    }
    const pid_t pid = Holder(file.Get());
    if (pid <= 0) {
        return messages::NotRunning(path);
    }
    return kill(pid, number) == 0 ? std::string() : messages::CannotSignal(pid, errno);
}

}  // namespace tarnix
