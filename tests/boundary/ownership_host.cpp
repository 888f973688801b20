// SPDX-License-Identifier: MIT
//
// A host that knows the plug-in boundary from its byte layout alone: every record is declared here once more,
// and what the plug-in reads stands in blocks that end with the last byte it may read, every other byte
// unset. It frees all that it owns. Run plainly, under AddressSanitizer and under valgrind: a read of a byte
// that is not the plug-in's, a leak and a double release each fail one of them.
//
// usage: ownership_host LIBRARY

#include <dlfcn.h>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include <log4cplus/logger.h>

struct Answer {
    std::int32_t code;
    std::string payload;
};

struct Data {
    char* instanceName;
    char* topicName;
    char* params;
    std::uint64_t len;
    void** data;
};

struct Message {
    std::uint8_t flag;
    std::vector<std::string> payload;
    Answer result;
    Data list;
    std::int32_t type;
    std::mutex mutex;
    std::condition_variable condition;
    bool done;
};

struct Queue {
    std::mutex mutex;
    std::deque<std::shared_ptr<Message>> messages;
    std::condition_variable condition;
};

struct Address {
    std::string instanceName;
    std::string topicName;
    std::string params;
};

namespace kovari {

/// Slots and members of an instance. The class bears the name that the boundary gives it, since that is what
/// run-time type information compares; nothing else of it comes from the plug-in's headers.
class Interface {
public:
    virtual ~Interface() = default;
    virtual Answer OpenTopic(const Address& topic) = 0;
    virtual void CloseTopic(const Address& topic) = 0;
    virtual void UpdateData(const Data& data) = 0;
    virtual Answer Enable(const std::string& param) = 0;
    virtual void Disable() = 0;
    virtual void Run() = 0;

    std::string name;
    std::string version;
    std::string description;
    std::vector<Address> supportTopics;
    log4cplus::Logger logger;
    std::int32_t priority;
    std::int32_t type;
    std::int32_t period;
    std::shared_ptr<Queue> messageQueue;
};

}  // namespace kovari

namespace {

using kovari::Interface;
using Instances = std::vector<std::shared_ptr<Interface>>;

constexpr std::int32_t SUBSCRIBE = 3;
constexpr std::int32_t UNSUBSCRIBE = 4;
constexpr std::int32_t PUBLISH_DATA = 6;

int g_failures = 0;

void Check(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        ++g_failures;
    }
}

/// One batch in memory of its own. Samples stand 96 bytes apart and only bytes 8 to 15 (name) and 64 to 71
/// (count) are set, so the block ends 72 bytes into the last one; of the batch record, bytes 12 to 15 stay
/// unset and the block ends at byte 20. Names end with the block that holds them.
class Batch {
public:
    struct Sample {
        std::string name;
        std::uint64_t count;
    };

