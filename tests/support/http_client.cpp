// SPDX-License-Identifier: MIT

#include "tests/support/http_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace support {
namespace {

constexpr int PATIENCE_S = 20;

bool BindTo(int fd, const std::string& source)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    return inet_pton(AF_INET, source.c_str(), &address.sin_addr) == 1 &&
           bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

int ConnectV4(const std::string& ip, unsigned port, const std::string& source)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (inet_pton(AF_INET, ip.c_str(), &address.sin_addr) != 1) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ((!source.empty() && !BindTo(fd, source)) ||
                    connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)) {
        close(fd);
        return -1;
    }
    return fd;
}

int ConnectV6(const std::string& ip, unsigned port)
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(static_cast<std::uint16_t>(port));
    if (inet_pton(AF_INET6, ip.c_str(), &address.sin6_addr) != 1) {
        return -1;
    }
    const int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

Connection::Connection(const std::string& ip, unsigned port, const std::string& source)
    : fd(ip.find(':') == std::string::npos ? ConnectV4(ip, port, source) : ConnectV6(ip, port))
{
    const timeval patience{PATIENCE_S, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
}

Connection::Connection(Connection&& other) noexcept
    : fd(std::exchange(other.fd, -1)), received(std::move(other.received))
{
}

Connection::~Connection()
{
    if (fd >= 0) {
        close(fd);
    }
}

bool Connection::Send(const std::string& bytes) const
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

std::string Connection::ReceiveAll() const
{
    std::string text;
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t count = recv(fd, block.data(), block.size(), 0);
        if (count <= 0) {
            return text;
        }
        text.append(block.data(), static_cast<std::size_t>(count));
    }
}

HttpReply Connection::ReceiveReply()
{
    std::array<char, 65536> block;
    std::size_t end = std::string::npos;
    std::size_t size = 0;
    for (;;) {
        if (end == std::string::npos && (end = received.find("\r\n\r\n")) != std::string::npos) {
            end += 4;
            const HttpReply head = ParseReply(received.substr(0, end));
            const auto length = head.headers.find("content-length");
            size = length == head.headers.end() ? 0 : std::stoul(length->second);
        }
        if (end != std::string::npos && received.size() >= end + size) {
            const HttpReply reply = ParseReply(received.substr(0, end + size));
            received.erase(0, end + size);
            return reply;
        }
        const ssize_t count = recv(fd, block.data(), block.size(), 0);
        if (count <= 0) {
            return {};
        }
        received.append(block.data(), static_cast<std::size_t>(count));
    }
}

void Connection::HalfClose() const
{
    shutdown(fd, SHUT_WR);
}

void Connection::Reset()
{
    const linger none{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof(none));
    close(std::exchange(fd, -1));
}

bool Connection::IsClosedWithin(int milliseconds) const
{
    std::array<char, 65536> block;
    for (;;) {
        pollfd waited{fd, POLLIN, 0};
        if (poll(&waited, 1, milliseconds) <= 0) {
            return false;
        }
        if (recv(fd, block.data(), block.size(), 0) <= 0) {
            return true;
        }
    }
}

HttpReply ParseReply(const std::string& text)
{
    HttpReply reply;
    const std::size_t end = text.find("\r\n\r\n");
    if (text.rfind("HTTP/1.", 0) != 0 || end == std::string::npos) {
        return reply;
    }
    reply.status = std::atoi(text.c_str() + std::string("HTTP/1.1 ").size());
    std::istringstream head(text.substr(0, end));
    std::string line;
    std::getline(head, line);
    while (std::getline(head, line)) {
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        const std::size_t colon = line.find(": ");
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
        reply.headers[name] = colon == std::string::npos ? "" : line.substr(colon + 2);
    }
    reply.body = text.substr(end + 4);
    return reply;
}

HttpReply Request(const std::string& ip, unsigned port, const std::string& method, const std::string& path,
                  const std::string& source)
{
    const Connection connection(ip, port, source);
    if (!connection.Send(method + " " + path + " HTTP/1.1\r\nHost: test\r\nConnection: close\r\n\r\n")) {
        return {};
    }
    return ParseReply(connection.ReceiveAll());
}

}  // namespace support
