// SPDX-License-Identifier: MIT

#include "tools/tarnix/settings_log.h"

#include <unistd.h>

#include <sstream>

#include "config/option_info.h"
#include "tools/tarnix/engine_options.h"
#include "tools/tarnix/messages.h"
#include "tools/tarnix_config/checked_file.h"

namespace tarnix {

std::vector<std::string> FileFaults(const std::string& path)
{
    std::vector<std::string> texts;
    if (access(path.c_str(), F_OK) != 0) {
        return texts;
    }
    const tarnix_config::CheckedFile file = tarnix_config::CheckFile(path, false);
    for (const tarnix_config::Fault& fault : file.faults) {
        if (texts.size() == MAX_FAULTS_TOLD) {
            texts.push_back(messages::MoreFaults(path, file.faults.size() - texts.size()));
            break;
        }
        texts.push_back(messages::FileFault(path, fault.line, fault.column, fault.text));
    }
    return texts;
}

void LogLines(LogLevel level, const std::string& text)
{
    const Log& log = logger->GetLog(LogType::TOOL);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        log.logFunc(level, line);
    }
}

void LogSettings(const Conf& conf)
{
    LogLines(LogLevel::INFO, OptionInfo(ConfigType::TARNIX).GetConfInfo(conf));
    if (const std::string names = EngineOptionsThatAreSet(conf); !names.empty()) {
        LogLines(LogLevel::INFO, messages::EngineOptions(names));
    }
}

}  // namespace tarnix
