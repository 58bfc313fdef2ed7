#include "sandbox/sandbox.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "sandbox/backend.h"
#include "sandbox/sandbox_protocol.h"

namespace quorel::sandbox {

namespace {

MediaFiles listed(const std::filesystem::path& directory) {
    // The generator writes "complete" as its last step.
    std::error_code ignored;
    if (!std::filesystem::exists(directory / "complete", ignored)) {
        throw SandboxError(SandboxError::Code::noMedia,
                           fmt::format("There are no finished titles in '{}'. Make them with "
                                       "sandbox/media/make_media.sh, or name another directory.",
                                       directory.string()));
    }
    try {
        return MediaFiles(directory);
    } catch (const std::filesystem::filesystem_error& error) {
        throw SandboxError(SandboxError::Code::noMedia, fmt::format("The titles in '{}' cannot be read: {}.",
                                                                    directory.string(), error.code().message()));
    }
}

}  // namespace

std::filesystem::path Sandbox::defaultMediaDirectory() {
    // An installed program has its titles beside it; one in the build has them where they were made.
    std::error_code none;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", none);
    const auto installed = program.parent_path().parent_path() / QUOREL_SANDBOX_INSTALLED_MEDIA;
    return std::filesystem::exists(installed / "complete", none) ? installed : QUOREL_SANDBOX_MEDIA;
}

Sandbox::Sandbox() : Sandbox(Options()) {}

Sandbox::Sandbox(Options options)
    : backend_(std::make_shared<Backend>(listed(options.mediaDirectory), std::move(options.token))) {}

Sandbox::~Sandbox() {
    backend_->stop();
}

void Sandbox::start(std::uint16_t port) {
    try {
        backend_->start(port);
    } catch (const http::SocketError& error) {
        throw SandboxError(
            SandboxError::Code::cannotListen,
            fmt::format("The sandbox cannot listen on 127.0.0.1 port {}: {}.", port, error.message()));
    }
}

void Sandbox::stop() {
    backend_->stop();
}

std::string Sandbox::baseURL() const {
    return backend_->baseURL();
}

const std::string& Sandbox::token() const {
    return backend_->token;
}

std::vector<Title> Sandbox::titles() const {
    return backend_->titles();
}

void Sandbox::setTitle(Title title) {
    backend_->setTitle(std::move(title));
}

void Sandbox::setFault(std::string pathPattern, Fault fault) {
    backend_->faults.set(std::move(pathPattern), fault);
}

void Sandbox::setChaos(Chaos chaos) {
    backend_->faults.setChaos(chaos);
}

void Sandbox::clearFaults() {
    backend_->faults.clear();
}

std::vector<PingRecord> Sandbox::pings() const {
    return backend_->pings.all();
}

void Sandbox::clearPings() {
    backend_->pings.clear();
}

std::vector<AdEvent> Sandbox::adEvents() const {
    return backend_->ads.events();
}

void Sandbox::clearAdEvents() {
    backend_->ads.clear();
}

std::vector<RequestRecord> Sandbox::requests() const {
    return backend_->log.all();
}

void Sandbox::clearRequests() {
    backend_->log.clear();
}

std::shared_ptr<UrlProtocol> Sandbox::makeProtocol() const {
    return std::make_shared<SandboxProtocol>(*URL::parse(baseURL()), network_);
}

}  // namespace quorel::sandbox
