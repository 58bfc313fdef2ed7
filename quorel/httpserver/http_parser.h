// Reads one HTTP/1.1 request (RFC 9112) from a socket and takes no byte of the next one.
//
//   HttpRequest request = HttpParser().readHttpRequest(*socket);
//
// Stateless: one parser may serve any number of threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "quorel/foundation/error.h"
#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/socket.h"

namespace quorel::http {

// Why a request cannot be read; its connection ends without an answer.
class QUOREL_HTTPSERVER_API HttpParserError : public Error {
public:
    enum class Code {
        invalidStatusLine,      // the request line has fewer than three parts; message() is that line
        negativeContentLength,  // message() is empty
        headTooLong,            // the request line and headers exceed HttpLimits::head; message() is empty
        bodyTooLong,            // Content-Length exceeds HttpLimits::body; message() is empty
    };

    explicit HttpParserError(Code code, std::string message = {});

    Code code() const { return code_; }
    const std::string& message() const { return message_; }

private:
    Code code_;
    std::string message_;
};

// What a request may measure, in bytes. Memory grows with what has arrived in any case, never with what a
// Content-Length announces.
struct QUOREL_VISIBLE HttpLimits {
    std::size_t head = 64 * 1024;               // request line, headers and the empty line behind them
    std::int64_t body = std::int64_t{1} << 30;  // 1 GiB

    bool operator==(const HttpLimits&) const = default;
};

class QUOREL_HTTPSERVER_API HttpParser {
public:
    HttpParser() = default;
    explicit HttpParser(HttpLimits limits) : limits_(limits) {}

    // Blocks until the request is there. Throws HttpParserError, and SocketError (recvFailed) when the peer closes
    // before or within it. A request has a body if and only if it has a Content-Length that is a decimal number;
    // chunked transfer coding is not decoded. A client that waits with its body for "100 Continue" is told so, which
    // may throw SocketError (writeFailed).
    HttpRequest readHttpRequest(Socket& socket) const;

private:
    HttpLimits limits_;
};

}  // namespace quorel::http
