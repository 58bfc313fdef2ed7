// Stands between the program and the C library: the functions below take the place of the library's, in this program
// and in the libraries that it loads.
#include "tests/faults/failing.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

namespace quorel::faults {
namespace {

std::atomic<bool> armed{false};
std::atomic<long> left{0};
std::atomic<Way> wayOfAll{Way::error};
std::atomic<const char*> failed{nullptr};
thread_local bool isUnfaulted = false;

thread_local long allocationsLeft = 0;
thread_local bool allocationFailed = false;

// The next definition of the function, the sanitizer's or the C library's.
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isMeant(const char* name) {
    if (!armed || isUnfaulted) return false;
    const long n = --left;
    if (n == 0) failed = name;
    return n == 0 || (n < 0 && wayOfAll == Way::partial && failed != nullptr);
}

// Whether the call fails, with errno set; `interruptible` calls in the way of an interruption only.
bool fails(const char* name, int error, bool interruptible = false) {
    const Way way = wayOfAll;
    if (way == Way::partial || (way == Way::interrupted && !interruptible) || !isMeant(name)) return false;
    errno = way == Way::interrupted ? EINTR : error;
    return true;
}

// How much of `size` the call is to take.
std::size_t part(const char* name, std::size_t size) {
    return wayOfAll == Way::partial && size > 1 && isMeant(name) ? 1 : size;
}

}  // namespace

FailingCall::FailingCall(long n, Way way) {
    wayOfAll = way;
    failed = nullptr;
    left = n;
    armed = true;
}
FailingCall::~FailingCall() {
    armed = false;
    wayOfAll = Way::error;
}
bool FailingCall::happened() const {
    return failed != nullptr;
}
std::string FailingCall::name() const {
    const char* const name = failed;
    return name != nullptr ? name : "none";
}

FailingAllocation::FailingAllocation(long n) {
    allocationFailed = false;
    allocationsLeft = n;
}
FailingAllocation::~FailingAllocation() {
    allocationsLeft = 0;
}
bool FailingAllocation::happened() const {
    return allocationFailed;
}

Unfaulted::Unfaulted() : before_(isUnfaulted) {
    isUnfaulted = true;
}
Unfaulted::~Unfaulted() {
    isUnfaulted = before_;
}

namespace {

struct Start {
    void* (*function)(void*);
    void* argument;
    bool isUnfaulted;
};

void* runThread(void* start) {
    const std::unique_ptr<Start> given(static_cast<Start*>(start));
    isUnfaulted = given->isUnfaulted;
    return given->function(given->argument);
}

bool allocationFails() {
    if (allocationsLeft <= 0 || --allocationsLeft > 0) return false;
    return allocationFailed = true;
}

void* allocateOrNull(std::size_t size) noexcept {
    return allocationFails() ? nullptr : std::malloc(size != 0 ? size : 1);
}

void* allocateOrNull(std::size_t size, std::align_val_t alignment) noexcept {
    void* memory = nullptr;
    if (allocationFails()) return nullptr;
    return posix_memalign(&memory, static_cast<std::size_t>(alignment), size != 0 ? size : 1) == 0 ? memory
                                                                                                   : nullptr;
}

template <class... Alignment>
void* allocate(std::size_t size, Alignment... alignment) {
    if (void* const memory = allocateOrNull(size, alignment...)) return memory;
    throw std::bad_alloc();
}

}  // namespace
}  // namespace quorel::faults

using quorel::faults::fails;
using quorel::faults::next;
using quorel::faults::part;

// The name twice, once to define it and once to look for the next one.
#define NEXT(name) static auto* const real = next<decltype(name)>(#name)

