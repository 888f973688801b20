// SPDX-License-Identifier: MIT

#include "common/net_probe.h"
#include "common/string_util.h"
#include "config/conf_enums.h"
#include "config/option_builders.h"
#include "config/options.h"
#include "config/reader_messages.h"

namespace {

using option_builders::Described;
using option_builders::WITHOUT_LETTER;

TnResult ParseIp(const ParseInput& input, TnStatConf& conf)
{
    if (!IsValidIpAddress(input.value)) {
        return reader_messages::BadIpAddress(input.value);
    }
    conf.ip = input.value;
    return {};
}

TnResult ParsePort(const ParseInput& input, TnStatConf& conf)
{
    unsigned port = 0;
    if (!StringToUint(input.value, port) || !IsValidPort(port)) {
        return reader_messages::BadPort(input.value);
    }
    conf.port = port;
    return {};
}

}  // namespace

Option GetTnstatExportOpt()
{
    Option opt = Described(
        {"TnstatExportTypeOpt", 'e', "export", "<type>"},
        {OptAttr::CMD, OptAttr::SHORT_OPT, OptAttr::LONG_OPT, OptAttr::REQUIRED_ARG, OptAttr::TNSTAT},
        "tnstat export type, support [report, csv, node_exporter]\n", {});
    opt.tnstatParseFunc = [key = opt.longOpt](const ParseInput& input, TnStatConf& conf) {
        return CommonParseEnum(input, key, g_tnstatExportTypeMap, conf.exportType);
    };
    return opt;
}

Option GetTnstatHelpOpt()
{
    Option opt = Described({"TnstatHelpOpt", 'h', "help", ""},
                           {OptAttr::CMD, OptAttr::SHORT_OPT, OptAttr::LONG_OPT, OptAttr::TNSTAT},
                           "show tnstat help info\n", {});
    opt.tnstatParseFunc = [key = opt.longOpt](const ParseInput& input, TnStatConf& conf) {
        return CommonParseBool(input, key, conf.help);
    };
    return opt;
}

Option GetTnstatRepeatOpt()
{
    Option opt =
        Described({"TnstatRepeatOpt", WITHOUT_LETTER, "repeat", ""},
                  {OptAttr::CMD, OptAttr::LONG_OPT, OptAttr::TNSTAT}, "tnstat repeat and exit\n", {});
    opt.tnstatParseFunc = [](const ParseInput&, TnStatConf& conf) {
        conf.repeat = true;
        return TnResult();
    };
    return opt;
}

Option GetTnstatIpOpt()
{
    Option opt = Described({"TnstatIpOpt", WITHOUT_LETTER, "ip", "<ip_address>"},
                           {OptAttr::CMD, OptAttr::LONG_OPT, OptAttr::REQUIRED_ARG, OptAttr::TNSTAT},
                           "Prometheus exporter IP address, supports IPv4 (default: 0.0.0.0)\n", {});
    opt.tnstatParseFunc = ParseIp;
    return opt;
}

Option GetTnstatPortOpt()
{
    Option opt = Described({"TnstatPortOpt", WITHOUT_LETTER, "port", "<port>"},
                           {OptAttr::CMD, OptAttr::LONG_OPT, OptAttr::REQUIRED_ARG, OptAttr::TNSTAT},
                           "Prometheus exporter port (default: 9101, range: 1-65535)\n", {});
    opt.tnstatParseFunc = ParsePort;
    return opt;
}
