// libwebsockets, one event loop.
#include <libwebsockets.h>

#include <cstring>
#include <thread>
#include <vector>

#include "benchmarks/httpserver/bench_server.h"

namespace {

struct Connection {
    std::vector<unsigned char>* message;
};

int callback(lws* connection, lws_callback_reasons reason, void* user, void* data, size_t size) {
    auto* state = static_cast<Connection*>(user);
    switch (reason) {
        case LWS_CALLBACK_ESTABLISHED:
            state->message = new std::vector<unsigned char>(LWS_PRE);
            break;
        case LWS_CALLBACK_CLOSED:
            delete state->message;
            break;
        case LWS_CALLBACK_RECEIVE: {
            const auto* bytes = static_cast<const unsigned char*>(data);
            state->message->insert(state->message->end(), bytes, bytes + size);
            if (lws_is_final_fragment(connection) && lws_remaining_packet_payload(connection) == 0)
                lws_callback_on_writable(connection);
            break;
        }
        case LWS_CALLBACK_SERVER_WRITEABLE: {
            auto& message = *state->message;
            if (message.size() == LWS_PRE) break;
            const int written =
                lws_write(connection, message.data() + LWS_PRE, message.size() - LWS_PRE, LWS_WRITE_BINARY);
            message.resize(LWS_PRE);
            return written < 0 ? -1 : 0;
        }
        default:
            break;
    }
    return 0;
}

}  // namespace

int main() {
    lws_set_log_level(0, nullptr);
    static lws_protocols protocols[] = {{"echo", callback, sizeof(Connection), 64 * 1024, 0, nullptr, 0},
                                        {nullptr, nullptr, 0, 0, 0, nullptr, 0}};
    lws_context_creation_info info{};
    info.iface = "127.0.0.1";
    info.protocols = protocols;
    info.port = 0;
    info.pt_serv_buf_size = 64 * 1024 + 64;
    lws_context* context = lws_create_context(&info);
    if (context == nullptr) return 1;
    lws_vhost* host = lws_get_vhost_by_name(context, "default");
    std::thread([context] {
        while (lws_service(context, 0) >= 0) {
        }
    }).detach();
    bench::announceAndWait(static_cast<unsigned>(lws_get_vhost_listen_port(host)));
    std::_Exit(0);
}
