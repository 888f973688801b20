// SPDX-License-Identifier: MIT

#ifndef COMMON_OWNED_DESCRIPTOR_H
#define COMMON_OWNED_DESCRIPTOR_H

#include <unistd.h>

namespace runtime {

/// A file descriptor that is closed with it; -1 for none. Inline, so that programs that link the library need
/// no further symbol of it.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor) : fd(descriptor) {}
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    ~OwnedDescriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }

    int Get() const { return fd; }

private:
    int fd;
};

}  // namespace runtime

#endif  // COMMON_OWNED_DESCRIPTOR_H
