// SPDX-License-Identifier: MIT

#include "tests/faults/machine.h"

#include <filesystem>
#include <iterator>

namespace faults {

Machine& Machine::Get()
{
    static Machine machine;
    return machine;
}

Machine::Machine()
{
    support::WriteProbedFiles(tree);
    tree.Write("proc/stat",
               "cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 1 2 3 4 5 6 7 8 9 10\ncpu1 2 2 3 4 5 6 7 8 9 10\n");
    Write("word", "a-word-of-more-than-fifteen-characters\n");
    Write(CONFIG_NAME, ConfigText());
}

void Machine::Write(const std::string& name, const std::string& content) const
{
    work.Write(name, content);
}

std::string Machine::Read(const std::string& name) const
{
    std::ifstream file(work.Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool Machine::Exists(const std::string& name) const
{
    return std::filesystem::exists(work.Path(name));
}

void Machine::Remove(const std::string& name) const
{
    std::filesystem::remove(work.Path(name));
}

std::string ConfigText()
{
    return "log-level: debug\n"
           "sampling-interval: 200\n"
           "metrics: false\n"
           "tune-mode: t\n"
           "whitelist: [a-process-with-a-long-name, java.*]\n"
           "numa-ratio: [10, 20]\n"
           "group:\n"
           "  - [one-process-of-the-group, another-process-of-the-group]\n"
           "process:\n"
           "  - name: a-process-with-a-long-name\n"
           "    params-regex: .*--port=6379.*\n"
           "    algorithm: BalanceProcNum\n"
           "    net-affinity: an-interface\n";
}

}  // namespace faults
