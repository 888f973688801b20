// SPDX-License-Identifier: MIT

#include "tests/boundary/hostile_classes.h"

int g_hijackedCalls = 0;

NumaScenario& NumaScenario::GetInstance()
{
    static NumaScenario scenario;
    ++g_hijackedCalls;
    return scenario;
}

void NumaScenario::UpdateScoreParam(int /*len*/, const PmuData* /*data*/, int /*interval*/)
{
    ++g_hijackedCalls;
}

void NumaScenario::UpdatePmu(const std::string& /*topicKey*/, int /*len*/, const PmuData* /*data*/,
                             int /*interval*/)
{
    ++g_hijackedCalls;
}

void NumaScenario::GetNumaScore(ScenarioNumaScore& /*out*/)
{
    ++g_hijackedCalls;
}

void NumaScenario::ResetScoreParam()
{
    ++g_hijackedCalls;
}

namespace kovari {

NumaScenarioIns::NumaScenarioIns()
{
    ++g_hijackedCalls;
    name = "the host's";
}

NumaScenarioIns::~NumaScenarioIns()
{
    ++g_hijackedCalls;
}

Result NumaScenarioIns::OpenTopic(const Topic& /*topic*/)
{
    ++g_hijackedCalls;
    return {-1, "the host's"};
}

void NumaScenarioIns::CloseTopic(const Topic& /*topic*/)
{
    ++g_hijackedCalls;
}

void NumaScenarioIns::UpdateData(const DataList& /*dataList*/)
{
    ++g_hijackedCalls;
}

Result NumaScenarioIns::Enable(const std::string& /*param*/)
{
    ++g_hijackedCalls;
    return {-1, "the host's"};
}

void NumaScenarioIns::Disable()
{
    ++g_hijackedCalls;
}

void NumaScenarioIns::Run()
{
    ++g_hijackedCalls;
}

}  // namespace kovari

bool Stat::Init()
{
    ++g_hijackedCalls;
    return false;
}

int Stat::Run()
{
    ++g_hijackedCalls;
    return -1;
}

std::string Option::Parse(const std::string& /*text*/)
{
    ++g_hijackedCalls;
    return "the host's";
}

bool Conf::IsValid(bool /*quiet*/) const
{
    ++g_hijackedCalls;
    return false;
}

Metrics& Metrics::GetInstance()
{
    static Metrics metrics;
    ++g_hijackedCalls;
    return metrics;
}

bool Metrics::Init()
{
    ++g_hijackedCalls;
    return false;
}

bool Metrics::Dump()
{
    ++g_hijackedCalls;
    return false;
}

void Snapshot::Init()
{
    ++g_hijackedCalls;
}

void Log::Write(const std::string& /*line*/)
{
    ++g_hijackedCalls;
    ++GetInstance().lines;
}
