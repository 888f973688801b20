// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_HTTP_SERVER_H
#define TOOLS_TNSTAT_HTTP_SERVER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>

struct MHD_Daemon;

namespace tnstat {

class ConnectionTable;

/// What is answered to GET and HEAD.
struct HttpAnswer {
    unsigned status = 200;
    std::string contentType = "text/plain; charset=utf-8";
    std::string body;
    bool cacheable = false;  ///< may be kept by the client for a while; otherwise it is asked anew each time
};

/// The answer for a path, without query. Called from the server's one thread, one request at a time; an
/// exception becomes status 500.
using HttpHandler = std::function<HttpAnswer(const std::string& path)>;

/// A small HTTP server on one address. Requests with other methods than GET and HEAD get status 405.
/// Connections are bounded in number, also per client, in idle time and in memory; what exceeds a bound is
/// closed.
class HttpServer {
public:
    static constexpr unsigned MAX_CONNECTIONS = 256;
    static constexpr unsigned MAX_CONNECTIONS_PER_CLIENT = 128;
    static constexpr unsigned IDLE_SECONDS = 10;
    static constexpr unsigned REQUEST_SECONDS =
        30;  ///< from the first byte to the end of the answer; see DropSlow
    static constexpr unsigned CONNECTION_BYTES = 16384;  ///< request line and headers

    /// A server that is not started yet.
    explicit HttpServer(HttpHandler httpHandler);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    /// Listens on an IPv4 or IPv6 address; port 0 takes any free one. Empty, or why it cannot: one line.
    std::string Start(const std::string& ip, unsigned port);

    /// The port that is listened on; 0 before Start.
    unsigned Port() const { return boundPort; }

    /// "http://127.0.0.1:9101/", with brackets round IPv6.
    std::string Url() const;

    /// Closes each connection on which, for longer than `longest`, no answer was completed: a client that
    /// sends or takes a byte now and then is never idle. Any thread, while the server runs.
    void DropSlow(std::chrono::nanoseconds longest);

    /// Ends the server's thread and closes every connection.
    void Stop();

    /// `path` as the handler would be asked; never raises but std::bad_alloc.
    HttpAnswer Handle(const std::string& path) const;

private:
    HttpHandler handler;
    std::unique_ptr<ConnectionTable> connections;
    MHD_Daemon* daemon = nullptr;
    std::string address;
    unsigned boundPort = 0;
};

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_HTTP_SERVER_H
