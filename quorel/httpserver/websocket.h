// A route that upgrades its requests to WebSocket connections (RFC 6455).
//
//   server->get["/echo"] = websocket({.text = [](const std::shared_ptr<WebSocketSession>& session,
//                                                std::string_view text) { session->writeText(text); },
//                                     .limits = {.message = 1 << 20}});
//
// All functions of one session run on its connection's thread, one at a time, and may block it. They may keep the
// session and write to it from any thread, until `disconnected` and after it (where nothing is sent any more). An
// exception that leaves a function ends the session; WebSocketSession::Control::close ends it without a line in the
// log.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/websocket_session.h"

namespace quorel::http {

// The text is valid UTF-8, a NUL in it is a character like any other; texts and bytes are good for the call.
using WebSocketTextFunction = std::function<void(const std::shared_ptr<WebSocketSession>&, std::string_view)>;
using WebSocketBytesFunction =
    std::function<void(const std::shared_ptr<WebSocketSession>&, std::span<const std::uint8_t>)>;
using WebSocketFunction = std::function<void(const std::shared_ptr<WebSocketSession>&)>;

// What a route does with its sessions. Each may be left out.
struct QUOREL_VISIBLE WebSocketFunctions {
    WebSocketTextFunction text = {};      // a whole message; without this function text messages are dropped
    WebSocketBytesFunction binary = {};   // the same
    WebSocketBytesFunction pong = {};     // pings are answered without a function
    WebSocketFunction connected = {};     // once, first
    WebSocketFunction disconnected = {};  // once, last, whatever ended the session
    WebSocketLimits limits = {};
};

// Answers 400 to a request that is no handshake, and says what is missing; 426 when it asks for another version of
// the protocol than 13 (RFC 6455 4.4).
//
// A session ends when the peer closes it or is gone, when a function throws, when the socket is closed (stopping the
// server does that), and when the peer breaks the protocol, which is a line in the log. A continuation of nothing
// closes the socket at once. In every other case a close frame is the last that the peer reads.
QUOREL_HTTPSERVER_API HttpHandler websocket(WebSocketFunctions functions);
QUOREL_HTTPSERVER_API HttpHandler websocket(WebSocketTextFunction text, WebSocketBytesFunction binary = {},
                                            WebSocketBytesFunction pong = {}, WebSocketFunction connected = {},
                                            WebSocketFunction disconnected = {});

}  // namespace quorel::http
