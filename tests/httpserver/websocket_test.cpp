#include "quorel/httpserver/websocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

#include "client.h"
#include "quorel/foundation/log.h"
#include "quorel/httpserver/text_digests.h"

namespace quorel::http {
namespace {

using namespace std::string_literals;
using Session = std::shared_ptr<WebSocketSession>;
using OpCode = WebSocketSession::OpCode;

const std::string mask = "\x01\xFE\x7A\xA5";

// A client's frame, its first byte given as it is.
std::string frame(int first, const std::string& payload) {
    std::string bytes{static_cast<char>(first)};
    const std::size_t size = payload.size();
    const int lengthBytes = size < 126 ? 0 : size <= 0xFFFF ? 2 : 8;
    bytes.push_back(static_cast<char>(0x80 | (lengthBytes == 0 ? size : lengthBytes == 2 ? 126u : 127u)));
    for (int i = lengthBytes - 1; i >= 0; --i) bytes.push_back(static_cast<char>(std::uint64_t{size} >> (8 * i)));
    bytes += mask;
    for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(payload[i] ^ mask[i % 4]));
    return bytes;
}
std::string text(const std::string& payload) {
    return frame(0x81, payload);
}
const std::string closing = frame(0x88, "");
const std::string closed = "\x88\x00"s;

std::string handshake(const std::string& path = "/ws") {
    return "GET " + path + " HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: keep-alive, Upgrade\r\n" +
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
}

// What sessions are told; outlives the test where a session does.
class Notes {
public:
    void add(std::string_view what, std::span<const std::uint8_t> bytes = {}) {
        const std::lock_guard lock(mutex_);
        text_.append(what).append(bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(std::ssize(bytes), 20));
        text_ += "; ";
    }
    std::string take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(text_, {});
    }

private:
    std::mutex mutex_;
    std::string text_;
};

// Echoes texts and bytes and notes what it is told.
struct Echo {
    std::shared_ptr<HttpServer> server = std::make_shared<HttpServer>();
    std::shared_ptr<Notes> notes = std::make_shared<Notes>();

    explicit Echo(WebSocketLimits limits = {}) {
        using Bytes = std::span<const std::uint8_t>;
        server->get["/ws"] = websocket({
            .text =
                [n = notes](const Session& session, std::string_view t) {
                    n->add("text ", {reinterpret_cast<const std::uint8_t*>(t.data()), t.size()});
                    if (t == "throw") throw std::runtime_error("thrown");
                    if (t == "leave") throw WebSocketSession::Control::close;
                    session->writeText(t);
                },
            .binary =
                [n = notes](const Session& session, Bytes bytes) {
                    n->add("binary ", bytes);
                    session->writeBinary(bytes);
                },
            .pong = [n = notes](const Session&, Bytes bytes) { n->add("pong ", bytes); },
            .connected = [n = notes](const Session&) { n->add("connected"); },
            .disconnected = [n = notes](const Session&) { n->add("disconnected"); },
            .limits = limits,
        });
        server->get["/binary-only"] =
            websocket({}, [](const Session& session, auto b) { session->writeBinary(b); });
        server->listenAddressIPv4 = "127.0.0.1";
        server->start(0, true);
    }

    // What the server sends behind the answer to the handshake, until it closes the connection.
    std::string converse(const std::string& bytes, bool trickle = false, const std::string& path = "/ws") {
        const Client client(server->port());
        client.send(handshake(path) + (trickle ? "" : bytes));
        EXPECT_NE(client.readUntil("\r\n\r\n").find("Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo="),
                  std::string::npos);
        if (trickle)
            for (const char& byte : bytes) client.send({&byte, 1});
        return client.readAll();
    }
};

