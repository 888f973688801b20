// SPDX-License-Identifier: MIT

#include "tools/tarnix/log_gate.h"

#include <mutex>
#include <string>

#include "common/logger_ctl.h"

namespace tarnix {
namespace {

std::mutex g_gate;

}  // namespace

void GateRuntimeLog()
{
    logger->SetLogFunc(
        LogType::RUNTIME,
        [](LogLevel level, const std::string& text) {
            const std::lock_guard<std::mutex> lock(g_gate);
            DefaultLogFunc(level, text);
        },
        [](LogLevel level, const std::string& text) {
            const std::lock_guard<std::mutex> lock(g_gate);
            DefaultSnapFunc(level, text);
        });
}

void RenewLogFile()
{
    const std::lock_guard<std::mutex> lock(g_gate);
    logger->ReloadLogFile();
}

}  // namespace tarnix
