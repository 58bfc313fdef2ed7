// Streams over TLS with a private issuer.
#include "tests/foundation/tls_server.h"

#include <gtest/gtest.h>

#include "engines/gstreamer/gstreamer_engine.h"
#include "quorel/foundation/timer.h"

namespace quorel::testing {
namespace {

// "plays", or the text of the error.
std::string outcome(const std::string& caFile, const std::string& url) {
    const auto loop = std::make_shared<RealRunLoop>();
    const auto engines = makeGStreamerEngineFactory(
        loop, {.audio = GStreamerOptions::Audio::none, .diagnosisTimeout = 2, .caFile = caFile});
    const auto player = engines->makePlayer(std::nullopt, {});
    std::string outcome;
    player->addEventListener(PlayerEventTypes::TIME_UPDATE, [&](const TimeUpdateEvent& event) {
        if (event.currentTime > 0.1) outcome = "plays";
    });
    player->addEventListener(PlayerEventTypes::ERROR, [&](const ErrorEvent& event) { outcome = event.error; });
    SourceDescription source;
    source.source.src = url;
    source.source.type = "application/x-mpegurl";
    player->setSource(std::move(source));
    player->play();
    const auto turn = Timer::scheduled(*loop, 0.01, Timer::Repeats::yes, [](Timer&) {});
    loop->runUntil([&] { return !outcome.empty(); }, std::chrono::seconds(60));
    turn->invalidate();
    return outcome;
}

TEST(GStreamerTls, PlaysFromATrustedIssuerAndSaysWhyNotFromOthers) {
    const TlsIssuer issuer;
    const std::filesystem::path media = QUOREL_TEST_MEDIA;
    const TlsServer good(issuer, "good.pem", media), expired(issuer, "expired.pem", media);
    const std::string trusted = issuer.file("ca.pem");
    EXPECT_EQ(outcome(trusted, good.url("127.0.0.1") + "ts/index.m3u8"), "plays");
    const struct {
        std::string caFile, url, reason;
    } rows[] = {
        {trusted, good.url("localhost"), "The server's certificate was issued for another host."},
        {issuer.file("none.pem"), good.url("127.0.0.1"), "A secure connection to the server could not be made."},
        {trusted, expired.url("127.0.0.1"), "The server's certificate has expired or is not yet valid."},
        {"", good.url("127.0.0.1"), "The server's certificate is not from a trusted issuer."},
    };
    for (const auto& row : rows) {
        const std::string error = outcome(row.caFile, row.url + "ts/index.m3u8");
        EXPECT_NE(error.find(row.reason), error.npos) << error;
    }
}

}  // namespace
}  // namespace quorel::testing
