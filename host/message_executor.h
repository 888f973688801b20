// SPDX-License-Identifier: MIT

#ifndef HOST_MESSAGE_EXECUTOR_H
#define HOST_MESSAGE_EXECUTOR_H

#include <cstdint>

#include <string>
#include <utility>

#include "host/driven_instance.h"
#include "host/topic_table.h"
#include "scenario/framework.h"

namespace host {

/// Does what one message of an instance asks for, or reports what is wrong with it. Leaves the release of the
/// message's data to the caller. For the pump's thread only.
class MessageExecutor {
public:
    /// Both must outlive this object.
    MessageExecutor(PumpContext& pumpContext, TopicTable& topicTable);

    void Execute(DrivenInstance& sender, const kovari::InstanceRunMessage& message);

    /// Reports a null pointer that stood in the queue of `sender`.
    void RefuseNull(DrivenInstance& sender);

    /// From now on nothing is subscribed to and nothing routed; messages are checked as before.
    void BeginClosing() { closing = true; }

private:
    void Subscribe(DrivenInstance& sender, const kovari::InstanceRunMessage& message);
    void Unsubscribe(DrivenInstance& sender, const kovari::InstanceRunMessage& message);
    void Publish(DrivenInstance& sender, const kovari::InstanceRunMessage& message);
    bool IsOwnRequest(DrivenInstance& sender, const kovari::InstanceRunMessage& message);
    bool HasGoodData(DrivenInstance& sender, const std::string& key, const DataList& dataList);

    /// Reports a fault of a message and counts it among the wrong ones.
    template <typename Line, typename... Facts>
    void Wrong(DrivenInstance& sender, Fault fault, Line&& line, Facts&&... facts)
    {
        ++context.wrongMessages;
        sender.Report(fault, std::forward<Line>(line), std::forward<Facts>(facts)...);
    }

    PumpContext& context;
    TopicTable& topics;
    bool closing = false;
};

}  // namespace host

#endif  // HOST_MESSAGE_EXECUTOR_H
