// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_INSTANCE_LOCK_H
#define TOOLS_TARNIX_INSTANCE_LOCK_H

#include <string>

namespace tarnix {

/// One instance at a time: a file, "tarnix.pid", that the running instance keeps locked. The lock is a POSIX
/// record lock: the kernel drops it with the process, so that a crash leaves nothing to clean up, and tells
/// who holds it. The file is its owner's alone, mode 0600, since a lock can be held by whoever can open it.
/// The number in it is for people.
class InstanceLock {
public:
    explicit InstanceLock(const std::string& runtimeDirectory);
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    /// Gives the lock up. The file stays: removing it would let two instances lock two files of one name.
    ~InstanceLock();

    /// Takes the lock and writes the id of this process; makes the directory, mode 0755, if only it is
    /// missing. Empty, or why not: one line.
    std::string Acquire();

    /// Sends a signal to the process that holds the lock. Empty, or why not: one line.
    std::string Signal(int number) const;

private:
    std::string directory;
    std::string path;
    int fd = -1;
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_INSTANCE_LOCK_H
