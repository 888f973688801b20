// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/messages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/plugins/sample_instance.h"

namespace {

using namespace conformance;
using kovari::InstanceRunMessage;

const char* const KEY = "a::b::";

std::shared_ptr<InstanceRunMessage> Make(RunType type, std::vector<std::string> payload)
{
    return std::make_shared<InstanceRunMessage>(type, std::move(payload));
}

TEST(MessageFault, IsNoneInWellFormedMessages)
{
    EXPECT_EQ(MessageFault(Make(RunType::SUBSCRIBE, {KEY, "me"}).get(), "me"), "");
    EXPECT_EQ(MessageFault(Make(RunType::UNSUBSCRIBE, {"a::b::c", "me"}).get(), "me"), "");
    EXPECT_EQ(MessageFault(Make(RunType::PUBLISH_DATA, {KEY}).get(), "me"), "");
}

TEST(MessageFault, SaysWhatIsWrong)
{
    const std::shared_ptr<InstanceRunMessage> flag = Make(RunType::PUBLISH_DATA, {KEY});
    flag->flag = 7;
    const std::shared_ptr<InstanceRunMessage> data = Make(RunType::SUBSCRIBE, {KEY, "me"});
    data->dataList.len = 1;
    const struct {
        std::shared_ptr<InstanceRunMessage> message;
        const char* fault;
    } cases[] = {
        {nullptr, "sent a null pointer"},
        {Make(static_cast<RunType>(99), {KEY}), "sent a message of type 99"},
        {flag, "sent a PUBLISH_DATA with flag 7"},
        {data, "sent a SUBSCRIBE with a dataList that is not empty"},
        {Make(RunType::SUBSCRIBE, {KEY}), "sent a SUBSCRIBE with 1 arguments"},
        {Make(RunType::PUBLISH_DATA, {KEY, "me"}), "sent a PUBLISH_DATA with 2 arguments"},
        {Make(RunType::UNSUBSCRIBE, {KEY, "you\n"}), "sent an UNSUBSCRIBE in the name of \"you\\n\""},
        {Make(RunType::SUBSCRIBE, {"a::b", "me"}), "sent a SUBSCRIBE with the topic key \"a::b\""},
        {Make(RunType::SUBSCRIBE, {"::a::b", "me"}), "sent a SUBSCRIBE with the topic key \"::a::b\""},
        {Make(RunType::SUBSCRIBE, {"a", "me"}), "sent a SUBSCRIBE with the topic key \"a\""},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(MessageFault(one.message.get(), "me"), one.fault);
    }
}

TEST(MessageFault, LooksAtEveryPartOfTheDataOfARequest)
{
    char text[] = "";
    void* record = nullptr;
    std::vector<DataList> lists(5);
    lists[0].topic.instanceName = text;
    lists[1].topic.topicName = text;
    lists[2].topic.params = text;
    lists[3].len = 1;
    lists[4].data = &record;
    for (const DataList& list : lists) {
        const std::shared_ptr<InstanceRunMessage> message = Make(RunType::UNSUBSCRIBE, {KEY, "me"});
        message->dataList = list;
        EXPECT_EQ(MessageFault(message.get(), "me"), "sent an UNSUBSCRIBE with a dataList that is not empty")
            << &list - lists.data();
    }
}

std::vector<Sent> Inbox(const std::vector<std::pair<RunType, std::string>>& requests)
{
    std::vector<Sent> inbox{{Phase::OPEN, nullptr}};
    for (const auto& [type, key] : requests) {
        inbox.push_back({Phase::OPEN, Make(type, {key, "me"})});
    }
    return inbox;
}

TEST(RequestFault, SubscriptionsAreCountedByKey)
{
    constexpr RunType IN = RunType::SUBSCRIBE;
    constexpr RunType OUT = RunType::UNSUBSCRIBE;
    std::set<std::string> held;
    const std::vector<Sent> good = Inbox({{IN, "a"}, {IN, "b"}, {OUT, "a"}, {IN, "a"}});
    EXPECT_EQ(RequestFault(good, IN), "");
    EXPECT_EQ(RequestFault(good, OUT, &held), "");
    EXPECT_EQ(held, (std::set<std::string>{"a", "b"}));

    const std::vector<Sent> twice = Inbox({{IN, "a"}, {IN, "a"}, {OUT, "a"}, {OUT, "a"}});
    EXPECT_EQ(RequestFault(twice, IN, &held), "subscribed to \"a\" twice");
    EXPECT_EQ(RequestFault(twice, OUT), "unsubscribed from \"a\" without a subscription");
    EXPECT_TRUE(held.empty());
}

TEST(RequestFault, MessagesWithoutAKeyAreAnothersMatter)
{
    std::vector<Sent> inbox = Inbox({{RunType::SUBSCRIBE, "a"}});
    inbox.push_back({Phase::OPEN, Make(RunType::SUBSCRIBE, {})});
    std::set<std::string> held;
    EXPECT_EQ(RequestFault(inbox, RunType::SUBSCRIBE, &held), "");
    EXPECT_EQ(held, std::set<std::string>{"a"});
}

TEST(Published, AreWellFormedMessagesWithData)
{
    std::vector<Sent> inbox = Inbox({{RunType::SUBSCRIBE, "a"}});
    for (std::vector<std::string> payload : {std::vector<std::string>{}, {KEY}, {KEY, "me"}}) {
        inbox.push_back({Phase::OPEN, Make(RunType::PUBLISH_DATA, std::move(payload))});
    }
    const std::vector<const InstanceRunMessage*> found = Published(inbox);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0], inbox[3].message.get());
}

