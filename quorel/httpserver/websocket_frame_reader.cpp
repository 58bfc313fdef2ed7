#include "quorel/httpserver/websocket_frame_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>

namespace quorel::http {

namespace {

using OpCode = WebSocketSession::OpCode;

constexpr std::size_t window = 16 * 1024;
// What a session may keep for the next large frame.
constexpr std::size_t keptAtMost = 1024 * 1024;

[[noreturn]] void throwProtocolError(const char* message) {
    throw WsError(WsError::Code::protocolError, message);
}

OpCode opCode(std::uint8_t value) {
    switch (static_cast<OpCode>(value)) {
        case OpCode::continue_:
        case OpCode::text:
        case OpCode::binary:
        case OpCode::close:
        case OpCode::ping:
        case OpCode::pong:
            return static_cast<OpCode>(value);
    }
    throw WsError(WsError::Code::unknownOpCode, std::to_string(value));
}

bool isControl(OpCode op) {
    return op == OpCode::close || op == OpCode::ping || op == OpCode::pong;
}

std::uint64_t bigEndian(std::span<const std::uint8_t> bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) value = value << 8 | byte;
    return value;
}

}  // namespace

void unmask(std::span<std::uint8_t> bytes, const std::uint8_t* mask) {
    std::uint64_t wideMask = 0;
    std::memcpy(&wideMask, mask, 4);
    std::memcpy(reinterpret_cast<std::uint8_t*>(&wideMask) + 4, mask, 4);
    std::size_t i = 0;
    for (; i + sizeof wideMask <= bytes.size(); i += sizeof wideMask) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data() + i, sizeof word);
        word ^= wideMask;
        std::memcpy(bytes.data() + i, &word, sizeof word);
    }
    for (; i < bytes.size(); ++i) bytes[i] ^= mask[i % 4];
}

WebSocketFrameReader::WebSocketFrameReader(Socket& socket, WebSocketLimits limits)
    : socket_(socket), limits_(limits) {}

void WebSocketFrameReader::resize(std::size_t capacity) {
    auto* moved = static_cast<std::uint8_t*>(std::realloc(memory_.get(), capacity));
    if (moved == nullptr) throw std::bad_alloc();
    (void)memory_.release();
    memory_.reset(moved);
    capacity_ = capacity;
}

void WebSocketFrameReader::require(std::uint64_t count) {
    if (begin_ == end_) begin_ = end_ = 0;
    while (end_ - begin_ < count) {
        if (begin_ > 0 && count > capacity_ - begin_) {
            std::memmove(memory_.get(), unread(), end_ - begin_);
            end_ -= std::exchange(begin_, 0);
        }
        if (end_ == capacity_) {
            const std::size_t step = std::max(4 * window, 2 * capacity_);
            resize(
                static_cast<std::size_t>(std::min<std::uint64_t>(std::max<std::uint64_t>(count, window), step)));
        }
        // Of what follows a large frame nothing is wanted here: it would have to be moved. A frame as large as the
        // last one may arrive in one piece.
        const std::uint64_t missing = count - (end_ - begin_);
        const std::uint64_t most = std::max<std::uint64_t>({missing, window - std::min(window, end_), lastFrame_});
        const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(most, capacity_ - end_));
        end_ += socket_.readSome({memory_.get() + end_, room});
    }
}

WebSocketSession::FrameView WebSocketFrameReader::next() {
    // What was handed out last is not needed any more.
    if (begin_ == end_ && capacity_ > keptAtMost) resize(window);

    require(1);
    const std::uint8_t first = unread()[0];
    if ((first & 0x70) != 0) throwProtocolError("Reserved frame bit has not been negociated.");
    WebSocketSession::FrameView frame{.opcode = opCode(first & 0x0F), .fin = (first & 0x80) != 0, .payload = {}};
    if (!frame.fin && isControl(frame.opcode)) throwProtocolError("Control frames must not be fragmented.");

    require(2);
    const std::uint8_t second = unread()[1];
    if ((second & 0x80) == 0) {
        throw WsError(WsError::Code::unMaskedFrame, "A client must mask all frames that it sends to the server.");
    }
    std::uint64_t length = second & 0x7F;
    const std::size_t lengthBytes = length == 126 ? 2 : length == 127 ? 8 : 0;
    const std::size_t headSize = 2 + lengthBytes + 4;
    require(headSize);
    if (lengthBytes > 0) length = bigEndian({unread() + 2, lengthBytes});
    // RFC 6455 5.2: the most significant bit must be 0.
    if (length >> 63 != 0) throwProtocolError("The length of a frame has 63 bits at most.");
    if (length > limits_.message) throwProtocolError("The message is longer than this server takes.");

    require(headSize + length);
    std::array<std::uint8_t, 4> mask;
    std::copy_n(unread() + headSize - mask.size(), mask.size(), mask.begin());
    const std::span payload(unread() + headSize, static_cast<std::size_t>(length));
    unmask(payload, mask.data());
    frame.payload = payload;
    lastFrame_ = headSize + payload.size();
    begin_ += lastFrame_;
    return frame;
}

}  // namespace quorel::http