TEST(WebSocket, AnswersFramesAsTheRFCAndTheTableSay) {
    const std::string s125(125, 'x'), s126(126, 'x'), s65535(65535, 'x'), s65536(65536, 'x'), x20(20, 'x');
    const struct {
        const char* name;
        std::string sent, answer, noted;
    } cases[] = {
        {"text", text("Hello"), "\x81\x05Hello", "text Hello; "},
        {"empty text, NUL, 4-byte UTF-8", text("") + text("a\0b"s) + text("\U0001F600"),
         "\x81\x00\x81\x03"s + "a\0b\x81\x04\U0001F600"s, "text ; text a\0b; text \U0001F600; "s},
        {"binary", frame(0x82, "\xFF\x00"s), "\x82\x02\xFF\x00"s, "binary \xFF\x00; "s},
        {"lengths of 7 and 16 bits", text(s125) + text(s126), "\x81\x7D" + s125 + "\x81\x7E\x00\x7E"s + s126,
         "text " + x20 + "; text " + x20 + "; "},
        {"lengths of 16 and 64 bits", text(s65535) + text(s65536),
         "\x81\x7E\xFF\xFF" + s65535 + "\x81\x7F\0\0\0\0\0\1\0\0"s + s65536,
         "text " + x20 + "; text " + x20 + "; "},
        {"a longer form than is needed", "\x81\xFF\0\0\0\0\0\0\0\1"s + mask + "y", "\x81\x01x", "text x; "},
        {"fragments with a ping between", frame(0x01, "Hel") + frame(0x89, "p") + frame(0, "l") + frame(0x80, "o"),
         "\x8A\x01p\x81\x05Hello", "text Hello; "},
        {"a character cut by fragments", frame(0x01, "\xC3") + frame(0x80, "\xA9"), "\x81\x02\u00E9",
         "text \u00E9; "},
        {"some fragments empty", frame(0x02, "") + frame(0, "x") + frame(0x80, ""), "\x82\x01x", "binary x; "},
        {"pings with and without payload", frame(0x89, "") + frame(0x89, s125), "\x8A\x00\x8A\x7D"s + s125, ""},
        {"pongs", frame(0x8A, "") + frame(0x8A, "beat"), "", "pong ; pong beat; "},
        {"nothing behind close with code and reason", frame(0x88, "\x03\xE8...") + text("late"), "", ""},
        {"a function that leaves", text("leave") + text("late"), "", "text leave; "},
    };
    const std::pair<std::string, std::string> violations[] = {
        {frame(0x89, s126) + text("late"), "Protocol error: Payload gretter than 125 octets."},
        {frame(0x01, "a") + text("b"),
         "Protocol error: Continuing fragmented frame cannot have an operation code."},
        {frame(0x01, "a") + frame(0x82, "b"),
         "Protocol error: Continuing fragmented frame cannot have an operation code."},
        {text("\xC3("), "Invalid UTF8 character: "},
        {text("\xED\xA0\x80"), "Invalid UTF8 character: "},  // a surrogate
        {frame(0x01, "ok") + frame(0x80, "\xFF"), "Invalid UTF8 character: "},
        {"\x81\x05Hello", "Unmasked frame: A client must mask all frames that it sends to the server."},
        {frame(0xC1, "a"), "Protocol error: Reserved frame bit has not been negociated."},
        {frame(0x93, "a"), "Protocol error: Reserved frame bit has not been negociated."},  // before its op code
        {frame(0x83, "a"), "Unknown Op Code: 3"},
        {frame(0x8F, "a"), "Unknown Op Code: 15"},
        {frame(0x09, "a"), "Protocol error: Control frames must not be fragmented."},
        {frame(0x08, ""), "Protocol error: Control frames must not be fragmented."},
        {"\x82\xFF\xFF" + std::string(7, '\0') + mask,
         "Protocol error: The length of a frame has 63 bits at most."},
    };
    Echo echo;
    for (const auto& c : cases) {
        for (const bool trickle : {false, true}) {
            if (trickle && c.sent.size() > 1000) continue;
            const LogCapture log;
            EXPECT_EQ(echo.converse(c.sent + closing, trickle), c.answer + closed) << c.name;
            EXPECT_EQ(echo.notes->take(), "connected; " + c.noted + "disconnected; ") << c.name;
            EXPECT_EQ(log.text(), "") << c.name;
        }
    }
    for (const auto& [sent, line] : violations) {
        const LogCapture log;
        EXPECT_EQ(echo.converse(sent), closed) << line;
        EXPECT_EQ(echo.notes->take(), "connected; disconnected; ") << line;
        EXPECT_EQ(log.text(), line + "\n");
    }
    const LogCapture log;
    EXPECT_EQ(echo.converse(text("throw") + text("late")), closed);
    EXPECT_EQ(log.text(), "Unkown error thrown\n");
    echo.notes->take();
    EXPECT_EQ(echo.converse(text("x") + frame(0x80, "nothing begun") + text("late")), "\x81\x01x")
        << "closes without a frame";
    EXPECT_EQ(echo.notes->take(), "connected; text x; disconnected; ");
}

