// Each allocation of a road fails in turn. The parsers give std::bad_alloc to their caller, lose nothing and leak
// nothing; a connection of the server ends, and the server goes on.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <functional>

#include "engines/vast/vast.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/log.h"
#include "quorel/httpserver/http_parser.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/transformation.h"
#include "quorel/sideload/variant_playlist_parser.h"
#include "quorel/subtitles/coder.h"
#include "quorel/support/bytes_writer.h"
#include "quorel/support/regex.h"
#include "tests/faults/failing.h"
#include "tests/httpserver/client.h"

namespace quorel::faults {
namespace {

constexpr long mostAllocations = 3000;  // of any road here

void failEach(const std::string& name, const std::function<void()>& road) {
    road();  // what is made once and kept is made now
    for (long n = 1;; ++n) {
        ASSERT_LT(n, mostAllocations) << name;
        bool happened = false;
        bool isThrough = false;
        try {
            const FailingAllocation fault(n);
            try {
                road();
                isThrough = true;
            } catch (...) {
                happened = fault.happened();
                throw;
            }
            happened = fault.happened();
        } catch (const std::bad_alloc&) {
        } catch (const std::exception& error) {
            FAIL() << name << ", allocation " << n << ": " << error.what();
        }
        ASSERT_TRUE(isThrough || happened) << name;
        if (!happened) break;
    }
    road();  // as if nothing had been
}

TEST(Allocations, OfTheCodersReachTheirCaller) {
    const Subtitles film("1\n00:00:01,000 --> 00:00:02,000\nOlá\n\n2\n00:00:03,000 --> 00:00:04,000\nb\nc\n\n",
                         "srt");
    for (const auto& entry : Subtitles::Coder::all()) {
        const auto coder = entry.Create();
        std::string file;
        try {
            file = coder->encode(film, TextEncoding::utf8);
        } catch (const SubTitlesError&) {  // formats that are only read
            file = entry.extn == "sub"
                       ? "{24}{48}Olá\n"
                       : "[Events]\nFormat: Layer, Start, End, Text\nDialogue: 0,0:00:01.00,0:00:02.00,Olá\n";
        }
        const Subtitles expected = coder->decode(file, TextEncoding::utf8);
        ASSERT_FALSE(expected.isEmpty()) << entry.extn;
        failEach(std::string(entry.extn), [&] {
            const Subtitles read = coder->decode(file, TextEncoding::utf8);
            if (read.cues().size() != expected.cues().size()) throw std::logic_error("half a document");
            static_cast<void>(read.timeShifting(1, 0));
            try {
                static_cast<void>(coder->encode(read, TextEncoding::utf8));
            } catch (const SubTitlesError&) {
            }
        });
    }
}

TEST(Allocations, OfTheOtherParsersReachTheirCaller) {
    const LogCapture log;
    failEach("json", [] {
        static_cast<void>(
            serializeJSON(parseJSON(R"({"a long enough name":[1,2.5,"é and more than fits"],"b":null})")));
    });
    failEach("url", [] {
        const auto url = URL::parse("https://cdn.example/films/a film/ü.m3u8?token=abcdefghijklmnop&b=%41#here");
        if (!url || url->appendingPathComponent("x").absoluteString().empty()) throw std::logic_error("no URL");
    });
    failEach("regex", [] {
        const Regex pattern("(\\d+) --> (\\d+)");
        if (pattern.matches("10 --> 20 and, much further on, 30 --> 40").count() != 2)
            throw std::logic_error("no match");
    });
    failEach("bytes", [] {
        static_cast<void>(BytesWriter::build([](BytesWriter& writer) {
            writer.writeBytes(std::vector<std::uint8_t>(1000, 7));
            writer.writeStringWide16("a text", StringEncoding::utf16LittleEndian);
        }));
    });
    const std::vector<std::shared_ptr<const TextTrackDescription>> tracks{std::make_shared<TextTrackDescription>(
        "https://origin.test/a.srt", "pt", true, TextTrackKind::subtitles, "Português", TextTrackFormat::SRT)};
    failEach("master", [&] {
        const auto parser = MasterPlaylistParser::make(*URL::parse("https://origin.test/film.m3u8"));
        parser->accept(
            "#EXTM3U\n#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",URI=\"a.m3u8\"\n#EXT-X-STREAM-INF:BANDWIDTH=1\nv."
            "m3u8\n");
        static_cast<void>(parser->rewrite(tracks));
    });
    failEach("transformation", [] {
        static_cast<void>(
            transformedContent({"x", TextTrackFormat::SRT, WebVttTimestamp{"900000", "00:00:00.000"}},
                               "1\n00:00:01,000 --> 00:00:02,000\nOlá\n\n"));
    });
    failEach("vast", [] {
        static_cast<void>(vast::parseAdDocument(
            "<VAST version='3.0'><Ad id='a'><InLine><Impression>http://a.test/i</Impression><Creatives><Creative>"
            "<Linear><Duration>00:00:05</Duration><MediaFiles><MediaFile type='video/mp4' width='1' height='1'>"
            "<![CDATA[http://a.test/a.mp4]]></MediaFile></MediaFiles></Linear></Creative></Creatives></InLine></"
            "Ad></VAST>"));
    });
    failEach("request", [] {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        http::Socket client(ends[0]), server(ends[1]);
        client.writeUTF8(
            "POST /a%20b?c=d&e HTTP/1.1\r\nHost: somewhere-with-a-long-name.example\r\nContent-Length: "
            "40\r\n\r\n" +
            std::string(40, 'x'));
        if (http::HttpParser().readHttpRequest(server).body.size() != 40) throw std::logic_error("half a body");
    });
}

// From the handler on, on the connection's thread.
TEST(Allocations, OfAConnectionEndItAndNoOther) {
    const LogCapture log;
    bool isThrough = false;
    for (long n = 1; !isThrough; ++n) {
        ASSERT_LT(n, mostAllocations);
        const auto server = std::make_shared<http::HttpServer>();
        server->listenAddressIPv4 = "127.0.0.1";
        std::atomic<bool> happened = false;
        server->get["/a"] = [&, n](http::HttpRequest& request) {
            // Until the answer is written, which is when its value goes.
            struct Fault {
                FailingAllocation allocation;
                std::atomic<bool>& happened;
                ~Fault() { happened = allocation.happened(); }
            };
            const auto fault = std::shared_ptr<Fault>(new Fault{FailingAllocation(n), happened});
            return http::HttpResponse::ok(http::HttpResponseBody::custom(
                std::any(),
                [fault, path = request.path](const std::any&) { return std::string(2000, 'x') + path; }));
        };
        server->get["/b"] = [](http::HttpRequest&) {
            return http::HttpResponse::ok(http::HttpResponseBody::text("b"));
        };
        server->start(0, true);
        const auto ask = [&](const std::string& path) {
            const http::Client client(server->port());
            client.send("GET " + path + " HTTP/1.1\r\n\r\n");
            return client.readAll();
        };
        const std::string answer = ask("/a");
        isThrough = !happened;
        EXPECT_TRUE(answer.empty() || answer.starts_with("HTTP/1.1 200 OK") || answer.starts_with("HTTP/1.1 500 "))
            << answer;
        if (isThrough) {
            EXPECT_TRUE(answer.ends_with("x/a")) << answer;
        }
        EXPECT_TRUE(ask("/b").ends_with("\r\n\r\nb"));
        server->stop();
    }
}

}  // namespace
}  // namespace quorel::faults
