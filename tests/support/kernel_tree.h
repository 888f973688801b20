// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_KERNEL_TREE_H
#define TESTS_SUPPORT_KERNEL_TREE_H

#include <cstdint>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/scratch_directory.h"

namespace support {

/// The files in which a kernel with several nodes counts memory, below a sysfs and a procfs of the test's
/// own. Each is replaced as a whole, so that a reader in another process never sees half of one.
class KernelTree {
public:
    struct Node {
        std::uint64_t hit = 0;
        std::uint64_t miss = 0;
        std::uint64_t foreign = 0;
        std::uint64_t interleave = 0;
        std::uint64_t local = 0;
        std::uint64_t other = 0;
    };

    explicit KernelTree(std::size_t nodeCount = 4) : nodes(nodeCount)
    {
        Put(Sysfs() + "/devices/system/node/online",
            nodeCount > 1 ? "0-" + std::to_string(nodeCount - 1) + "\n" : "0\n");
        Put(Procfs() + "/sys/kernel/numa_balancing", "1\n");
        Put(Procfs() + "/sys/vm/numa_stat", "1\n");
        Write();
    }

    std::string Sysfs() const { return scratch / "sys"; }
    std::string Procfs() const { return scratch / "proc"; }
    std::string NumastatOf(std::size_t node) const
    {
        return Sysfs() + "/devices/system/node/node" + std::to_string(node) + "/numastat";
    }

    /// Writes every node and vmstat as they stand.
    void Write() const
    {
        for (std::size_t node = 0; node < nodes.size(); ++node) {
            const Node& counts = nodes[node];
            Put(NumastatOf(node),
                "numa_hit " + std::to_string(counts.hit) + "\nnuma_miss " + std::to_string(counts.miss) +
                    "\nnuma_foreign " + std::to_string(counts.foreign) + "\ninterleave_hit " +
                    std::to_string(counts.interleave) + "\nlocal_node " + std::to_string(counts.local) +
                    "\nother_node " + std::to_string(counts.other) + "\n");
        }
        Put(Procfs() + "/vmstat", "nr_free_pages 77\nnuma_hint_faults " + std::to_string(hintFaults) +
                                      "\nnuma_hint_faults_local " + std::to_string(hintFaultsLocal) +
                                      "\nnuma_pages_migrated " + std::to_string(migrated) + "\n");
    }

    /// Pages that CPUs of the node itself and of other nodes take from a node, as they wanted.
    void Allocate(std::size_t node, std::uint64_t local, std::uint64_t other)
    {
        nodes[node].hit += local + other;
        nodes[node].local += local;
        nodes[node].other += other;
    }

    void Fault(std::uint64_t local, std::uint64_t remote)
    {
        hintFaults += local + remote;
        hintFaultsLocal += local;
    }

    static void Put(const std::string& path, const std::string& text)
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        {
            std::ofstream file(path + ".new", std::ios::binary | std::ios::trunc);
            file << text;
            if (!file.flush()) {
                throw std::runtime_error("cannot write " + path);
            }
        }
        std::filesystem::rename(path + ".new", path);
    }

    std::vector<Node> nodes;
    std::uint64_t hintFaults = 1000;
    std::uint64_t hintFaultsLocal = 900;
    std::uint64_t migrated = 50;

private:
    ScratchDirectory scratch;
};

}  // namespace support

#endif  // TESTS_SUPPORT_KERNEL_TREE_H
