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

extern "C" {

int socket(int domain, int type, int protocol) {
    NEXT(socket);
    return fails("socket", EMFILE) ? -1 : real(domain, type, protocol);
}
int connect(int descriptor, const sockaddr* address, socklen_t length) {
    NEXT(connect);
    return fails("connect", ENETUNREACH, true) ? -1 : real(descriptor, address, length);
}
int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept {
    NEXT(bind);
    return fails("bind", EADDRINUSE) ? -1 : real(descriptor, address, length);
}
int listen(int descriptor, int backlog) noexcept {
    NEXT(listen);
    return fails("listen", EADDRINUSE) ? -1 : real(descriptor, backlog);
}
int accept4(int descriptor, sockaddr* address, socklen_t* length, int flags) {
    NEXT(accept4);
    return fails("accept4", EMFILE, true) ? -1 : real(descriptor, address, length, flags);
}
int setsockopt(int descriptor, int level, int name, const void* value, socklen_t length) noexcept {
    NEXT(setsockopt);
    return fails("setsockopt", ENOBUFS) ? -1 : real(descriptor, level, name, value, length);
}
int getsockname(int descriptor, sockaddr* address, socklen_t* length) noexcept {
    NEXT(getsockname);
    return fails("getsockname", ENOBUFS) ? -1 : real(descriptor, address, length);
}
int getpeername(int descriptor, sockaddr* address, socklen_t* length) noexcept {
    NEXT(getpeername);
    return fails("getpeername", ENOTCONN) ? -1 : real(descriptor, address, length);
}
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
int mkostemp(char* pattern, int flags) {
    NEXT(mkostemp);
    return fails("mkostemp", ENOSPC) ? -1 : real(pattern, flags);
}
FILE* fopen(const char* path, const char* mode) {
    NEXT(fopen);
    return fails("fopen", EMFILE, true) ? nullptr : real(path, mode);
}
FILE* fdopen(int descriptor, const char* mode) noexcept {
    NEXT(fdopen);
    return fails("fdopen", ENOMEM) ? nullptr : real(descriptor, mode);
}
int fstat(int descriptor, struct stat* status) noexcept {
    NEXT(fstat);
    return fails("fstat", EIO) ? -1 : real(descriptor, status);
}
int fsync(int descriptor) {
    NEXT(fsync);
    return fails("fsync", EIO) ? -1 : real(descriptor);
}
int rename(const char* from, const char* to) noexcept {
    NEXT(rename);
    return fails("rename", EACCES) ? -1 : real(from, to);
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
    NEXT(renameat2);
    return fails("renameat2", EACCES) ? -1 : real(fromFolder, from, toFolder, to, flags);
}
int link(const char* from, const char* to) noexcept {
    NEXT(link);
    return fails("link", EPERM) ? -1 : real(from, to);
}
int fchmod(int descriptor, mode_t mode) noexcept {
    NEXT(fchmod);
    return fails("fchmod", EPERM) ? -1 : real(descriptor, mode);
}
int mkdir(const char* path, mode_t mode) noexcept {
    NEXT(mkdir);
    return fails("mkdir", EACCES) ? -1 : real(path, mode);
}
int eventfd(unsigned value, int flags) noexcept {
    NEXT(eventfd);
    return fails("eventfd", EMFILE) ? -1 : real(value, flags);
}
int pipe(int* ends) noexcept {
    NEXT(pipe);
    return fails("pipe", EMFILE) ? -1 : real(ends);
}
int socketpair(int domain, int type, int protocol, int* ends) noexcept {
    NEXT(socketpair);
    return fails("socketpair", EMFILE) ? -1 : real(domain, type, protocol, ends);
}
int poll(pollfd* descriptors, nfds_t count, int timeout) {
    NEXT(poll);
    return fails("poll", ENOMEM, true) ? -1 : real(descriptors, count, timeout);
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

void* operator new(std::size_t size) {
    return quorel::faults::allocate(size);
}
void* operator new[](std::size_t size) {
    return quorel::faults::allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return quorel::faults::allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return quorel::faults::allocateOrNull(size);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return quorel::faults::allocateOrNull(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return quorel::faults::allocateOrNull(size, alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return quorel::faults::allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return quorel::faults::allocate(size, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
