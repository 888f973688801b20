// SPDX-License-Identifier: MIT
//
// Uses the installed library as a program of somebody else's would: the score, the plug-in's entry point, the
// configuration, the runtime services. Ends with 0 when every answer is the right one.

#include <cstdint>
#include <cstdio>

#include <memory>
#include <string>
#include <vector>

#include <common/metrics.h>
#include <common/probes.h>
#include <config/conf_ctl.h>
#include <config/option_info.h>
#include <scenario/get_instance.h>
#include <scenario/numa_scenario.h>

namespace {

int g_wrong = 0;

void Expect(bool holds, const char* what)
{
    std::printf("%s: %s\n", what, holds ? "as expected" : "WRONG");
    g_wrong += holds ? 0 : 1;
}

void TheScore()
{
    PmuData samples[3];
    samples[0].eventName = "uncore_l3c0/rx_ops_num/";
    samples[0].count = 1000;
    samples[1].eventName = "uncore_l3c0/rx_outer/";
    samples[1].count = 200;
    samples[2].eventName = "uncore_l3c0/rx_sccl/";
    samples[2].count = 50;
    NumaScenario& scenario = NumaScenario::GetInstance();
    scenario.UpdateScoreParam(3, samples, 100);
    ScenarioNumaScore score;
    scenario.GetNumaScore(score);
    Expect(score.numaScore == 0.75F && score.rxOuterNum == 200 && score.interval == 100, "score");
    scenario.ResetScoreParam();
}

void TheEntryPoint()
{
    std::vector<std::shared_ptr<kovari::Interface>> instances;
    GetInstance(instances);
    Expect(instances.size() == 1 && instances.front()->name == "scenario_numa", "instance");
}

void TheConfiguration()
{
    ConfCtl control;
    Conf conf;
    TnResult warning;
    const TnResult good = control.ParseStringCmd("cmd:-i 200", conf, warning);
    Expect(good.code == 0 && conf.samplingInterval == 200, "parameter");
    const TnResult bad = control.ParseStringCmd("cmd:-i 99", conf, warning);
    Expect(bad.code == 1 && conf.samplingInterval == 200, "parameter out of range");
    Expect(GetVersionInfo().find("tarnix version: " EXPECTED_VERSION "\n") == 0, "version");
}

void TheServices(const std::string& path)
{
    unsigned number = 7;
    Expect(StringToUint("42", number) && number == 42 && !StringToUint("4x", number), "number");
    Metrics written;
    written.Init(true);
    written.path = path;
    written.UpdateLoopCnt(12);
    written.Dump();
    SystemMetrics read;
    Expect(written.GetMetricsFromFile(read) && read.loopCnt == 12, "metrics file");
    Expect(GetSystemMetricsReport(read).find("12") != std::string::npos, "report");
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: consumer METRICS_FILE\n");
        return 2;
    }
    TheScore();
    TheEntryPoint();
    TheConfiguration();
    TheServices(argv[1]);
    return g_wrong == 0 ? 0 : 1;
}
