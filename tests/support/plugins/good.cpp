// SPDX-License-Identifier: MIT
//
// In order. Has no kovari::Concat of its own, so that it loads only where the host exports one; notes its end
// in a log that the host may set.

#include "tests/support/plugins/sample_instance.h"

namespace {

std::vector<std::string>* g_log = nullptr;

void Note(const char* what)
{
    if (g_log != nullptr) {
        g_log->emplace_back(what);
    }
}

struct Unloaded {
    ~Unloaded() { Note("library unloaded"); }
} g_unloaded;

class Noting : public sample::Instance {
public:
    using sample::Instance::Instance;
    ~Noting() override { Note("instance destroyed"); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void SetLog(std::vector<std::string>* log)
{
    g_log = log;
}

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Noting>(kovari::Concat({"sample", "good"}, "_")));
}
