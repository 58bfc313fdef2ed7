#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <vector>

#include "quorel/foundation/url_session.h"

namespace quorel {
namespace {

using ::testing::HasSubstr;

// A real TLS server with a certificate for 127.0.0.1.
class TlsServer {
public:
    TlsServer(const std::filesystem::path& certificate, const std::filesystem::path& key) {
        int output[2];
        if (::pipe(output) != 0) throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t files;
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawn_file_actions_addopen(&files, 0, "/dev/null", 0, 0);
        ::posix_spawn_file_actions_addopen(&files, 2, "/dev/null", 1, 0);
        ::posix_spawn_file_actions_adddup2(&files, output[1], 1);
        ::posix_spawn_file_actions_addclose(&files, output[0]);
        std::string words[] = {"openssl",   "s_server", "-accept", "127.0.0.1:0", "-www", "-cert",
                               certificate, "-key",     key};
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int failed = ::posix_spawnp(&process_, "openssl", &files, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&files);
        ::close(output[1]);
        // Its first lines end with "ACCEPT 127.0.0.1:port".
        std::FILE* lines = ::fdopen(output[0], "r");
        char line[256];
        while (failed == 0 && port_ == 0 && std::fgets(line, sizeof line, lines) != nullptr) {
            std::sscanf(line, "ACCEPT 127.0.0.1:%hu", &port_);
        }
        output_ = lines;
        if (port_ == 0) throw std::runtime_error("openssl s_server did not start");
    }
    ~TlsServer() {
        ::kill(process_, SIGTERM);
        ::waitpid(process_, nullptr, 0);
        std::fclose(output_);
    }
    TlsServer(const TlsServer&) = delete;

    std::string url(const char* host) const {
        return std::string("https://") + host + ":" + std::to_string(port_) + "/";
    }

private:
    pid_t process_ = 0;
    std::FILE* output_ = nullptr;
    std::uint16_t port_ = 0;
};

class UrlSessionTls : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "quorel-tls-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        const std::string newKey = "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes ";
        openssl("req -x509 " + newKey + "-keyout ca.key -out ca.pem -subj '/CN=Test issuer' -days 2");
        openssl("req " + newKey + "-keyout key.pem -out request.pem -subj /CN=127.0.0.1");
        std::FILE* extensions = std::fopen((folder_ / "extensions").c_str(), "w");
        std::fputs("subjectAltName=IP:127.0.0.1\n", extensions);
        std::fclose(extensions);
        const std::string sign =
            "x509 -req -in request.pem -CA ca.pem -CAkey ca.key -CAcreateserial -extfile extensions ";
        openssl(sign + "-days 2 -out good.pem");
        openssl(sign + "-days -1 -out expired.pem");
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    void openssl(const std::string& arguments) {
        const std::string command = "cd " + folder_.string() + " && openssl " + arguments + " 2>>log";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    // The status of the reply, or the text of the error.
    std::string outcome(const std::string& url, const std::string& caFile) {
        UrlSession::Configuration configuration;
        configuration.caFile = caFile;
        UrlSession session(configuration);
        std::promise<std::string> outcome;
        session
            .dataTask(URLRequest(*URL::parse(url)),
                      [&outcome](UrlSession::Result result) {
                          const auto* reply = std::get_if<DataAndResponse>(&result);
                          outcome.set_value(reply != nullptr
                                                ? std::to_string(*reply->response.statusCode)
                                                : localizedDescription(std::get<std::exception_ptr>(result)));
                      })
            ->resume();
        return outcome.get_future().get();
    }

    std::filesystem::path folder_;
};

TEST_F(UrlSessionTls, OnlyAGoodCertificateOfATrustedIssuerForTheHostIsTaken) {
    const std::string issuer = folder_ / "ca.pem";
    const TlsServer good(folder_ / "good.pem", folder_ / "key.pem");
    const TlsServer expired(folder_ / "expired.pem", folder_ / "key.pem");
    EXPECT_EQ(outcome(good.url("127.0.0.1"), issuer), "200");
    EXPECT_THAT(outcome(good.url("localhost"), issuer),
                HasSubstr("The server's certificate was issued for another host. (localhost port "));
    EXPECT_THAT(outcome(good.url("127.0.0.1"), ""),
                HasSubstr("The server's certificate is not from a trusted issuer. (127.0.0.1 port "));
    EXPECT_THAT(outcome(expired.url("127.0.0.1"), issuer),
                HasSubstr("The server's certificate has expired or is not yet valid. (127.0.0.1 port "));
}

TEST_F(UrlSessionTls, AMissingFileOfIssuersIsNamed) {
    const TlsServer good(folder_ / "good.pem", folder_ / "key.pem");
    const std::string text = outcome(good.url("127.0.0.1"), folder_ / "missing.pem");
    EXPECT_THAT(text, HasSubstr("A secure connection to the server could not be made. (127.0.0.1 port "));
    EXPECT_THAT(text, HasSubstr("missing.pem"));
}

}  // namespace
}  // namespace quorel
