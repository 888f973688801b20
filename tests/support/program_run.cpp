// SPDX-License-Identifier: MIT

#include "tests/support/program_run.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace support {
namespace {

constexpr unsigned LONGEST_RUN_S = 120;

std::string Contents(int file)
{
    std::string text;
    char buffer[65536];
    off_t offset = 0;
    for (ssize_t got = 0; (got = pread(file, buffer, sizeof buffer, offset)) > 0; offset += got) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const std::string& standardInput,
                 int standardOutput)
    : outFile(memfd_create("out", MFD_CLOEXEC)), errFile(memfd_create("err", MFD_CLOEXEC))
{
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid = fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        const int in = open(standardInput.c_str(), O_RDONLY);
        dup2(in, STDIN_FILENO);
        dup2(standardOutput >= 0 ? standardOutput : outFile, STDOUT_FILENO);
        dup2(errFile, STDERR_FILENO);
        alarm(LONGEST_RUN_S);
        execv(argv[0], argv.data());
        _exit(127);
    }
}

Program::~Program()
{
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    close(outFile);
    close(errFile);
}

void Program::Signal(int number) const
{
    kill(pid, number);
}

std::string Program::Out() const
{
    return Contents(outFile);
}

std::string Program::Err() const
{
    return Contents(errFile);
}

ProgramResult Program::Wait()
{
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) {
        throw std::runtime_error("wait4 failed");
    }
    pid = -1;
    ProgramResult result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = Contents(outFile);
    result.err = Contents(errFile);
    result.maxRssKb = usage.ru_maxrss;
    return result;
}

ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& standardInput)
{
    return Program(arguments, standardInput).Wait();
}

}  // namespace support
