// The line parser, URI resolution and both rewriters: lines and whole playlists with what becomes of them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quorel/foundation/text.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/variant_playlist_parser.h"

namespace quorel {
namespace {

struct LineRow {
    std::string line;
    std::string out;         // empty: the line itself
    std::string attributes;  // "KEY>value|..."
};

TEST(HLSLine, TakesLinesApartAndWritesThemBack) {
    const std::string sentinel = "<SomeStringThatYouDoNotExpectToOccurInSelf>";
    std::string manyKeys = "#X:";
    for (int i = 0; i < 40; ++i) manyKeys += "K" + std::to_string(i % 20) + "=" + std::to_string(i) + ",";
    const std::vector<LineRow> rows{
        {"", "", ""},
        {"#EXTM3U", "", ""},
        {"#EXT-X-VERSION:3", "", ""},
        {"https://cdn.example/a?b=c,d=\"e", "", ""},
        {"seg,1.ts,", "seg,1.ts", ""},
        {"#EXTINF:9.009,", "#EXTINF:9.009", ""},
        {"#EXTINF:9.009,Title", "", ""},
        {"#EXTINF:9.009,a=b", "#EXTINF:A=a=b", "A>a=b"},
        {"#EXT-X-EMPTY:", "#EXT-X-EMPTY", ""},
        {"#A: #A:", "#A ", ""},
        {"#EXT-X-PROGRAM-DATE-TIME:2026-01-02T03:04:05.678Z", "", ""},
        {"#A:x#A:y=1", "#A:XY=xy=1", "XY>xy=1"},
        {R"(#S:B=1,CODECS="avc1.4d401f,mp4a.40.2",R=2x3)", "", R"(B>1|CODECS>"avc1.4d401f,mp4a.40.2"|R>2x3)"},
        {"#S:uri=\"x\",B = 2 ,3,C=", "#S:URI=uri=\"x\",B =2,C=", "URI>uri=\"x\"|B >2|C>"},
        {"#S:A=1A=2,B=A=3,A=4", "#S:A=4,B=A=3", "A>4|B>A=3"},
        {"#S:=a=b", "#S:=ab", ">ab"},
        {"#S:Z=\"y\",A=\"x,B=1,C=2", "", "Z>\"y\",A=\"x|B>1|C>2"},
        {"#S:A=\"x,B=1,C=2", "#S:A=\"x,B=1,C=2", "A>\"x|B>1|C>2"},
        {"#S:A=1" + sentinel + "B=\"2" + sentinel + "C=3\"", "#S:A=1,B=\"2,C=3\"", "A>1|B>\"2|C>3\""},
        {manyKeys,
         "#X:K0=20,K1=21,K2=22,K3=23,K4=24,K5=25,K6=26,K7=27,K8=28,K9=29,K10=30,K11=31,K12=32,K13=33,"
         "K14=34,K15=35,K16=36,K17=37,K18=38,K19=39",
         "*"},
    };
    for (const LineRow& row : rows) {
        const HLSLine line(row.line);
        EXPECT_EQ(line.toString(), row.out.empty() ? row.line : row.out);
        if (row.attributes == "*") continue;
        std::string attributes;
        for (const auto& [key, value] : line.paramsObject) {
            attributes.append(attributes.empty() ? "" : "|").append(key).append(">").append(value);
        }
        EXPECT_EQ(attributes, row.attributes) << row.line;
    }
    HLSLine line("#K:METHOD=AES-128,URI=\"k\"");
    line.replaceURI("k", "https://h/k");
    EXPECT_EQ(line.paramsString(), "METHOD=AES-128,URI=\"https://h/k\"");
    EXPECT_EQ(line.toString(), "#K:METHOD=AES-128,URI=\"https://h/k\"");
}

TEST(PlaylistParser, ResolvesURIs) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"seg%201.ts", "https://host.example/a/seg%201.ts"},
        {"seg%25201.ts", "https://host.example/a/seg%201.ts"},
        {"50%25zz.ts", "50%25zz.ts"},  // what cannot be decoded twice stays relative
        {"%zz", ""},
        {" \t", ""},
        {"x.ts?a=1&b", "https://host.example/a/x.ts?a=1&b"},
        {"x.ts?&a==1&=b&c=&&d=%26", "https://host.example/a/x.ts?a=%3D1&b&c&d"},
        {"x.ts?a=1?b=2", "https://host.example/a/x.ts?a=1"},
        {"?a=1", "https://host.example/a/a=1"},
        {"x.ts?", "https://host.example/a/x.ts"},
        {"/root.ts", "https://host.example/a/root.ts"},
        {"../up;v=1.ts", "https://host.example/a/../up%3Bv=1.ts"},
        {"x.ts#part", "https://host.example/a/x.ts%23part"},
        {"vídeo.ts", "https://host.example/a/v%C3%ADdeo.ts"},
        {"https://o.example:8080/b%20c.ts?sig=a%2Bb%3D", "https://o.example:8080/b%20c.ts?sig=a+b="},
        {"https://u@o.example/[1].ts", "https://u@o.example/%5B1%5D.ts"},
        {"data:text/plain,x", "data:text/plain,x"},
        {"//o.example/b.ts", "https://host.example/a/o.example/b.ts"},
    };
    const auto parser = VariantPlaylistParser::make(*URL::parse("https://host.example/a/b.m3u8?token=t/u#f"));
    for (const auto& [text, expected] : rows) {
        const auto url = parser->resolveURI(text);
        EXPECT_EQ(url ? url->absoluteString() : "", expected) << text;
        // Playlists are written by a shorter way, which must lead to the same place.
        ASSERT_TRUE(parser->accept("#EXTM3U\n" + text));
        parser->rewrite();
        EXPECT_EQ(*parser->manifestData(), expected.empty() ? "#EXTM3U" : "#EXTM3U\n" + expected);
    }
}

