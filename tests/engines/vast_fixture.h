// An ad server and a tracking server that say what the test wrote, and what they were asked.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url_session.h"
#include "quorel/session/scripted_backend.h"

namespace quorel::testing {

using Lines = std::vector<std::string>;

inline std::string element(const std::string& name, const std::string& text) {
    return "<" + name + "><![CDATA[ " + text + "\n]]></" + name + ">";
}
inline std::string tracking(const std::string& event, const std::string& path) {
    return "<Tracking event=\"" + event + "\">https://t.test/" + path + "</Tracking>";
}
inline std::string file(const std::string& url, const std::string& attributes = "") {
    return "<MediaFile delivery=\"progressive\" type=\"video/mp4\" " + attributes + ">" + url + "</MediaFile>";
}
// The linear creative of an inline ad named `id`, whose trackers are "<id>/<event>".
inline std::string linear(const std::string& id, const std::string& files, const std::string& attributes = "") {
    std::string events;
    for (const char* event : {"creativeView", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete",
                              "skip", "pause", "resume", "mute", "unmute"}) {
        events += tracking(event, id + "/" + event);
    }
    return "<Creatives><Creative><Linear " + attributes + "><Duration>00:00:08</Duration><TrackingEvents>" +
           events + "</TrackingEvents><VideoClicks>" + element("ClickThrough", "https://shop.test/" + id) +
           element("ClickTracking", "https://t.test/" + id + "/click") + "</VideoClicks><MediaFiles>" + files +
           "</MediaFiles></Linear></Creative></Creatives>";
}
inline std::string inlineAd(const std::string& id, const std::string& attributes = "",
                            const std::string& linearAttributes = "", const std::string& files = "") {
    return "<Ad id=\"" + id + "\" " + attributes + "><InLine><AdSystem>test</AdSystem><AdTitle>Ad " + id +
           "</AdTitle>" + element("Impression", "https://t.test/" + id + "/impression") +
           element("Error", "https://t.test/" + id + "/error/[ERRORCODE]") +
           linear(id, files.empty() ? file("https://media.test/" + id + ".mp4") : files, linearAttributes) +
           "</InLine></Ad>";
}
inline std::string wrapperAd(const std::string& id, const std::string& tag, const std::string& attributes = "") {
    return "<Ad id=\"" + id + "\"><Wrapper " + attributes + "><AdSystem>test</AdSystem>" +
           element("VASTAdTagURI", tag) + element("Error", "https://t.test/" + id + "/error/[ERRORCODE]") +
           element("Impression", "https://t.test/" + id + "/impression") +
           "<Creatives><Creative><Linear><TrackingEvents>" + tracking("start", id + "/start") +
           "</TrackingEvents><VideoClicks>" + element("ClickTracking", "https://t.test/" + id + "/click") +
           "</VideoClicks></Linear></Creative></Creatives></Wrapper></Ad>";
}
inline std::string vast(const std::string& ads, const std::string& version = "3.0") {
    return "<?xml version=\"1.0\"?><VAST version=\"" + version + "\">" + ads + "</VAST>";
}
inline std::string adBreak(const std::string& offset, const std::string& source) {
    return "<vmap:AdBreak timeOffset=\"" + offset + "\" breakType=\"linear\" breakId=\"" + offset +
           "\"><vmap:AdSource>" + source + "</vmap:AdSource><vmap:TrackingEvents>" +
           "<vmap:Tracking event=\"breakStart\">https://t.test/break/start</vmap:Tracking>"
           "<vmap:Tracking event=\"breakEnd\">https://t.test/break/end</vmap:Tracking>"
           "<vmap:Tracking event=\"error\">https://t.test/break/error</vmap:Tracking>"
           "</vmap:TrackingEvents></vmap:AdBreak>";
}
inline std::string vmapTag(const std::string& url) {
    return "<vmap:AdTagURI templateType=\"vast3\"><![CDATA[" + url + "]]></vmap:AdTagURI>";
}
inline std::string vmapAds(const std::string& ads) {
    return "<vmap:VASTAdData>" + vast(ads).substr(21) + "</vmap:VASTAdData>";
}
inline std::string vmap(const std::string& breaks) {
    return "<vmap:VMAP xmlns:vmap=\"http://www.iab.net/videosuite/vmap\" version=\"1.0\">" + breaks +
           "</vmap:VMAP>";
}

// Virtual time that waits for the session's thread: before each step forward, whatever was asked so far is answered,
// but for what a server holds.
class Clock {
public:
    Clock(std::shared_ptr<ManualRunLoop> loop, std::shared_ptr<UrlSession> session)
        : loop_(std::move(loop)), session_(std::move(session)) {
        session_->registerProtocol(std::make_shared<ScriptedBackend>("https://settled.test/"));
    }
    // False when it does not come about in ten minutes of virtual time.
    bool until(const std::function<bool()>& done) {
        for (int step = 0; step < 12'000; ++step) {
            settle();
            if (done()) return true;
            loop_->advance(std::chrono::milliseconds(50));
        }
        return false;
    }
    void advance(double seconds) {
        const Duration end = loop_->now() + durationFromSeconds(seconds);
        until([&] { return loop_->now() >= end; });
    }

private:
    // The session answers in the order in which it is asked.
    void settle() {
        const auto settled = std::make_shared<bool>(false);
        session_
            ->dataTask(
                URLRequest(*URL::parse("https://settled.test/")),
                [loop = loop_, settled](const UrlSession::Result&) { loop->post([settled] { *settled = true; }); })
            ->resume();
        loop_->drainUntil([&] { return *settled; });
    }
    const std::shared_ptr<ManualRunLoop> loop_;
    const std::shared_ptr<UrlSession> session_;
};

class AdServerTest : public ::testing::Test {
protected:
    AdServerTest() {
        session->registerProtocol(ads);
        session->registerProtocol(trackers);
    }
    void reply(const std::string& path, std::string body) { ads->reply(path, 200, std::move(body)); }
    // What the trackers were asked, once they were asked as much as is expected, in order of arrival.
    Lines tracked(std::size_t expected) {
        EXPECT_TRUE(
            loop->drainUntil([&] { return trackers->paths().size() >= expected; }, std::chrono::seconds(5)))
            << "trackers are missing";
        loop->drain();
        return trackers->paths();
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<ScriptedBackend> ads = std::make_shared<ScriptedBackend>("https://ads.test/");
    const std::shared_ptr<ScriptedBackend> trackers = std::make_shared<ScriptedBackend>("https://t.test/");
    const std::shared_ptr<UrlSession> session = std::make_shared<UrlSession>();
    Clock clock{loop, session};
};

}  // namespace quorel::testing
