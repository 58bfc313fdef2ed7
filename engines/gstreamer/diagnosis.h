// Private to this room. Finds out why a source could not be played, by asking its server again, after the fact.
//
// The pipeline's messages rarely say what a person needs: a missing media playlist is "a different type than handled
// by this element", a refused connection an "internal data stream error". Asking only after a failure, and not beside
// every load, keeps the good case as it is: no second request for servers that count or sign them, and no byte less
// for the picture.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engines/gstreamer/failure.h"
#include "engines/gstreamer/manifest.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/url_session.h"

namespace quorel::gstreamer {

class Diagnosis : public std::enable_shared_from_this<Diagnosis> {
public:
    using Completion = std::function<void(const std::string& error)>;

    // Whether a server may know more about the failure than the pipeline does.
    static bool canHelp(const Failure& failure);

    // Calls `completion` once, at a later turn and within `limit` seconds, with a sentence for people. The main
    // thread, as all of it.
    static std::shared_ptr<Diagnosis> start(RunLoop& loop, UrlSession& session, Failure failure, URL url,
                                            double limit, Completion completion);
    // Nothing is called any more, and neither the loop nor the session is used.
    void abandon();

    Diagnosis(RunLoop& loop, UrlSession& session, Failure failure, URL url, double limit, Completion completion);

private:
    // What a request gave: a reply, or why there is none.
    struct Reply {
        int status = 0;
        std::string body;
        std::string error;  // empty: there is a reply
        bool tooLong = false;
    };

    Task<void> run(std::shared_ptr<Diagnosis> self);
    Task<std::optional<std::string>> findReason();
    Task<std::optional<std::string>> checkPlaylist(const Manifest& manifest, URL url);
    Task<Reply> fetch(URL url, bool onlyItsBeginning);
    std::optional<std::string> complaint(const std::string& what, const Reply& reply) const;
    std::string part(const std::string& kind, const URL& url) const;
    void finish(const std::string& error);

    RunLoop* loop_;
    UrlSession* session_;
    const Failure failure_;
    const URL url_;
    const double limit_;
    Completion completion_;  // empty once it was called or is not wanted any more
    RunLoop::TimerId deadline_ = 0;
    std::shared_ptr<UrlSessionDataTask> running_;
};

}  // namespace quorel::gstreamer
