// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/reports.h"

#include "common/escape_control.h"
#include "config/option_info.h"
#include "tools/tarnix_config/digest.h"

namespace tarnix_config {

std::string FaultReport(const std::string& path, const CheckedFile& file)
{
    std::string report;
    for (const Fault& fault : file.faults) {
        report += runtime::EscapeControl(path) + ":";
        if (fault.line != 0) {
            report += std::to_string(fault.line) + ":" + std::to_string(fault.column) + ":";
        }
        report += " " + fault.text + "\n";
    }
    return report;
}

std::string ShowReport(const Conf& conf)
{
    return OptionInfo(ConfigType::TARNIX).GetConfInfo(conf);
}

std::string DiffReport(const Conf& conf)
{
    // The reports have the same keys in the same order: line by line.
    const std::vector<std::string> defaults = SplitByNewline(ShowReport(g_defaultConf));
    const std::vector<std::string> settings = SplitByNewline(ShowReport(conf));
    const std::string separator = ": ";
    std::string report;
    for (std::size_t i = 0; i < settings.size() && i < defaults.size(); ++i) {
        if (settings[i] != defaults[i]) {
            const std::size_t value = settings[i].find(separator) + separator.size();
            report += defaults[i] + " -> " + settings[i].substr(value) + "\n";
        }
    }
    return report;
}

std::string HashReport(const Conf& conf)
{
    return Sha256(ShowReport(conf)) + "\n";
}

}  // namespace tarnix_config
