// SPDX-License-Identifier: MIT

#include <stdexcept>

#include "tests/support/plugins/sample_instance.h"

namespace {

/// A type of the plug-in's own: its destructor is gone when the library is.
class Refusal : public std::runtime_error {
public:
    Refusal() : std::runtime_error("no\nlicence \x1b[31m") {}
    Refusal(const Refusal&) = default;
    Refusal& operator=(const Refusal&) = default;
    ~Refusal() override { released = true; }

    bool released = false;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<sample::Instance>("half_built"));
    throw Refusal();
}
