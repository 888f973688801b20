// SPDX-License-Identifier: MIT

#include "scenario/get_instance.h"

#include <dlfcn.h>

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/numa_scenario_ins.h"
#include "tests/unit/scenario/counting_new.h"

namespace {

using Instances = std::vector<std::shared_ptr<kovari::Interface>>;

class OtherInstance : public kovari::Interface {
public:
    Result OpenTopic(const kovari::Topic& /*topic*/) override { return {}; }
    void CloseTopic(const kovari::Topic& /*topic*/) override {}
    void UpdateData(const DataList& /*dataList*/) override {}
    Result Enable(const std::string& /*param*/) override { return {}; }
    void Disable() override {}
    void Run() override {}
};

TEST(GetInstance, AppendsOneInstance)
{
    Instances instances;
    GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    EXPECT_NE(dynamic_cast<kovari::NumaScenarioIns*>(instances[0].get()), nullptr);
    EXPECT_EQ(instances[0]->name, "scenario_numa");
    EXPECT_EQ(instances[0]->messageQueue, nullptr);
    EXPECT_EQ(instances[0].use_count(), 1);
}

TEST(GetInstance, LeavesExistingEntriesAlone)
{
    const auto other = std::make_shared<OtherInstance>();
    Instances instances = {other, nullptr};
    GetInstance(instances);
    ASSERT_EQ(instances.size(), 3U);
    EXPECT_EQ(instances[0], other);
    EXPECT_EQ(instances[1], nullptr);
    ASSERT_NE(instances[2], nullptr);
    EXPECT_EQ(instances[2]->name, "scenario_numa");
}

TEST(GetInstance, EachCallHandsOutAnInstanceOfItsOwn)
{
    Instances instances;
    GetInstance(instances);
    GetInstance(instances);
    ASSERT_EQ(instances.size(), 2U);
    EXPECT_NE(instances[0], instances[1]);
}

TEST(GetInstance, IsFoundUnderItsPlainName)
{
    void* symbol = dlsym(RTLD_DEFAULT, "GetInstance");
    ASSERT_NE(symbol, nullptr) << dlerror();
    Instances instances;
    reinterpret_cast<void (*)(Instances&)>(symbol)(instances);
    EXPECT_EQ(instances.size(), 1U);
}

TEST(GetInstance, FailingAllocationLeavesTheVectorAsItWas)
{
    const auto other = std::make_shared<OtherInstance>();
    long failures = 0;
    for (;; ++failures) {
        Instances instances = {other};
        instances.shrink_to_fit();
        if (!counting_new::FailsAt(failures, [&instances] { GetInstance(instances); })) {
            EXPECT_EQ(instances.size(), 2U);
            break;
        }
        EXPECT_EQ(instances, Instances{other}) << "allocation " << failures;
    }
    EXPECT_GE(failures, 3) << "the instance, its texts and the vector at least";
    EXPECT_EQ(other.use_count(), 1);
}

}  // namespace