TEST(WebSocket, DropsMessagesThatNobodyWantsAndEndsBeyondTheLimit) {
    const LogCapture log;
    Echo echo({.message = 10});
    const std::string unwanted = text("x") + frame(0x01, "y") + frame(0x00, "y") + frame(0x80, "y");
    EXPECT_EQ(echo.converse(unwanted + frame(0x82, "kept") + closing, false, "/binary-only"),
              "\x82\x04kept" + closed);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(echo.converse(text("ten bytes.") + text("ten bytes.x")), "\x81\x0Aten bytes." + closed);
    EXPECT_EQ(echo.converse("\x82\xFF\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF" + mask), closed);  // without a byte of it
    EXPECT_EQ(echo.converse(frame(0x01, "ten by") + frame(0x00, "tes.") + frame(0x80, "x")), closed);
    const std::string line = "Protocol error: The message is longer than this server takes.\n";
    EXPECT_EQ(log.text(), line + line + line);
}

TEST(WebSocket, RefusesWhatIsNoHandshake) {
    Echo echo;
    const std::pair<std::string, std::string> cases[] = {
        {"", "400 Bad Request; Content-Length: 42|Invalid value of 'Upgrade' header: unknown"},
        {"Upgrade: h2c\r\n", "400 Bad Request; Content-Length: 38|Invalid value of 'Upgrade' header: h2c"},
        {"Upgrade: WebSocket\r\nConnection: close\r\n",
         "400 Bad Request; Content-Length: 43|Invalid value of 'Connection' header: close"},
        {"Upgrade: websocket\r\nConnection: Upgrade\r\n",
         "400 Bad Request; Content-Length: 52|Invalid value of 'Sec-Websocket-Key' header: unknown"},
        {"Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: k\r\nSec-WebSocket-Version: 25\r\n",
         "426 Upgrade Required; Sec-WebSocket-Version: 13|"},
        {"Upgrade: h2c, WebSocket\r\nConnection: upgrade\r\nSec-WebSocket-Key: k\r\n",
         "101 Switching Protocols; Connection: Upgrade; Sec-WebSocket-Accept: cai0HFWL7DEHZkyHxdyv1Pn3R6M=; "
         "Upgrade: WebSocket|" +
             closed},
    };
    const LogCapture log;
    for (const auto& [headers, expected] : cases) {
        const Client client(echo.server->port());
        client.send("GET /ws HTTP/1.1\r\n" + headers + "\r\n");
        client.endSending();
        EXPECT_EQ(flattened(client.readAll()), "HTTP/1.1 " + expected);
    }
    EXPECT_EQ(sha1Text("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

// The frames in a server's bytes; what is no frame is an entry of its own.
class FrameClient {
public:
    explicit FrameClient(std::uint16_t port) : client_(port) {
        client_.send(handshake());
        EXPECT_TRUE(client_.readUntil("\r\n\r\n").starts_with("HTTP/1.1 101"));
    }
    const Client& client() const { return client_; }
    // Op code and payload; {0, ""} at the end of the stream or for what no server may send.
    std::pair<int, std::string> next() const {
        const std::string head = client_.readExactly(2);
        if (head.size() < 2) return {};
        std::size_t length = static_cast<unsigned char>(head[1]);
        const std::string more = client_.readExactly(length == 126 ? 2 : length == 127 ? 8 : 0);
        if (!more.empty()) length = 0;
        for (const char c : more) length = length << 8 | static_cast<unsigned char>(c);
        std::string payload = client_.readExactly(length);
        const int first = static_cast<unsigned char>(head[0]);
        if (first >> 4 != 8 || payload.size() != length) return {};
        return {first & 0x0F, payload};
    }

private:
    Client client_;
};

TEST(WebSocket, KeepsFramesWholeThatManyThreadsWrite) {
    constexpr int writers = 4, frames = 60;
    const auto server = std::make_shared<HttpServer>();
    server->get["/ws"] = websocket({.connected = [](const Session& session) {
        std::vector<std::thread> threads;
        for (int w = 0; w < writers; ++w) {
            threads.emplace_back([&, letter = static_cast<char>('a' + w)] {
                for (std::size_t i = 1; i <= frames; ++i) session->writeText(std::string(i * i * 37, letter));
            });
        }
        for (std::thread& thread : threads) thread.join();
        session->writeCloseFrame();
        session->writeText("behind the close frame");
    }});
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    const FrameClient client(server->port());
    std::map<char, std::size_t> seen;
    auto [op, payload] = client.next();
    for (; op == 0x1; std::tie(op, payload) = client.next()) {
        const std::size_t i = ++seen[payload[0]];
        EXPECT_EQ(payload, std::string(i * i * 37, payload[0]));
    }
    EXPECT_EQ(op, 0x8);
    EXPECT_EQ(seen, (std::map<char, std::size_t>{{'a', frames}, {'b', frames}, {'c', frames}, {'d', frames}}));
    client.client().send(closing);
    EXPECT_EQ(client.client().readAll(), "");
}

// Sockets that talk and are killed in every way at random, while another thread writes to the sessions.
TEST(WebSocket, SessionsEndOnceEachUnderRandomKills) {
    constexpr int clientThreads = 8, socketsEach = 50;
    setLogSink([](std::string_view) {});  // every kill is a line
    const std::size_t descriptorsBefore = openDescriptors();
    std::mutex mutex;
    std::set<Session> sessions;
    std::atomic<int> echoes{0}, connected{0}, disconnected{0}, wrong{0};
    auto server = std::make_shared<HttpServer>();
    server->get["/ws"] = websocket({
        .binary =
            [&](const Session& session, auto bytes) {
                session->writeBinary(bytes);
                ++echoes;
                echoes.notify_one();
            },
        .connected =
            [&](const Session& session) {
                const std::lock_guard lock(mutex);
                ++connected;
                wrong += sessions.insert(session).second ? 0 : 1;
            },
        .disconnected =
            [&](const Session& session) {
                const std::lock_guard lock(mutex);
                ++disconnected;
                disconnected.notify_one();
                wrong += sessions.erase(session) == 1 ? 0 : 1;
            },
        .limits = {.message = 1 << 20},
    });
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);

    std::atomic<bool> done{false};
    std::thread fromOutside([&] {
        for (int turn = 0; !done; ++turn) {
            echoes.wait(turn);
            std::unique_lock lock(mutex);
            if (sessions.empty()) continue;
            const Session session = *std::next(sessions.begin(), turn % std::ssize(sessions));
            lock.unlock();
            session->writeText(std::string(static_cast<std::size_t>(turn % 2000), 't'));
        }
    });
    std::vector<std::thread> clients;
    for (int t = 0; t < clientThreads; ++t) {
        clients.emplace_back([&, t] {
            std::mt19937 random(static_cast<unsigned>(t));
            for (int i = 0; i < socketsEach; ++i) {
                const FrameClient socket(server->port());
                std::string payload;
                for (auto rounds = random() % 8; rounds > 0; --rounds) {
                    payload.assign(random() % (random() % 4 == 0 ? 70'000 : 200), static_cast<char>('a' + t));
                    const std::size_t cut = random() % (payload.size() + 1);
                    socket.client().send(frame(0x02, payload.substr(0, cut)) + frame(0x89, "p") +
                                         frame(0x80, payload.substr(cut)));
                    auto [op, answer] = socket.next();
                    while (op == 0x1 || op == 0xA) std::tie(op, answer) = socket.next();
                    wrong += op == 0x2 && answer == payload ? 0 : 1;
                }
                const std::string lastWords[] = {closing, "\x82\x05no mask", frame(0x80, ""), "",
                                                 frame(0x82, payload).substr(0, payload.size() / 2)};
                socket.client().send(lastWords[random() % 5]);
                if (random() % 2 != 0) socket.client().resetOnClose();
            }
        });
    }
    for (std::thread& client : clients) client.join();
    done = true;
    ++echoes;
    echoes.notify_one();
    fromOutside.join();
    server->stop();
    // It closes the sockets, and behind that the sessions end.
    for (int now = disconnected; now < connected; now = disconnected) disconnected.wait(now);
    setLogSink({});
    expectDescriptorsBack(descriptorsBefore);
    const std::lock_guard lock(mutex);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(connected, clientThreads * socketsEach);
    EXPECT_EQ(connected, disconnected);
}

}  // namespace
}  // namespace quorel::http
