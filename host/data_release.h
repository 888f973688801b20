// SPDX-License-Identifier: MIT

#ifndef HOST_DATA_RELEASE_H
#define HOST_DATA_RELEASE_H

#include <cstdint>

#include "scenario/framework.h"

namespace host {

/// More records than any topic carries. A list that announces more is taken for damaged and its records are
/// not followed.
constexpr std::uint64_t MAX_RECORDS = 1U << 20U;

/// Releases what came with a message and belongs to the host since the push: the three texts and `data` with
/// delete[], each of the `len` records with the plain operator delete (records are trivially destructible).
/// Null pointers are passed over; the records of a list that announces more than MAX_RECORDS are leaked
/// rather than followed. Afterwards `dataList` is empty, so that a message that was pushed twice is released
/// once.
void ReleaseDataList(DataList& dataList) noexcept;

}  // namespace host

#endif  // HOST_DATA_RELEASE_H
