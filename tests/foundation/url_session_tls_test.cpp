#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>

#include "quorel/foundation/url_session.h"

namespace quorel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// A real TLS server with one of the certificates in `folder`.
class TlsServer {
public:
    TlsServer(const std::filesystem::path& folder, const std::string& certificate) {
        // "exec" lets the server inherit the process id that the shell has written.
        const std::string command =
            "cd " + folder.string() +
            " && echo $$ && exec openssl s_server -www -accept 127.0.0.1:0 -key key.pem -cert " + certificate +
            " </dev/null 2>/dev/null";
        output_ = ::popen(command.c_str(), "r");
        char line[256];
        while (port_ == 0 && std::fgets(line, sizeof line, output_) != nullptr) {
            if (process_ == 0) process_ = std::atoi(line);
            std::sscanf(line, "ACCEPT 127.0.0.1:%hu", &port_);
        }
        EXPECT_NE(port_, 0) << command;
    }
    ~TlsServer() {
        if (process_ > 0) ::kill(process_, SIGTERM);
        ::pclose(output_);
    }
    TlsServer(const TlsServer&) = delete;

    std::string url(const char* host) const {
        return std::string("https://") + host + ":" + std::to_string(port_) + "/";
    }

private:
    std::FILE* output_;
    pid_t process_ = 0;
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
        const std::string sign =
            "x509 -req -in request.pem -CA ca.pem -CAkey ca.key -CAcreateserial -extfile names ";
        std::ofstream(folder_ / "names") << "subjectAltName=IP:127.0.0.1";
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
        std::string outcome;
        std::promise<void> done;
        UrlSession session(configuration);
        session
            .dataTask(URLRequest(*URL::parse(url)),
                      [&](UrlSession::Result result) {
                          const auto* reply = std::get_if<DataAndResponse>(&result);
                          outcome = reply != nullptr ? std::to_string(*reply->response.statusCode)
                                                     : localizedDescription(std::get<std::exception_ptr>(result));
                          done.set_value();
                      })
            ->resume();
        done.get_future().wait();
        return outcome;
    }

    std::filesystem::path folder_;
};

TEST_F(UrlSessionTls, OnlyAGoodCertificateOfATrustedIssuerForTheHostIsTaken) {
    const std::string issuer = folder_ / "ca.pem", missing = folder_ / "missing.pem";
    const TlsServer good(folder_, "good.pem"), expired(folder_, "expired.pem");
    EXPECT_EQ(outcome(good.url("127.0.0.1"), issuer), "200");
    EXPECT_THAT(outcome(good.url("localhost"), issuer),
                StartsWith("The server's certificate was issued for another host. (localhost port "));
    EXPECT_THAT(outcome(good.url("127.0.0.1"), ""),
                StartsWith("The server's certificate is not from a trusted issuer. (127.0.0.1 port "));
    EXPECT_THAT(outcome(expired.url("127.0.0.1"), issuer),
                StartsWith("The server's certificate has expired or is not yet valid. (127.0.0.1 port "));
    EXPECT_THAT(outcome(good.url("127.0.0.1"), missing),
                AllOf(StartsWith("A secure connection to the server could not be made. (127.0.0.1 port "),
                      HasSubstr(missing)));
}

}  // namespace
}  // namespace quorel
