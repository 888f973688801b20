// SPDX-License-Identifier: MIT

#ifndef TESTS_GUEST_GUEST_MACHINE_H
#define TESTS_GUEST_GUEST_MACHINE_H

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <atomic>

/// What the tests know of the emulated machine that they run in. scripts/guest.sh puts its figures into the
/// environment; a figure that is not there is an exception, never a guess.
namespace guest {

/// The machine as it was asked for: not what the kernel found.
struct Machine {
    int nodes;    ///< NUMA nodes, ids 0 to nodes - 1
    int cpus;     ///< CPUs, dealt out to the nodes in equal runs
    int sockets;  ///< packages, dealt out in the same way
    int nodeMb;   ///< memory of each node, MB
    int cpuType;  ///< what ProcfsGetCpuType has to say of the CPU

    int NodeOfCpu(int cpu) const { return cpu / (cpus / nodes); }
    int SocketOfCpu(int cpu) const { return cpu / (cpus / sockets); }
    int FirstCpuOfNode(int node) const { return node * (cpus / nodes); }

    /// 10 within a node, 12 within a socket, 2 more for each socket on the way beyond 20.
    int Distance(int from, int to) const;
};

/// Throws std::runtime_error that names the missing figure.
Machine AskedFor();

/// Text of a file, without its final line break; empty when it cannot be read.
std::string Line(const std::string& path);

/// "tracepoint/config=ID/", for --map. `event` is "system/name" below the kernel's events.
std::string Tracepoint(const std::string& event);

/// The number of that event.
std::string TracepointId(const std::string& event);

/// Binds the calling thread to one CPU. False when that cannot be.
bool RunOn(int cpu);

/// A CPU that is taken offline, and back online at the end at the latest.
class CpuOffline {
public:
    /// Throws std::runtime_error when the kernel refuses.
    explicit CpuOffline(int cpu);
    CpuOffline(const CpuOffline&) = delete;
    CpuOffline& operator=(const CpuOffline&) = delete;
    ~CpuOffline();

    /// True when the CPU runs again.
    bool Return();

private:
    std::string path;
    bool away = true;
};

/// Calls the system on one CPU without end, in a mix that is known: of 20 calls 2 are getppid, 1 is getuid
/// and 17 are getgid.
class SyscallLoad {
public:
    /// Returns when it runs. Throws std::runtime_error when it does not within 30 s.
    explicit SyscallLoad(int cpu);
    SyscallLoad(const SyscallLoad&) = delete;
    SyscallLoad& operator=(const SyscallLoad&) = delete;
    ~SyscallLoad();

    /// System calls so far: what a test says when nothing was counted.
    std::uint64_t Calls() const { return state->calls; }

private:
    struct State {
        std::atomic<bool> stop{false};
        std::atomic<std::uint64_t> calls{0};
    };

    std::shared_ptr<State> state = std::make_shared<State>();  // the thread's as well
    std::thread thread;
};

/// The score of that mix when getppid counts as rx_outer, getuid as rx_sccl and every call as rx_ops_num.
constexpr double SYSCALL_LOAD_SCORE = 1.0 - 3.0 / 20.0;

/// The events of that mix, for --map, in the order rx_outer, rx_sccl, rx_ops_num.
std::vector<std::string> SyscallMappings();

}  // namespace guest

#endif  // TESTS_GUEST_GUEST_MACHINE_H
