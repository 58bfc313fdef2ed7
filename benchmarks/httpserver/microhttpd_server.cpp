// libmicrohttpd, thread per connection.
#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <sys/stat.h>

#include <cstring>

#include "bench_server.h"

namespace {

// Made once: the library's own way to answer with constant bytes.
MHD_Response* smallResponse;
MHD_Response* largeResponse;

std::string film;

MHD_Result answerFile(MHD_Connection* connection) {
    const int file = open(film.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || fstat(file, &status) != 0) return MHD_NO;
    MHD_Response* const response = MHD_create_response_from_fd(static_cast<size_t>(status.st_size), file);
    const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result answer(void*, MHD_Connection* connection, const char* url, const char*, const char*, const char*,
                  size_t*, void** state) {
    // The first call is for the head alone; an answer given here would close the connection.
    static int seen;
    if (*state == nullptr) {
        *state = &seen;
        return MHD_YES;
    }
    if (std::strcmp(url, "/small") == 0) return MHD_queue_response(connection, MHD_HTTP_OK, smallResponse);
    if (std::strcmp(url, "/large") == 0) return MHD_queue_response(connection, MHD_HTTP_OK, largeResponse);
    return answerFile(connection);
}

MHD_Response* response(std::string_view body) {
    return MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_PERSISTENT);
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 1) film = std::string(arguments[1]) + "/film.bin";
    smallResponse = response(bench::smallBody);
    largeResponse = response(bench::largeBody());
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    MHD_Daemon* daemon = MHD_start_daemon(
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL, 0, nullptr, nullptr,
        answer, nullptr, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_CONNECTION_LIMIT, 2000u, MHD_OPTION_END);
    if (daemon == nullptr) return 1;
    bench::announceAndWait(MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port);
    MHD_stop_daemon(daemon);
    MHD_destroy_response(smallResponse);
    MHD_destroy_response(largeResponse);
}
