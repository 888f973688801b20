// SPDX-License-Identifier: MIT

#include "host/perf_events.h"

#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include <algorithm>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

__extension__ using Wide = unsigned __int128;

class KernelPerfApi : public PerfApi {
public:
    int Open(const CounterRequest& request) override
    {
        if (request.cpu > INT_MAX) {
            return -EINVAL;
        }
        perf_event_attr attr;
        std::memset(&attr, 0, sizeof(attr));
        attr.size = sizeof(attr);
        attr.type = request.type;
        attr.config = request.config.words[0];
        attr.config1 = request.config.words[1];
        attr.config2 = request.config.words[2];
        attr.disabled = request.disabled ? 1 : 0;
        attr.read_format = PERF_FORMAT_TOTAL_TIME_ENABLED | PERF_FORMAT_TOTAL_TIME_RUNNING;
        if (request.grouped) {
            attr.read_format |= PERF_FORMAT_GROUP;
        }
        const long fd = syscall(SYS_perf_event_open, &attr, -1, static_cast<int>(request.cpu),
                                request.groupFd, PERF_FLAG_FD_CLOEXEC);
        return fd < 0 ? -errno : static_cast<int>(fd);
    }

    std::ptrdiff_t Read(int fd, void* buffer, std::size_t size) override
    {
        const ssize_t count = read(fd, buffer, size);
        return count < 0 ? -errno : count;
    }

    int Enable(int fd) override
    {
        return ioctl(fd, PERF_EVENT_IOC_ENABLE, PERF_IOC_FLAG_GROUP) < 0 ? -errno : 0;
    }

    void Close(int fd) override { close(fd); }

    DescriptorLimit Limit() override
    {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
            return {};
        }
        return {limit.rlim_cur, limit.rlim_max};
    }

    int SetSoftLimit(std::uint64_t soft) override
    {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
            return -errno;
        }
        limit.rlim_cur = soft;
        return setrlimit(RLIMIT_NOFILE, &limit) != 0 ? -errno : 0;
    }
};

std::string Remedy(int errorNumber, const DescriptorLimit& limit)
{
    switch (errorNumber) {
        case EACCES:
        case EPERM:
            return "run as root, give the program CAP_PERFMON (before Linux 5.8 CAP_SYS_ADMIN) or set "
                   "kernel.perf_event_paranoid below 1; where it is above 2, kernels of Debian ignore "
                   "CAP_PERFMON: "
                   "set it to 2; in a container its seccomp profile must allow "
                   "perf_event_open too";
        case EINVAL:
            return "the PMU refuses this configuration or the CPU is offline or out of range, check the "
                   "terms of "
                   "the event and the cpumask";
        case ENOENT:
            return "the kernel knows no such PMU or event, numa-score list shows what there is";
        case ENODEV:
        case ENXIO:
            return "the hardware behind the PMU is not there, or not on this CPU, check the cpumask";
        case EMFILE:
            return "all " + std::to_string(limit.soft) +
                   " descriptors of this process are in use and the hard limit is " +
                   std::to_string(limit.hard) + ", raise it with ulimit -n or LimitNOFILE=";
        case ENFILE:
            return "the whole system has no free descriptor, raise fs.file-max";
        case EBUSY:
            return "somebody else holds this counter alone, end other profilers of this PMU";
        case ENOSYS:
            return "the kernel, an emulator or the seccomp profile of a container offers no perf_event_open, "
                   "run on "
                   "the host or allow it";
        case EOPNOTSUPP:
            return "the PMU cannot count this event on a whole CPU, map another one with --map";
        default:
            return "the kernel's log may say more";
    }
}

std::string ReadFailureMessage(const std::string& label, std::uint32_t cpu, const std::string& reason)
{
    return "cannot read " + EscapeText(label) + " on CPU " + std::to_string(cpu) + ": " + reason;
}

std::string ReadReason(int errorNumber)
{
    return errorNumber == ENODATA    ? "end of file, the counter has stopped for good"
           : errorNumber == EMSGSIZE ? std::string("fewer bytes than the counters have")
                                     : ErrnoName(errorNumber);
}

struct NamedErrno {
    int number;
    const char* name;
};

constexpr NamedErrno ERRNO_NAMES[] = {
    {EACCES, "EACCES"}, {EPERM, "EPERM"},           {EINVAL, "EINVAL"}, {ENOENT, "ENOENT"},
    {ENODEV, "ENODEV"}, {ENXIO, "ENXIO"},           {EMFILE, "EMFILE"}, {ENFILE, "ENFILE"},
    {EBUSY, "EBUSY"},   {ENOSYS, "ENOSYS"},         {EIO, "EIO"},       {EBADF, "EBADF"},
    {ENOMEM, "ENOMEM"}, {EOPNOTSUPP, "EOPNOTSUPP"}, {E2BIG, "E2BIG"},
};

}  // namespace

PerfApi& SystemPerfApi()
{
    static KernelPerfApi api;
    return api;
}

std::string ErrnoName(int errorNumber)
{
    const auto* const found =
        std::find_if(std::begin(ERRNO_NAMES), std::end(ERRNO_NAMES),
                     [errorNumber](const NamedErrno& named) { return named.number == errorNumber; });
    const std::string name =
        found == std::end(ERRNO_NAMES) ? "errno " + std::to_string(errorNumber) : std::string(found->name);
    return name + " (" + ErrorText(errorNumber) + ")";
}

