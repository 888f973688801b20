// SPDX-License-Identifier: MIT

#include "config/reader_messages.h"

#include "config/value_readers.h"

namespace reader_messages {

TnResult NotAScalar(const std::string& key)
{
    return {1, key + " is not a scalar"};
}

TnResult NotAnUnsigned(ParseStage stage, const std::string& key, const std::string& text)
{
    return {1, GetStageLog(stage) + " error: " + key + " should be a unsigned int value but now is " + text +
                   "\n"};
}

TnResult NotOneOf(ParseStage stage, const std::string& key, const std::vector<std::string>& names,
                  const std::string& text)
{
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return {1, GetStageLog(stage) + " error: " + key + " should be in [" + list + "], now is " + text + "\n"};
}

TnResult UnknownStage()
{
    return {0, "unknown stage"};
}

TnResult NotFound(const std::string& key)
{
    return {0, key + " not found"};
}

TnResult NotASequence(const std::string& key)
{
    return {1, key + " is not a sequence"};
}

TnResult ParamsNotSet(const std::string& key)
{
    return {0, key + " params not set"};
}

TnResult WithoutValidValue(const std::string& key)
{
    return {1, key + " params without vaild value"};
}

TnResult MoreItemsThan(const std::string& key, std::size_t limit)
{
    return {1, key + " has more than " + std::to_string(limit) + " items"};
}

TnResult MoreKeysThan(const std::string& key, std::size_t limit)
{
    return {1, key + " has more than " + std::to_string(limit) + " keys"};
}

TnResult MoreBytesThan(const std::string& key, std::size_t limit)
{
    return {1, key + " has more than " + std::to_string(limit) + " bytes of text"};
}

TnResult OnlyInFile(const std::string& key)
{
    return {0, key + " only support in yaml"};
}

TnResult IsEmpty(const std::string& key)
{
    return {0, key + " is empty"};
}

TnResult ProcessNameIsEmpty()
{
    return {1, "process name is empty"};
}

TnResult RatioIsNoUnsigned(const std::string& text)
{
    return {1, " numa-ratio is not a unsigned int value, value is " + text};
}

TnResult BadIpAddress(const std::string& value)
{
    return {1,
            "ip should be a valid IPv4 or IPv6 address (e.g., 0.0.0.0, 127.0.0.1, ::1, or 2001:db8::1) but "
            "now is " +
                value};
}

TnResult BadPort(const std::string& value)
{
    return {1, "port should be in range 1-65535 but now is " + value};
}

}  // namespace reader_messages
