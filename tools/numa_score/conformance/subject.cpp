// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/subject.h"

#include <dlfcn.h>

#include <exception>
#include <stdexcept>
#include <utility>

#include "host/escape.h"

namespace conformance {
namespace {

/// Stands in the vector before the plug-in's instances do.
class Neighbour : public kovari::Interface {
public:
    Result OpenTopic(const kovari::Topic& /*topic*/) override { return {}; }
    void CloseTopic(const kovari::Topic& /*topic*/) override {}
    void UpdateData(const DataList& /*dataList*/) override {}
    Result Enable(const std::string& /*param*/) override { return {}; }
    void Disable() override {}
    void Run() override {}
};

}  // namespace

std::string LinkerPath(const std::string& library)
{
    return library.find('/') == std::string::npos ? "./" + library : library;
}

Subject::Subject(const std::string& libraryPath, const Notes& notes)
{
    notes.At("loading");
    handle = dlopen(LinkerPath(libraryPath).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* const text = dlerror();  // NOLINT(concurrency-mt-unsafe): its text is per thread
        error = text == nullptr ? "the dynamic linker gives no reason" : host::EscapeText(text);
        return;
    }
    void* const entry = dlsym(handle, "GetInstance");
    if (entry == nullptr) {
        error = "no function GetInstance";
        return;
    }
    notes.At("GetInstance");
    CallEntry(entry);
}

void Subject::CallEntry(void* entry)
{
    const auto getInstance = reinterpret_cast<void (*)(Instances&)>(entry);
    const std::shared_ptr<kovari::Interface> neighbour = std::make_shared<Neighbour>();
    Instances all{neighbour};
    try {
        getInstance(all);
    } catch (const std::exception& exception) {
        error = "GetInstance raised an exception: " + host::EscapeText(exception.what());
    } catch (...) {
        error = "GetInstance raised an exception of unknown type";
    }
    othersLeftAlone = !all.empty() && all.front() == neighbour;
    if (othersLeftAlone) {
        all.erase(all.begin());
    }
    instances = std::move(all);
}

void Subject::RequireInstances() const
{
    if (!error.empty()) {
        throw std::runtime_error("the library could not be loaded once more: " + error);
    }
}

void Subject::CloseLibrary()
{
    if (handle != nullptr) {
        dlclose(std::exchange(handle, nullptr));
    }
}

}  // namespace conformance
