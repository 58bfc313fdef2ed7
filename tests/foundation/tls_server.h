// Real TLS with a private issuer, made anew for each test: certificates that are good, expired or of somebody else, and
// servers with them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace quorel {

// The folder has "ca.pem", and of it "good.pem" and "expired.pem" for 127.0.0.1, with "key.pem".
class TlsIssuer {
public:
    TlsIssuer() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quorel-tls-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        const std::string newKey = "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes ";
        openssl("req -x509 " + newKey + "-keyout ca.key -out ca.pem -subj '/CN=Test issuer' -days 2");
        openssl("req " + newKey + "-keyout key.pem -out request.pem -subj /CN=127.0.0.1");
        const std::string sign =
            "x509 -req -in request.pem -CA ca.pem -CAkey ca.key -CAcreateserial -extfile names ";
        std::ofstream(folder / "names") << "subjectAltName=IP:127.0.0.1";
        openssl(sign + "-days 2 -out good.pem");
        openssl(sign + "-days -1 -out expired.pem");
    }
    ~TlsIssuer() { std::filesystem::remove_all(folder); }
    TlsIssuer(const TlsIssuer&) = delete;
    TlsIssuer& operator=(const TlsIssuer&) = delete;

    std::string file(const char* name) const { return folder / name; }

    std::filesystem::path folder;

private:
    void openssl(const std::string& arguments) {
        const std::string command = "cd " + folder.string() + " && openssl " + arguments + " 2>>log";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
    }
};

// Answers every request with a page, or with the files of a folder, under the certificate.
class TlsServer {
public:
    TlsServer(const TlsIssuer& issuer, const char* certificate, const std::filesystem::path& files = {}) {
        // "exec" lets the server inherit the process id that the shell has written.
        const std::string command = "cd " + (files.empty() ? issuer.folder : files).string() +
                                    " && echo $$ && exec openssl s_server " + (files.empty() ? "-www" : "-WWW") +
                                    " -accept 127.0.0.1:0 -key " + issuer.file("key.pem") + " -cert " +
                                    issuer.file(certificate) + " </dev/null 2>/dev/null";
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
    TlsServer& operator=(const TlsServer&) = delete;

    std::uint16_t port() const { return port_; }
    std::string url(const char* host) const {
        return std::string("https://") + host + ":" + std::to_string(port_) + "/";
    }

private:
    std::FILE* output_;
    pid_t process_ = 0;
    std::uint16_t port_ = 0;
};

}  // namespace quorel
