// One WebSocket connection, server side (RFC 6455 without extensions; close codes are neither read nor written).
//
//   auto handler = websocket({.text = [](const std::shared_ptr<WebSocketSession>& session, std::string_view text) {
//       session->writeText(text);
//   }});
//
// The writing operations may be called from any thread, at any time, from inside the session's functions too: frames
// leave whole, one after the other, in an order that is the callers' care. A write blocks while the peer does not
// read. Reading belongs to one thread: to the one that runs the session, once websocket() has made it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/httpserver/export.h"
#include "quorel/httpserver/socket.h"

namespace quorel::http {

class QUOREL_VISIBLE WebSocketFrameReader;

// What the peer did against the protocol.
class QUOREL_HTTPSERVER_API WsError : public Error {
public:
    enum class Code {
        unknownOpCode,  // message() is the number in decimal
        unMaskedFrame,  // RFC 6455 5.1
        protocolError,  // anything else that a client must not send, or more than WebSocketLimits allow
        invalidUTF8,    // a text message is no UTF-8 (RFC 6455 8.1); message() is empty
    };

    explicit WsError(Code code, std::string message = {});

    Code code() const { return code_; }
    const std::string& message() const { return message_; }

private:
    Code code_;
    std::string message_;
};

// What a message may measure, in bytes. There is no limit unless a host sets one; memory grows with what has arrived
// in any case, never with what a frame announces.
struct QUOREL_VISIBLE WebSocketLimits {
    std::uint64_t message = std::numeric_limits<std::uint64_t>::max();

    bool operator==(const WebSocketLimits&) const = default;
};

class QUOREL_HTTPSERVER_API WebSocketSession {
public:
    // RFC 6455 5.2.
    enum class OpCode : std::uint8_t {
        continue_ = 0x0,
        close = 0x8,
        ping = 0x9,
        pong = 0xA,
        text = 0x1,
        binary = 0x2,
    };
    // One frame (RFC 6455 5.2).
    struct Frame {
        OpCode opcode = OpCode::close;
        bool fin = false;
        std::uint8_t rsv1 = 0, rsv2 = 0, rsv3 = 0;  // the reserved bits, 0 or 1
        std::vector<std::uint8_t> payload;          // unmasked

        bool operator==(const Frame&) const = default;
    };
    // The same without a copy of the payload, which is good until the next read.
    struct FrameView {
        OpCode opcode = OpCode::close;
        bool fin = false;
        std::span<const std::uint8_t> payload = {};
    };
    // Thrown inside a session to leave it in good order.
    enum class Control { close };

    // Takes over what comes from the socket: more than one frame may be read at a time, and what is left over when
    // the session ends is lost.
    explicit WebSocketSession(std::shared_ptr<Socket> sessionSocket, WebSocketLimits limits = {});
    // Writes a close frame, if none was written, and closes the socket.
    ~WebSocketSession();
    WebSocketSession(const WebSocketSession&) = delete;
    WebSocketSession& operator=(const WebSocketSession&) = delete;

    const std::shared_ptr<Socket> socket;

    // One unfragmented message. `text` is UTF-8; it goes out as it is.
    void writeText(std::string_view text);
    void writeBinary(std::span<const std::uint8_t> bytes);
    // An empty one. The peer answers it, and the session ends with that answer.
    void writeCloseFrame();
    // One frame, not masked, in one system call where the system takes it at once. A failure is a line in the log, and
    // all later frames fail in the same way, since part of a frame may have gone out. Behind a close frame nothing
    // is sent any more (RFC 6455 5.5.1).
    void writeFrame(std::span<const std::uint8_t> data, OpCode op, bool fin = true);

    // The next frame, whole. Blocks. Throws WsError, and SocketError (recvFailed) when the peer is gone.
    Frame readFrame();
    FrameView readFrameView();

    // By socket.
    bool operator==(const WebSocketSession& other) const { return *socket == *other.socket; }

private:
    const std::unique_ptr<WebSocketFrameReader> reader_;
    std::mutex writing_;
    bool closeWritten_ = false;
    std::string failure_;  // of the first write that failed
};

}  // namespace quorel::http

template <>
struct std::hash<quorel::http::WebSocketSession> {
    std::size_t operator()(const quorel::http::WebSocketSession& session) const noexcept {
        return std::hash<quorel::http::Socket>()(*session.socket);
    }
};
