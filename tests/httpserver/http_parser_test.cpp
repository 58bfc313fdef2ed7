#include "quorel/httpserver/http_parser.h"

#include <gtest/gtest.h>

#include "scripted_socket.h"

namespace quorel::http {
namespace {

std::string dump(const HttpRequest& request) {
    std::string text = request.method + " [" + request.path + "]";
    for (const auto& [name, value] : request.queryParams) text += " " + name + "=[" + value + "]";
    for (const auto& [name, value] : request.headers) text += " | " + name + ": [" + value + "]";
    if (!request.body.empty()) text += " | " + std::string(request.body.begin(), request.body.end());
    return text;
}

// The request, or the error's what(); then what the parser left in the socket.
std::string parsed(ScriptedSocket& socket, HttpLimits limits = {}) {
    std::string text;
    try {
        text = dump(HttpParser(limits).readHttpRequest(socket));
    } catch (const HttpParserError& error) {
        text = error.what();
    } catch (const SocketError& error) {
        return error.code() == SocketError::Code::recvFailed ? "recvFailed" : error.what();
    }
    return socket.rest().empty() ? text : text + " >> " + std::string(socket.rest());
}

struct Case {
    std::string_view bytes;
    std::string_view expected;
};

const Case cases[] = {
    {"GET / HTTP/1.1\r\n\r\n", "GET [/]"},
    {"GET / HTTP/1.1\r\n\r\nGET /next", "GET [/] >> GET /next"},
    {"get /a b HTTP/1.1\n\n", "get [/a]"},
    {"GET  / HTTP/1.1\r\n\r\n", "GET []"},
    {"GET /\r\nHost: x\r\n\r\n", "invalidStatusLine: GET / >> Host: x\r\n\r\n"},
    {"\r\nGET / HTTP/1.1\r\n\r\n", "invalidStatusLine:  >> GET / HTTP/1.1\r\n\r\n"},
    {"G\tET / HTTP/1.1\r\n\t\r\n", "GET [/]"},
    // Targets: escapes stay for the router to decode, whatever a URL's parts are is the URL's business.
    {"GET /a%20b?x=%41&y&&z=1=2# HTTP/1.1\n\n", "GET [/a%20b] x=[%41] y=[] =[] z=[1=2#]"},
    {"GET /? HTTP/1.1\n\n", "GET [/]"},
    {"GET /caf\xC3\xA9 HTTP/1.1\n\n", "GET [/caf\xC3\x83\xC2\xA9]"},
    {"GET http://host:80/p%20?q=%20 HTTP/1.1\n\n", "GET [/p%20] q=[%20]"},
    {"GET //host/p HTTP/1.1\n\n", "GET [/p]"},
    {"OPTIONS * HTTP/1.1\n\n", "OPTIONS [*]"},
    // Headers.
    {"GET / HTTP/1.1\r\nX: a:b\r\nY:\t c \r\n:Z::w\r\n\r\n", "GET [/] | x: [a:b] | y: [c] | z: [:w]"},
    {"GET / HTTP/1.1\r\nA: 1\r\na: 2\r\nNoColon\r\nEmpty:\r\n:\r\n\r\n",
     "GET [/] | a: [2] | empty: [Empty] | nocolon: [NoColon]"},
    {"GET / HTTP/1.1\r\n\xC9T\xD7 : \xE9\r\n\r\n", "GET [/] | \xC3\xA9t\xC3\x97 : [\xC3\xA9]"},
    // Bodies.
    {"POST / HTTP/1.1\r\nContent-Length: 4\r\n\r\nabcdGET", "POST [/] | content-length: [4] | abcd >> GET"},
    {"POST / HTTP/1.1\r\nContent-Length: +2\r\n\r\nab", "POST [/] | content-length: [+2] | ab"},
    {"POST / HTTP/1.1\r\nContent-Length: abc\r\n\r\nab", "POST [/] | content-length: [abc] >> ab"},
    {"POST / HTTP/1.1\r\nContent-Length: 2x\r\n\r\nab", "POST [/] | content-length: [2x] >> ab"},
    {"POST / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n",
     "POST [/] | content-length: [99999999999999999999]"},
    {"POST / HTTP/1.1\r\nContent-Length: \r\n\r\nab", "POST [/] | content-length: [] >> ab"},
    {"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\nab", "negativeContentLength >> ab"},
    {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n",
     "POST [/] | transfer-encoding: [chunked] >> 0\r\n"},
    // The end of the stream.
    {"", "recvFailed"},
    {"GET / HTTP/1.1\r\nHost: x\r\n", "recvFailed"},
    {"POST / HTTP/1.1\r\nContent-Length: 4\r\n\r\nabc", "recvFailed"},
};

TEST(HttpParser, ReadsOneRequestWhereverItIsCut) {
    for (const auto& [bytes, expected] : cases) {
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            ScriptedSocket socket(bytes, cut);
            ASSERT_EQ(parsed(socket), expected) << bytes << "\ncut at " << cut;
        }
        ScriptedSocket trickle(bytes, 0, true);
        EXPECT_EQ(parsed(trickle), expected) << bytes << "\nbyte by byte";
    }
}

TEST(HttpParser, EndsAtItsLimits) {
    const std::string head = "PUT / HTTP/1.1\r\nContent-Length: 8\r\n\r\n";
    const std::string whole = head + "12345678";
    const auto outcome = [&](std::string_view bytes, HttpLimits limits) {
        ScriptedSocket socket(bytes);
        const std::string text = parsed(socket, limits);
        return text.substr(0, text.find(' '));
    };
    EXPECT_EQ(outcome(whole, {head.size(), 8}), "PUT");
    EXPECT_EQ(outcome(whole, {head.size() - 1, 8}), "headTooLong");
    EXPECT_EQ(outcome(whole, {head.size(), 7}), "bodyTooLong");
    EXPECT_EQ(outcome("PUT / HTTP/1.1\nX: " + std::string(1 << 20, 'x'), {}), "headTooLong");

    // A head far longer than what is looked at in one go, and a body that follows it.
    const std::string longHead =
        "PUT / HTTP/1.1\r\nX: " + std::string(60'000, 'x') + "\r\nContent-Length: 200000\r\n\r\n";
    const std::string bytes = longHead + std::string(200'000, 'b') + "rest";
    ScriptedSocket socket(bytes);
    const HttpRequest request = HttpParser().readHttpRequest(socket);
    EXPECT_EQ(request.headers.at("x").size(), 60'000u);
    EXPECT_EQ(request.body, std::vector<std::uint8_t>(200'000, 'b'));
    EXPECT_EQ(socket.rest(), "rest");
}

}  // namespace
}  // namespace quorel::http
