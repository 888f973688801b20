// SPDX-License-Identifier: MIT

#include "tools/tnstat/http_server.h"

#include <microhttpd.h>
#include <unistd.h>

#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "tools/tnstat/connection_table.h"
#include "tools/tnstat/listen_socket.h"
#include "tools/tnstat/messages.h"

namespace tnstat {
namespace {

/// Nothing of the page comes from elsewhere, and no browser is to guess or to frame.
void AddHeaders(MHD_Response* response, const HttpAnswer& answer)
{
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.contentType.c_str());
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL,
                            answer.cacheable ? "max-age=60" : "no-store");
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(response, "Content-Security-Policy",
                            "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
                            "img-src data:; frame-ancestors 'none'; base-uri 'none'; form-action 'none'");
    if (answer.status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    }
}

MHD_Result Queue(MHD_Connection* connection, const HttpAnswer& answer)
{
    // The library copies the body; it does not write to it.
    MHD_Response* const response = MHD_create_response_from_buffer(
        answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) {
        return MHD_NO;
    }
    AddHeaders(response, answer);
    const MHD_Result queued = MHD_queue_response(connection, answer.status, response);
    MHD_destroy_response(response);
    return queued;
}

HttpAnswer MethodNotAllowed()
{
    HttpAnswer answer;
    answer.status = MHD_HTTP_METHOD_NOT_ALLOWED;
    answer.body = "405 method not allowed, use GET or HEAD\n";
    return answer;
}

HttpAnswer InternalError()
{
    HttpAnswer answer;
    answer.status = MHD_HTTP_INTERNAL_SERVER_ERROR;
    answer.body = "500 the answer could not be built\n";
    return answer;
}

/// Called when the headers are there and again when the request is complete; an answer to the first call
/// would end the connection.
extern "C" MHD_Result AnswerRequest(void* context, MHD_Connection* connection, const char* url,
                                    const char* method, const char*, const char*, std::size_t* uploadSize,
                                    void** state)
{
    try {
        if (std::strcmp(method, MHD_HTTP_METHOD_GET) != 0 && std::strcmp(method, MHD_HTTP_METHOD_HEAD) != 0) {
            return Queue(connection, MethodNotAllowed());
        }
        if (*state == nullptr) {
            *state = context;  // any mark will do
            return MHD_YES;
        }
        if (*uploadSize != 0) {
            *uploadSize = 0;  // a body means nothing here
            return MHD_YES;
        }
        return Queue(connection, static_cast<const HttpServer*>(context)->Handle(url));
    } catch (const std::exception&) {
        return MHD_NO;  // closes this connection
    }
}

int DescriptorOf(MHD_Connection* connection)
{
    const MHD_ConnectionInfo* const info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info == nullptr ? -1 : info->connect_fd;
}

extern "C" void NoteConnection(void* context, MHD_Connection* connection, void**,
                               MHD_ConnectionNotificationCode event)
{
    auto* const connections = static_cast<ConnectionTable*>(context);
    if (event == MHD_CONNECTION_NOTIFY_CLOSED) {
        connections->Remove(DescriptorOf(connection));  // before the library closes it
        return;
    }
    try {
        connections->Restart(DescriptorOf(connection));
    } catch (const std::bad_alloc&) {
        // Not watched for slowness then; the bound on idle time still holds.
    }
}

extern "C" void NoteCompletion(void* context, MHD_Connection* connection, void**, MHD_RequestTerminationCode)
{
    NoteConnection(context, connection, nullptr, MHD_CONNECTION_NOTIFY_STARTED);
}

/// A path holds no NUL byte: cut at one, another path would be answered than was asked for.
extern "C" std::size_t UnescapePath(void*, MHD_Connection*, char* text)
{
    return std::strstr(text, "%00") != nullptr ? std::strlen(text) : MHD_http_unescape(text);
}

/// Clients that go away or send rubbish are theirs to mend, not the operator's to read about.
extern "C" void DropLibraryTalk(void*, const char*, va_list) {}

}  // namespace

HttpServer::HttpServer(HttpHandler httpHandler)
    : handler(std::move(httpHandler)), connections(std::make_unique<ConnectionTable>())
{
}

HttpServer::~HttpServer()
{
    Stop();
}

HttpAnswer HttpServer::Handle(const std::string& path) const
{
    try {
        return handler(path);
    } catch (const std::exception&) {
        return InternalError();
    }
}

std::string HttpServer::Start(const std::string& ip, unsigned port)
{
    const ListenSocket listening = Listen(ip, port);
    if (listening.descriptor < 0) {
        return messages::CannotListen(ip, port, listening.error);
    }
    daemon = MHD_start_daemon(
        MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ERROR_LOG, 0, nullptr, nullptr, &AnswerRequest, this,
        MHD_OPTION_EXTERNAL_LOGGER, &DropLibraryTalk, nullptr, MHD_OPTION_LISTEN_SOCKET, listening.descriptor,
        MHD_OPTION_CONNECTION_LIMIT, MAX_CONNECTIONS, MHD_OPTION_PER_IP_CONNECTION_LIMIT,
        MAX_CONNECTIONS_PER_CLIENT, MHD_OPTION_CONNECTION_TIMEOUT, IDLE_SECONDS, MHD_OPTION_NOTIFY_CONNECTION,
        &NoteConnection, connections.get(), MHD_OPTION_NOTIFY_COMPLETED, &NoteCompletion, connections.get(),
        MHD_OPTION_UNESCAPE_CALLBACK, &UnescapePath, nullptr, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        static_cast<std::size_t>(CONNECTION_BYTES), MHD_OPTION_END);
    if (daemon == nullptr) {
        close(listening.descriptor);
        return messages::CannotServe(ip, port);
    }
    address = ip;
    boundPort = listening.port;
    return {};
}

std::string HttpServer::Url() const
{
    const bool bracketed = address.find(':') != std::string::npos;
    return "http://" + (bracketed ? "[" + address + "]" : address) + ":" + std::to_string(boundPort) + "/";
}

void HttpServer::DropSlow(std::chrono::nanoseconds longest)
{
    connections->ShutOlderThan(longest);
}

void HttpServer::Stop()
{
    if (daemon != nullptr) {
        MHD_stop_daemon(daemon);
        daemon = nullptr;
        boundPort = 0;
    }
}

}  // namespace tnstat
