// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_MACHINE_H
#define TESTS_FAULTS_MACHINE_H

#include <string>

#include "tests/support/own_directory.h"
#include "tests/support/probe_tree.h"

namespace faults {

/// The files that the operations meet: a tree of /proc and /sys that the probes take for the root, and a
/// working directory with a configuration file.
class Machine {
public:
    /// Built at the first call, removed at exit.
    static Machine& Get();

    const support::ProbeTree& Tree() const { return tree; }

    /// Writes a file of the working directory.
    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;
    void Remove(const std::string& name) const;

    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

private:
    Machine();
    ~Machine() = default;

    support::ProbeTree tree;
    support::OwnDirectory work;
};

/// The name of the configuration file in the working directory, and one that sets every kind of key.
const char* const CONFIG_NAME = "tarnix-of-the-fault-tests.yaml";
std::string ConfigText();

}  // namespace faults

#endif  // TESTS_FAULTS_MACHINE_H
