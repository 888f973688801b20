// SPDX-License-Identifier: MIT

#include "tools/tarnix/engine_options.h"

#include <gtest/gtest.h>

namespace {

TEST(TarnixEngineOptions, DefaultsAreNone)
{
    EXPECT_EQ(tarnix::EngineOptionsThatAreSet(g_defaultConf), "");
}

TEST(TarnixEngineOptions, WhatTheProgramDoesItselfIsNone)
{
    Conf conf = g_defaultConf;
    conf.samplingInterval = 200;
    conf.samplingTimes = 3;
    conf.watchdogTimeout = 5;
    conf.snapshotInterval = 1;
    conf.logLevel = SysLogLevel::DEBUG;
    conf.logFile = "/tmp/x";
    conf.metrics = false;
    EXPECT_EQ(tarnix::EngineOptionsThatAreSet(conf), "");
}

TEST(TarnixEngineOptions, NamesTheEnginesInTheOrderOfTheReport)
{
    Conf conf = g_defaultConf;
    conf.samplingInterval = 200;
    conf.whitelist = {"a: b\nc"};
    conf.tuneMode = TuneMode::PAGE;
    conf.spePeriod = 1;
    conf.process["x"] = {ProcConf()};
    EXPECT_EQ(tarnix::EngineOptionsThatAreSet(conf), "spe-period, tune-mode, whitelist, process");
}

}  // namespace
