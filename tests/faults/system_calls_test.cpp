// Each system call of a road fails in turn, until the road is through without a failure. Whatever fails, the outcome is
// one that the headers name, nothing stays open, and the next time all is well.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <set>
#include <sstream>

#include "quorel/foundation/log.h"
#include "quorel/httpserver/file_handlers.h"
#include "quorel/httpserver/websocket.h"
#include "quorel/session/installation_identifier.h"
#include "quorel/sideload/subtitles_loader.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/support/bytes_writer.h"
#include "tests/faults/failing.h"
#include "tests/foundation/scripted_server.h"
#include "tests/httpserver/client.h"
#include "tests/player/player_fixture.h"
#include "tests/sideload/media_framework_fixture.h"
#include "tools/quorel-subtitles/failure.h"
#include "tools/quorel-subtitles/writing.h"

namespace quorel::faults {
namespace {

namespace fs = std::filesystem;

constexpr long mostCalls = 500;  // of any road here

// Calls `road` with the first, the second, ... call failing until none is left. The road makes all that it needs anew.
void failEach(Way way, const std::function<void(const FailingCall&)>& road) {
    const std::size_t before = http::openDescriptors();
    std::set<std::string> names;
    int wholeInARow = 0;
    for (long n = 1; wholeInARow < 2; ++n) {
        ASSERT_LT(n, mostCalls);
        const FailingCall fault(n, way);
        SCOPED_TRACE("call " + std::to_string(n));
        road(fault);
        if (::testing::Test::HasFatalFailure() || ::testing::Test::HasNonfatalFailure()) {
            FAIL() << "after a failure of " << fault.name();
        }
        names.insert(fault.name());
        // Threads may do their calls in another order next time.
        wholeInARow = fault.happened() ? 0 : wholeInARow + 1;
    }
    EXPECT_GT(names.size(), 1U) << "no call was seen";
    http::expectDescriptorsBack(before);
}

class SystemCalls : public ::testing::TestWithParam<Way> {
protected:
    SystemCalls() {
        std::string pattern = (fs::temp_directory_path() / "quorel-faults-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    void TearDown() override { fs::remove_all(folder); }

    static std::string contentOf(const fs::path& file) {
        const Unfaulted unfaulted;
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void put(const fs::path& file, const std::string& content) {
        const Unfaulted unfaulted;
        std::ofstream(file, std::ios::binary) << content;
    }
    static URL urlOf(const fs::path& file) { return *URL::parse("file://" + file.string()); }

    fs::path folder;
    LogCapture log;  // of lines that nobody reads
};

std::string nameOf(const ::testing::TestParamInfo<Way>& way) {
    return way.param == Way::error ? "error" : way.param == Way::partial ? "partial" : "interrupted";
}
INSTANTIATE_TEST_SUITE_P(Ways, SystemCalls, ::testing::Values(Way::error, Way::interrupted, Way::partial), nameOf);

const std::string srt = "1\n00:00:01,000 --> 00:00:02,000\nOlá\n\n";
const std::string vtt = "WEBVTT\n\n\n00:00:01.000 --> 00:00:02.000\nOlá\n\n";

// Read, converted, written: the file that was there is whole, the old one or the new one.
TEST_P(SystemCalls, OfASubtitleFile) {
    const fs::path source = folder / "a.srt", target = folder / "a.vtt";
    put(source, srt);
    for (const bool exists : {false, true}) {
        failEach(GetParam(), [&](const FailingCall& fault) {
            fs::remove(target);
            if (exists) put(target, "old");
            bool isWritten = false;
            try {
                const Subtitles film(urlOf(source), TextEncoding::utf8);
                subtitles_tool::writeFile(target, film.encode("vtt"), /*overwrites=*/true);
                isWritten = true;
            } catch (const std::system_error& error) {
                EXPECT_NE(error.code().value(), 0);
            } catch (const subtitles_tool::Failure& failure) {
                EXPECT_TRUE(failure.message.starts_with("cannot be written")) << failure.message;
            }
            EXPECT_TRUE(isWritten || (fault.happened() && GetParam() != Way::partial));
            const std::string now = contentOf(target);
            EXPECT_TRUE(now == vtt || (!isWritten && now == (exists ? "old" : ""))) << now;
            EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), fs::exists(target) ? 2 : 1);
        });
    }
}

TEST_P(SystemCalls, OfOtherFiles) {
    const fs::path bytes = folder / "bytes";
    failEach(Way::error, [&](const FailingCall& fault) {
        try {
            BytesWriter::build(urlOf(bytes), [](BytesWriter& writer) { writer.writeBytes(1, 2, 3); });
            EXPECT_EQ(contentOf(bytes), "\1\2\3");
        } catch (const BytesWriter::WriterError& error) {
            EXPECT_TRUE(fault.happened());
            EXPECT_EQ(error.code(), BytesWriter::WriterError::Code::cannotOpenOutputFile);
        }
    });
    failEach(GetParam(), [&](const FailingCall& fault) {
        fs::remove_all(folder / "quorel");
        const auto identifier = InstallationIdentifier(folder).identifierForVendor();
        EXPECT_EQ(identifier.value_or("").size(), 36U);
        // Kept whole or not at all, and with nothing beside it.
        const std::string kept = contentOf(folder / "quorel" / "installation-id");
        EXPECT_TRUE(kept == *identifier + "\n" || (kept.empty() && fault.happened())) << kept;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(folder / "quorel", none)) {
            EXPECT_EQ(entry.path().filename(), "installation-id");
        }
    });
}

// A connection gets its whole answer or a part of it, and the server serves the next one, or has stopped.
TEST_P(SystemCalls, OfTheServer) {
    using http::HttpServer;
    const std::string poster(100'000, 'p');
    put(folder / "poster.jpg", poster);
    const std::string closingFrame("\x88\x80\0\0\0\0", 6), closed("\x88\0", 2);
    const std::vector<std::string> requests = {
        "GET /plain HTTP/1.1\r\n\r\n",
        "POST /echo HTTP/1.1\r\nContent-Length: 20\r\n\r\n01234567890123456789",
        "GET /files/poster.jpg HTTP/1.1\r\n\r\n",
        "GET /ws HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: "
        "dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n" +
            std::string("\x81\x82\0\0\0\0hi", 8) + closingFrame,
    };
    const auto makeServer = [&] {
        auto server = std::make_shared<HttpServer>();
        server->listenAddressIPv4 = "127.0.0.1";
        server->get["/plain"] = [](http::HttpRequest&) {
            return http::HttpResponse::ok(http::HttpResponseBody::text("plain text"));
        };
        server->post["/echo"] = [](http::HttpRequest& request) {
            return http::HttpResponse::ok(http::HttpResponseBody::data(request.body));
        };
        server->get["/files/:path"] = http::shareFilesFromDirectory(folder);
        server->get["/ws"] = http::websocket(
            {.text = [](const auto& session, std::string_view text) { session->writeText(text); }});
        return server;
    };
    for (const std::string& request : requests) {
        SCOPED_TRACE(request.substr(0, 12));
        const auto ask = [&](HttpServer& server) {
            const Unfaulted unfaulted;
            const http::Client client(server.port());
            client.send(request);
            return client.readAll();
        };
        const auto untouched = makeServer();
        untouched->start(0, true);
        const std::string whole = ask(*untouched);
        untouched->stop();

        failEach(GetParam(), [&](const FailingCall& fault) {
            const auto server = makeServer();
            try {
                server->start(0, true);
            } catch (const http::SocketError&) {
                EXPECT_TRUE(fault.happened());
                EXPECT_EQ(server->state(), http::HttpServerIOState::starting);
                return;
            }
            std::string answer;
            try {
                answer = ask(*server);
            } catch (const http::SocketError&) {
                EXPECT_EQ(server->state(), http::HttpServerIOState::stopped);  // accept() has failed already
            }
            if (answer.ends_with("RESET")) answer.resize(answer.size() - 5);
            const bool isWhole = answer == whole;
            const bool mayFail = fault.happened() && GetParam() != Way::partial;
            const bool isRefusal = answer.starts_with("HTTP/1.1 404 ");  // of a file that does not open
            // A session begins also where the head before it could not be sent, and ends with a close frame wherever
            // it is.
            std::string_view part = answer;
            const bool isSession = whole.starts_with("HTTP/1.1 101 ");
            if (isSession && part.ends_with(closed)) part.remove_suffix(closed.size());
            const bool isPart = whole.starts_with(part) || (isSession && whole.ends_with(answer));
            EXPECT_TRUE(isWhole || (mayFail && (isRefusal || isPart))) << answer.substr(0, 300);
            if (fault.name() == "accept4" || server->state() != http::HttpServerIOState::running) {
                EXPECT_EQ(fault.name(), "accept4");
            } else if (fault.happened()) {
                EXPECT_EQ(ask(*server), whole) << "the next one";
            }
            server->stop();
        });
    }
}

std::string outcomeOf(const UrlSession::Result& result) {
    const auto* reply = std::get_if<DataAndResponse>(&result);
    if (reply != nullptr) return reply->data;
    try {
        std::rethrow_exception(std::get<std::exception_ptr>(result));
    } catch (const URLError& error) {
        return error.code() == URLError::Code::cancelled ? "cancelled" : "URLError";
    }
}

TEST_P(SystemCalls, OfALoad) {
    const std::string body(50'000, 'b');
    std::optional<ScriptedServer> server;
    {
        const Unfaulted unfaulted;
        server.emplace([&](std::string_view) { return ScriptedServer::ok(body); });
    }
    // By name, so that it is looked up, too.
    const URL url = *URL::parse("http://localhost:" + std::to_string(server->port()) + "/");
    failEach(GetParam(), [&](const FailingCall& fault) {
        std::optional<UrlSession> session;
        try {
            session.emplace();
        } catch (const URLError&) {
            EXPECT_TRUE(fault.happened());
            return;
        }
        const auto load = [&] {
            std::promise<std::string> outcome;
            session
                ->dataTask(URLRequest(url),
                           [&](const UrlSession::Result& result) { outcome.set_value(outcomeOf(result)); })
                ->resume();
            return outcome.get_future().get();
        };
        const std::string first = load();
        EXPECT_TRUE(first == body || (fault.happened() && GetParam() != Way::partial && first == "URLError"))
            << first.substr(0, 100);
        if (fault.happened()) {
            EXPECT_EQ(load(), body) << "the next one";
        }
    });
}

// From the master playlist to the words of a subtitle file.
TEST_P(SystemCalls, OfASideloadedSubtitle) {
    const auto origin = std::make_shared<testing::Origin>();
    origin->serve("/film.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\na.m3u8\n");
    origin->serve("/a.m3u8", "#EXTM3U\n#EXTINF:60,\n0.ts\n#EXT-X-ENDLIST\n");
    origin->serve("/a.srt", srt);
    const AVSubtitlesLoader::Subtitles tracks{std::make_shared<TextTrackDescription>(
        "https://origin.test/a.srt", "pt", true, TextTrackKind::subtitles, "Português", TextTrackFormat::SRT)};
    failEach(GetParam(), [&](const FailingCall& fault) {
        const bool mayFail = fault.happened() || GetParam() != Way::partial;
        std::shared_ptr<UrlSession> session;
        try {
            session = std::make_shared<UrlSession>();
        } catch (const Error&) {
            EXPECT_TRUE(fault.happened());
            return;
        }
        session->registerProtocol(origin);
        const auto loader = AVSubtitlesLoader::make(tracks, nullptr, {.urlSession = session});
        for (const char* const url :
             {"interceptedm3u8://origin.test/film.m3u8", "variantm3u8://https://origin.test/a.m3u8",
              "subtitlesm3u8://https://origin.test/a.srt"}) {
            const testing::Loaded loaded = testing::load(*loader, url);
            EXPECT_TRUE(loaded.error ? mayFail && *loaded.error == URLError::Code::cannotParseResponse
                                     : loaded.body.starts_with("#EXTM3U"))
                << loaded.body;
        }
        const std::string words = testing::fetch(
            *session, "http://localhost:" + std::to_string(loader->transformer().port()) + "/transformSubtitle");
        EXPECT_TRUE(words == "WEBVTT\n\n\n00:00:01.000 --> 00:00:02.000\nOlá\n\n" ||
                    (mayFail && (words == "failed" || words.starts_with("Missing subtitle content. Reason: "))))
            << words;
    });
}

// From an id to an engine that plays: it plays, or one error says why not, and the next title plays.
TEST_P(SystemCalls, OfAPlayer) {
    std::optional<ScriptedServer> server;
    {
        const Unfaulted unfaulted;
        server.emplace([](std::string_view request) {
            return ScriptedServer::ok(request.find("/v1/videos/") != request.npos
                                          ? testing::videoBody()
                                          : testing::configBody("film", true));
        });
    }
    failEach(GetParam(), [&](const FailingCall& fault) {
        const auto loop = std::make_shared<ManualRunLoop>();
        std::optional<Quorel> session;
        try {
            session.emplace(PlatformServices::standard(loop, std::make_shared<SimulatedEngineFactory>(loop)));
        } catch (const std::exception& error) {  // std::system_error of a thread, URLError of a descriptor
            EXPECT_TRUE(fault.happened()) << error.what();
            return;
        }
        session->initialize("token", std::nullopt, false);
        QuorelAPI api(*session, server->url("/v1/"));
        const auto player = QuorelPlayerViewController::make(*session, api);
        const auto recorder = std::make_shared<testing::Recorder>();
        player->registerPlayerListener(recorder);
        const auto plays = [&](const std::string& id) {
            recorder->take();
            player->setup(id, false, 0, {}, {});
            EXPECT_TRUE(loop->drainUntil([&] { return player.use_count() == 1; }));
            loop->advance(std::chrono::seconds(1));
            return std::count(recorder->events.begin(), recorder->events.end(), "playing") == 1;
        };
        if (!plays("film")) {
            EXPECT_TRUE(fault.happened() && GetParam() != Way::partial);
            ASSERT_EQ(recorder->events.size(), 1U);
            EXPECT_TRUE(recorder->events[0].ends_with("canRetry: false)")) << recorder->events[0];
            EXPECT_TRUE(plays("other"));
        }
    });
}

}  // namespace
}  // namespace quorel::faults