TEST(PlaylistParser, AcceptsWhatBeginsAsAPlaylist) {
    const auto parser = MasterPlaylistParser::make(*URL::parse("https://h/x"));
    for (const char* body : {"", "\n#EXTM3U", "<html>", "#EXTM3U\n\xFF", "\xFF\xFE#\0E"}) {
        EXPECT_FALSE(parser->accept(body)) << body;
        EXPECT_FALSE(parser->manifestData());
    }
    for (const char* body : {"#EXTM3U", "\xEF\xBB\xBF#EXTM3U\r\n", "text #EXTM3U8"})
        EXPECT_TRUE(parser->accept(body));
}

std::shared_ptr<const TextTrackDescription> track(const char* src, const char* language,
                                                  std::optional<std::string> label) {
    return std::make_shared<TextTrackDescription>(src, language, std::nullopt, TextTrackKind::subtitles, label);
}

std::string master(std::string body, const MasterPlaylistParser::Subtitles& tracks) {
    const auto parser = MasterPlaylistParser::make(*URL::parse("https://cdn.example/live/master.m3u8"));
    EXPECT_TRUE(parser->accept(std::move(body)));
    return parser->rewrite(tracks);
}

const std::string portugueseRow =
    R"(#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="THEOsubs",NAME="Português",URI="subtitlesm3u8://https://subs.example/a.srt",LANGUAGE="pt")";
const std::string englishRow =
    R"(#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="THEOsubs",NAME="English",URI="subtitlesm3u8://https://subs.example/b.vtt",LANGUAGE="en")";

