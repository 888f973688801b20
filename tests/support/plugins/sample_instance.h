// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PLUGINS_SAMPLE_INSTANCE_H
#define TESTS_SUPPORT_PLUGINS_SAMPLE_INSTANCE_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "scenario/framework.h"

/// Marks what a sample plug-in exports.
#define SAMPLE_EXPORT __attribute__((visibility("default")))

namespace sample {

using Interfaces = std::vector<std::shared_ptr<kovari::Interface>>;

/// Does nothing and succeeds at it.
class Instance : public kovari::Interface {
public:
    explicit Instance(std::string instanceName) { name = std::move(instanceName); }

    Result OpenTopic(const kovari::Topic& /*topic*/) override { return {}; }
    void CloseTopic(const kovari::Topic& /*topic*/) override {}
    void UpdateData(const DataList& /*dataList*/) override {}
    Result Enable(const std::string& /*param*/) override { return {}; }
    void Disable() override {}
    void Run() override {}
};

}  // namespace sample

#endif  // TESTS_SUPPORT_PLUGINS_SAMPLE_INSTANCE_H