/// Two pages of which the second cannot be read.
class HalfReadable {
public:
    HalfReadable()
        : page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          begin(static_cast<char*>(
              mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        mprotect(begin + page, page, PROT_NONE);
    }
    HalfReadable(const HalfReadable&) = delete;
    HalfReadable& operator=(const HalfReadable&) = delete;
    ~HalfReadable() { munmap(begin, 2 * page); }
    char* End() const { return begin + page; }

private:
    std::size_t page;
    char* begin;
};

TEST(ForeignText, IsReadAsFarAsItGoes)
{
    const HalfReadable memory;
    std::memcpy(memory.End() - 4, "abc", 4);
    const ForeignText whole = ReadForeignText(memory.End() - 4);
    EXPECT_TRUE(whole.readable && whole.terminated);
    EXPECT_EQ(whole.text, "abc");
    memory.End()[-1] = 'd';
    const ForeignText open = ReadForeignText(memory.End() - 4);
    EXPECT_TRUE(open.readable);
    EXPECT_FALSE(open.terminated);
    EXPECT_EQ(open.text, "abcd");
    EXPECT_FALSE(ReadForeignText(memory.End()).readable);
    EXPECT_FALSE(ReadForeignText(nullptr).readable);
    EXPECT_EQ(ReadForeignText("abcdef", 3).text, "abc");
}

TEST(ForeignText, GoesOverPages)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::string text(3 * page, 't');
    EXPECT_EQ(ReadForeignText(text.c_str(), 4 * page).text, text);
    const HalfReadable memory;
    std::string bytes(page + 1, '\0');
    EXPECT_TRUE(ReadForeign(memory.End() - page, bytes.data(), page));
    EXPECT_FALSE(ReadForeign(memory.End() - page, bytes.data(), page + 1));
}

struct PublishedList {
    explicit PublishedList(std::string key) : message(RunType::PUBLISH_DATA, {std::move(key)})
    {
        message.dataList.topic = {instanceName.data(), topicName.data(), params.data()};
        message.dataList.data = records.data();
        message.dataList.len = records.size();
    }
    std::string instanceName = "me";
    std::string topicName = "t";
    std::string params;
    std::array<void*, 2> records{&instanceName, &topicName};
    InstanceRunMessage message;
};

TEST(PublishedTopicFault, TextsKeyAndSupportedTopicsAgree)
{
    sample::Instance instance("me");
    instance.supportTopics.push_back({"me", "t", ""});
    PublishedList good("me::t::");
    EXPECT_EQ(PublishedTopicFault(good.message, instance), "");
    EXPECT_EQ(PublishedTopicFault(PublishedList("me::u::").message, instance),
              "published the topic \"me::t::\" under the key \"me::u::\"");
    good.message.dataList.topic.params = nullptr;
    EXPECT_EQ(PublishedTopicFault(good.message, instance), "published a topic text that is null");
    const HalfReadable memory;
    good.message.dataList.topic.params = memory.End();
    EXPECT_EQ(PublishedTopicFault(good.message, instance), "published a topic text that cannot be read");
    instance.supportTopics.clear();
    EXPECT_EQ(PublishedTopicFault(PublishedList("me::t::").message, instance),
              "published \"me::t::\", which is not among its supportTopics");
}

TEST(RecordListFault, WantsARecordAtEveryEntry)
{
    PublishedList published("me::t::");
    DataList& list = published.message.dataList;
    EXPECT_EQ(RecordListFault(list), "");
    published.records[1] = nullptr;
    EXPECT_EQ(RecordListFault(list), "published a null record at entry 1");
    list.len = 0;
    EXPECT_EQ(RecordListFault(list), "published len 0");
    list.len = (1U << 20U) + 1;
    EXPECT_EQ(RecordListFault(list), "published len 1048577");
    const HalfReadable memory;
    list.len = 1;
    list.data = reinterpret_cast<void**>(memory.End());
    EXPECT_EQ(RecordListFault(list), "published a data array that cannot be read at entry 0");
    list.data = nullptr;
    EXPECT_EQ(RecordListFault(list), "published a null data array");
}

}  // namespace