TEST(MasterPlaylistParser, AddsRowsAndMovesVariants) {
    const MasterPlaylistParser::Subtitles tracks{
        track("https://subs.example/a.srt", "pt", "Português"),
        track("https://subs.example/unlabelled.srt", "fr", std::nullopt),
        track("https://subs.example/b.vtt", "en", "English"),
    };
    const std::string head = R"(#EXTM3U
#EXT-X-VERSION:6
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="Main",URI="audio/main.m3u8"
)";
    const std::string own = R"(#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="cc",NAME="Own",URI="subs/own.m3u8")";
    const std::string variant =
        R"(#EXT-X-STREAM-INF:BANDWIDTH=1280000,CODECS="avc1.4d401f,mp4a.40.2",AUDIO="aud",SUBTITLES="cc"
video/720.m3u8?token=abc)";
    const std::string headOut = R"(#EXTM3U
#EXT-X-VERSION:6
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="Main",URI="https://cdn.example/live/audio/main.m3u8"
)";
    const std::string ownOut =
        R"(#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="THEOsubs",NAME="Own",URI="https://cdn.example/live/subs/own.m3u8")";
    const std::string variantOut =
        R"(#EXT-X-STREAM-INF:BANDWIDTH=1280000,CODECS="avc1.4d401f,mp4a.40.2",AUDIO="aud",SUBTITLES="THEOsubs"
variantm3u8://https://cdn.example/live/video/720.m3u8?token=abc)";
    const std::string ends = "\n" + portugueseRow + "\n" + englishRow;
    EXPECT_EQ(master(head + own + "\n" + variant, tracks),
              headOut + englishRow + "\n" + portugueseRow + "\n" + ownOut + "\n" + variantOut);
    EXPECT_EQ(master(head + own + "\n" + own + "\n" + variant, tracks),
              headOut + ownOut + "\n" + englishRow + "\n" + portugueseRow + "\n" + ownOut + "\n" + variantOut);
    EXPECT_EQ(master(head + variant + "\n", tracks), headOut + variantOut + "\n" + ends);
    EXPECT_EQ(master("#EXTM3U", tracks), "#EXTM3U" + ends);

    const auto odd = track("https://subs.example/ç.srt?a=b&c", "x", "a \"b\"");
    EXPECT_EQ(master("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n# no, a comment\n#EXT-X-STREAM-INF:\n%zz\n"
                     "#EXT-X-MEDIA:TYPE=subtitles,GROUP-ID=\"cc\"\n#EXT-X-STREAM-INF:BANDWIDTH=2",
                     {odd}),
              "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1,SUBTITLES=\"THEOsubs\"\n"
              "variantm3u8://https://cdn.example/live/%23%20no,%20a%20comment\n"
              "#EXT-X-STREAM-INFSUBTITLES=\"THEOsubs\"\n%zz\n#EXT-X-MEDIA:TYPE=subtitles,GROUP-ID=\"cc\"\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=2,SUBTITLES=\"THEOsubs\"\n"
              "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"THEOsubs\",NAME=\"a \"b\"\","
              "URI=\"subtitlesm3u8://https://subs.example/%25C3%25A7.srt?a=b&c\",LANGUAGE=\"x\"");
}

TEST(MasterPlaylistParser, LeavesTheRestAsItIs) {
    const std::string lines =
        "\xEF\xBB\xBF"
        R"(#EXTM3U
#EXT-X-INDEPENDENT-SEGMENTS

## a remark: kept, as it is
#EXT-X-DEFINE:NAME="token",VALUE="a,b=c"
#EXT-X-SESSION-DATA:DATA-ID="com.example.title",VALUE="A, B: \"C\"",LANGUAGE="en"
#EXT-X-SESSION-KEY:METHOD=SAMPLE-AES,URI="skd://key,1",KEYFORMAT="com.example"
#EXT-X-CONTENT-STEERING:SERVER-URI="/steer?a=1",PATHWAY-ID="X"
#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=86000,URI="iframe/i.m3u8?t=1",CODECS="avc1.4d401f"
#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID="cc",NAME="CC1",INSTREAM-ID="CC1"
stray.m3u8
)";
    EXPECT_EQ(master(replacingAll(lines, "\n", "\r\n"), {}),
              replacingAll(lines, "iframe/", "https://cdn.example/live/iframe/"));
}

