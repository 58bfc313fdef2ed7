#include <gmock/gmock.h>

#include "tests/sandbox/sandbox_fixture.h"

namespace quorel::sandbox {
namespace {

using namespace std::chrono_literals;

TEST_F(SandboxTest, FaultsMeetThePathsTheyAreMeantFor) {
    const std::string playlist = at("/media/sample/master.m3u8");
    const std::string key = at("/media/sample-aes/key.bin");
    sandbox.setFault("/media/sample*", {.delay = 1ms, .status = 503});
    sandbox.setFault("*/key.bin", {.status = 429, .times = 2});  // set last, so it goes first
    EXPECT_EQ(load(playlist).response.statusCode, 503);
    EXPECT_EQ(load(key).response.statusCode, 429);
    EXPECT_EQ(load(key).response.statusCode, 429);
    EXPECT_EQ(load(key).response.statusCode, 503);
    EXPECT_EQ(load(at("/v1/videos/sample")).response.statusCode, 401);
    sandbox.clearFaults();
    EXPECT_EQ(load(key).response.statusCode, 200);

    sandbox.setFault("*", {.status = 503});
    sandbox.setFault("*", {.status = 429, .times = 1});  // in place of the other
    EXPECT_EQ(load(key).response.statusCode, 429);
    EXPECT_EQ(load(key).response.statusCode, 200);
    sandbox.setFault("*", {.broken = Fault::Broken::json});
    const auto broken = load(at("/v1/videos/sample"));
    EXPECT_EQ(broken.response.statusCode, 200);
    EXPECT_THROW(parseJSON(broken.data), JSONError);
    sandbox.setFault("*", {.broken = Fault::Broken::cut});
    EXPECT_EQ(failure(playlist), URLError::Code::networkConnectionLost);
    EXPECT_EQ(failure(key), URLError::Code::networkConnectionLost);
    EXPECT_EQ(load(at("/_control/requests")).response.statusCode, 200);

    EXPECT_THROW(sandbox.setFault("*", {.status = 199}), FaultError);
    EXPECT_THROW(sandbox.setFault("*", {.delay = 601s}), FaultError);
}

TEST_F(SandboxTest, FaultsComeFromOutsideToo) {
    const std::string key = at("/media/sample-aes/key.bin");
    EXPECT_EQ(load(key + "?delay=1&status=500").response.statusCode, 500);
    EXPECT_EQ(failure(key + "?broken=cut"), URLError::Code::networkConnectionLost);
    for (const char* bad : {"?status=abc", "?status=99", "?delay=-1", "?broken=yes", "?delay=99999999999"}) {
        EXPECT_EQ(load(key + bad).response.statusCode, 400) << bad;
    }
    const std::string control = at("/_control/faults");
    for (const char* bad : {"", "{", "[]", R"({"status":500})", R"({"path":1})", R"({"path":"*","times":0})",
                            R"({"path":"*","status":"500"})"}) {
        EXPECT_EQ(load(control, HTTPHeaders(), "POST", bad).response.statusCode, 400) << bad;
    }
    const auto set =
        load(control, HTTPHeaders(), "POST", R"({"path":"/media/*","status":503,"broken":"cut","times":9})");
    EXPECT_EQ(set.data, R"([{"path":"/media/*","delay":0,"status":503,"broken":"cut","times":9}])");
    EXPECT_EQ(failure(key), URLError::Code::networkConnectionLost);
    EXPECT_EQ(load(control, HTTPHeaders(), "DELETE").data, "[]");
    EXPECT_EQ(load(key).response.statusCode, 200);
}

TEST_F(SandboxTest, FaultsOfEveryKindAreWhatTheySay) {
    const std::string key = at("/media/sample-aes/key.bin");
    const std::string whole = load(key).data;
    const auto garbage = load(key + "?broken=garbage");
    EXPECT_EQ(garbage.response.statusCode, 200);
    EXPECT_EQ(garbage.data.size(), whole.size());
    EXPECT_NE(garbage.data, whole);
    EXPECT_THAT(load(key + "?broken=lie").data, testing::StartsWith("<!DOCTYPE html>"));
    sandbox.setFault("*.bin", {.broken = Fault::Broken::loop});
    EXPECT_EQ(failure(key), URLError::Code::tooManyRedirects);
    sandbox.clearFaults();
    EXPECT_EQ(failure(key + "?broken=stall&delay=1"), URLError::Code::networkConnectionLost);
}

// The same seed gives the same trouble, whatever else is asked for.
TEST_F(SandboxTest, ChaosCanBeHadAgain) {
    const Chaos chaos{.seed = 7, .rate = 0.5, .longestDelay = 1ms};
    int faults = 0;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(chaos.fault("/a.ts", i), chaos.fault("/a.ts", i));
        if (chaos.fault("/a.ts", i) != Fault()) ++faults;
    }
    EXPECT_NEAR(faults, 500, 60);
    const auto outcomes = [&](bool withOthers) {
        sandbox.setChaos(chaos);
        std::vector<std::string> all;
        for (int i = 0; i < 12; ++i) {
            try {
                all.push_back(load(at("/media/subtitles/en.srt")).data);
            } catch (const URLError& error) {
                all.emplace_back(std::to_string(static_cast<int>(error.code())));
            }
            if (withOthers) begin(at("/media/subtitles/es.srt")).wait();
        }
        return all;
    };
    EXPECT_EQ(outcomes(false), outcomes(true));
    sandbox.setChaos({.seed = 7, .rate = 1, .longestDelay = 1ms});
    sandbox.clearFaults();
    EXPECT_EQ(load(at("/media/subtitles/en.srt")).response.statusCode, 200);
    EXPECT_THROW(sandbox.setChaos({.rate = 1.5}), FaultError);
}

// A reply that waits must neither outlast the sandbox nor hold up others.
TEST_F(SandboxTest, StopEndsRepliesThatWait) {
    sandbox.setFault("/slow", {.delay = Fault::maximumDelay});
    auto waiting = begin(at("/slow"));
    while (sandbox.requests().empty()) EXPECT_EQ(load(at("/_control/requests")).response.statusCode, 200);
    sandbox.stop();
    EXPECT_THROW(waiting.get(), URLError);

    sandbox.start();
    sandbox.clearFaults();
    EXPECT_EQ(load(at("/slow")).response.statusCode, 404);
}

}  // namespace
}  // namespace quorel::sandbox
