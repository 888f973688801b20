// SPDX-License-Identifier: MIT
//
// Two instances that raise exceptions of the plug-in's own types out of every call; the first lets Enable
// pass, so that the host goes on to the others. In between they push nonsense.

#include <exception>

#include "tests/support/plugins/sample_instance.h"

namespace {

class Failure : public std::exception {
public:
    explicit Failure(std::string failureText) : text(std::move(failureText)) {}
    const char* what() const noexcept override { return text.c_str(); }

private:
    std::string text;
};

class Throwing : public kovari::Interface {
public:
    explicit Throwing(bool passesEnable) : enablePasses(passesEnable)
    {
        name = passesEnable ? "hostile" : "hostile_from_the_start";
        supportTopics.push_back({name, "noise", ""});
        period = 10;
    }

    Result OpenTopic(const kovari::Topic& /*topic*/) override { throw Failure("open"); }
    void CloseTopic(const kovari::Topic& /*topic*/) override { throw Failure("close"); }
    void UpdateData(const DataList& /*dataList*/) override { throw 1; }
    Result Enable(const std::string& /*param*/) override
    {
        if (!enablePasses) {
            throw Failure("enable");
        }
        return {};
    }
    void Disable() override { throw 'x'; }
    void Run() override
    {
        const std::unique_lock<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_back(nullptr);
        messageQueue->messages.push_back(std::make_shared<kovari::InstanceRunMessage>(
            static_cast<kovari::RunType>(99), std::vector<std::string>{}));
        throw Failure("run");
    }

private:
    bool enablePasses;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Throwing>(true));
    interfaces.push_back(std::make_shared<Throwing>(false));
}
