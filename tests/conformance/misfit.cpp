// SPDX-License-Identifier: MIT
//
// Has the one fault that the environment variable MISFIT names; none without it.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>
#include <thread>

#include "scenario/numa_scenario.h"
#include "tests/conformance/sample_publisher.h"

namespace {

bool Has(const std::string& fault)
{
    const char* const text = std::getenv("MISFIT");  // NOLINT(concurrency-mt-unsafe): nobody sets it
    return text != nullptr && fault == text;
}

/// Publishes in the name of the one that publishes scores.
bool ActsAsScore()
{
    for (const char* const fault : {"short score", "score within a block", "negative score", "deleted score",
                                    "no score", "refused score"}) {
        if (Has(fault)) {
            return true;
        }
    }
    return false;
}

class Misfit : public sample::Publisher {
public:
    explicit Misfit(const char* ownName = "sample")
    {
        name = ownName;
        name = Has("empty name") ? "" : Has("odd name") ? "a::b" : Has("control name") ? "a\tb" : name;
        name = Has("DEL name") ? "a\x7f" : ActsAsScore() ? "scenario_numa" : name;
        period = Has("long period") ? 3600001 : Has("no period") ? 0 : period;
        period = Has("publishes later") ? 160 : period;  // that silence is listened to for longer
        kovari::Topic& topic = supportTopics.front();
        topic = {name, ActsAsScore() && !Has("no score") ? "system_score" : "reading", ""};
        if (Has("nameless topic")) {
            topic.topicName = "";
        } else if (Has("odd topic")) {
            topic.topicName = "a::b";
        } else if (Has("odd params")) {
            topic.params = "a\nb";
        } else if (Has("topic twice")) {
            supportTopics.push_back(supportTopics.front());
        } else if (Has("no topic")) {
            supportTopics.clear();
        }
    }
    Misfit(const Misfit&) = delete;
    Misfit& operator=(const Misfit&) = delete;
    ~Misfit() override
    {
        if (later.joinable()) {
            later.join();
        }
    }

    Result Enable(const std::string& /*param*/) override
    {
        if (Has("Enable raises")) {
            throw std::runtime_error("no such hardware");
        }
        if (Has("closes a descriptor")) {
            close(STDIN_FILENO);
        }
        if (Has("replaces a descriptor")) {
            const int other = open("/dev/zero", O_RDONLY | O_CLOEXEC);
            dup2(other, STDIN_FILENO);
            close(other);
        }
        PublishIf("publishes in Enable");
        if (Has("two refuse") || Has("refused score")) {
            return {-1, "no such hardware"};
        }
        return {0, Has("Enable tells") ? "fine" : ""};
    }

    Result OpenTopic(const kovari::Topic& topic) override
    {
        if (!IsSupported(topic)) {
            if (Has("OpenTopic raises")) {
                throw std::runtime_error("no such topic");
            }
            PublishIf("publishes for a stranger");
            if (Has("refuses without a reason")) {
                return {-1, ""};
            }
        }
        RaiseIf("raises in many calls");
        if (Has("sends null")) {
            Push(nullptr);
        }
        return Publisher::OpenTopic(topic);
    }

    void CloseTopic(const kovari::Topic& topic) override
    {
        if (Has("unsubscribes in Disable")) {
            opened = opened && !IsSupported(topic);
            return;
        }
        Publisher::CloseTopic(topic);
        RaiseIf("raises in many calls");
        if (!IsSupported(topic) && Has("CloseTopic raises")) {
            throw std::runtime_error("no such topic");
        }
    }

    void Disable() override
    {
        Publisher::Disable();
        PublishIf("publishes in Disable");
        RaiseIf("raises in many calls");
        if (Has("sends null in Disable")) {
            Push(nullptr);
        }
        if (Has("publishes later")) {
            later = std::thread([this] {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                Publish();
            });
        }
    }

