// Asynchronous work that reads top to bottom: a coroutine that gives a T or throws.
//
//   Task<PlayerConfigModel> QuorelAPI::fetchPlayerConfig(std::string id) {
//       co_await resumeOn(mainLoop);              // the rest runs on the main loop
//       const auto token = session.quorelToken;
//       co_await resumeOn(background);            // and from here on in the background
//       auto reply = co_await urlSession.data(request);
//       co_return decode(reply);
//   }
//   startTask(mainLoop, load(controller));       // a task nobody waits for
//
// The one rule: a coroutine lives on an executor, and whatever it waits for, it goes on there. It starts on the
// executor of whoever awaits it; resumeOn() moves it for good; its caller is not moved. A task starts when it is
// awaited or handed to startTask(), never by itself.
//
// A task that can never go on, because the executor it waits for was destroyed, is destroyed with everything it
// holds, together with the tasks that wait for it.
#pragma once

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "quorel/foundation/executor.h"
#include "quorel/foundation/export.h"
#include "quorel/foundation/fatal.h"

namespace quorel {

template <class T>
class QUOREL_VISIBLE Task;

namespace detail {

// What every task's promise has: where the coroutine lives, who waits for it, and the chain's outermost frame.
struct QUOREL_VISIBLE TaskPromiseBase {
    Executor* home = nullptr;
    std::coroutine_handle<> root;
    std::coroutine_handle<> continuation;
    Executor* continuationHome = nullptr;
    std::coroutine_handle<> continuationRoot;

    std::suspend_always initial_suspend() noexcept { return {}; }
};

// A right to resume a coroutine once. Dropped unused, it destroys the whole chain of tasks.
class QUOREL_VISIBLE ResumeToken {
public:
    ResumeToken(std::coroutine_handle<> handle, std::coroutine_handle<> root) : handle_(handle), root_(root) {}
    ResumeToken(const ResumeToken&) = delete;
    ResumeToken& operator=(const ResumeToken&) = delete;
    ~ResumeToken() {
        if (handle_ && root_) root_.destroy();
    }
    void resume() { std::exchange(handle_, nullptr).resume(); }

private:
    std::coroutine_handle<> handle_;
    std::coroutine_handle<> root_;
};

inline void postResume(Executor& executor, std::coroutine_handle<> handle, std::coroutine_handle<> root) {
    executor.post([token = std::make_shared<ResumeToken>(handle, root)] { token->resume(); });
}

struct QUOREL_VISIBLE FinalAwaiter {
    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) noexcept {
        TaskPromiseBase& promise = finished.promise();
        if (!promise.continuation) return std::noop_coroutine();
        Executor* home = promise.continuationHome;
        if (home == nullptr || home->isCurrent()) return promise.continuation;
        postResume(*home, promise.continuation, promise.continuationRoot);
        return std::noop_coroutine();
    }
    void await_resume() const noexcept {}
};

template <class T>
struct QUOREL_VISIBLE TaskPromise : TaskPromiseBase {
    std::variant<std::monostate, T, std::exception_ptr> result;

    Task<T> get_return_object();
    FinalAwaiter final_suspend() noexcept { return {}; }
    template <class U>
    void return_value(U&& value) {
        result.template emplace<1>(std::forward<U>(value));
    }
    void unhandled_exception() { result.template emplace<2>(std::current_exception()); }
    T take() {
        if (result.index() == 2) std::rethrow_exception(std::get<2>(result));
        return std::move(std::get<1>(result));
    }
};

template <>
struct QUOREL_VISIBLE TaskPromise<void> : TaskPromiseBase {
    std::exception_ptr error;

    Task<void> get_return_object();
    FinalAwaiter final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { error = std::current_exception(); }
    void take() {
        if (error) std::rethrow_exception(error);
    }
};

}  // namespace detail

// A coroutine that gives a T. Move-only; destroyed before its end, it lets go of all that it holds.
template <class T = void>
class [[nodiscard]] QUOREL_VISIBLE Task {
public:
    using promise_type = detail::TaskPromise<T>;

    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Task() {
        if (handle_) handle_.destroy();
    }