std::string OpenFailureMessage(const std::string& label, std::uint32_t cpu, int errorNumber,
                               const DescriptorLimit& limit)
{
    return "cannot count " + EscapeText(label) + " on CPU " + std::to_string(cpu) +
           ": perf_event_open: " + ErrnoName(errorNumber) + "; " + Remedy(errorNumber, limit);
}

CounterSet::CounterSet(PerfApi& perfApi) : api(perfApi) {}

CounterSet::~CounterSet()
{
    Close();
}

void CounterSet::Close()
{
    // Members before the leader, so that no member lives on for a moment as a group of its own.
    for (auto fd = descriptors.rbegin(); fd != descriptors.rend(); ++fd) {
        api.Close(*fd);
    }
    descriptors.clear();
}

int CounterSet::OpenCounter(CounterRequest& request)
{
    while (true) {
        const int fd = api.Open(request);
        if (fd == -EINTR) {
            continue;
        }
        if (fd != -EMFILE) {
            return fd;
        }
        // Doubling: the limit stays in the order of what is needed, since some programs walk through all
        // descriptors up to it.
        const DescriptorLimit limit = api.Limit();
        const std::uint64_t wanted =
            limit.soft > limit.hard / 2 ? limit.hard : std::max<std::uint64_t>(limit.soft * 2, 64);
        const std::uint64_t soft = std::min(wanted, limit.hard);
        if (soft <= limit.soft || api.SetSoftLimit(soft) != 0) {
            return fd;
        }
    }
}

int CounterSet::OpenAll(std::uint32_t type, std::uint32_t cpu, const std::vector<CounterEvent>& events,
                        std::size_t& failed)
{
    for (std::size_t i = 0; i < events.size(); ++i) {
        CounterRequest request;
        request.type = type;
        request.config = events[i].config;
        request.cpu = cpu;
        request.grouped = group;
        request.groupFd = group && i > 0 ? descriptors.front() : -1;
        request.disabled = group && i == 0;
        const int fd = OpenCounter(request);
        if (fd < 0) {
            failed = i;
            Close();
            return -fd;
        }
        descriptors.push_back(fd);
    }
    failed = 0;
    if (group) {
        const int code = api.Enable(descriptors.front());
        if (code != 0) {
            Close();
            return -code;
        }
    }
    return 0;
}

std::string CounterSet::Open(std::uint32_t type, std::uint32_t cpu, const std::vector<CounterEvent>& events)
{
    Close();
    openCpu = cpu;
    labels.clear();
    for (const CounterEvent& event : events) {
        labels.push_back(event.label);
    }
    std::size_t failed = 0;
    group = events.size() > 1;
    int code = OpenAll(type, cpu, events, failed);
    if (code == EINVAL && group) {
        // A PMU with fewer counters than events refuses the group as a whole; by turns it can count them.
        group = false;
        code = OpenAll(type, cpu, events, failed);
    }
    if (code != 0) {
        return OpenFailureMessage(labels[failed], cpu, code, api.Limit());
    }
    buffer.assign(events.size() + 3, 0);
    return {};
}

int CounterSet::ReadBytes(int fd, std::size_t words)
{
    const std::size_t size = words * sizeof(std::uint64_t);
    std::ptrdiff_t count = 0;
    do {
        count = api.Read(fd, buffer.data(), size);
    } while (count == -EINTR);
    if (count < 0) {
        return static_cast<int>(-count);
    }
    if (count == 0) {
        return ENODATA;
    }
    return static_cast<std::size_t>(count) < size ? EMSGSIZE : 0;
}

std::string CounterSet::Read(std::vector<CounterReading>& readings)
{
    readings.resize(labels.size());
    if (descriptors.empty()) {
        return ReadFailureMessage(labels.empty() ? "counters" : labels.front(), openCpu, "not open");
    }
    if (group) {
        // As the kernel lays a group out: number of counters, enabled, running, the values.
        const int code = ReadBytes(descriptors.front(), labels.size() + 3);
        if (code != 0 || buffer[0] != labels.size()) {
            return ReadFailureMessage(labels.front(), openCpu, ReadReason(code != 0 ? code : EMSGSIZE));
        }
        for (std::size_t i = 0; i < labels.size(); ++i) {
            readings[i] = {buffer[3 + i], buffer[1], buffer[2]};
        }
        return {};
    }
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const int code = ReadBytes(descriptors[i], 3);
        if (code != 0) {
            return ReadFailureMessage(labels[i], openCpu, ReadReason(code));
        }
        readings[i] = {buffer[0], buffer[1], buffer[2]};
    }
    return {};
}

std::uint64_t ScaleCount(const CounterReading& delta)
{
    if (delta.runningNs >= delta.enabledNs) {
        return delta.value;
    }
    if (delta.runningNs == 0) {
        return 0;
    }
    const Wide scaled =
        (static_cast<Wide>(delta.value) * delta.enabledNs + delta.runningNs / 2) / delta.runningNs;
    return scaled > UINT64_MAX ? UINT64_MAX : static_cast<std::uint64_t>(scaled);
}

}  // namespace host
