// Private to this room. Writes a response's head and body to a socket so that the head leaves together with the
// beginning of the body: two small segments in a row would make the second wait for the peer's delayed acknowledgement.
//
// Belongs to the thread that responds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/socket.h"

namespace quorel::http {

class InnerWriteContext final : public HttpResponseBodyWriter {
public:
    InnerWriteContext(Socket& socket, std::string head) : socket_(socket), head_(std::move(head)) {}

    void write(std::FILE* file) override;
    void write(std::span<const std::uint8_t> bytes) override;
    void write(std::string_view bytes) override;
    // The head, if no body has taken it along.
    void flush();

private:
    Socket& socket_;
    std::string head_;
};

}  // namespace quorel::http
