#include "quorel/httpserver/websocket.h"

#include <exception>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/socket.h"
#include "quorel/httpserver/text_digests.h"

namespace quorel::http {

namespace {

using OpCode = WebSocketSession::OpCode;
using Bytes = std::span<const std::uint8_t>;

constexpr std::string_view guid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

[[noreturn]] void throwProtocolError(const char* message) {
    throw WsError(WsError::Code::protocolError, message);
}

std::string_view asText(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Ends a session without a close frame.
struct NothingToContinue {};

// Makes messages of frames and hands them to the host's functions.
class Messages {
public:
    Messages(const WebSocketFunctions& functions, const std::shared_ptr<WebSocketSession>& session)
        : functions_(functions), session_(session) {}

    void handle(const WebSocketSession::FrameView& frame) {
        switch (frame.opcode) {
            case OpCode::continue_:
                handleContinuation(frame);
                break;
            case OpCode::text:
            case OpCode::binary:
                handleMessage(frame.opcode, frame.fin, frame.payload);
                break;
            case OpCode::close:
                throw WebSocketSession::Control::close;
            case OpCode::ping:
                if (frame.payload.size() > 125) throwProtocolError("Payload gretter than 125 octets.");
                session_->writeFrame(frame.payload, OpCode::pong);
                break;
            case OpCode::pong:
                if (functions_.pong) functions_.pong(session_, frame.payload);
                break;
        }
    }

private:
    bool isWanted(OpCode op) const {
        return op == OpCode::text ? static_cast<bool>(functions_.text) : static_cast<bool>(functions_.binary);
    }

    void handleContinuation(const WebSocketSession::FrameView& frame) {
        if (continuationOpCode_ == OpCode::close) throw NothingToContinue();
        if (!frame.fin) return handleMessage(continuationOpCode_, false, frame.payload);
        const OpCode op = std::exchange(continuationOpCode_, OpCode::close);
        if (payload_.empty()) return handleMessage(op, true, frame.payload);
        append(frame.payload);
        const std::vector<std::uint8_t> whole = std::exchange(payload_, {});
        handleMessage(op, true, whole);
    }

    // A fragment that is not the first counts as one of its message's kind.
    void handleMessage(OpCode op, bool fin, Bytes payload) {
        if (!isWanted(op)) {
            // The fragments that follow are dropped as this one is.
            if (!fin && continuationOpCode_ == OpCode::close) continuationOpCode_ = op;
            return;
        }
        if (!fin) {
            append(payload);
            continuationOpCode_ = op;
            return;
        }
        if (!payload_.empty()) throwProtocolError("Continuing fragmented frame cannot have an operation code.");
        if (op == OpCode::binary) return functions_.binary(session_, payload);
        if (!isValidUTF8(asText(payload))) throw WsError(WsError::Code::invalidUTF8);
        functions_.text(session_, asText(payload));
    }

    void append(Bytes payload) {
        if (payload.size() > functions_.limits.message - payload_.size())
            throwProtocolError("The message is longer than this server takes.");
        payload_.insert(payload_.end(), payload.begin(), payload.end());
    }

    const WebSocketFunctions& functions_;
    const std::shared_ptr<WebSocketSession>& session_;
    OpCode continuationOpCode_ = OpCode::close;  // close: no message has begun
    std::vector<std::uint8_t> payload_;          // of the fragments so far
};

std::string_view linePrefix(WsError::Code code) {
    switch (code) {
        case WsError::Code::unknownOpCode:
            return "Unknown Op Code: ";
        case WsError::Code::unMaskedFrame:
            return "Unmasked frame: ";
        case WsError::Code::protocolError:
            return "Protocol error: ";
        case WsError::Code::invalidUTF8:
            return "Invalid UTF8 character: ";
    }
    return {};
}

// Calls `function`, whatever it throws; the line that tells of it is as it has always been, typing error included.
template <class Function>
void loggingErrors(Function function) {
    try {
        function();
    } catch (WebSocketSession::Control) {
    } catch (const WsError& error) {
        logLine(std::string(linePrefix(error.code())).append(error.message()));
    } catch (...) {
        logLine("Unkown error " + localizedDescription(std::current_exception()));
    }
}

void runSession(const WebSocketFunctions& functions, const std::shared_ptr<Socket>& socket) {
    const auto session = std::make_shared<WebSocketSession>(socket, functions.limits);
    bool isTold = true;
    loggingErrors([&] {
        if (functions.connected) functions.connected(session);
        Messages messages(functions, session);
        try {
            while (true) messages.handle(session->readFrameView());
        } catch (NothingToContinue) {
            isTold = false;
        }
    });
    if (isTold) session->writeCloseFrame();
    loggingErrors([&] {
        if (functions.disconnected) functions.disconnected(session);
    });
    // The server closes the connection first (RFC 6455 7.1.1), but without the reset that unread bytes would cause.
    socket->linger();
    socket->close();
}

HttpResponse refusal(const HttpRequest& request, std::string_view name, std::string_view key) {
    const auto header = request.headers.find(key);
    const std::string value = header != request.headers.end() ? header->second : "unknown";
    return HttpResponse::badRequest(
        HttpResponseBody::text("Invalid value of '" + std::string(name) + "' header: " + value));
}

HttpResponse answerHandshake(const std::shared_ptr<const WebSocketFunctions>& functions,
                             const HttpRequest& request) {
    if (!request.hasTokenForHeader("upgrade", "websocket")) return refusal(request, "Upgrade", "upgrade");
    if (!request.hasTokenForHeader("connection", "upgrade")) return refusal(request, "Connection", "connection");
    const auto key = request.headers.find("sec-websocket-key");
    if (key == request.headers.end()) return refusal(request, "Sec-Websocket-Key", "sec-websocket-key");
    const auto version = request.headers.find("sec-websocket-version");
    if (version != request.headers.end() && version->second != "13")
        return HttpResponse::raw(426, "Upgrade Required", HttpHeaders{{"Sec-WebSocket-Version", "13"}});

    return HttpResponse::switchProtocols(
        {{"Upgrade", "WebSocket"},
         {"Connection", "Upgrade"},
         {"Sec-WebSocket-Accept", toBase64(sha1(key->second + std::string(guid)))}},
        [functions](const std::shared_ptr<Socket>& socket) { runSession(*functions, socket); });
}

}  // namespace

HttpHandler websocket(WebSocketFunctions functions) {
    return [shared = std::make_shared<const WebSocketFunctions>(std::move(functions))](HttpRequest& request) {
        return answerHandshake(shared, request);
    };
}

HttpHandler websocket(WebSocketTextFunction text, WebSocketBytesFunction binary, WebSocketBytesFunction pong,
                      WebSocketFunction connected, WebSocketFunction disconnected) {
    return websocket(WebSocketFunctions{.text = std::move(text),
                                        .binary = std::move(binary),
                                        .pong = std::move(pong),
                                        .connected = std::move(connected),
                                        .disconnected = std::move(disconnected),
                                        .limits = {}});
}

}  // namespace quorel::http
