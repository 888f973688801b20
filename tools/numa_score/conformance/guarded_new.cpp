// SPDX-License-Identifier: MIT
//
// operator new and delete of the program and of every library in it. They do what those of the standard
// library do, until the guarded heap is started, which only the processes do that examine a plug-in.

#include <cstdlib>
#include <new>

#include "tools/numa_score/conformance/guarded_heap.h"

namespace {

using conformance::guarded_heap::Form;
namespace guarded_heap = conformance::guarded_heap;

constexpr std::size_t USUAL_ALIGNMENT = 16;

void* Plain(std::size_t size, std::size_t alignment)
{
    if (alignment <= USUAL_ALIGNMENT) {
        return std::malloc(size > 0 ? size : 1);
    }
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* Obtain(std::size_t size, Form form, std::size_t alignment = USUAL_ALIGNMENT)
{
    for (;;) {
        void* block = guarded_heap::Allocate(size, alignment, form);
        if (block == nullptr) {
            block = Plain(size, alignment);
        }
        if (block != nullptr) {
            return block;
        }
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void* ObtainOrNull(std::size_t size, Form form, std::size_t alignment = USUAL_ALIGNMENT) noexcept
{
    try {
        return Obtain(size, form, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void GiveBack(void* block, Form form) noexcept
{
    if (block != nullptr && !guarded_heap::Free(block, form)) {
        std::free(block);
    }
}

}  // namespace

// Every form: where a sanitizer brings forms of its own, they do not come to these.
void* operator new(std::size_t size)
{
    return Obtain(size, Form::SINGLE);
}
void* operator new[](std::size_t size)
{
    return Obtain(size, Form::ARRAY);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Obtain(size, Form::SINGLE, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return Obtain(size, Form::ARRAY, static_cast<std::size_t>(alignment));
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return ObtainOrNull(size, Form::SINGLE);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return ObtainOrNull(size, Form::ARRAY);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return ObtainOrNull(size, Form::SINGLE, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept
{
    return ObtainOrNull(size, Form::ARRAY, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept
{
    GiveBack(block, Form::SINGLE);
}
void operator delete[](void* block) noexcept
{
    GiveBack(block, Form::ARRAY);
}
void operator delete(void* block, std::size_t /*size*/) noexcept
{
    GiveBack(block, Form::SINGLE);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    GiveBack(block, Form::ARRAY);
}
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept
{
    GiveBack(block, Form::SINGLE);
}
void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept
{
    GiveBack(block, Form::ARRAY);
}
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    GiveBack(block, Form::SINGLE);
}
void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    GiveBack(block, Form::ARRAY);
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept
{
    GiveBack(block, Form::SINGLE);
}
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept
{
    GiveBack(block, Form::ARRAY);
}
