// SPDX-License-Identifier: MIT

#include "tests/support/exporter.h"

#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

namespace support {

bool Eventually(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (;;) {
        // Once more at the end: this process may have had no processor for long.
        const bool last = std::chrono::steady_clock::now() > end;
        if (condition()) {
            return true;
        }
        if (last) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Exporter::Exporter(const std::string& tnstat, const std::string& address) : ip(address)
{
    for (unsigned candidate = 20000 + static_cast<unsigned>(getpid()) % 20000; candidate < 65000;
         ++candidate) {
        program = std::make_unique<Program>(std::vector<std::string>{
            tnstat, "-e", "node_exporter", "--ip", ip, "--port", std::to_string(candidate)});
        Eventually([&] { return program->Err().find('\n') != std::string::npos; });
        if (program->Err().find("serving") != std::string::npos) {
            port = candidate;
            return;
        }
        if (program->Err().find("already in use") == std::string::npos) {
            return;
        }
    }
}

HttpReply Exporter::Get(const std::string& path, const std::string& method, const std::string& source) const
{
    return Request(ip, port, method, path, source);
}

}  // namespace support
