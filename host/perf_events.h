// SPDX-License-Identifier: MIT

#ifndef HOST_PERF_EVENTS_H
#define HOST_PERF_EVENTS_H

#include <cstddef>
#include <cstdint>

#include <memory>
#include <string>
#include <vector>

#include "host/pmu_terms.h"

namespace host {

/// What perf_event_open is told about one counter.
struct CounterRequest {
    std::uint32_t type = 0;  ///< number of the PMU
    EventConfig config;
    std::uint32_t cpu = 0;
    int groupFd = -1;       ///< leader of the group, -1 for a leader or a counter alone
    bool grouped = false;   ///< a read of the leader yields the whole group
    bool disabled = false;  ///< counts only once Enable was called on it
};

/// Open descriptors that this process may have: the limit in force, and how far it may be raised.
struct DescriptorLimit {
    std::uint64_t soft = 0;
    std::uint64_t hard = 0;
};

/// The kernel's counters; the seam that lets tests stand in for the hardware. One thread at a time.
class PerfApi {
public:
    PerfApi() = default;
    PerfApi(const PerfApi&) = delete;
    PerfApi& operator=(const PerfApi&) = delete;
    virtual ~PerfApi() = default;

    /// A close-on-exec descriptor, counting system-wide on one CPU; a negative errno value on failure.
    virtual int Open(const CounterRequest& request) = 0;

    /// Bytes that were read, 0 at the end of file; a negative errno value on failure.
    virtual std::ptrdiff_t Read(int fd, void* buffer, std::size_t size) = 0;

    /// Starts a group that was opened disabled. 0, or a negative errno value.
    virtual int Enable(int fd) = 0;

    virtual void Close(int fd) = 0;

    virtual DescriptorLimit Limit() = 0;

    /// 0, or a negative errno value.
    virtual int SetSoftLimit(std::uint64_t soft) = 0;
};

/// The kernel of this machine.
PerfApi& SystemPerfApi();

/// One event as it is to be counted.
struct CounterEvent {
    std::string label;  ///< for messages, for example "msr/rx_outer/"
    EventConfig config;
};

/// One counter since it was opened. Times in nanoseconds: how long it was meant to count and how long it did.
struct CounterReading {
    std::uint64_t value = 0;
    std::uint64_t enabledNs = 0;
    std::uint64_t runningNs = 0;
};

/// The events of one PMU on one CPU, in one group where the PMU can count them at once, else one by one.
/// Closes its descriptors when it goes. `api` must outlive it.
class CounterSet {
public:
    explicit CounterSet(PerfApi& perfApi);
    CounterSet(const CounterSet&) = delete;
    CounterSet& operator=(const CounterSet&) = delete;
    ~CounterSet();

    /// Opens and starts all events or none. Empty, or one line that names event, CPU, errno and remedy.
    /// Raises the soft limit of descriptors when it is in the way.
    std::string Open(std::uint32_t type, std::uint32_t cpu, const std::vector<CounterEvent>& events);

    /// Reads every counter, in the order of the events; the vector is given their number of elements. Empty,
    /// or one line that says why not; the readings are then without meaning.
    std::string Read(std::vector<CounterReading>& readings);

    bool IsGroup() const { return group; }

private:
    int OpenCounter(CounterRequest& request);
    int OpenAll(std::uint32_t type, std::uint32_t cpu, const std::vector<CounterEvent>& events,
                std::size_t& failed);
    int ReadBytes(int fd, std::size_t words);
    void Close();

    PerfApi& api;
    bool group = false;
    std::uint32_t openCpu = 0;
    std::vector<int> descriptors;
    std::vector<std::string> labels;
    std::vector<std::uint64_t> buffer;
};

/// Name and text of an errno value, for example "EACCES (Permission denied)".
std::string ErrnoName(int errorNumber);

/// One line for a counter that could not be opened: event, CPU, errno and what helps.
std::string OpenFailureMessage(const std::string& label, std::uint32_t cpu, int errorNumber,
                               const DescriptorLimit& limit);

/// The part of `delta.value` that a counter would have reached had it counted all the time: value * enabled /
/// running, rounded to the nearest; exact when it counted all the time; the largest number when the result is
/// too large. 0 when it did not count.
std::uint64_t ScaleCount(const CounterReading& delta);

}  // namespace host

#endif  // HOST_PERF_EVENTS_H
