// Fails the N-th of the process's system calls, or of its allocations, from the moment on that it is told to.
//
//   for (long n = 1; n <= mostCalls; ++n) {
//       const FailingCall fault(n, Way::error);
//       road();                                   // with one call failing
//       if (!fault.happened()) break;             // the road has fewer calls
//   }
//
// Calls of a test's own, and of threads that a test started in a scope of Unfaulted, neither count nor fail. One fault
// at a time.
#pragma once

#include <string>

namespace quorel::faults {

enum class Way {
    error,        // the call fails, with the error that is usual for it
    interrupted,  // the call fails with EINTR, where a signal may do that
    partial,      // the call reads or writes one byte; all from the N-th on do
};

class FailingCall {
public:
    FailingCall(long n, Way way);
    ~FailingCall();
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;

    bool happened() const;
    std::string name() const;  // of the call that failed
};

// The N-th operator new of this thread throws std::bad_alloc.
class FailingAllocation {
public:
    explicit FailingAllocation(long n);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    bool happened() const;
};

class Unfaulted {
public:
    Unfaulted();
    ~Unfaulted();
    Unfaulted(const Unfaulted&) = delete;
    Unfaulted& operator=(const Unfaulted&) = delete;

private:
    const bool before_;
};

}  // namespace quorel::faults
