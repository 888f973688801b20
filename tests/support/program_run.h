// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROGRAM_RUN_H
#define TESTS_SUPPORT_PROGRAM_RUN_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

/// How a program ended and what it wrote.
struct ProgramResult {
    int status = -1;    ///< exit status; 128 + signal when a signal ended it
    std::string out;    ///< standard output
    std::string err;    ///< standard error
    long maxRssKb = 0;  ///< largest resident size
};

/// A program under test: started at once, its standard error collected in a file. An alarm ends it after 120
/// s.
class Program {
public:
    /// `arguments` begins with the program. `standardInput` is a file; standard output goes to
    /// `standardOutput` when that is a descriptor, otherwise to a file that Wait reads.
    explicit Program(const std::vector<std::string>& arguments,
                     const std::string& standardInput = "/dev/null", int standardOutput = -1);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    pid_t Pid() const { return pid; }
    void Signal(int number) const;

    /// What it wrote to standard output, unless that went elsewhere, and to standard error so far.
    std::string Out() const;
    std::string Err() const;
    ProgramResult Wait();

private:
    pid_t pid = -1;
    int outFile = -1;
    int errFile = -1;
};

/// Starts and waits.
ProgramResult RunProgram(const std::vector<std::string>& arguments,
                         const std::string& standardInput = "/dev/null");

}  // namespace support

#endif  // TESTS_SUPPORT_PROGRAM_RUN_H
