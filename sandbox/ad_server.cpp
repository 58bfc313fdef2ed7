#include "sandbox/ad_server.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

#include "quorel/httpserver/http_request.h"

namespace quorel::sandbox {

namespace {

constexpr std::size_t capacity = 500;
constexpr int endlessHops = 1'000'000;

std::string tracker(const std::string& baseURL, std::string_view who, std::string_view event) {
    const std::string_view code = event == "error" ? "?code=[ERRORCODE]" : "";
    return fmt::format("<![CDATA[{}/ads/track/{}/{}{}]]>", baseURL, who, event, code);
}

std::string trackings(const std::string& baseURL, std::string_view who,
                      std::initializer_list<std::string_view> events, std::string_view prefix = "") {
    std::string xml = fmt::format("<{}TrackingEvents>", prefix);
    for (const std::string_view event : events) {
        xml += fmt::format("<{0}Tracking event=\"{1}\">{2}</{0}Tracking>", prefix, event,
                           tracker(baseURL, who, event));
    }
    return xml + fmt::format("</{}TrackingEvents>", prefix);
}

std::string mediaFile(const std::string& url, std::string_view type, std::string_view more = "") {
    const bool streams = type == "application/x-mpegURL";
    return fmt::format(R"(<MediaFile delivery="{}" type="{}" {}><![CDATA[{}]]></MediaFile>)",
                       streams ? "streaming" : "progressive", type, more, url);
}

// The two spots: five seconds in two sizes of MP4, four seconds of HLS.
std::string filesOf(const std::string& baseURL, std::string_view spot) {
    const std::string at = baseURL + "/media/ads/";
    if (spot == "two") {
        return mediaFile(at + "two/playlist.m3u8", "application/x-mpegURL", R"(width="640" height="360")");
    }
    return mediaFile(at + "one-360.mp4", "video/mp4", R"(width="640" height="360" bitrate="400")") +
           mediaFile(at + "one-720.mp4", "video/mp4", R"(width="1280" height="720" bitrate="900")") +
           mediaFile(at + "one.js", "application/javascript", R"(width="640" height="360" apiFramework="VPAID")");
}

std::string inlineAd(const std::string& baseURL, std::string_view id, const std::string& files,
                     std::string_view adAttributes = "", std::string_view linearAttributes = "") {
    return fmt::format(
        R"(<Ad id="{0}" {1}><InLine><AdSystem>Quorel sandbox</AdSystem><AdTitle>Spot {0}</AdTitle>)"
        R"(<Error>{2}</Error><Impression>{3}</Impression><Creatives><Creative><Linear {4}>)"
        R"(<Duration>00:00:0{5}</Duration>{6}<VideoClicks><ClickThrough>{7}/ads</ClickThrough><ClickTracking>{8}</ClickTracking>)"
        R"(</VideoClicks><MediaFiles>{9}</MediaFiles></Linear></Creative></Creatives></InLine></Ad>)",
        id, adAttributes, tracker(baseURL, id, "error"), tracker(baseURL, id, "impression"), linearAttributes,
        id == "two" ? 4 : 5,
        trackings(baseURL, id,
                  {"start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "skip", "pause", "resume",
                   "mute", "unmute"}),
        baseURL, tracker(baseURL, id, "click"), files);
}

std::string spot(const std::string& baseURL, std::string_view id, std::string_view adAttributes = "",
                 std::string_view linearAttributes = "") {
    return inlineAd(baseURL, id, filesOf(baseURL, id), adAttributes, linearAttributes);
}

std::string wrapper(const std::string& baseURL, std::string_view id, std::string_view tag) {
    return fmt::format(
        R"(<Ad id="{0}"><Wrapper><AdSystem>Quorel sandbox</AdSystem><VASTAdTagURI><![CDATA[{1}/ads/tag/{2}]]></VASTAdTagURI>)"
        R"(<Error>{3}</Error><Impression>{4}</Impression><Creatives><Creative><Linear>{5}</Linear></Creative></Creatives>)"
        R"(</Wrapper></Ad>)",
        id, baseURL, tag, tracker(baseURL, id, "error"), tracker(baseURL, id, "impression"),
        trackings(baseURL, id, {"start", "complete"}));
}

std::string adBreak(const std::string& baseURL, std::string_view offset, std::string_view id,
                    const std::string& source) {
    return fmt::format(
        R"(<vmap:AdBreak timeOffset="{}" breakType="linear" breakId="{}"><vmap:AdSource>{}</vmap:AdSource>{}</vmap:AdBreak>)",
        offset, id, source, trackings(baseURL, id, {"breakStart", "breakEnd", "error"}, "vmap:"));
}

Answer xml(const std::string& body) {
    return Answer::text(200, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + body,
                        "application/xml; charset=utf-8");
}

std::string vast(const std::string& ads, std::string_view version = "4.0") {
    return fmt::format("<VAST version=\"{}\">{}</VAST>", version, ads);
}

std::string schedule(const std::string& baseURL) {
    const auto tag = [&](std::string_view name) {
        return fmt::format(R"(<vmap:AdTagURI templateType="vast3"><![CDATA[{}/ads/tag/{}]]></vmap:AdTagURI>)",
                           baseURL, name);
    };
    const std::string inlined = "<vmap:VASTAdData>" + vast(spot(baseURL, "one"), "3.0") + "</vmap:VASTAdData>";
    return R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" version="1.0">)" +
           adBreak(baseURL, "start", "break-at-the-start", inlined) +
           adBreak(baseURL, "00:00:10", "break-at-10-s", tag("pod")) +
           adBreak(baseURL, "50%", "break-in-the-middle", tag("empty")) +
           adBreak(baseURL, "end", "break-at-the-end", tag("wrapper")) + "</vmap:VMAP>";
}

}  // namespace

const std::vector<AdServer::Tag>& AdServer::tags() {
    static const std::vector<Tag> all = {
        {"inline", "one ad of five seconds, MP4 in two sizes"},
        {"pod", "two ads in sequence, the second one HLS"},
        {"skippable", "one ad that may be skipped after two seconds"},
        {"wrapper", "a wrapper around a wrapper around an ad"},
        {"schedule", "VMAP: breaks at the start, at 10 s, in the middle (empty) and at the end"},
        {"empty", "no ads"},
        {"malformed", "XML that breaks off"},
        {"no-video", "an ad without a video file"},
        {"missing-file", "an ad whose file is not there"},
        {"undecodable", "an ad whose file is text"},
        {"stalls", "an ad that stands still after some seconds"},
        {"loop", "a wrapper that leads to itself"},
        {"endless", "wrappers without end"},
        {"redirects", "redirects without end"},
        {"inline?delay=60000", "an answer that does not come for a minute"},
        {"inline?status=503", "a server that is down"},
        {"inline?broken=cut", "an answer that ends too early"},
    };
    return all;
}

Answer AdServer::tag(const std::string& name, int hop, const std::string& baseURL) {
    const std::string media = baseURL + "/media/";
    if (name == "inline") return xml(vast(spot(baseURL, "one")));
    if (name == "pod") {
        return xml(vast(spot(baseURL, "two", "sequence=\"2\"") + spot(baseURL, "one", "sequence=\"1\""), "3.0"));
    }
    if (name == "skippable") return xml(vast(spot(baseURL, "one", "", "skipoffset=\"00:00:02\"")));
    if (name == "wrapper") return xml(vast(wrapper(baseURL, "outer-wrapper", "inner-wrapper"), "2.0"));
    if (name == "inner-wrapper") return xml(vast(wrapper(baseURL, "inner-wrapper", "inline"), "4.2"));
    if (name == "schedule") return xml(schedule(baseURL));
    if (name == "empty") return xml(vast(""));
    if (name == "malformed") return xml("<VAST version=\"3.0\"><Ad id=\"x\"><InLine><AdTitle>It brea");
    if (name == "no-video") {
        return xml(vast(inlineAd(baseURL, name, mediaFile(media + "ads/one.js", "application/javascript"))));
    }
    if (name == "missing-file") {
        return xml(vast(inlineAd(baseURL, name, mediaFile(media + "ads/none.mp4", "video/mp4"))));
    }
    if (name == "undecodable") {
        return xml(vast(inlineAd(baseURL, name, mediaFile(media + "subtitles/en.srt", "video/mp4"))));
    }
    if (name == "stalls") {
        return xml(
            vast(inlineAd(baseURL, name, mediaFile(baseURL + "/ads/stalls.m3u8", "application/x-mpegURL"))));
    }
    if (name == "loop") return xml(vast(wrapper(baseURL, name, name)));
    if (name == "endless") {
        return xml(vast(wrapper(baseURL, name, fmt::format("endless?hop={}", (hop + 1) % endlessHops))));
    }
    if (name == "redirects") {
        Answer answer = Answer::text(302, "", "text/plain");
        answer.headers.emplace("Location",
                               fmt::format("{}/ads/tag/redirects?hop={}", baseURL, (hop + 1) % endlessHops));
        return answer;
    }
    return Answer::error(404, fmt::format("there is no ad tag '{}'; see {}/ads", name, baseURL));
}

Answer AdServer::stallingPlaylist(const std::string& baseURL) {
    std::string playlist = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n";
    for (const char* segment : {"00.ts", "01.ts", "02.ts", "03.ts?delay=60000"}) {
        playlist += fmt::format("#EXTINF:2,\n{}/media/sample/240/segment-{}\n", baseURL, segment);
    }
    return Answer::text(200, playlist + "#EXT-X-ENDLIST\n", "application/vnd.apple.mpegurl; charset=utf-8");
}

void AdServer::tracked(AdEvent event) {
    const std::lock_guard lock(mutex_);
    if (events_.size() == capacity) events_.pop_front();
    events_.push_back(std::move(event));
}

std::vector<AdEvent> AdServer::events() const {
    const std::lock_guard lock(mutex_);
    return {events_.begin(), events_.end()};
}

void AdServer::clear() {
    const std::lock_guard lock(mutex_);
    events_.clear();
}

}  // namespace quorel::sandbox
