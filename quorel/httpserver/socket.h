// A blocking POSIX stream socket: listens, accepts, reads bytes and lines, writes buffers and files, closes once.
//
//   auto listener = quorel::http::Socket::tcpSocketForListen(0, true, 128, "127.0.0.1");
//   auto client = listener->acceptClientSocket();
//   std::string line = client->readLine();
//   client->writeUTF8("you said: " + line + "\n");
//
// One thread may read while another writes; close() may come from any thread at any time and wakes both. The
// system closes the descriptor only when the last call that uses it has returned, so its number is never handed
// to somebody else under a running call. No call is retried, not even after EINTR.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/httpserver/export.h"

namespace quorel::http {

// Which operation of a socket failed.
class QUOREL_HTTPSERVER_API SocketError : public Error {
public:
    enum class Code {
        socketCreationFailed,          // socket(2)
        socketSettingReUseAddrFailed,  // setsockopt(2) of SO_REUSEADDR
        bindFailed,                    // bind(2), or a listen address that is no address of the family
        listenFailed,                  // listen(2)
        writeFailed,                   // a write gave 0 or less; a file copy's text begins with "sendfile: "
        getPeerNameFailed,             // getpeername(2)
        getNameInfoFailed,             // getnameinfo(3)
        acceptFailed,                  // accept(2)
        recvFailed,                    // a read gave 0 or less: an error, or the end of the stream
        getSockNameFailed,             // getsockname(2)
        convertingPeerNameFailed,      // the peer's host has no text; message() is empty
    };

    explicit SocketError(Code code, std::string message = {});

    Code code() const { return code_; }
    // The system's reason alone, as in "Address already in use". what() has the case's name before it.
    const std::string& message() const { return message_; }

private:
    Code code_;
    std::string message_;
};

// The system's word for what went wrong.
struct QUOREL_HTTPSERVER_API Errno {
    // The text of strerror(3) for the calling thread's errno.
    static std::string description();
};

class QUOREL_HTTPSERVER_API Socket {
public:
    // Wraps a descriptor and owns it from now on; -1 makes a socket that was never opened.
    explicit Socket(int socketFileDescriptor);
    virtual ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // A listening socket. Port 0 lets the system choose. Without `listenAddress` it listens on all interfaces; an
    // IPv6 socket also serves IPv4 where the system's default says so. TCP_NODELAY is set and passes on to
    // the accepted sockets. Throws SocketError (socketCreationFailed, socketSettingReUseAddrFailed, bindFailed,
    // listenFailed).
    static std::shared_ptr<Socket> tcpSocketForListen(std::uint16_t port, bool forceIPv4 = false,
                                                      int backlog = 128,
                                                      const std::optional<std::string>& listenAddress = {});
    // Throws SocketError (acceptFailed), also when close() was called meanwhile.
    std::shared_ptr<Socket> acceptClientSocket();

    int socketFileDescriptor() const { return socketFileDescriptor_; }
    bool shutdown() const;       // true from close() on
    std::uint16_t port() const;  // bound port; throws SocketError (getSockNameFailed)
    bool isIPv4() const;         // throws SocketError (getSockNameFailed)
    // Numeric host of the other end: "192.0.2.7", "2001:db8::7", "::ffff:192.0.2.7" for IPv4 over an IPv6 socket.
    // Throws SocketError (getPeerNameFailed, getNameInfoFailed, convertingPeerNameFailed).
    std::string peername() const;

    // All reads block, and throw SocketError (recvFailed) on an error, at the end of the stream (the message has
    // no meaning then) and after close().
    std::uint8_t read();
    // Exactly `length` bytes; none for a length of 0 or less. What was read before a failure is lost. Memory grows
    // with what arrives, not with `length`.
    std::vector<std::uint8_t> read(std::int64_t length);
    // Up to the next byte 10, which is taken and not stored, as are all bytes from 0 to 13 (so tabs too). Every
    // other byte is one Latin-1 character; the text comes back as UTF-8.
    std::string readLine();
    // At least one byte, at most the buffer's size, left in the socket for the next read. Gives the number.
    std::size_t peek(std::span<std::uint8_t> buffer);
    // Takes as many bytes as `peeked` holds; they are those that peek() has just shown.
    void take(std::span<std::uint8_t> peeked);
    // At least one byte, at most the buffer's size: what has arrived. Gives the number.
    std::size_t readSome(std::span<std::uint8_t> buffer);
    // Fills the buffer.
    void read(std::span<std::uint8_t> buffer);
    // Exactly `length` bytes behind what `bytes` holds.
    void readAppending(std::vector<std::uint8_t>& bytes, std::uint64_t length);

    // All of it, or SocketError (writeFailed). A peer that is gone raises no signal.
    void writeUTF8(std::string_view text);
    void writeUInt8(std::span<const std::uint8_t> bytes);
    void writeData(std::string_view bytes);
    // Both, one behind the other, in one system call and so in one segment where they fit.
    void writeParts(std::string_view head, std::string_view body);
    // From the file's position to its end. The system copies (sendfile(2)) where it can. Throws SocketError
    // (writeFailed) whose message begins "sendfile: ". A file that fails to read ends there.
    void writeFile(std::FILE* file) { writeFile({}, file); }
    // The same with a text before it, in one segment with the file's beginning.
    void writeFile(std::string_view head, std::FILE* file);

    // Reads that still wait at `deadline` throw as on an error ("Connection timed out"); without one they wait for good,
    // which is how a socket begins. For the thread that reads.
    void setReadDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
        readDeadline_ = deadline;
    }
    // The longest wait of a write for a peer that takes nothing, then it throws; 0, as in the beginning: for good.
    void setWriteTimeout(std::chrono::milliseconds timeout);

    // Whether bytes have arrived that nobody has read.
    bool hasUnreadBytes() const;
    // Ends the stream towards the peer, which reads end of file, and drops what still comes from it, until it
    // closes as well or two seconds have passed. A close() with unread bytes would be a reset, and a reset can
    // destroy what the peer has not read yet (RFC 9112 9.6).
    void linger();
    // Wakes blocked calls of other threads, which then throw. Any thread, any number of times.
    void close();

    // The raw system operations. setNoSigPipe does nothing where the option does not exist: the writes above pass
    // MSG_NOSIGNAL.
    static void setNoSigPipe(int descriptor);
    static void close(int descriptor);

    // By descriptor.
    bool operator==(const Socket& other) const { return socketFileDescriptor_ == other.socketFileDescriptor_; }

protected:
    // take: as recv(2); peek: the bytes stay; takePeeked: those that peek has just shown.
    enum class Receive { take, peek, takePeeked };
    // The transport, as one seam for sockets that are scripted: results and errno as in recv(2) and sendmsg(2).
    virtual ssize_t receive(std::span<std::uint8_t> buffer, Receive how);
    virtual ssize_t send(std::string_view head, std::string_view body);

private:
    class Use;

    bool enter() const;
    void leave() const;
    bool copyBySystem(std::FILE* file);

    bool readableInTime() const;

    const int socketFileDescriptor_;
    std::optional<std::chrono::steady_clock::time_point> readDeadline_;
    // Bit 31: closed. The rest: how many calls use the descriptor just now.
    mutable std::atomic<std::uint32_t> use_{0};
};

}  // namespace quorel::http

template <>
struct std::hash<quorel::http::Socket> {
    std::size_t operator()(const quorel::http::Socket& socket) const noexcept {
        return static_cast<std::size_t>(socket.socketFileDescriptor());
    }
};
