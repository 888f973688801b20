// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_EXPORTER_H
#define TESTS_SUPPORT_EXPORTER_H

#include <functional>
#include <memory>
#include <string>

#include "tests/support/http_client.h"
#include "tests/support/program_run.h"

namespace support {

/// Looks every few milliseconds, for at most 30 s.
bool Eventually(const std::function<bool()>& condition);

/// `tnstat --export node_exporter`, running, on a port of its own.
class Exporter {
public:
    /// `tnstat` is the program. Look at `port` first: 0 when it does not serve.
    Exporter(const std::string& tnstat, const std::string& address);

    /// One request, one answer. `source` is the IPv4 address to come from.
    HttpReply Get(const std::string& path, const std::string& method = "GET",
                  const std::string& source = "") const;

    std::string ip;
    unsigned port = 0;
    std::unique_ptr<Program> program;
};

}  // namespace support

#endif  // TESTS_SUPPORT_EXPORTER_H
