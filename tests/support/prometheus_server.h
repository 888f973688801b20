// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROMETHEUS_SERVER_H
#define TESTS_SUPPORT_PROMETHEUS_SERVER_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/program_run.h"

namespace support {

/// A port of 127.0.0.1 that was free a moment ago.
unsigned FreePort();

/// Starts a program that the kernel ends together with the calling thread, however that ends.
std::unique_ptr<Program> StartDependent(std::vector<std::string> arguments);

/// One series of an answer.
struct QueriedSeries {
    std::map<std::string, std::string> labels;
    double value = 0;
};

/// A running Prometheus that listens on 127.0.0.1 and keeps its data in a directory of the caller.
class PrometheusServer {
public:
    /// `prometheus` is the program. Look at IsReady first.
    PrometheusServer(const std::string& prometheus, const std::string& configuration,
                     const std::string& directory);

    /// True when it answers within 30 s.
    bool IsReady() const;

    /// The instant value of an expression. On an error there is no series and `fault` says why.
    std::vector<QueriedSeries> Query(const std::string& expression, std::string& fault) const;

    /// What it wrote to standard error so far.
    std::string Log() const { return m_program->Err(); }

    /// Asks it to end and waits; its exit status.
    int Stop();

private:
    /// The body of the answer to a GET; empty when there is none or it is no JSON document.
    std::string Get(const std::string& path) const;

    unsigned m_port;
    std::unique_ptr<Program> m_program;
};

}  // namespace support

#endif  // TESTS_SUPPORT_PROMETHEUS_SERVER_H
