// SPDX-License-Identifier: MIT

#include "host/data_release.h"

#include <memory>
#include <new>

namespace host {

void ReleaseDataList(DataList& dataList) noexcept
{
    const std::unique_ptr<char[]> instanceName(dataList.topic.instanceName);
    const std::unique_ptr<char[]> topicName(dataList.topic.topicName);
    const std::unique_ptr<char[]> params(dataList.topic.params);
    const std::unique_ptr<void*[]> data(dataList.data);
    if (data && dataList.len <= MAX_RECORDS) {
        for (std::uint64_t i = 0; i < dataList.len; ++i) {
            ::operator delete(data[i]);
        }
    }
    dataList = DataList();
}

}  // namespace host
