// Private to this room: finds the frames in what a WebSocket client sends (RFC 6455 5.2), in the memory into which
// they were received.
//
// A small frame costs one system call, or less where several have arrived; the remainder of a large one is read
// straight behind its beginning. Belongs to one thread.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "quorel/httpserver/socket.h"
#include "quorel/httpserver/websocket_session.h"

namespace quorel::http {

class WebSocketFrameReader {
public:
    WebSocketFrameReader(Socket& socket, WebSocketLimits limits);

    // Good until the next call.
    WebSocketSession::FrameView next();

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };

    std::uint8_t* unread() const { return memory_.get() + begin_; }
    // Blocks until `count` bytes are unread.
    void require(std::uint64_t count);
    void resize(std::size_t capacity);

    Socket& socket_;
    const WebSocketLimits limits_;
    std::unique_ptr<std::uint8_t, Free> memory_;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0, end_ = 0;  // of what has arrived and was not handed out
    std::size_t lastFrame_ = 0;
};

// Byte i is combined with mask byte i modulo 4 (RFC 6455 5.3).
void unmask(std::span<std::uint8_t> bytes, const std::uint8_t* mask);

}  // namespace quorel::http
