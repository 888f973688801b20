// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/ownership.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstring>

#include "host/data_release.h"
#include "host/escape.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/messages.h"

namespace conformance {
namespace {

using guarded_heap::Block;
using guarded_heap::Form;
using guarded_heap::State;
using guarded_heap::Tag;

void Note(std::string& first, const std::string& fault)
{
    if (first.empty()) {
        first = fault;
    }
}

const char* FormText(Form form)
{
    return form == Form::ARRAY ? "new[]" : "new";
}

/// What one piece of a published list ought to be.
struct Wanted {
    std::string what;
    Form form;
    Tag tag;
    std::size_t size;  ///< at least
};

/// Marks a piece as published when it is what is wanted. False when its content must not be read.
bool InspectPiece(OwnershipInspector& inspector, std::string& fault, const Wanted& wanted, const void* piece)
{
    if (piece == nullptr) {
        Note(fault, "published " + wanted.what + " that is null");
        return false;
    }
    const Block block = guarded_heap::Find(piece);
    switch (block.state) {
        case State::UNKNOWN:
        case State::INSIDE:
            Note(fault, "published " + wanted.what + " in " + ForeignPlace(piece));
            return false;
        case State::FREED:
            Note(inspector.freedFault, "deleted " + wanted.what + " after the push");
            return false;
        case State::RELEASED:
            Note(inspector.twiceFault, "published " + wanted.what + " in a block that was released already");
            return false;
        case State::LIVE:
            break;
    }
    if (block.tag != Tag::NONE) {
        Note(inspector.twiceFault, "published " + wanted.what + " in a block that was published already");
        return true;
    }
    if (block.form != wanted.form) {
        Note(fault, "published " + wanted.what + " in a block from " + FormText(block.form));
    } else if (block.size < wanted.size) {
        Note(fault, "published " + wanted.what + " in a block of " + std::to_string(block.size) + " bytes");
    }
    guarded_heap::SetTag(piece, wanted.tag);
    return true;
}

/// Calls `function` with each record of a list that can be followed.
template <typename Function>
void ForEachRecord(const DataList& dataList, Function&& function)
{
    if (dataList.data == nullptr || dataList.len > host::MAX_RECORDS) {
        return;
    }
    for (std::uint64_t i = 0; i < dataList.len; ++i) {
        void* record = nullptr;
        if (!ReadForeign(dataList.data + i, &record, sizeof record)) {
            return;
        }
        function(record);
    }
}

}  // namespace

std::string ForeignPlace(const void* address)
{
    if (guarded_heap::Find(address).state == State::INSIDE) {
        return "the middle of a block";
    }
    Dl_info info{};
    if (dladdr(address, &info) != 0 && info.dli_fname != nullptr) {
        const char* const slash = std::strrchr(info.dli_fname, '/');
        return "constant or static data of " +
               host::EscapeText(slash == nullptr ? info.dli_fname : slash + 1, 64);
    }
    return "memory that is no block of operator new";
}

void OwnershipInspector::Inspect(const DataList& dataList)
{
    ++published;
    InspectText("an instance name", dataList.topic.instanceName);
    InspectText("a topic name", dataList.topic.topicName);
    InspectText("parameters", dataList.topic.params);
    InspectRecords(dataList);
}

void OwnershipInspector::InspectText(const char* what, const char* text)
{
    const Wanted wanted{what, Form::ARRAY, Tag::TEXT, 1};
    if (!InspectPiece(*this, textFault, wanted, text)) {
        return;
    }
    const Block block = guarded_heap::Find(text);
    if (block.state == State::LIVE && std::memchr(text, '\0', block.size) == nullptr) {
        Note(textFault, std::string("published ") + what + " without a NUL in its block of " +
                            std::to_string(block.size) + " bytes");
    }
}

void OwnershipInspector::InspectRecords(const DataList& dataList)
{
    const std::size_t size = dataList.len > host::MAX_RECORDS ? 1 : dataList.len * sizeof(void*);
    const bool readable =
        InspectPiece(*this, arrayFault, {"a data array", Form::ARRAY, Tag::ARRAY, size}, dataList.data);
    const Block array = guarded_heap::Find(dataList.data);
    if (array.state == State::FREED || array.state == State::RELEASED ||
        (readable && array.size < dataList.len * sizeof(void*))) {
        return;
    }
    ForEachRecord(dataList, [this](const void* record) {
        if (record != nullptr) {
            InspectPiece(*this, recordFault, {"a record", Form::SINGLE, Tag::RECORD, 1}, record);
        }
    });
}

void OwnershipInspector::Conclude()
{
    const guarded_heap::Faults faults = guarded_heap::FaultsSoFar();
    if (faults.taggedFrees != 0) {
        Note(freedFault, std::string("called operator delete on ") + guarded_heap::TagText(faults.firstTag));
    }
}

void ReleasePublished(const DataList& dataList)
{
    ForEachRecord(dataList, [](void* record) {
        guarded_heap::SetTag(record, Tag::RECORD);
        guarded_heap::Release(record);
    });
    guarded_heap::SetTag(dataList.data, Tag::ARRAY);
    guarded_heap::Release(dataList.data);
    for (const char* const text :
         {dataList.topic.instanceName, dataList.topic.topicName, dataList.topic.params}) {
        guarded_heap::SetTag(text, Tag::TEXT);
        guarded_heap::Release(text);
    }
}

}  // namespace conformance