    Batch(const std::vector<Sample>& samples, std::int32_t interval)
        : m_samples(samples.empty() ? nullptr : std::malloc((samples.size() - 1) * 96 + 72)),
          m_record(std::malloc(20))
    {
        char* at = static_cast<char*>(m_samples);
        for (const Sample& sample : samples) {
            char* name = strdup(sample.name.c_str());
            m_names.push_back(name);
            std::memcpy(at + 8, &name, 8);
            std::memcpy(at + 64, &sample.count, 8);
            at += 96;
        }
        char* record = static_cast<char*>(m_record);
        const auto count = static_cast<std::int32_t>(samples.size());
        std::memcpy(record, &m_samples, 8);
        std::memcpy(record + 8, &count, 4);
        std::memcpy(record + 16, &interval, 4);
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    ~Batch()
    {
        for (char* name : m_names) {
            std::free(name);
        }
        std::free(m_samples);
        std::free(m_record);
    }

    void DeliverTo(Interface& instance, const char* topic) const
    {
        std::string publisher = "pmu_uncore_collector";
        std::string name = topic;
        std::string params;
        void* record = m_record;
        const Data data{publisher.data(), name.data(), params.data(), 1, &record};
        instance.UpdateData(data);
    }

private:
    void* m_samples;
    void* m_record;
    std::vector<char*> m_names;
};

/// Offsets 0, 8, 16, 24 and 32; bytes 4 to 7 are nobody's.
struct Score {
    float score;
    std::uint64_t ops;
    std::uint64_t sccl;
    std::uint64_t outer;
    std::uint64_t interval;
};
static_assert(sizeof(Score) == 40, "Score");

/// Reads the published record and releases everything that came with the message.
Score Release(Message& message)
{
    auto* record = static_cast<Score*>(message.list.data[0]);
    const Score score = *record;
    delete record;
    delete[] message.list.data;
    delete[] message.list.instanceName;
    delete[] message.list.topicName;
    delete[] message.list.params;
    message.list = Data{};
    return score;
}

std::shared_ptr<Message> Take(Queue& queue)
{
    const std::lock_guard<std::mutex> lock(queue.mutex);
    if (queue.messages.empty()) {
        return nullptr;
    }
    std::shared_ptr<Message> message = queue.messages.front();
    queue.messages.pop_front();
    return message;
}

void CheckRequest(Queue& queue, std::int32_t type)
{
    const std::shared_ptr<Message> message = Take(queue);
    Check(message != nullptr, "a request was sent");
    if (message == nullptr) {
        return;
    }
    Check(message->flag == 1, "flag 1");
    Check(message->type == type, "type of the request");
    Check(message->payload == std::vector<std::string>({"pmu_uncore_collector::uncore::", "scenario_numa"}),
          "payload of the request");
    Check(message->result.payload.empty(), "empty answer slot");
    Check(message->list.instanceName == nullptr && message->list.topicName == nullptr &&
              message->list.params == nullptr && message->list.len == 0 && message->list.data == nullptr,
          "no data in a request");
    Check(!message->done, "not done");
}

Score TakePublished(Queue& queue)
{
    const std::shared_ptr<Message> message = Take(queue);
    Check(message != nullptr && message->type == PUBLISH_DATA, "a score was published");
    if (message == nullptr || message->type != PUBLISH_DATA) {
        return {};
    }
    Check(message->flag == 1, "flag 1");
    Check(message->payload == std::vector<std::string>{"scenario_numa::system_score::"},
          "payload of the publication");
    Check(std::strcmp(message->list.instanceName, "scenario_numa") == 0, "published instance name");
    Check(std::strcmp(message->list.topicName, "system_score") == 0, "published topic name");
    Check(message->list.params[0] == '\0', "published params");
    Check(message->list.len == 1, "one record");
    return Release(*message);
}

template <typename Call>
void CheckRefusedWithoutQueue(Call call, const char* what)
{
    try {
        call();
        Check(false, what);
    } catch (const std::system_error& error) {
        Check(error.code() == std::errc::operation_not_permitted, what);
    }
}

void UseInstance(Interface& instance)
{
    Check(instance.name == "scenario_numa" && instance.version == "v1.0", "name and version");
    Check(instance.priority == 1 && instance.type == 8 && instance.period == 100, "numbers");
    Check(instance.supportTopics.size() == 1 && instance.supportTopics[0].instanceName == "scenario_numa" &&
              instance.supportTopics[0].topicName == "system_score" &&
              instance.supportTopics[0].params.empty(),
          "supported topics");
    Check(instance.messageQueue == nullptr, "no queue yet");

    const Address systemScore{"scenario_numa", "system_score", ""};
    instance.messageQueue = std::make_shared<Queue>();
    Queue& queue = *instance.messageQueue;
    Check(instance.Enable("any text").code == 0, "Enable");
    const Answer refused = instance.OpenTopic({"scenario_numa", "system_score", "x"});
    Check(refused.code == -1 && refused.payload == "OpenTopic failed, topic name is not match!",
          "another topic is refused");
    Check(instance.OpenTopic(systemScore).code == 0, "OpenTopic");
    CheckRequest(queue, SUBSCRIBE);

    Batch({{"uncore_l3c0/rx_outer/", 30}, {"uncore_l3c0/rx_sccl/", 20}, {"rx_ops_num", 100}, {"", 7}}, 100)
        .DeliverTo(instance, "uncore");
    Batch({{"x", 1}, {"uncore_l3c1/rx_ops_num/", 100}, {"rx_ops", 5}}, -1).DeliverTo(instance, "uncore");
    Batch({}, 7).DeliverTo(instance, "uncore");
    Batch({{"rx_ops_num", 100}}, 100).DeliverTo(instance, "uncore2");
    instance.Run();
    Score score = TakePublished(queue);
    Check(score.score == 0.75F, "score");
    Check(score.ops == 200 && score.sccl == 20 && score.outer == 30 && score.interval == 106, "counts");

    // A host may fall behind: two publications wait, each with records of its own.
    instance.Run();
    instance.Run();
    Check(TakePublished(queue).score == 1.0F, "a period without samples");
    Check(TakePublished(queue).ops == 0, "a second one");

    instance.CloseTopic(systemScore);
    CheckRequest(queue, UNSUBSCRIBE);
    instance.Disable();
    Check(Take(queue) == nullptr, "nothing else was sent");
}

/// A queue that was never set: refused, and nothing is lost on the way.
void UseWithoutQueue(Interface& instance)
{
    const Address systemScore{"scenario_numa", "system_score", ""};
    CheckRefusedWithoutQueue([&] { instance.OpenTopic(systemScore); }, "OpenTopic without a queue");
    CheckRefusedWithoutQueue([&] { instance.Run(); }, "Run without a queue");
    CheckRefusedWithoutQueue([&] { instance.Disable(); }, "Disable without a queue");
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: ownership_host LIBRARY\n");
        return 2;
    }
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    using Entry = void (*)(Instances&);
    const auto getInstance = reinterpret_cast<Entry>(dlsym(library, "GetInstance"));
    if (getInstance == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    {
        Instances instances;
        getInstance(instances);
        getInstance(instances);
        Check(instances.size() == 2, "one instance per call");
        UseInstance(*instances.at(0));
        UseWithoutQueue(*instances.at(1));
        const std::weak_ptr<Interface> watched = instances.at(0);
        instances.clear();
        Check(watched.expired(), "the vector was the only owner");
    }
    Check(dlclose(library) == 0, "dlclose");
    std::printf("%s\n", g_failures == 0 ? "every record released" : "failed");
    return g_failures == 0 ? 0 : 1;
}
