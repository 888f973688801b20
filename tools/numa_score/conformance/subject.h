// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_SUBJECT_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_SUBJECT_H

#include <cstddef>

#include <memory>
#include <string>
#include <vector>

#include "scenario/framework.h"
#include "tools/numa_score/conformance/notes.h"

namespace conformance {

using Instances = std::vector<std::shared_ptr<kovari::Interface>>;

/// The plug-in that is examined: its library, and what its GetInstance gave. Loads in the constructor, which
/// notes where it is for the case that the process does not survive. Does not close the library by itself:
/// whoever examines ends the process.
class Subject {
public:
    Subject(const std::string& libraryPath, const Notes& notes);
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    ~Subject() = default;

    /// Empty, or why there are no instances: the text of the dynamic linker, what GetInstance raised.
    const std::string& Error() const { return error; }

    /// Throws std::runtime_error with Error() where there are no instances. For every rule behind the one
    /// that looks at GetInstance: what was loaded then and is not now could not be examined.
    void RequireInstances() const;

    /// What GetInstance appended, null pointers included.
    const Instances& Appended() const { return instances; }

    /// False when GetInstance changed what stood in the vector before.
    bool LeftOthersAlone() const { return othersLeftAlone; }

    /// Lets go of the instances, one after the other.
    void DropInstances() { instances.clear(); }

    /// dlclose. Nothing of the library may be in use any more.
    void CloseLibrary();

private:
    void CallEntry(void* entry);

    void* handle = nullptr;
    std::string error;
    Instances instances;
    bool othersLeftAlone = true;
};

/// `library` as the dynamic linker wants it: a name without a slash would be searched for elsewhere.
std::string LinkerPath(const std::string& library);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_SUBJECT_H
