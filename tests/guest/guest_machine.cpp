// SPDX-License-Identifier: MIT

#include "tests/guest/guest_machine.h"

#include <sched.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "tests/support/child_run.h"

namespace guest {
namespace {

const std::string EVENTS = "/sys/kernel/tracing/events/";

int Figure(const char* name)
{
    const char* const text = getenv(name);
    if (text == nullptr || *text == '\0') {
        throw std::runtime_error(std::string(name) + " is not set: these tests run in the guest only");
    }
    return std::stoi(text);
}

bool Write(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
    return static_cast<bool>(file.flush());
}

void CallTheSystem()
{
    for (int i = 0; i < 20; ++i) {
        syscall(i < 2 ? SYS_getppid : i == 2 ? SYS_getuid : SYS_getgid);
    }
}

}  // namespace

int Machine::Distance(int from, int to) const
{
    if (from == to) {
        return 10;
    }
    const int apart = std::abs(from / (nodes / sockets) - to / (nodes / sockets));
    return apart == 0 ? 12 : 20 + 2 * apart;
}

Machine AskedFor()
{
    return {Figure("GUEST_NODES"), Figure("GUEST_CPUS"), Figure("GUEST_SOCKETS"), Figure("GUEST_NODE_MB"),
            Figure("GUEST_CPU_TYPE")};
}

std::string Line(const std::string& path)
{
    std::string text = support::FileText(path);
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

std::string TracepointId(const std::string& event)
{
    std::string id = Line(EVENTS + event + "/id");
    if (id.empty()) {
        throw std::runtime_error("the kernel has no tracepoint " + event);
    }
    return id;
}

std::string Tracepoint(const std::string& event)
{
    return "tracepoint/config=" + TracepointId(event) + "/";
}

bool RunOn(int cpu)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(cpu), &set);
    return sched_setaffinity(0, sizeof set, &set) == 0;
}

CpuOffline::CpuOffline(int cpu) : path("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/online")
{
    if (!Write(path, "0") || Line(path) != "0") {
        throw std::runtime_error("CPU " + std::to_string(cpu) + " does not go offline");
    }
}

CpuOffline::~CpuOffline()
{
    Return();
}

bool CpuOffline::Return()
{
    if (away) {
        away = !Write(path, "1") || Line(path) != "1";
    }
    return !away;
}

SyscallLoad::SyscallLoad(int cpu)
    : thread([state = state, cpu] {
          RunOn(cpu);
          while (!state->stop) {
              for (int i = 0; i < 50; ++i) {
                  CallTheSystem();
              }
              state->calls += 1000;
              usleep(2000);
          }
      })
{
    // An emulator may take its time to run a CPU.
    for (int i = 0; i < 6000 && Calls() < 2000; ++i) {
        usleep(5000);
    }
    if (Calls() < 2000) {
        state->stop = true;
        thread.detach();
        throw std::runtime_error("CPU " + std::to_string(cpu) + " ran " + std::to_string(Calls()) +
                                 " of the 2000 system calls that a load begins with");
    }
}

SyscallLoad::~SyscallLoad()
{
    state->stop = true;
    thread.join();
}

std::vector<std::string> SyscallMappings()
{
    return {"rx_outer=" + Tracepoint("syscalls/sys_enter_getppid"),
            "rx_sccl=" + Tracepoint("syscalls/sys_enter_getuid"),
            "rx_ops_num=" + Tracepoint("raw_syscalls/sys_enter")};
}

}  // namespace guest