    // Awaiting from another Task. The awaiting coroutine goes on where it lives.
    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> awaiting) {
        detail::TaskPromiseBase& caller = awaiting.promise();
        detail::TaskPromiseBase& own = handle_.promise();
        own.home = caller.home;
        own.root = caller.root;
        own.continuation = awaiting;
        own.continuationHome = caller.home;
        own.continuationRoot = caller.root;
        return handle_;
    }
    T await_resume() { return handle_.promise().take(); }

private:
    friend promise_type;
    explicit Task(std::coroutine_handle<promise_type> handle) : handle_(handle) {}

    std::coroutine_handle<promise_type> handle_;
};

namespace detail {

template <class T>
Task<T> TaskPromise<T>::get_return_object() {
    return Task<T>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}
inline Task<void> TaskPromise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<TaskPromise>::from_promise(*this));
}

// The outermost frame of a started task; it destroys itself at its end.
struct QUOREL_VISIBLE DetachedTask {
    struct promise_type : TaskPromiseBase {
        DetachedTask get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { fatal("a started task ended with an error that nobody handles"); }
    };
    std::coroutine_handle<promise_type> handle;
};

inline DetachedTask runDetached(Task<void> task) {
    co_await std::move(task);
}

struct QUOREL_VISIBLE ResumeOn {
    Executor& executor;

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) {
        TaskPromiseBase& promise = handle.promise();
        promise.home = &executor;
        if (executor.isCurrent()) return false;
        postResume(executor, handle, promise.root);
        return true;
    }
    void await_resume() const noexcept {}
};

}  // namespace detail

// Moves the awaiting task to `executor`. Goes straight on when it is there already.
inline detail::ResumeOn resumeOn(Executor& executor) {
    return {executor};
}

// Starts `task` on `executor`, at a later turn, and lets it run to its end by itself. An error that leaves the
// task is a programming error and stops the process: handle it inside.
inline void startTask(Executor& executor, Task<void> task) {
    const auto handle = detail::runDetached(std::move(task)).handle;
    handle.promise().home = &executor;
    handle.promise().root = handle;
    detail::postResume(executor, handle, handle);
}

// Makes an awaitable of an operation with a completion function, which may be called from any thread, once.
//
//   auto reply = co_await completionOf<Reply>([&](auto complete) { session.dataTask(request, complete)->resume(); });
//
// The completion takes a T or, to throw in the awaiting task, a std::exception_ptr. A completion that is
// destroyed without being called destroys the task.
template <class T>
class QUOREL_VISIBLE CompletionAwaiter {
public:
    using Result = std::variant<T, std::exception_ptr>;
    using Completion = std::function<void(Result)>;
    using Operation = std::function<void(Completion)>;

    explicit CompletionAwaiter(Operation operation) : operation_(std::move(operation)) {}

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    void await_suspend(std::coroutine_handle<Promise> handle) {
        detail::TaskPromiseBase& promise = handle.promise();
        if (promise.home == nullptr) fatal("a task that waits for a completion must have been started");
        auto token = std::make_shared<detail::ResumeToken>(handle, promise.root);
        // The operation may complete on another thread before it returns, which lets this awaiter end with its
        // coroutine: nothing of *this is touched after the call.
        Operation operation = std::move(operation_);
        operation([this, home = promise.home, token = std::move(token)](Result result) {
            result_.emplace(std::move(result));
            home->post([token] { token->resume(); });
        });
    }
    T await_resume() {
        if (result_->index() == 1) std::rethrow_exception(std::get<1>(*result_));
        return std::move(std::get<0>(*result_));
    }

private:
    Operation operation_;
    std::optional<Result> result_;
};

// The awaitable, of an operation that is called once, when it is awaited.
template <class T, class Operation>
CompletionAwaiter<T> completionOf(Operation&& operation) {
    return CompletionAwaiter<T>(std::forward<Operation>(operation));
}

}  // namespace quorel
