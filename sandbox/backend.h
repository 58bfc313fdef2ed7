// Private to this room.
//
// What stands behind the Sandbox: the server, its routes and everything they answer from. The server's threads hold it
// while they answer, so it may outlive the Sandbox by a moment. Any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/http_server.h"
#include "sandbox/ad_server.h"
#include "sandbox/answer.h"
#include "sandbox/faults.h"
#include "sandbox/live_desk.h"
#include "sandbox/media_files.h"
#include "sandbox/pings.h"
#include "sandbox/request_log.h"
#include "sandbox/sandbox.h"
#include "sandbox/titles.h"

namespace quorel::sandbox {

class Sandbox::Backend : public std::enable_shared_from_this<Sandbox::Backend> {
public:
    Backend(MediaFiles files, std::string token);
    ~Backend();

    void start(std::uint16_t port);
    void stop();
    std::string baseURL() const;

    const MediaFiles files;
    const std::string token;
    FaultTable faults;
    RequestLog log;
    PingLog pings;
    AdServer ads;
    LiveDesk liveDesk{files};

    std::vector<Title> titles() const;
    void setTitle(Title title);

private:
    class Answering;
    using Handler = Answer (Backend::*)(http::HttpRequest&);
    using TitleReply = std::function<Answer(const Title&)>;

    std::shared_ptr<http::HttpServer> makeServer();
    http::HttpResponse answer(http::HttpRequest& request, Handler handler, bool isPost);
    void waitFor(std::chrono::milliseconds delay);

    Answer page(http::HttpRequest& request);
    Answer media(http::HttpRequest& request);
    Answer config(http::HttpRequest& request);
    Answer video(http::HttpRequest& request);
    Answer liveStream(http::HttpRequest& request);
    Answer liveStatus(http::HttpRequest& request);
    Answer channel(http::HttpRequest& request);
    Answer ingest(http::HttpRequest& request);
    Answer adTag(http::HttpRequest& request);
    Answer stallingAd(http::HttpRequest& request);
    Answer trackAd(http::HttpRequest& request);
    Answer adPage(http::HttpRequest& request);
    Answer unknown(http::HttpRequest& request);
    Answer controlFaults(http::HttpRequest& request);
    Answer controlRequests(http::HttpRequest& request);
    Answer controlLive(http::HttpRequest& request);
    Answer controlPings(http::HttpRequest& request);
    Answer controlAds(http::HttpRequest& request);
    Answer controlPage(http::HttpRequest& request);
    Answer forTitle(http::HttpRequest& request, bool live, const TitleReply& reply);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    int answering_ = 0;  // requests whose answers are being made
    std::vector<Title> titles_;
    std::uint16_t port_ = 0;
    std::shared_ptr<http::HttpServer> server_;  // null while stopped
};

}  // namespace quorel::sandbox
