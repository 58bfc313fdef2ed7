#include "quorel/httpserver/socket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>

#include "quorel/httpserver/latin1.h"

namespace quorel::http {

namespace {

constexpr std::uint32_t closedBit = std::uint32_t{1} << 31;

std::string_view caseName(SocketError::Code code) {
    switch (code) {
        case SocketError::Code::socketCreationFailed:
            return "socketCreationFailed";
        case SocketError::Code::socketSettingReUseAddrFailed:
            return "socketSettingReUseAddrFailed";
        case SocketError::Code::bindFailed:
            return "bindFailed";
        case SocketError::Code::listenFailed:
            return "listenFailed";
        case SocketError::Code::writeFailed:
            return "writeFailed";
        case SocketError::Code::getPeerNameFailed:
            return "getPeerNameFailed";
        case SocketError::Code::getNameInfoFailed:
            return "getNameInfoFailed";
        case SocketError::Code::acceptFailed:
            return "acceptFailed";
        case SocketError::Code::recvFailed:
            return "recvFailed";
        case SocketError::Code::getSockNameFailed:
            return "getSockNameFailed";
        case SocketError::Code::convertingPeerNameFailed:
            return "convertingPeerNameFailed";
    }
    return "SocketError";
}

std::string described(SocketError::Code code, const std::string& message) {
    std::string text(caseName(code));
    if (!message.empty()) text.append(": ").append(message);
    return text;
}

[[noreturn]] void throwErrno(SocketError::Code code) {
    throw SocketError(code, Errno::description());
}

// Closes the descriptor when there is no memory for the socket.
std::shared_ptr<Socket> owning(int descriptor) {
    try {
        return std::make_shared<Socket>(descriptor);
    } catch (...) {
        Socket::close(descriptor);
        throw;
    }
}

[[noreturn]] void closeAndThrowErrno(int descriptor, SocketError::Code code) {
    const std::string reason = Errno::description();
    Socket::close(descriptor);
    throw SocketError(code, reason);
}

std::string_view asText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// sendfile(2) has no MSG_NOSIGNAL: its SIGPIPE goes to the calling thread, is held back here and taken out again.
class SigPipeHeldBack {
public:
    SigPipeHeldBack() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~SigPipeHeldBack() {
        const int saved = errno;
        if (!wasPending_) {
            const timespec now{};
            sigtimedwait(&pipe_, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = saved;
    }
    SigPipeHeldBack(const SigPipeHeldBack&) = delete;
    SigPipeHeldBack& operator=(const SigPipeHeldBack&) = delete;

private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

}  // namespace

SocketError::SocketError(Code code, std::string message)
    : Error(described(code, message)), code_(code), message_(std::move(message)) {}

std::string Errno::description() {
    // Not by std::generic_category(): a connection's thread may fail while the process ends, after the category was
    // destroyed.
    std::array<char, 256> text;
    return strerror_r(errno, text.data(), text.size());
}

// A call that uses the descriptor; while one lives, the number stays ours.
class Socket::Use {
public:
    explicit Use(const Socket& socket) : socket_(socket), entered_(socket.enter()) {}
    ~Use() {
        if (!entered_) return;
        const int saved = errno;
        socket_.leave();
        errno = saved;
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    // As a system call on a closed descriptor would answer.
    bool refused() const {
        if (!entered_) errno = EBADF;
        return !entered_;
    }

private:
    const Socket& socket_;
    const bool entered_;
};

Socket::Socket(int socketFileDescriptor) : socketFileDescriptor_(socketFileDescriptor) {}

Socket::~Socket() {
    close();
}

bool Socket::enter() const {
    std::uint32_t use = use_.load(std::memory_order_relaxed);
    do {
        if ((use & closedBit) != 0) return false;
    } while (!use_.compare_exchange_weak(use, use + 1, std::memory_order_acquire, std::memory_order_relaxed));
    return true;
}

void Socket::leave() const {
    if (use_.fetch_sub(1, std::memory_order_acq_rel) == (closedBit | 1)) close(socketFileDescriptor_);
}

bool Socket::shutdown() const {
    return (use_.load(std::memory_order_acquire) & closedBit) != 0;
}

void Socket::close() {
    std::uint32_t use = use_.load(std::memory_order_relaxed);
    do {
        if ((use & closedBit) != 0) return;
    } while (!use_.compare_exchange_weak(use, (use + 1) | closedBit, std::memory_order_acq_rel,
                                         std::memory_order_relaxed));
    // close(2) alone would leave a call that is blocked on the descriptor blocked.
    if (use != 0) ::shutdown(socketFileDescriptor_, SHUT_RDWR);
    leave();
}

void Socket::close(int descriptor) {
    if (descriptor >= 0) ::close(descriptor);
}

void Socket::setNoSigPipe([[maybe_unused]] int descriptor) {
#ifdef SO_NOSIGPIPE
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

std::shared_ptr<Socket> Socket::tcpSocketForListen(std::uint16_t port, bool forceIPv4, int backlog,
                                                   const std::optional<std::string>& listenAddress) {
    using Code = SocketError::Code;
    const int descriptor = ::socket(forceIPv4 ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor == -1) throwErrno(Code::socketCreationFailed);

    const int on = 1;
    if (setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == -1)
        closeAndThrowErrno(descriptor, Code::socketSettingReUseAddrFailed);
    setNoSigPipe(descriptor);
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);

    sockaddr_in ipv4{};
    sockaddr_in6 ipv6{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(port);
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(port);
    if (listenAddress && inet_pton(forceIPv4 ? AF_INET : AF_INET6, listenAddress->c_str(),
                                   forceIPv4 ? static_cast<void*>(&ipv4.sin_addr) : &ipv6.sin6_addr) != 1) {
        // The any-address instead would open to every network what was meant for one.
        errno = EINVAL;
        closeAndThrowErrno(descriptor, Code::bindFailed);
    }
    const auto* address =
        forceIPv4 ? reinterpret_cast<const sockaddr*>(&ipv4) : reinterpret_cast<const sockaddr*>(&ipv6);
    if (bind(descriptor, address, forceIPv4 ? sizeof ipv4 : sizeof ipv6) == -1)
        closeAndThrowErrno(descriptor, Code::bindFailed);
    if (::listen(descriptor, backlog) == -1) closeAndThrowErrno(descriptor, Code::listenFailed);
    return owning(descriptor);
}

std::shared_ptr<Socket> Socket::acceptClientSocket() {
    const Use use(*this);
    if (use.refused()) throwErrno(SocketError::Code::acceptFailed);
    const int descriptor = accept4(socketFileDescriptor_, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor == -1) throwErrno(SocketError::Code::acceptFailed);
    setNoSigPipe(descriptor);
    return owning(descriptor);
}

std::uint16_t Socket::port() const {
    const Use use(*this);
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (use.refused() || getsockname(socketFileDescriptor_, reinterpret_cast<sockaddr*>(&address), &length) == -1)
        throwErrno(SocketError::Code::getSockNameFailed);
    // The port stands at the same place in both families.
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

bool Socket::isIPv4() const {
    const Use use(*this);
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (use.refused() || getsockname(socketFileDescriptor_, reinterpret_cast<sockaddr*>(&address), &length) == -1)
        throwErrno(SocketError::Code::getSockNameFailed);
    return address.ss_family == AF_INET;
}

std::string Socket::peername() const {
    const Use use(*this);
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (use.refused() || getpeername(socketFileDescriptor_, reinterpret_cast<sockaddr*>(&address), &length) == -1)
        throwErrno(SocketError::Code::getPeerNameFailed);
    std::array<char, NI_MAXHOST> host{};
    const int result = getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host.data(), host.size(),
                                   nullptr, 0, NI_NUMERICHOST);
    if (result != 0) throw SocketError(SocketError::Code::getNameInfoFailed, gai_strerror(result));
    if (host[0] == '\0') throw SocketError(SocketError::Code::convertingPeerNameFailed);
    return host.data();
}

ssize_t Socket::receive(std::span<std::uint8_t> buffer, Receive how) {
    const Use use(*this);
    if (use.refused()) return -1;
    if (readDeadline_ && !readableInTime()) return -1;
    // With MSG_TRUNC, TCP drops the bytes without copying them; other stream sockets copy the same bytes once
    // more.
    const int flags = how == Receive::peek ? MSG_PEEK : how == Receive::takePeeked ? MSG_TRUNC : 0;
    return recv(socketFileDescriptor_, buffer.data(), buffer.size(), flags);
}

bool Socket::readableInTime() const {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*readDeadline_ - std::chrono::steady_clock::now());
    pollfd readable{socketFileDescriptor_, POLLIN, 0};
    const int ready = poll(&readable, 1, static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX)));
    if (ready == 0) errno = ETIMEDOUT;
    return ready > 0;
}

void Socket::setWriteTimeout(std::chrono::milliseconds timeout) {
    const Use use(*this);
    if (use.refused()) return;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(timeout);
    timeval value{};
    value.tv_sec = static_cast<time_t>(seconds.count());
    value.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(timeout - seconds).count());
    setsockopt(socketFileDescriptor_, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
}

ssize_t Socket::send(std::string_view head, std::string_view body) {
    const Use use(*this);
    if (use.refused()) return -1;
    if (head.empty() || body.empty()) {
        const std::string_view bytes = head.empty() ? body : head;
        return ::send(socketFileDescriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    std::array<iovec, 2> parts{
        {{const_cast<char*>(head.data()), head.size()}, {const_cast<char*>(body.data()), body.size()}}};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    return sendmsg(socketFileDescriptor_, &message, MSG_NOSIGNAL);
}

std::size_t Socket::peek(std::span<std::uint8_t> buffer) {
    const ssize_t got = receive(buffer, Receive::peek);
    if (got == 0) errno = ENODATA;
    if (got <= 0) throwErrno(SocketError::Code::recvFailed);
    return static_cast<std::size_t>(got);
}

void Socket::take(std::span<std::uint8_t> peeked) {
    while (!peeked.empty()) {
        const ssize_t got = receive(peeked, Receive::takePeeked);
        if (got == 0) errno = ENODATA;
        if (got <= 0) throwErrno(SocketError::Code::recvFailed);
        peeked = peeked.subspan(std::min(static_cast<std::size_t>(got), peeked.size()));
    }
}

std::size_t Socket::readSome(std::span<std::uint8_t> buffer) {
    const ssize_t got = receive(buffer, Receive::take);
    if (got == 0) errno = ENODATA;
    if (got <= 0) throwErrno(SocketError::Code::recvFailed);
    return static_cast<std::size_t>(got);
}

void Socket::read(std::span<std::uint8_t> buffer) {
    while (!buffer.empty()) buffer = buffer.subspan(readSome(buffer));
}

std::uint8_t Socket::read() {
    std::uint8_t byte = 0;
    read(std::span(&byte, 1));
    return byte;
}

std::vector<std::uint8_t> Socket::read(std::int64_t length) {
    std::vector<std::uint8_t> bytes;
    if (length > 0) readAppending(bytes, static_cast<std::uint64_t>(length));
    return bytes;
}

void Socket::readAppending(std::vector<std::uint8_t>& bytes, std::uint64_t length) {
    constexpr std::size_t firstStep = 64 * 1024;
    while (length > 0) {
        const std::size_t have = bytes.size();
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(length, std::max(have, firstStep)));
        bytes.resize(have + step);
        read(std::span(bytes).subspan(have));
        length -= step;
    }
}

std::string Socket::readLine() {
    std::array<std::uint8_t, 1024> window;
    std::string line;
    while (true) {
        const auto peeked = std::span(window).first(peek(window));
        const auto end = std::find(peeked.begin(), peeked.end(), std::uint8_t{'\n'});
        const bool complete = end != peeked.end();
        const auto part = peeked.first(static_cast<std::size_t>(end - peeked.begin()) + (complete ? 1 : 0));
        take(part);
        appendLatin1Line(line, asText(part));
        if (complete) return line;
    }
}

void Socket::writeUTF8(std::string_view text) {
    writeParts(text, {});
}

void Socket::writeUInt8(std::span<const std::uint8_t> bytes) {
    writeParts(asText(bytes), {});
}

void Socket::writeData(std::string_view bytes) {
    writeParts(bytes, {});
}

void Socket::writeParts(std::string_view head, std::string_view body) {
    while (!head.empty() || !body.empty()) {
        const ssize_t result = send(head, body);
        if (result <= 0) throwErrno(SocketError::Code::writeFailed);
        const auto sent = static_cast<std::size_t>(result);
        const std::size_t ofHead = std::min(sent, head.size());
        head.remove_prefix(ofHead);
        body.remove_prefix(std::min(sent - ofHead, body.size()));
    }
}

void Socket::writeFile(std::string_view head, std::FILE* file) {
    std::array<char, 16 * 1024> block;
    try {
        // The first block goes with the head; what is longer than it is worth the system's own copying.
        std::size_t got = std::fread(block.data(), 1, block.size(), file);
        writeParts(head, {block.data(), got});
        if (got < block.size() || copyBySystem(file)) return;
        while ((got = std::fread(block.data(), 1, block.size(), file)) > 0) writeParts({block.data(), got}, {});
    } catch (const SocketError& error) {
        throw SocketError(SocketError::Code::writeFailed, "sendfile: " + error.message());
    }
}

// False when the system cannot copy from this file; nothing was sent then.
bool Socket::copyBySystem(std::FILE* file) {
    constexpr std::size_t chunk = std::size_t{1} << 30;
    const int source = fileno(file);
    off_t offset = ftello(file);
    if (source < 0 || offset < 0) return false;

    const Use use(*this);
    if (use.refused()) throwErrno(SocketError::Code::writeFailed);
    const SigPipeHeldBack heldBack;
    const off_t begin = offset;
    while (true) {
        const ssize_t sent = sendfile(socketFileDescriptor_, source, &offset, chunk);
        if (sent == 0) break;
        if (sent > 0) continue;
        if (offset == begin && (errno == EINVAL || errno == ENOSYS)) return false;
        throwErrno(SocketError::Code::writeFailed);
    }
    fseeko(file, offset, SEEK_SET);
    return true;
}

bool Socket::hasUnreadBytes() const {
    const Use use(*this);
    int count = 0;
    return !use.refused() && ioctl(socketFileDescriptor_, FIONREAD, &count) == 0 && count > 0;
}

void Socket::linger() {
    const Use use(*this);
    if (use.refused() || ::shutdown(socketFileDescriptor_, SHUT_WR) == -1) return;
    std::array<char, 16 * 1024> dropped;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd readable{socketFileDescriptor_, POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) != 1) return;
        if (recv(socketFileDescriptor_, dropped.data(), dropped.size(), MSG_DONTWAIT) <= 0) return;
    }
}

}  // namespace quorel::http
