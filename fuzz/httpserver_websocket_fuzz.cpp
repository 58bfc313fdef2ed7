// Any bytes as what a WebSocket client sends: the frames, and what ends them, do not depend on where the bytes are
// cut, and are those that a plain reading of RFC 6455 5.2 gives.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/httpserver/websocket_session.h"
#include "tests/httpserver/scripted_socket.h"

using namespace quorel;
using namespace quorel::http;
using OpCode = WebSocketSession::OpCode;

namespace {

constexpr std::uint64_t limit = 100'000;

struct Outcome {
    std::vector<WebSocketSession::Frame> frames;
    std::string error;

    bool operator==(const Outcome&) const = default;
};

Outcome outcome(const std::shared_ptr<Socket>& socket) {
    Outcome result;
    WebSocketSession session(socket, {.message = limit});
    try {
        while (true) result.frames.push_back(session.readFrame());
    } catch (const WsError& error) {
        result.error = error.what();
    } catch (const SocketError& error) {
        if (error.code() != SocketError::Code::recvFailed) fatal("a read failed otherwise than by recvFailed");
    }
    return result;
}

// Byte by byte, with all bytes at hand; the errors of the session have their first word here.
Outcome plainly(std::string_view bytes) {
    Outcome result;
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    while (!bytes.empty()) {
        const auto op = static_cast<OpCode>(byte(0) & 0x0F);
        const bool fin = byte(0) >= 0x80;
        if ((byte(0) & 0x70) != 0) return result.error = "protocolError", result;
        if (byte(0) % 16 > 0xA || (byte(0) % 16 > 2 && byte(0) % 16 < 8))
            return result.error = "unknownOpCode", result;
        if (!fin && op >= OpCode::close) return result.error = "protocolError", result;
        if (bytes.size() < 2) break;
        if (byte(1) < 0x80) return result.error = "unMaskedFrame", result;
        std::uint64_t length = byte(1) - 0x80u;
        const std::size_t more = length < 126 ? 0 : length == 126 ? 2 : 8;
        if (bytes.size() < 6 + more) break;
        if (more > 0) length = 0;
        for (std::size_t i = 2; i < 2 + more; ++i) length = length << 8 | byte(i);
        if (length > limit) return result.error = "protocolError", result;
        if (bytes.size() < 6 + more + length) break;
        WebSocketSession::Frame frame{.opcode = op, .fin = fin, .payload = {}};
        for (std::size_t i = 0; i < length; ++i)
            frame.payload.push_back(static_cast<std::uint8_t>(byte(6 + more + i) ^ byte(2 + more + i % 4)));
        result.frames.push_back(std::move(frame));
        bytes.remove_prefix(6 + more + length);
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t cut = data[0] * std::size_t{256} + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);
    const Outcome whole = outcome(std::make_shared<ScriptedSocket>(bytes));
    if (whole != outcome(std::make_shared<ScriptedSocket>(bytes, cut))) fatal("a cut changed the outcome");
    if (whole != outcome(std::make_shared<ScriptedSocket>(bytes, 0, true))) fatal("many cuts changed the outcome");
    const Outcome plain = plainly(bytes);
    if (whole.frames != plain.frames || whole.error.substr(0, whole.error.find(':')) != plain.error)
        fatal("other frames than a plain reading finds: " + whole.error + ", " + plain.error);
    return 0;
}
