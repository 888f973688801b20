// SPDX-License-Identifier: MIT

#ifndef SCENARIO_NUMA_SCENARIO_INS_H
#define SCENARIO_NUMA_SCENARIO_INS_H

#include <string>
#include <unordered_set>

#include "scenario/export.h"
#include "scenario/framework.h"

namespace kovari {

/// The instance that this library gives the host. Publishes "scenario_numa"/"system_score". While that topic
/// is open it subscribes to "pmu_uncore_collector"/"uncore", hands every batch to NumaScenario, and publishes
/// one ScenarioNumaScore per Run. Each subscription reaches the host exactly once.
///
/// Thread rule and ownership as kovari::Interface has them. OpenTopic, CloseTopic, Disable and Run push on
/// `messageQueue`; if the host never set it they raise std::system_error (operation not permitted). When
/// memory runs out they raise std::bad_alloc and change nothing, so that the next call does it all.
class SCENARIO_NUMA_EXPORT NumaScenarioIns : public Interface {
public:
    NumaScenarioIns();
    ~NumaScenarioIns() override;

    /// Opens "system_score" and subscribes to the uncore samples. Only instance "scenario_numa", topic
    /// "system_score", empty params match; anything else is answered with code -1 and changes nothing.
    Result OpenTopic(const Topic& topic) override;

    /// Unsubscribes and closes "system_score"; a topic that does not match is ignored.
    void CloseTopic(const Topic& topic) override;

    /// Takes a batch of any publisher whose topic name is "uncore"; `len` is not consulted, only data[0] is
    /// read. A null topic name raises std::logic_error; null data is skipped.
    void UpdateData(const DataList& dataList) override;

    /// Does nothing and succeeds; subscription starts with OpenTopic.
    Result Enable(const std::string& param) override;

    /// Unsubscribes. "system_score" stays open on purpose: a host that still calls Run is still served.
    void Disable() override;

    /// While "system_score" is open: publishes the score of the period and starts the next one. The published
    /// texts, array and record belong to the host from the push on.
    void Run() override;

    std::unordered_set<std::string> subscribedTopics;  ///< keys of the topics subscribed to
    Topic subscribeTopic;                              ///< "pmu_uncore_collector"/"uncore"
    Topic publishTopic;                                ///< "scenario_numa"/"system_score"
    bool opened = false;                               ///< "system_score" is open
    std::string topicName;                             ///< "system_score"
};

}  // namespace kovari

#endif  // SCENARIO_NUMA_SCENARIO_INS_H
