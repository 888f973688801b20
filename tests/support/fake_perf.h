// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_FAKE_PERF_H
#define TESTS_SUPPORT_FAKE_PERF_H

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "host/perf_events.h"

namespace support {

/// Counters that count what the test says, with the kernel's rules: a group is read through its leader, a
/// disabled group stands still, descriptors run out at the soft limit.
class FakePerf : public host::PerfApi {
public:
    struct Counter {
        host::CounterRequest request;
        bool enabled = true;
        std::uint64_t value = 0;
        std::uint64_t enabledNs = 0;
        std::uint64_t runningNs = 0;
    };

    int Open(const host::CounterRequest& request) override
    {
        ++openCalls;
        if (onOpen) {
            const int code = onOpen(request);
            if (code != 0) {
                return -code;
            }
        }
        if (counters.size() + otherDescriptors >= limit.soft) {
            return -EMFILE;
        }
        if (request.groupFd != -1 &&
            (counters.count(request.groupFd) == 0 || counters[request.groupFd].request.type != request.type ||
             counters[request.groupFd].request.cpu != request.cpu)) {
            return -EINVAL;
        }
        const int fd = nextFd++;
        counters[fd].request = request;
        counters[fd].enabled = !request.disabled;
        opened.push_back(request);
        return fd;
    }

    std::ptrdiff_t Read(int fd, void* buffer, std::size_t size) override
    {
        ++readCalls;
        if (onRead) {
            const std::ptrdiff_t answer = onRead(counters.at(fd).request);
            if (answer <= 0) {
                return answer;
            }
            size = std::min(size, static_cast<std::size_t>(answer));
        }
        const Counter& leader = counters.at(fd);
        std::vector<std::uint64_t> words;
        if (leader.request.grouped) {
            words = {0, leader.enabledNs, leader.runningNs};
            for (const auto& [member, counter] : counters) {
                if (member == fd || counter.request.groupFd == fd) {
                    words.push_back(counter.value);
                    ++words[0];
                }
            }
        } else {
            words = {leader.value, leader.enabledNs, leader.runningNs};
        }
        const std::size_t bytes = std::min(size, words.size() * sizeof(std::uint64_t));
        std::memcpy(buffer, words.data(), bytes);
        return static_cast<std::ptrdiff_t>(bytes);
    }

    int Enable(int fd) override
    {
        counters.at(fd).enabled = true;
        return enableError == 0 ? 0 : -enableError;
    }

    void Close(int fd) override
    {
        if (counters.erase(fd) == 0) {
            ++badCloses;
        }
    }

    host::DescriptorLimit Limit() override { return limit; }

    int SetSoftLimit(std::uint64_t soft) override
    {
        if (soft > limit.hard) {
            return -EPERM;
        }
        limit.soft = soft;
        limitsSet.push_back(soft);
        return 0;
    }

    /// The counter of a PMU type on a CPU with this config word; it must be open.
    Counter& At(std::uint32_t type, std::uint32_t cpu, std::uint64_t config)
    {
        for (auto& [fd, counter] : counters) {
            if (counter.request.type == type && counter.request.cpu == cpu &&
                counter.request.config.words[0] == config) {
                return counter;
            }
        }
        missing.value = ~std::uint64_t{0};
        return missing;
    }

    /// Lets time pass for every counter; `share` percent of it they run.
    void Pass(std::uint64_t ns, std::uint64_t share = 100)
    {
        for (auto& [fd, counter] : counters) {
            const int leader = counter.request.groupFd;
            if (counter.enabled && (leader == -1 || counters.at(leader).enabled)) {
                counter.enabledNs += ns;
                counter.runningNs += ns / 100 * share;
            }
        }
    }

    std::vector<std::pair<std::uint32_t, std::uint32_t>> OpenTypesAndCpus() const
    {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> all;
        for (const auto& [fd, counter] : counters) {
            const std::pair<std::uint32_t, std::uint32_t> place(counter.request.type, counter.request.cpu);
            if (std::find(all.begin(), all.end(), place) == all.end()) {
                all.push_back(place);
            }
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    std::map<int, Counter> counters;                         ///< open ones, by descriptor
    std::vector<host::CounterRequest> opened;                ///< all that were opened, in order
    std::function<int(const host::CounterRequest&)> onOpen;  ///< errno, or 0 to go on
    /// Below 1: the answer itself, negative errno or end of file; above: at most so many bytes.
    std::function<std::ptrdiff_t(const host::CounterRequest&)> onRead;
    host::DescriptorLimit limit{1024, 4096};
    std::vector<std::uint64_t> limitsSet;
    std::uint64_t otherDescriptors = 3;
    int enableError = 0;
    int openCalls = 0;
    int readCalls = 0;
    int badCloses = 0;

private:
    int nextFd = 3;
    Counter missing;
};

}  // namespace support

#endif  // TESTS_SUPPORT_FAKE_PERF_H
