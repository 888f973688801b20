// SPDX-License-Identifier: MIT

#include "tests/support/prometheus_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "tests/support/exporter.h"
#include "tests/support/http_client.h"

namespace support {
namespace {

std::string PercentEncoded(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0) {
            result += c;
            continue;
        }
        char code[4];
        std::snprintf(code, sizeof(code), "%%%02X", byte);
        result += code;
    }
    return result;
}

}  // namespace

unsigned FreePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const raw = reinterpret_cast<sockaddr*>(&address);
    const bool isBound = fd >= 0 && bind(fd, raw, size) == 0 && getsockname(fd, raw, &size) == 0;
    close(fd);
    if (!isBound) {
        throw std::runtime_error("no port of 127.0.0.1 is free");
    }
    return ntohs(address.sin_port);
}

std::unique_ptr<Program> StartDependent(std::vector<std::string> arguments)
{
    const std::vector<std::string> prefix = {"/usr/bin/setpriv", "--pdeathsig", "KILL", "--"};
    arguments.insert(arguments.begin(), prefix.begin(), prefix.end());
    return std::make_unique<Program>(arguments);
}

PrometheusServer::PrometheusServer(const std::string& prometheus, const std::string& configuration,
                                   const std::string& directory)
    : m_port(FreePort()),
      m_program(
          StartDependent({prometheus, "--config.file=" + configuration, "--storage.tsdb.path=" + directory,
                          "--log.level=warn", "--web.listen-address=127.0.0.1:" + std::to_string(m_port)}))
{
}

bool PrometheusServer::IsReady() const
{
    return Eventually([this] { return Get("/-/ready").find("Ready") != std::string::npos; });
}

std::string PrometheusServer::Get(const std::string& path) const
{
    const Connection connection("127.0.0.1", m_port);
    // HTTP 1.0, so that the answer comes in one piece.
    if (!connection.IsOpen() || !connection.Send("GET " + path + " HTTP/1.0\r\n\r\n")) {
        return "";
    }
    return ParseReply(connection.ReceiveAll()).body;
}

std::vector<QueriedSeries> PrometheusServer::Query(const std::string& expression, std::string& fault) const
{
    fault.clear();
    const std::string body = Get("/api/v1/query?query=" + PercentEncoded(expression));
    const nlohmann::json answer = nlohmann::json::parse(body, nullptr, false);
    if (!answer.is_object() || answer.value("status", "") != "success" ||
        answer.at("data").at("resultType") != "vector") {
        fault = body.empty() ? "no answer" : body;
        return {};
    }
    std::vector<QueriedSeries> result;
    for (const nlohmann::json& series : answer.at("data").at("result")) {
        result.push_back({series.at("metric").get<std::map<std::string, std::string>>(),
                          std::stod(series.at("value").at(1).get<std::string>())});
    }
    return result;
}

int PrometheusServer::Stop()
{
    m_program->Signal(SIGTERM);
    return m_program->Wait().status;
}

}  // namespace support
