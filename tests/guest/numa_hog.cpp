// SPDX-License-Identifier: MIT
//
// A process whose threads run on one node and whose memory lies on another, or on the same one: it takes
// memory, writes to every page of it, gives it back, and begins anew.
//
//   numa_hog CPU_NODE MEMORY_NODE SECONDS [bind|prefer]
//
// bind: the memory may come from MEMORY_NODE alone (the default). prefer: without any policy of memory, from
// the node that the thread ran on when it took the memory, MEMORY_NODE, which it then leaves for CPU_NODE, so
// that automatic balancing may move pages and counts its faults. Prints "ready" when it has run once; 0
// seconds: until it is killed. Exit status: 0 good, 1 a call was refused, 2 wrong arguments.

#include <numa.h>
#include <numaif.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>

#include <string>

namespace {

constexpr size_t SIZE = 16 * 1024 * 1024;
constexpr size_t PAGE = 4096;

[[noreturn]] void Fail(const char* what)
{
    perror(what);
    exit(1);
}

void RunOnNode(int node)
{
    if (numa_run_on_node(node) != 0) {
        Fail("numa_run_on_node");
    }
}

char* Take()
{
    void* const area = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED || madvise(area, SIZE, MADV_NOHUGEPAGE) != 0) {
        Fail("mmap");
    }
    return static_cast<char*>(area);
}

/// Has the kernel take every page at once, which under emulation is many times as fast as a fault for each.
void Populate(char* area)
{
    if (madvise(area, SIZE, MADV_POPULATE_WRITE) != 0) {
        Fail("madvise");
    }
}

void Touch(char* area, int times)
{
    for (int i = 0; i < times; ++i) {
        for (size_t at = 0; at < SIZE; at += PAGE) {
            area[at] = static_cast<char>(area[at] + 1);
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const bool prefers = argc == 5 && strcmp(argv[4], "prefer") == 0;
    if (argc < 4 || argc > 5 || (argc == 5 && !prefers && strcmp(argv[4], "bind") != 0)) {
        fprintf(stderr, "usage: numa_hog CPU_NODE MEMORY_NODE SECONDS [bind|prefer]\n");
        return 2;
    }
    const int cpuNode = atoi(argv[1]);
    const int memoryNode = atoi(argv[2]);
    const long seconds = atol(argv[3]);
    if (numa_available() != 0 || cpuNode < 0 || cpuNode > numa_max_node() || memoryNode < 0 ||
        memoryNode > numa_max_node()) {
        fprintf(stderr, "numa_hog: no such nodes: %s, %s\n", argv[1], argv[2]);
        return 2;
    }
    const unsigned long mask = 1UL << memoryNode;
    if (!prefers && set_mempolicy(MPOL_BIND, &mask, sizeof mask * 8) != 0) {
        Fail("set_mempolicy");
    }
    const time_t end = time(nullptr) + seconds;
    for (bool first = true; seconds == 0 || time(nullptr) < end; first = false) {
        RunOnNode(prefers ? memoryNode : cpuNode);
        char* const area = Take();
        Populate(area);
        RunOnNode(cpuNode);
        Touch(area, prefers ? 200 : 1);
        munmap(area, SIZE);
        if (first) {
            puts("ready");
            fflush(stdout);
        }
    }
    return 0;
}
