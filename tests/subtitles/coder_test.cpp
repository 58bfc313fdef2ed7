// The registry, the entry points, encodings and files.
#include "quorel/subtitles/coder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "quorel/foundation/log.h"
#include "quorel/foundation/url.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {
namespace {

using namespace std::string_literals;
using Code = SubTitlesError::Code;

constexpr const char* srt = "1\n00:00:01,000 --> 00:00:02,000\nOl\u00E1\n";

template <class Action>
SubTitlesError errorOf(Action action) {
    try {
        action();
    } catch (const SubTitlesError& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return SubTitlesError::missingText(0);
}

// A file in the temporary directory while it lives.
class File {
public:
    File(const std::string& extension, const std::string& bytes)
        : path_(testing::TempDir() + "quorel_" + UUID::random().string() + extension) {
        std::ofstream(path_, std::ios::binary) << bytes;
    }
    ~File() { std::filesystem::remove(path_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    URL url() const { return *URL::parse("file://" + path_); }

private:
    std::string path_;
};

TEST(SubtitlesCoder, IsFoundByExtension) {
    for (const auto& entry : Subtitles::Coder::all()) {
        EXPECT_EQ(Subtitles::Coder::coder(entry.extn)->fileExtension(), entry.extn);
    }
    EXPECT_TRUE(Subtitles::Coder::coder("SRT"));
    EXPECT_FALSE(Subtitles::Coder::coder(".srt"));
    const auto unknown = SubTitlesError::unsupportedFileType("Doc");
    EXPECT_EQ(errorOf([] { Subtitles("", "Doc"); }), unknown);
    EXPECT_EQ(errorOf([] { Subtitles("", "Doc", TextEncoding::utf8); }), unknown);
    EXPECT_EQ(errorOf([] { Subtitles().encode("Doc"); }), unknown);
    EXPECT_EQ(errorOf([] { Subtitles().encode("Doc", TextEncoding::utf8); }), unknown);
    EXPECT_EQ(errorOf([] { Subtitles(*URL::parse("file:///x.Doc"), TextEncoding::utf8); }), unknown);
}

TEST(SubtitlesCoder, ConvertsBytesBothWays) {
    const Subtitles document("\uFEFF"s + srt, "srt");
    EXPECT_EQ(document.firstCue()->text(), "Ol\u00E1");
    EXPECT_EQ(document.encode("vtt"), "WEBVTT\n\n\n00:00:01.000 --> 00:00:02.000\nOl\u00E1\n\n");
    for (const TextEncoding& encoding :
         {TextEncoding::utf8, TextEncoding::utf16, TextEncoding::utf32BigEndian, TextEncoding::isoLatin1}) {
        const std::string bytes = document.encode("srt", encoding);
        EXPECT_EQ(Subtitles(bytes, "srt", encoding), document) << encoding.name();
    }
    EXPECT_EQ(errorOf([&] { document.encode("srt", TextEncoding::ascii); }).code(), Code::invalidEncoding);
    EXPECT_EQ(errorOf([&] { Subtitles(srt, "srt", TextEncoding::ascii); }).code(), Code::invalidEncoding);
    EXPECT_EQ(errorOf([&] { Subtitles("1\n\xFF", "srt"); }).code(), Code::invalidEncoding);
}

TEST(TextEncoding, ConvertsWithoutLoss) {
    struct Case {
        const char* encoding;
        std::string bytes;
        const char* text;  // null for bytes that mean nothing
    };
    const std::vector<Case> cases = {
        {"utf-8", "\xEF\xBB\xBF\xC3\xA1", "\uFEFF\u00E1"},
        {"UTF8", "\xC3", nullptr},
        {"utf-16", "\xFF\xFE\xE1\0"s, "\u00E1"},
        {"utf-16le", "\xFF\xFE\xE1\0\x3D\xD8\x00\xDE"s, "\uFEFF\u00E1\U0001F600"},
        {"utf-16be", "\0"s, nullptr},
        {"utf-16be", "\xD8\x3D\0x"s, nullptr},  // half a surrogate pair
        {"utf-32", "\xFF\xFE\0\0\xE1\0\0\0"s, "\u00E1"},
        {"us-ascii", "a\x80", nullptr},
        {"iso-8859-1", "\xE1\x85", "\u00E1\u0085"},
        {"windows-1252", "\x93\x80", "\u201C\u20AC"},
        {"windows-1252", "\x81", nullptr},
        {"shift_jis", "\x8E\x9A\x96\x8B", "\u5B57\u5E55"},
    };
    for (const Case& c : cases) {
        const auto encoding = TextEncoding::named(c.encoding);
        ASSERT_TRUE(encoding) << c.encoding;
        if (c.text == nullptr) {
            EXPECT_EQ(errorOf([&] { decodeText(c.bytes, *encoding); }).code(), Code::invalidEncoding)
                << c.encoding;
        } else {
            EXPECT_EQ(decodeText(c.bytes, *encoding), c.text) << c.encoding;
            EXPECT_EQ(encodeText(c.text, *encoding), c.bytes) << c.encoding;
        }
    }
    EXPECT_EQ(decodeText("\0a"s, TextEncoding::utf16), "a");  // big-endian without a mark
    EXPECT_EQ(errorOf([] { encodeText("\u201C", TextEncoding::isoLatin1); }).code(), Code::invalidEncoding);
    // A tag character, which converters like to leave out.
    EXPECT_EQ(errorOf([] { encodeText("a\U000E0041", TextEncoding::windows1252); }).code(), Code::invalidEncoding);
    std::string large;
    for (int i = 0; i < 50'000; ++i) large += i % 7 == 0 ? "\u3042" : "x";
    for (const TextEncoding& encoding :
         {TextEncoding::shiftJIS, TextEncoding::utf16, TextEncoding::utf32BigEndian}) {
        EXPECT_EQ(decodeText(encodeText(large, encoding), encoding), large);
    }
    for (const char* name : {"", "klingon", "utf-16//IGNORE", "wchar_t"})
        EXPECT_FALSE(TextEncoding::named(name)) << name;
}

TEST(TextEncoding, IsDetected) {
    const std::string portuguese =
        "1\n00:00:01,000 --> 00:00:02,000\nN\u00E3o \u00E9 poss\u00EDvel, a situa\u00E7\u00E3o est\u00E1 "
        "p\u00E9ssima.\n";
    const std::string russian =
        "1\n00:00:01,000 --> 00:00:02,000\n\u041F\u0440\u0438\u0432\u0435\u0442, \u043A\u0430\u043A "
        "\u0434\u0435\u043B"
        "\u0430? \u042F \u043D\u0435 \u0437\u043D\u0430\u044E, \u0447\u0442\u043E "
        "\u0441\u043A\u0430\u0437\u0430\u0442"
        "\u044C. \u041F\u043E\u0439\u0434\u0451\u043C \u0434\u043E\u043C\u043E\u0439.\n";
    const std::string japanese =
        "\u3053\u3093\u306B\u3061\u306F\u3001\u5143\u6C17\u3067\u3059\u304B\u3002\u5B57\u5E55\u306E"
        "\u30C6\u30B9\u30C8\u3067\u3059\u3002\u4ECA\u65E5\u306F\u3044\u3044\u5929\u6C17\u3067\u3059\u306D\u3002";
    struct Case {
        const std::string& text;
        TextEncoding encoding;
        TextEncoding detected;
        const char* mark = "";
    };
    const std::vector<Case> cases = {
        {portuguese, TextEncoding::utf8, TextEncoding::utf8},
        {portuguese, TextEncoding::utf8, TextEncoding::utf8, "\uFEFF"},
        {portuguese, TextEncoding::utf16, TextEncoding::utf16},
        {portuguese, TextEncoding::utf16LittleEndian, TextEncoding::utf16LittleEndian},
        {portuguese, TextEncoding::utf32LittleEndian, TextEncoding::utf32LittleEndian},
        {portuguese, TextEncoding::windows1252, TextEncoding::windows1252},
        {russian, TextEncoding::windows1251, TextEncoding::windows1251},
        {japanese, TextEncoding::shiftJIS, TextEncoding::shiftJIS},
    };
    for (const Case& c : cases) {
        const auto found = decodeDetectingEncoding(encodeText(c.mark + c.text, c.encoding));
        ASSERT_TRUE(found) << c.encoding.name();
        EXPECT_EQ(found->text, c.text) << c.encoding.name() << " taken for " << found->encoding.name();
    }
    EXPECT_EQ(decodeDetectingEncoding("plain")->encoding, TextEncoding::ascii);
    EXPECT_FALSE(decodeDetectingEncoding("\xFF\xFE\x3D\xD8"));  // a mark, and half a character
}

TEST(SubtitlesFiles, AreReadWithTheEncodingTheyHave) {
    const std::string latin = encodeText(srt, TextEncoding::isoLatin1);
    // Detected, whatever the caller says.
    EXPECT_EQ(Subtitles(File(".srt", srt).url(), TextEncoding::utf16).firstCue()->text(), "Ol\u00E1");
    EXPECT_EQ(
        Subtitles(File(".srt", encodeText(srt, TextEncoding::utf16)).url(), TextEncoding::utf8).firstCue()->text(),
        "Ol\u00E1");
    // The second attempt's error is the one to see.
    EXPECT_EQ(errorOf([] { Subtitles(File(".srt", "x\n").url(), TextEncoding::utf8); }),
              SubTitlesError::invalidPosition(1));
    EXPECT_EQ(errorOf([] { Subtitles(File(".srt", "x\n\xE1").url(), TextEncoding::ascii); }).code(),
              Code::invalidEncoding);
    EXPECT_THROW(Subtitles(*URL::parse("file:///nowhere/x.srt"), TextEncoding::utf8), std::system_error);
    EXPECT_THROW(Subtitles(*URL::parse("https://host/x.srt"), TextEncoding::utf8), std::system_error);

    LogCapture log;
    const auto coder = Subtitles::Coder::coder("srt");
    EXPECT_EQ(coder->decode(File(".SRT", latin).url(), TextEncoding::isoLatin1).firstCue()->text(), "Ol\u00E1");
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(coder->decode(File(".txt", "\uFEFF"s + srt).url(), TextEncoding::utf8).cues().size(), 1u);
    EXPECT_EQ(log.text(), "Mismatched extensions?\n");
}

}  // namespace
}  // namespace quorel
