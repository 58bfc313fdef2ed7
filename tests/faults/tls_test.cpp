// What the application hears when TLS fails, each of it an error event of its own.
#include "tests/foundation/tls_server.h"
#include "tests/player/player_fixture.h"

namespace quorel::faults {
namespace {

TEST(Tls, EachFailureIsAnErrorEventOfItsOwn) {
    const TlsIssuer issuer;
    const TlsServer good(issuer, "good.pem"), expired(issuer, "expired.pem");
    const std::string trusted = issuer.file("ca.pem");
    const struct {
        std::string server, caFile, error;
    } rows[] = {
        // The server is trusted, and gives a page instead of a title.
        {good.url("127.0.0.1"), trusted, "Decode error"},
        {good.url("localhost"), trusted, "The server's certificate was issued for another host. (localhost port "},
        {good.url("127.0.0.1"), "", "The server's certificate is not from a trusted issuer. (127.0.0.1 port "},
        {expired.url("127.0.0.1"), trusted,
         "The server's certificate has expired or is not yet valid. (127.0.0.1 port "},
        {good.url("127.0.0.1"), issuer.file("none.pem"),
         "A secure connection to the server could not be made. (127.0.0.1 port "},
    };
    for (const auto& row : rows) {
        const auto loop = std::make_shared<ManualRunLoop>();
        auto services = PlatformServices::standard(loop, std::make_shared<SimulatedEngineFactory>(loop));
        services.vendorIdentifier = std::make_shared<InstallationIdentifier>("");
        UrlSession::Configuration configuration;
        configuration.caFile = row.caFile;
        services.urlSession = std::make_shared<UrlSession>(configuration);
        Quorel session(std::move(services));
        session.initialize("token", std::nullopt, false);
        QuorelAPI api(session, row.server);
        const auto player = QuorelPlayerViewController::make(session, api);
        const auto recorder = std::make_shared<testing::Recorder>();
        player->registerPlayerListener(recorder);
        player->setup("film", false, 0, {}, {});
        ASSERT_TRUE(loop->drainUntil([&] { return player.use_count() == 1; }));
        ASSERT_EQ(recorder->events.size(), 1U);
        EXPECT_TRUE(recorder->events[0].starts_with("error(error: \"" + row.error)) << recorder->events[0];
        EXPECT_TRUE(recorder->events[0].ends_with("canRetry: false)")) << recorder->events[0];
    }
}

}  // namespace
}  // namespace quorel::faults