struct VariantRow {
    std::string body;
    std::string out;
    double duration;
};

TEST(VariantPlaylistParser, MakesURIsAbsoluteAndAddsDurations) {
    const std::string base = "https://cdn.example/live/video/";
    const std::string longTitle(200'000, 'x');
    // "$" stands for the base of what is relative.
    const std::string lowLatency =
        "\xEF\xBB\xBF"
        R"(#EXTM3U
#EXT-X-VERSION:9
#EXT-X-SERVER-CONTROL:CAN-BLOCK-RELOAD=YES,PART-HOLD-BACK=1.0,CAN-SKIP-UNTIL=12.0
#EXT-X-PART-INF:PART-TARGET=0.33334
#EXT-X-MEDIA-SEQUENCE:266
#EXT-X-MAP:URI="$init.mp4",BYTERANGE="720@0"
#EXT-X-PROGRAM-DATE-TIME:2026-02-14T02:13:36.106Z
#EXT-X-DATERANGE:ID="ad,1",START-DATE="2026-02-14T02:13:36Z",X-COM="a=1, b=2",SCTE35-OUT=0xFC30
#EXTINF:4.00008
#EXT-X-BYTERANGE:1000@720
$file.mp4?hdnts=exp%3D1~acl%3D/*~hmac%3Dab
#EXT-X-DISCONTINUITY
#EXT-X-GAP
#EXT-X-KEY:METHOD=AES-128,URI="https://keys.example/k?id=2&x=A",IV=0x10
#EXTINF:4
https://other.example/b.mp4
#EXT-X-KEY:METHOD=NONE
#EXT-X-PART:DURATION=0.33334,URI="$p1.mp4",INDEPENDENT=YES
#EXT-X-PRELOAD-HINT:TYPE=PART,URI="$p2.mp4"
#EXT-X-RENDITION-REPORT:URI="$../1M/w.m3u8",LAST-MSN=273,LAST-PART=2)";
    const std::vector<VariantRow> rows{
        {"#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXT-X-KEY:METHOD=AES-128,URI=\"key.bin\"\n#EXTINF:9.6,\nseg0.ts\n"
         "#EXT-X-ENDLIST\n",
         "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXT-X-KEY:METHOD=AES-128,URI=\"" + base +
             "key.bin\"\n#EXTINF:9.6\n" + base + "seg0.ts\n#EXT-X-ENDLIST",
         9.6},
        // Digits of a title count, and may make the duration no number, which ends the playlist.
        {"#EXTM3U\n#EXTINF:10.0,Part 2\na.ts\n#EXTINF:10.0,v1.2\nb.ts\n#EXT-X-ENDLIST",
         "#EXTM3U\n#EXTINF:10.0,Part 2\n" + base + "a.ts", 10.02},
        {"#EXTM3U\n#EXTINF:,\na.ts", "#EXTM3U", 0},
        {"#EXTM3U\n#EXTINF:2.," + longTitle + "\n%zz\n#EXTINF:.5," + std::string(70, '0') + "\nb.ts",
         "#EXTM3U\n#EXTINF:2.," + longTitle + "\n#EXTINF:.5," + std::string(70, '0') + "\n" + base + "b.ts", 2.5},
        {replacingAll(replacingAll(lowLatency, "$", ""), "\n", "\r\n"), replacingAll(lowLatency, "$", base),
         8.00008},
    };
    for (const VariantRow& row : rows) {
        const auto parser = VariantPlaylistParser::make(*URL::parse(base + "720.m3u8"));
        ASSERT_TRUE(parser->accept(row.body));
        parser->rewrite();
        EXPECT_EQ(*parser->manifestData(), row.out);
        EXPECT_DOUBLE_EQ(parser->totalPlayListDuration(), row.duration);
    }
}

}  // namespace
}  // namespace quorel
