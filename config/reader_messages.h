// SPDX-License-Identifier: MIT

#ifndef CONFIG_READER_MESSAGES_H
#define CONFIG_READER_MESSAGES_H

#include <cstddef>

#include <string>
#include <vector>

#include "config/parse_input.h"
#include "config/tn_result.h"

/// Every result of the value readers that carries a message. Code 1 where a reader fails, code 0 where it has
/// a remark. Texts are put in as they are: whoever logs a message escapes it.
namespace reader_messages {

TnResult NotAScalar(const std::string& key);
TnResult NotAnUnsigned(ParseStage stage, const std::string& key, const std::string& text);
TnResult NotOneOf(ParseStage stage, const std::string& key, const std::vector<std::string>& names,
                  const std::string& text);
TnResult UnknownStage();

TnResult NotFound(const std::string& key);
TnResult NotASequence(const std::string& key);
TnResult ParamsNotSet(const std::string& key);
TnResult WithoutValidValue(const std::string& key);
TnResult MoreItemsThan(const std::string& key, std::size_t limit);
TnResult MoreKeysThan(const std::string& key, std::size_t limit);
TnResult MoreBytesThan(const std::string& key, std::size_t limit);

TnResult OnlyInFile(const std::string& key);
TnResult IsEmpty(const std::string& key);
TnResult ProcessNameIsEmpty();
TnResult RatioIsNoUnsigned(const std::string& text);

TnResult BadIpAddress(const std::string& value);
TnResult BadPort(const std::string& value);

}  // namespace reader_messages

#endif  // CONFIG_READER_MESSAGES_H
