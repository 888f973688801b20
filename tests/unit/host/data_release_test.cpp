// SPDX-License-Identifier: MIT

#include "host/data_release.h"

#include <gtest/gtest.h>

#include "tests/support/fake_instance.h"

namespace {

using host::ReleaseDataList;

/// What is freed, and how, is AddressSanitizer's to judge: leaks, double frees and mismatched forms all fail.
void ExpectEmpty(const DataList& list)
{
    EXPECT_EQ(list.topic.instanceName, nullptr);
    EXPECT_EQ(list.topic.topicName, nullptr);
    EXPECT_EQ(list.topic.params, nullptr);
    EXPECT_EQ(list.len, 0U);
    EXPECT_EQ(list.data, nullptr);
}

TEST(ReleaseDataList, ReleasesEverythingAndCanBeRepeated)
{
    DataList list = support::NewDataList({"a", "b", "c"}, 3);
    ReleaseDataList(list);
    ExpectEmpty(list);
    ReleaseDataList(list);
    ExpectEmpty(list);
}

TEST(ReleaseDataList, PassesOverWhatIsNull)
{
    DataList noRecord;
    noRecord.topic.topicName = support::NewText("b");
    noRecord.len = 2;
    noRecord.data = new void*[2]();
    noRecord.data[1] = new std::uint64_t(1);
    ReleaseDataList(noRecord);
    ExpectEmpty(noRecord);

    DataList noArray;
    noArray.len = 5;
    ReleaseDataList(noArray);
    ExpectEmpty(noArray);

    DataList noLength;
    noLength.data = new void*[1]();
    ReleaseDataList(noLength);
    ExpectEmpty(noLength);
}

TEST(ReleaseDataList, DoesNotFollowAnAbsurdNumberOfRecords)
{
    DataList list;
    list.len = host::MAX_RECORDS + 1;
    list.data = new void*[1]();
    ReleaseDataList(list);
    ExpectEmpty(list);
}

}  // namespace
