#include "engines/vast/vast.h"

#include "engines/vast/ad_resolver.h"
#include "tests/engines/vast_fixture.h"

namespace quorel::testing {
namespace {

using namespace quorel::vast;

VastDocument read(const std::string& text) {
    return std::get<VastDocument>(parseAdDocument(text));
}

// Written after the standard's own descriptions, with what versions brought and what is passed over.
TEST(VastDocuments, EveryVersionIsRead) {
    const auto two = read(R"(<VAST version="2.0" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
        <Ad id="601364"><InLine><AdSystem version="1.0">Server</AdSystem><AdTitle>Two</AdTitle>
        <Description>d</Description><Error>http://e.test/e</Error><Impression id="a">http://e.test/i1</Impression>
        <Impression><![CDATA[ http://e.test/i2?a=1&b=[CACHEBUSTING] ]]></Impression><Impression/>
        <Creatives><Creative sequence="1" AdID="x"><Linear><Duration>00:01:30.500</Duration><TrackingEvents>
        <Tracking event="start">http://e.test/s</Tracking><Tracking event="progress"/></TrackingEvents>
        <VideoClicks><ClickThrough>http://e.test/go</ClickThrough><ClickTracking id="c">http://e.test/c</ClickTracking>
        </VideoClicks><MediaFiles><MediaFile delivery="progressive" type="video/MP4" bitrate="500" width="400"
        height="300" scalable="true">http://m.test/a.mp4</MediaFile><Mezzanine>http://m.test/raw.mp4</Mezzanine>
        <InteractiveCreativeFile apiFramework="SIMID">http://m.test/s.html</InteractiveCreativeFile></MediaFiles></Linear></Creative>
        <Creative><CompanionAds><Companion width="300" height="250"/></CompanionAds></Creative>
        </Creatives></InLine></Ad></VAST>)");
    ASSERT_EQ(two.ads.size(), 1u);
    Linear linear;
    linear.duration = 90.5;
    linear.mediaFiles = {{"http://m.test/a.mp4", "video/mp4", true, 400, 300, 500, ""}};
    linear.trackings = {{"start", std::nullopt, "http://e.test/s"}};
    linear.clickThrough = "http://e.test/go";
    linear.clickTrackings = {"http://e.test/c"};
    EXPECT_EQ(two, (VastDocument{"2.0",
                                 {},
                                 {{"601364",
                                   std::nullopt,
                                   "Server",
                                   "Two",
                                   {"http://e.test/i1", "http://e.test/i2?a=1&b=[CACHEBUSTING]"},
                                   {"http://e.test/e"},
                                   std::nullopt,
                                   {linear}}}}));

    const auto three = read(R"(<VAST version="3.0"><Error>http://e.test/none</Error>
        <Ad id="b" sequence="2"><InLine><Creatives><Creative><Linear skipoffset="00:00:05"><Duration>00:00:30</Duration>
        <TrackingEvents><Tracking event="progress" offset="00:00:10">u1</Tracking>
        <Tracking event="progress" offset="50%">u2</Tracking><Tracking event="skip">u3</Tracking></TrackingEvents>
        <MediaFiles><MediaFile delivery="streaming" type="application/x-mpegURL" minBitrate="100" maxBitrate="900"
        width="1" height="1">http://m.test/a.m3u8</MediaFile></MediaFiles></Linear></Creative></Creatives></InLine></Ad>
        <Ad sequence="0"><Wrapper followAdditionalWrappers="0" allowMultipleAds="true"><VASTAdTagURI>http://n.test/
        </VASTAdTagURI></Wrapper></Ad><Ad/></VAST>)");
    ASSERT_EQ(three.ads.size(), 2u);
    EXPECT_EQ(three.errors, Lines{"http://e.test/none"});
    EXPECT_EQ(three.ads[0].sequence, 2);
    const Linear& skippable = three.ads[0].linears.at(0);
    EXPECT_EQ(skippable.skipOffset, (TimeOffset{TimeOffset::Kind::seconds, 5}));
    EXPECT_EQ(skippable.trackings[1].offset, (TimeOffset{TimeOffset::Kind::percent, 50}));
    EXPECT_EQ(skippable.mediaFiles[0],
              (MediaFile{"http://m.test/a.m3u8", "application/x-mpegurl", false, 1, 1, 900, ""}));
    EXPECT_EQ(three.ads[1].sequence, std::nullopt);
    EXPECT_EQ(three.ads[1].wrapper, (Wrapper{"http://n.test/", false, true}));
}

TEST(VastDocuments, SchedulesAreRead) {
    const auto document = std::get<VmapDocument>(parseAdDocument(
        vmap(adBreak("start", vmapTag("https://ads.test/a")) + adBreak("00:10:00.500", vmapAds(inlineAd("x"))) +
             adBreak("50%", vmapTag("https://ads.test/c")) + adBreak("end", vmapTag("https://ads.test/d")) +
             adBreak("#1", vmapTag("https://ads.test/e")) + adBreak("tomorrow", vmapTag("https://ads.test/f")) +
             adBreak("1", "<vmap:CustomAdData>x</vmap:CustomAdData>") +
             "<vmap:AdBreak timeOffset=\"2\" breakType=\"nonlinear\"><vmap:AdSource>" +
             vmapTag("https://ads.test/g") + "</vmap:AdSource></vmap:AdBreak>")));
    ASSERT_EQ(document.breaks.size(), 4u);
    EXPECT_EQ(document.breaks[0].source, (std::variant<std::string, VastDocument>("https://ads.test/a")));
    EXPECT_EQ(document.breaks[0].trackings.size(), 3u);
    EXPECT_EQ(document.breaks[1].timeOffset, (TimeOffset{TimeOffset::Kind::seconds, 600.5}));
    EXPECT_EQ(std::get<VastDocument>(document.breaks[1].source).ads.at(0).title, "Ad x");
    EXPECT_EQ(document.breaks[2].timeOffset.at(60), 30);
    EXPECT_EQ(document.breaks[3].timeOffset.at(std::nullopt), std::nullopt);
}

TEST(VastDocuments, OffsetsAreReadStrictly) {
    for (const char* bad :
         {"", "-1", "1:2", "1e3", "0x1", "nan", "inf", "101%", "%", "00:00:0a", "1.2.3", "#1", "::"}) {
        EXPECT_EQ(TimeOffset::parse(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(TimeOffset::parse(" 12.5 ")->at({}), 12.5);
    EXPECT_EQ(TimeOffset::parse("01:00:01.25")->at({}), 3601.25);
}

TEST(VastDocuments, BadOnesAreRefusedForAReason) {
    const auto refusal = [](const std::string& text) {
        try {
            parseAdDocument(text);
        } catch (const VastError& error) {
            return std::optional(error.code());
        }
        return std::optional<VastError::Code>();
    };
    std::string bomb = "<!DOCTYPE v [<!ENTITY a \"aaaaaaaaaa\">";
    for (char c = 'b'; c < 'k'; ++c) {
        bomb += std::string("<!ENTITY ") + c + " \"";
        for (int i = 0; i < 10; ++i) bomb += std::string("&") + static_cast<char>(c - 1) + ";";
        bomb += "\">";
    }
    EXPECT_EQ(refusal(bomb + "]><VAST>&j;</VAST>"), VastError::Code::notXML);
    EXPECT_EQ(refusal(""), VastError::Code::notXML);
    EXPECT_EQ(refusal("<VAST version=\"2.0\"><Ad>"), VastError::Code::notXML);
    EXPECT_EQ(refusal("<html/>"), VastError::Code::notAnAdReply);
    EXPECT_EQ(refusal("<VAST>" + std::string(4u << 20, ' ') + "</VAST>"), VastError::Code::tooLarge);
    std::string deep, many = "<VAST>";
    for (int i = 0; i < 300; ++i) deep += "<VAST>";
    for (int i = 0; i < 60'000; ++i) many += "<Ad/>";
    EXPECT_EQ(refusal(deep), VastError::Code::tooLarge);
    EXPECT_EQ(refusal(many), VastError::Code::tooLarge);
}

TEST(VastDocuments, TheFileThatFitsComesFirst) {
    const auto urls = [](ui::Size size, int maximumBitrate) {
        AdServiceOptions options;
        options.maximumBitrate = maximumBitrate;
        std::vector<MediaFile> files{{"https://m/240", "video/mp4", true, 426, 240, 300, ""},
                                     {"https://m/720", "video/mp4", true, 1280, 720, 2000, ""},
                                     {"https://m/1080", "video/mp4", true, 1920, 1080, 6000, ""},
                                     {"https://m/720-low", "video/mp4", true, 1280, 720, 1000, ""},
                                     {"ftp://m/720", "video/mp4", true, 1280, 720, 1000, ""},
                                     {"https://m/flash", "video/x-flv", true, 1280, 720, 1000, ""}};
        Lines found;
        for (const MediaFile& one : playableFiles(files, options, size)) found.push_back(one.url.substr(10));
        return found;
    };
    EXPECT_EQ(urls({640, 360}, 4000), (Lines{"720", "720-low", "240", "1080"}));
    EXPECT_EQ(urls({0, 0}, 4000), (Lines{"240", "720", "720-low", "1080"}));
    EXPECT_EQ(urls({4000, 3000}, 9000), (Lines{"1080", "720", "720-low", "240"}));
}

class AdResolution : public AdServerTest {
protected:
    // The ids of the ads to play, of the substitutes behind a "+", or the problem.
    Lines resolve(const std::string& tag = "https://ads.test/tag", bool letTimePass = false) {
        std::optional<AdSelection> selection;
        const auto run = [](std::shared_ptr<AdResolver> from, std::string url,
                            std::optional<AdSelection>& to) -> Task<void> {
            to = co_await AdResolver::load(std::move(from), std::move(url));
        };
        startTask(*loop, run(resolver, tag, selection));
        loop->drain();
        EXPECT_TRUE(loop->drainUntil([&] {
            if (letTimePass) loop->advance(std::chrono::milliseconds(500));
            return selection.has_value();
        }));
        result = *selection;
        Lines ids;
        for (const PlayableAd& ad : result.ads) ids.push_back(ad.id);
        for (const PlayableAd& ad : result.substitutes) ids.push_back("+" + ad.id);
        if (ids.empty()) ids.push_back(result.problem);
        return ids;
    }
    const std::shared_ptr<Beacons> beacons = std::make_shared<Beacons>(*loop, session, 5);
    const std::shared_ptr<AdResolver> resolver =
        std::make_shared<AdResolver>(*loop, session, beacons, AdServiceOptions());
    AdSelection result;
};

TEST_F(AdResolution, PodsGoBySequenceAndStandAloneAdsOneByOne) {
    reply("tag", vast(inlineAd("c", "sequence=\"3\"") + inlineAd("x") + inlineAd("a", "sequence=\"1\"")));
    EXPECT_EQ(resolve(), (Lines{"a", "c", "+x"}));
    reply("tag", vast(inlineAd("x") + inlineAd("y")));
    EXPECT_EQ(resolve(), (Lines{"x", "+y"}));
    reply("tag", vast(inlineAd("v", "", "",
                               "<MediaFile type=\"video/mp4\" apiFramework=\"VPAID\">https://m/v</MediaFile>") +
                      inlineAd("y")));
    EXPECT_EQ(resolve(), (Lines{"y"}));
    EXPECT_EQ(tracked(1), (Lines{"v/error/403"}));
    reply("tag",
          vast("<Ad id=\"n\"><InLine>" + element("Error", "https://t.test/n/[ERRORCODE]") + "</InLine></Ad>"));
    EXPECT_EQ(resolve(), (Lines{"None of the ad server's ads can be played."}));
    EXPECT_EQ(tracked(2).back(), "n/201");
}

TEST_F(AdResolution, WrappersAreMergedIntoTheAdsAtTheirEnds) {
    reply("tag", vast(wrapperAd("outer", "https://ads.test/two")));
    reply("two", vast(wrapperAd("inner", "https://ads.test/three")));
    reply("three", vast(inlineAd("p1", "sequence=\"1\"") + inlineAd("p2", "sequence=\"2\"") + inlineAd("ad")));
    EXPECT_EQ(resolve(), (Lines{"ad"})) << "a wrapper that allows one ad gets the one that stands alone";
    const PlayableAd& ad = result.ads[0];
    EXPECT_EQ(ad.impressions, (Lines{"https://t.test/outer/impression", "https://t.test/inner/impression",
                                     "https://t.test/ad/impression"}));
    EXPECT_EQ(ad.errors.size(), 3u);
    Lines starts;
    for (const Tracking& one : ad.linear.trackings) {
        if (one.event == "start") starts.push_back(one.url);
    }
    EXPECT_EQ(starts,
              (Lines{"https://t.test/outer/start", "https://t.test/inner/start", "https://t.test/ad/start"}));

    reply("tag", vast(wrapperAd("outer", "https://ads.test/three", "allowMultipleAds=\"true\"")));
    EXPECT_EQ(resolve(), (Lines{"p1", "p2"}));
    reply("tag", vast(wrapperAd("outer", "https://ads.test/pod")));
    reply("pod", vast(inlineAd("p2", "sequence=\"2\"") + inlineAd("p1", "sequence=\"1\"")));
    EXPECT_EQ(resolve(), (Lines{"p1"})) << "the first of a pod that the wrapper does not allow";
}

TEST_F(AdResolution, WhateverTheServersDoItEndsWithAReason) {
    const std::string timeless = "The ad server ads.test did not answer in time.";
    const std::string none = "None of the ad server's ads can be played.";
    for (int i = 0; i < 30; ++i) {
        const std::string next = "https://ads.test/endless" + std::to_string(i + 1);
        reply("endless" + std::to_string(i), vast(wrapperAd("e" + std::to_string(i), next)));
    }
    reply("loop", vast(wrapperAd("l", "https://ads.test/loop")));
    reply("empty", vast(element("Error", "https://t.test/none/[ERRORCODE]")));
    ads->reply("nothing", 204, "");
    reply("broken", "<VAST><Ad>");
    reply("schedule", vmap(""));
    reply("over", vast(wrapperAd("w", "https://ads.test/broken")));
    reply("held-back", vast(wrapperAd("h", "https://ads.test/never")));
    reply("no-more", vast(wrapperAd("n", "https://ads.test/over", "followAdditionalWrappers=\"false\"")));
    ads->hold("never");
    const struct {
        const char* tag;
        std::string problem;
        Lines errors;
        bool slow = false;
    } rows[] = {
        {"empty", "The ad server has no ads.", {"none/303"}},
        {"nothing", "The ad server has no ads.", {}},
        {"missing", "The ad server answered with status 404.", {}},
        {"broken", "The ad server's answer cannot be read: line 1: no element found.", {}},
        {"schedule", "The ad server answered with a schedule where ads were expected.", {}},
        {"loop", none, {"l/error/302"}},
        {"over", none, {"w/error/100"}},
        {"no-more", none, {"n/error/302", "w/error/302"}},
        {"endless0",
         none,
         {"e0/error/302", "e1/error/302", "e2/error/302", "e3/error/302", "e4/error/302", "e5/error/302"}},
        {"never", timeless, {}, true},
        {"held-back", none, {"h/error/301"}, true},
    };
    std::size_t seen = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tag);
        EXPECT_EQ(resolve(std::string("https://ads.test/") + row.tag, row.slow), Lines{row.problem});
        const Lines all = tracked(seen + row.errors.size());
        EXPECT_EQ(Lines(all.begin() + static_cast<std::ptrdiff_t>(seen), all.end()), row.errors);
        seen = all.size();
    }
    EXPECT_EQ(resolve("https://[").at(0), "The ad tag \"https://[\" is no URL.");
}

TEST_F(AdResolution, MacrosAreFilledIn) {
    Macros macros;
    macros.errorCode = ErrorCode::fileNotFound;
    macros.adPlayhead = 3723.5;
    macros.contentPlayhead = 1;
    macros.assetURL = "https://m.test/a?b";
    EXPECT_EQ(beacons->expanded(
                  "https://t/[ERRORCODE]/[ADPLAYHEAD]/[CONTENTPLAYHEAD]?[ASSETURI]&[UNKNOWN]&[TIMESTAMP]", macros),
              "https://t/401/01%3A02%3A03.500/00%3A00%3A01.000?https%3A%2F%2Fm.test%2Fa%3Fb&[UNKNOWN]&"
              "2023-11-14T22%3A13%3A20.000%2B0000");
    EXPECT_EQ(beacons->expanded("[CACHEBUSTING]").size(), 8u);
}

}  // namespace
}  // namespace quorel::testing
