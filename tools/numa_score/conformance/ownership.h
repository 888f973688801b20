// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_OWNERSHIP_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_OWNERSHIP_H

#include <cstddef>

#include <string>

#include "scenario/framework.h"

namespace conformance {

/// Why rules about memory were not examined.
constexpr const char* NO_HEAP = "the heap that tells blocks apart is not to be had in this process";
constexpr const char* TOO_MANY_BLOCKS =
    "the plug-in has more, bigger or wider aligned blocks than can be watched";

/// Looks at what is published on the guarded heap: whose blocks the pieces are and from which operator. Marks
/// them as published. Each text holds the first fault of its kind, without the instance; empty when there is
/// none.
class OwnershipInspector {
public:
    /// One published list, taken from the queue just now.
    void Inspect(const DataList& dataList);

    /// At the end: what the heap saw of operator delete.
    void Conclude();

    std::size_t published = 0;
    std::string textFault;
    std::string arrayFault;
    std::string recordFault;
    std::string twiceFault;  ///< a block that was published before
    std::string freedFault;  ///< a block that was deleted after the push

private:
    void InspectText(const char* what, const char* text);
    void InspectRecords(const DataList& dataList);
};

/// Gives every piece of a published list back on the guarded heap; pieces that are no blocks of it stay.
void ReleasePublished(const DataList& dataList);

/// What stands at an address that is not the beginning of a block, as "memory that is no block of operator
/// new".
std::string ForeignPlace(const void* address);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_OWNERSHIP_H
