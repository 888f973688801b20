// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_HTTP_CLIENT_H
#define TESTS_SUPPORT_HTTP_CLIENT_H

#include <map>
#include <string>

namespace support {

struct HttpReply {
    int status = 0;                              ///< 0 when there was no HTTP answer
    std::map<std::string, std::string> headers;  ///< names in lower case
    std::string body;
};

/// A TCP connection to a server on this machine. Every wait ends after 20 s.
class Connection {
public:
    /// `ip` is IPv4 or IPv6 in text form; `source`, where given, is the IPv4 address to come from.
    Connection(const std::string& ip, unsigned port, const std::string& source = "");
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&&) = delete;
    ~Connection();

    bool IsOpen() const { return fd >= 0; }

    /// False when the other side has closed.
    bool Send(const std::string& bytes) const;

    /// All that comes until the other side closes or nothing comes for 20 s.
    std::string ReceiveAll() const;

    /// One answer of several on this connection: its head and as many bytes as the head says. Status 0 when
    /// the other side closes before. Not for HEAD.
    HttpReply ReceiveReply();

    /// Nothing more will be sent.
    void HalfClose() const;

    /// Ends the connection with a reset instead of an orderly close.
    void Reset();

    /// True when the other side closes within `milliseconds`; what it sends before is dropped.
    bool IsClosedWithin(int milliseconds) const;

private:
    int fd = -1;
    std::string received;  ///< beyond the last answer
};

/// One request on a connection of its own, which the server is asked to close.
HttpReply Request(const std::string& ip, unsigned port, const std::string& method, const std::string& path,
                  const std::string& source = "");

/// The parts of an answer.
HttpReply ParseReply(const std::string& text);

}  // namespace support

#endif  // TESTS_SUPPORT_HTTP_CLIENT_H
