// SPDX-License-Identifier: MIT
//
// In order; has a block on a huge page, which cannot be told apart from others.

#include <new>

#include "tests/conformance/sample_publisher.h"

namespace {

constexpr std::align_val_t HUGE_PAGE{std::size_t{1} << 21U};

class Good : public sample::Publisher {
public:
    Good() : block(::operator new(64, HUGE_PAGE)) {}
    ~Good() override { ::operator delete(block, HUGE_PAGE); }

private:
    void* block;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Good>());
}