    void Run() override
    {
        RaiseIf("raises in many calls");
        if (Has("raises a number")) {
            throw 7;
        }
        if (Has("two are slow")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(6));
        }
        if (Has("empties the queue")) {
            const std::lock_guard<std::mutex> lock(messageQueue->mutex);
            messageQueue->messages.clear();
            return;
        }
        Publisher::Run();
        if (!opened && wasOpen) {
            PublishIf("publishes when closed");
        }
        wasOpen = wasOpen || opened;
    }

protected:
    bool IsSupported(const kovari::Topic& topic) override
    {
        return !supportTopics.empty() && Publisher::IsSupported(topic);
    }
    void Subscribe() override
    {
        if (Has("two odd inputs")) {
            if (subscribed.insert(ODD_INPUT + name).second) {
                Publisher::Push(Make(RunType::SUBSCRIBE, {ODD_INPUT + name, name}));
            }
        } else if (!Has("no input")) {
            Publisher::Subscribe();
        }
    }
    void Unsubscribe() override
    {
        if (subscribed.erase(ODD_INPUT + name) != 0) {
            Publisher::Push(Make(RunType::UNSUBSCRIBE, {ODD_INPUT + name, name}));
        }
        Publisher::Unsubscribe();
    }
    void* MakeRecord() override
    {
        if (Has("score within a block")) {
            return (new std::array<char, sizeof(ScenarioNumaScore)>{})->data() + 16;
        }
        if (Has("negative score") || Has("deleted score")) {
            return new ScenarioNumaScore{-1.0F, 0, 0, 0, 0};
        }
        return Publisher::MakeRecord();
    }
    void Publish() override
    {
        const DataList list = PublishAs(Key(supportTopics.front()));
        if (Has("deleted score")) {
            delete static_cast<ScenarioNumaScore*>(list.data[0]);
        }
        if (Has("deleted array")) {
            delete[] list.data;
        }
    }
    void Push(std::shared_ptr<kovari::InstanceRunMessage> message) override
    {
        if (message && message->type == RunType::PUBLISH_DATA && Has("publishes with two arguments")) {
            message->payload.push_back(name);
        }
        Publisher::Push(std::move(message));
    }

private:
    void PublishIf(const std::string& fault)
    {
        if (Has(fault)) {
            Publish();
        }
    }
    static void RaiseIf(const std::string& fault)
    {
        if (Has(fault)) {
            throw std::runtime_error("as always");
        }
    }

    inline static const std::string ODD_INPUT = "somebody::else::";
    std::thread later;
    bool wasOpen = false;
};

/// The forms of new that few use, in a program that has its own. Does not return where one is wrong.
void UseEveryNew()
{
    static int asked = 0;
    const auto demand = [](bool condition) {
        if (!condition) {
            std::abort();
        }
    };
    volatile std::size_t tooMuch = std::size_t{1} << 62U;
    char* const nothing = new char[tooMuch - tooMuch];
    char* const another = new char[tooMuch - tooMuch];
    demand(nothing != another);
    delete[] nothing;
    delete[] another;
    ::operator delete(nullptr);
    std::set_new_handler([] {
        ++asked;
        std::set_new_handler(nullptr);
    });
    try {
        ::operator delete(::operator new(tooMuch));
        demand(false);
    } catch (const std::bad_alloc&) {
        demand(asked == 1);
    }
    constexpr std::align_val_t WIDE{64};
    demand(::operator new(tooMuch, std::nothrow) == nullptr);
    demand(::operator new[](tooMuch, std::nothrow) == nullptr);
    demand(::operator new(tooMuch, WIDE, std::nothrow) == nullptr);
    demand(::operator new[](tooMuch, WIDE, std::nothrow) == nullptr);
    void* const wide = ::operator new(100, WIDE, std::nothrow);
    demand(reinterpret_cast<std::uintptr_t>(wide) % 64 == 0);
    ::operator delete(wide, WIDE);
    void* const plain = ::operator new(100, std::nothrow);
    demand(plain != nullptr);
    ::operator delete(plain);
}

/// One byte in the file for each call, over all processes.
void CountLoads()
{
    const char* const most = std::getenv("MISFIT_LOADS");  // NOLINT(concurrency-mt-unsafe)
    const char* const mark = std::getenv("MISFIT_MARK");   // NOLINT(concurrency-mt-unsafe)
    if (most == nullptr || mark == nullptr) {
        return;
    }
    std::ofstream file(mark, std::ios::app);
    if (file.tellp() >= std::atoi(most)) {
        throw std::runtime_error("too often");
    }
    file << '.';
}

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    if (Has("takes a second to load")) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    if (Has("loads so often")) {
        CountLoads();
    }
    if (Has("uses every new")) {
        UseEveryNew();
    }
    if (Has("clears the instances")) {
        interfaces.clear();
        return;
    }
    interfaces.push_back(std::make_shared<Misfit>());
    const char* const fault = std::getenv("MISFIT");  // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (fault != nullptr && std::strncmp(fault, "two ", 4) == 0) {
        interfaces.push_back(std::make_shared<Misfit>("second"));
    }
}
