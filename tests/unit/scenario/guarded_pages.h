// SPDX-License-Identifier: MIT
//
// Memory between two pages that nobody may touch: a read one byte outside ends the test with a fault.

#ifndef TESTS_UNIT_SCENARIO_GUARDED_PAGES_H
#define TESTS_UNIT_SCENARIO_GUARDED_PAGES_H

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include <system_error>

class GuardedPages {
public:
    explicit GuardedPages(std::size_t pages = 1)
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), size_(pages * page_)
    {
        void* area = mmap(nullptr, size_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (area == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        area_ = static_cast<char*>(area);
        if (mprotect(Begin(), size_, PROT_READ | PROT_WRITE) != 0) {
            throw std::system_error(errno, std::generic_category(), "mprotect");
        }
    }
    ~GuardedPages() { munmap(area_, size_ + 2 * page_); }
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    char* Begin() const { return area_ + page_; }
    char* End() const { return area_ + page_ + size_; }

private:
    std::size_t page_;
    std::size_t size_;
    char* area_ = nullptr;
};

#endif  // TESTS_UNIT_SCENARIO_GUARDED_PAGES_H