// A call that gives -1 when it fails: with the error, and with EINTR where `true` follows that.
#define FAILING(name, parameters, arguments, ...)               \
    int name parameters {                                       \
        NEXT(name);                                             \
        return fails(#name, __VA_ARGS__) ? -1 : real arguments; \
    }

extern "C" {

FAILING(socket, (int domain, int type, int protocol), (domain, type, protocol), EMFILE)
FAILING(connect, (int descriptor, const sockaddr* address, socklen_t length), (descriptor, address, length),
        ENETUNREACH, true)
FAILING(bind, (int descriptor, const sockaddr* address, socklen_t length) noexcept, (descriptor, address, length),
        EADDRINUSE)
FAILING(listen, (int descriptor, int backlog) noexcept, (descriptor, backlog), EADDRINUSE)
FAILING(accept4, (int descriptor, sockaddr* address, socklen_t* length, int flags),
        (descriptor, address, length, flags), EMFILE, true)
FAILING(setsockopt, (int descriptor, int level, int name, const void* value, socklen_t length) noexcept,
        (descriptor, level, name, value, length), ENOBUFS)
FAILING(getsockname, (int descriptor, sockaddr* address, socklen_t* length) noexcept,
        (descriptor, address, length), ENOBUFS)
FAILING(getpeername, (int descriptor, sockaddr* address, socklen_t* length) noexcept,
        (descriptor, address, length), ENOTCONN)
FAILING(mkostemp, (char* pattern, int flags), (pattern, flags), ENOSPC)
FAILING(fstat, (int descriptor, struct stat* status) noexcept, (descriptor, status), EIO)
FAILING(fsync, (int descriptor), (descriptor), EIO)
FAILING(rename, (const char* from, const char* to) noexcept, (from, to), EACCES)
FAILING(renameat2, (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept,
        (fromFolder, from, toFolder, to, flags), EACCES)
FAILING(link, (const char* from, const char* to) noexcept, (from, to), EPERM)
FAILING(fchmod, (int descriptor, mode_t mode) noexcept, (descriptor, mode), EPERM)
FAILING(mkdir, (const char* path, mode_t mode) noexcept, (path, mode), EACCES)
FAILING(eventfd, (unsigned value, int flags) noexcept, (value, flags), EMFILE)
FAILING(pipe, (int* ends) noexcept, (ends), EMFILE)
FAILING(socketpair, (int domain, int type, int protocol, int* ends) noexcept, (domain, type, protocol, ends),
        EMFILE)
FAILING(poll, (pollfd * descriptors, nfds_t count, int timeout), (descriptors, count, timeout), ENOMEM, true)

int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    NEXT(getaddrinfo);
    return fails("getaddrinfo", EIO) ? EAI_AGAIN : real(node, service, hints, result);
}
ssize_t recv(int descriptor, void* buffer, size_t size, int flags) {
    NEXT(recv);
    return fails("recv", ECONNRESET, true) ? -1 : real(descriptor, buffer, part("recv", size), flags);
}
ssize_t send(int descriptor, const void* buffer, size_t size, int flags) {
    NEXT(send);
    return fails("send", EPIPE, true) ? -1 : real(descriptor, buffer, part("send", size), flags);
}
ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
    NEXT(sendmsg);
    if (fails("sendmsg", EPIPE, true)) return -1;
    if (message->msg_iovlen == 0 || part("sendmsg", message->msg_iov->iov_len) != 1) {
        return real(descriptor, message, flags);
    }
    iovec first{message->msg_iov->iov_base, 1};
    msghdr less = *message;
    less.msg_iov = &first;
    less.msg_iovlen = 1;
    return real(descriptor, &less, flags);
}
ssize_t sendfile(int out, int in, off_t* offset, size_t size) noexcept {
    NEXT(sendfile);
    return fails("sendfile", EIO, true) ? -1 : real(out, in, offset, part("sendfile", size));
}
ssize_t read(int descriptor, void* buffer, size_t size) {
    NEXT(read);
    return fails("read", EIO, true) ? -1 : real(descriptor, buffer, part("read", size));
}
ssize_t write(int descriptor, const void* buffer, size_t size) {
    NEXT(write);
    return fails("write", ENOSPC, true) ? -1 : real(descriptor, buffer, part("write", size));
}
int open(const char* path, int flags, ...) {
    NEXT(open);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails("open", EMFILE, true) ? -1 : real(path, flags, mode);
}
FILE* fopen(const char* path, const char* mode) {
    NEXT(fopen);
    return fails("fopen", EMFILE, true) ? nullptr : real(path, mode);
}
FILE* fdopen(int descriptor, const char* mode) noexcept {
    NEXT(fdopen);
    return fails("fdopen", ENOMEM) ? nullptr : real(descriptor, mode);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
    NEXT(pthread_create);
    if (fails("pthread_create", EAGAIN)) return EAGAIN;
    auto start = std::make_unique<quorel::faults::Start>(
        quorel::faults::Start{function, argument, quorel::faults::isUnfaulted});
    const int result = real(thread, attributes, &quorel::faults::runThread, start.get());
    if (result == 0) static_cast<void>(start.release());
    return result;
}

}  // extern "C"

// Of single objects and of arrays.
#define ALLOCATING(parameters, ...)         \
    void* operator new parameters {         \
        return quorel::faults::__VA_ARGS__; \
    }                                       \
    void* operator new[] parameters {       \
        return quorel::faults::__VA_ARGS__; \
    }

ALLOCATING((std::size_t size), allocate(size))
ALLOCATING((std::size_t size, const std::nothrow_t&) noexcept, allocateOrNull(size))
ALLOCATING((std::size_t size, std::align_val_t alignment), allocate(size, alignment))
ALLOCATING((std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept,
           allocateOrNull(size, alignment))

#define FREEING(parameters)                      \
    void operator delete parameters noexcept {   \
        std::free(memory);                       \
    }                                            \
    void operator delete[] parameters noexcept { \
        std::free(memory);                       \
    }

FREEING((void* memory))
FREEING((void* memory, std::size_t))
FREEING((void* memory, std::align_val_t))
