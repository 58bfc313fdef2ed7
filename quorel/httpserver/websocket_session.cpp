#include "quorel/httpserver/websocket_session.h"

#include <algorithm>
#include <array>

#include "quorel/foundation/log.h"
#include "quorel/httpserver/websocket_frame_reader.h"

namespace quorel::http {

namespace {

std::string described(WsError::Code code, const std::string& message) {
    switch (code) {
        case WsError::Code::unknownOpCode:
            return "unknownOpCode: " + message;
        case WsError::Code::unMaskedFrame:
            return "unMaskedFrame: " + message;
        case WsError::Code::protocolError:
            return "protocolError: " + message;
        case WsError::Code::invalidUTF8:
            return "invalidUTF8";
    }
    return message;
}

constexpr std::size_t headAtMost = 10;
// Copying so few bytes costs less than handing the kernel a second buffer.
constexpr std::size_t smallPayload = 1024;

// RFC 6455 5.2, without a mask. Gives the size of the head.
std::size_t writeHead(std::uint8_t* head, std::size_t length, WebSocketSession::OpCode op, bool fin) {
    head[0] = static_cast<std::uint8_t>((fin ? 0x80 : 0) | static_cast<std::uint8_t>(op));
    const std::size_t lengthBytes = length < 126 ? 0 : length <= 0xFFFF ? 2 : 8;
    head[1] = static_cast<std::uint8_t>(lengthBytes == 0 ? length : lengthBytes == 2 ? 126 : 127);
    for (std::size_t i = 0; i < lengthBytes; ++i)
        head[2 + i] = static_cast<std::uint8_t>(std::uint64_t{length} >> (8 * (lengthBytes - 1 - i)));
    return 2 + lengthBytes;
}

}  // namespace

WsError::WsError(Code code, std::string message)
    : Error(described(code, message)), code_(code), message_(std::move(message)) {}

WebSocketSession::WebSocketSession(std::shared_ptr<Socket> sessionSocket, WebSocketLimits limits)
    : socket(std::move(sessionSocket)), reader_(std::make_unique<WebSocketFrameReader>(*socket, limits)) {}

WebSocketSession::~WebSocketSession() {
    if (!socket->shutdown()) writeCloseFrame();
    socket->close();
}

void WebSocketSession::writeText(std::string_view text) {
    writeFrame({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, OpCode::text);
}

void WebSocketSession::writeBinary(std::span<const std::uint8_t> bytes) {
    writeFrame(bytes, OpCode::binary);
}

void WebSocketSession::writeCloseFrame() {
    writeFrame({}, OpCode::close);
}

void WebSocketSession::writeFrame(std::span<const std::uint8_t> data, OpCode op, bool fin) {
    std::array<std::uint8_t, headAtMost + smallPayload> small;
    const std::size_t headSize = writeHead(small.data(), data.size(), op, fin);
    const bool isSmall = data.size() <= smallPayload;
    if (isSmall) std::copy(data.begin(), data.end(), small.begin() + static_cast<std::ptrdiff_t>(headSize));
    const auto asText = [](std::span<const std::uint8_t> bytes) {
        return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };

    const std::lock_guard lock(writing_);
    if (closeWritten_) return;
    closeWritten_ = op == OpCode::close;
    if (failure_.empty()) {
        try {
            if (isSmall) {
                socket->writeUInt8(std::span(small).first(headSize + data.size()));
            } else {
                socket->writeParts(asText(std::span(small).first(headSize)), asText(data));
            }
            return;
        } catch (const SocketError& error) {
            failure_ = error.what();
        }
    }
    logLine(failure_);
}

WebSocketSession::Frame WebSocketSession::readFrame() {
    const FrameView view = readFrameView();
    return {.opcode = view.opcode,
            .fin = view.fin,
            .payload = std::vector<std::uint8_t>(view.payload.begin(), view.payload.end())};
}

WebSocketSession::FrameView WebSocketSession::readFrameView() {
    return reader_->next();
}

}  // namespace quorel::http
