// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PUBLISHED_SCORE_H
#define TESTS_SUPPORT_PUBLISHED_SCORE_H

#include <cstdint>

#include <memory>

#include "scenario/framework.h"

namespace support {

/// The record of "scenario_numa"/"system_score" as a reader sees it, written from the byte layout: a test
/// host may have a class of its own under every name that the plug-in uses.
struct PublishedScore {
    float score = 0.0F;
    std::uint32_t padding = 0;
    std::uint64_t ops = 0;
    std::uint64_t sccl = 0;
    std::uint64_t outer = 0;
    std::uint64_t interval = 0;
};
static_assert(sizeof(PublishedScore) == 40, "PublishedScore");

/// Takes the oldest message from the queue; null when there is none.
std::shared_ptr<kovari::InstanceRunMessage> TakeMessage(RunMessageQueue& queue);

/// Copies the published record out of a PUBLISH_DATA message and releases everything that the message
/// carries, as its owner must.
PublishedScore TakeScore(kovari::InstanceRunMessage& message);

/// Delivers one batch of three samples on the topic "uncore".
void DeliverCounts(kovari::Interface& instance, std::uint64_t outer, std::uint64_t sccl, std::uint64_t ops,
                   std::int32_t interval);

}  // namespace support

#endif  // TESTS_SUPPORT_PUBLISHED_SCORE_H
