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

void Stat::UpdateProcStat()
{
    ++g_hijackedCalls;
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

bool Metrics::Init(bool /*quiet*/)
{
    ++g_hijackedCalls;
    return false;
}

void Metrics::ClearMetrics()
{
    ++g_hijackedCalls;
}

int GetPageSizeKb()
{
    ++g_hijackedCalls;
    return -1;
}

float Kb2Mb(float /*kb*/)
{
    ++g_hijackedCalls;
    return -1;
}

LoggerCtl& LoggerCtl::GetInstance()
{
    static LoggerCtl ctl;
    ++g_hijackedCalls;
    return ctl;
}

bool LoggerCtl::SetLogFile(const std::string& /*name*/)
{
    ++g_hijackedCalls;
    return false;
}

void* LoggerCtl::GetLog(LogType /*type*/)
{
    ++g_hijackedCalls;
    return nullptr;
}

void LoggerCtl::LogStandalone(LogLevel /*level*/, const std::string& /*message*/)
{
    ++g_hijackedCalls;
}

void DefaultLogFunc(LogLevel /*level*/, const std::string& /*message*/)
{
    ++g_hijackedCalls;
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
