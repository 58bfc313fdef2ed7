// A chat room: the page and the WebSocket behind it come from one server. Open http://127.0.0.1:8080/ twice.
//
//   chat_server [PORT]        PORT 0 lets the system choose; ends with Enter or the end of standard input
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "chat_page.h"
#include "quorel/foundation/json.h"
#include "quorel/httpserver/http_server.h"
#include "quorel/httpserver/websocket.h"

using namespace quorel::http;
using Session = std::shared_ptr<WebSocketSession>;

namespace {

// Writes to everybody from whatever thread has something to say. A guest who does not read holds the writer once the
// system's buffers are full; a server for strangers would give each guest a queue and a thread to empty it.
class Room {
public:
    void enter(const Session& session) {
        {
            const std::lock_guard lock(mutex_);
            sessions_.insert(session);
        }
        tell("count");
    }
    void leave(const Session& session) {
        {
            const std::lock_guard lock(mutex_);
            sessions_.erase(session);
        }
        tell("count");
    }
    void say(std::string_view text) { tell("say", text); }

private:
    void tell(std::string_view what, std::string_view text = {}) {
        std::vector<Session> everybody;
        {
            const std::lock_guard lock(mutex_);
            everybody.assign(sessions_.begin(), sessions_.end());
        }
        const std::string message = quorel::serializeJSON(quorel::JSONObject{
            {"what", std::string(what)}, {"text", std::string(text)}, {"guests", everybody.size()}});
        for (const Session& session : everybody) session->writeText(message);
    }

    std::mutex mutex_;
    std::set<Session> sessions_;
};

}  // namespace

int main(int count, char** arguments) {
    const auto room = std::make_shared<Room>();
    auto server = std::make_shared<HttpServer>();
    server->get["/"] = [](HttpRequest&) {
        return HttpResponse::ok(HttpResponseBody::html(std::string(chatPage)));
    };
    server->get["/chat"] = websocket({
        .text = [room](const Session&, std::string_view text) { room->say(text); },
        .connected = [room](const Session& session) { room->enter(session); },
        .disconnected = [room](const Session& session) { room->leave(session); },
        .limits = {.message = 4096},
    });
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(static_cast<std::uint16_t>(count > 1 ? std::atoi(arguments[1]) : 8080), true);
    std::printf("http://127.0.0.1:%u/ until Enter is pressed\n", server->port());
    std::fflush(stdout);
    std::getchar();
}
