// A value that tells before it changes.
//
//   Published<double> currentTime{0};
//   auto subscription = currentTime.stream().subscribe([](double next) { ... });   // currentTime is the old one yet
//   currentTime = 1.5;
//
// No lock: one thread, or the caller's own order.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "quorel/facade/export.h"

namespace quorel {

// Ends a subscription when it goes or is asked to. A subscription may outlive what it subscribed to.
class QUOREL_VISIBLE Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> registration) : registration_(std::move(registration)) {}
    Subscription(Subscription&&) = default;
    Subscription& operator=(Subscription&&) = default;
    void cancel() { registration_ = nullptr; }  // the subscriber is not told any more

private:
    std::shared_ptr<void> registration_;
};

// Where subscribers are told of something, in the order in which they subscribed. One that subscribes while it is
// told is told from the next time on; one that ends while others are told is not told any more.
template <class... Arguments>
class QUOREL_VISIBLE Stream {
public:
    using Function = std::function<void(const Arguments&...)>;

    // Tells `function` until the subscription goes.
    [[nodiscard]] Subscription subscribe(Function function) {
        auto registration = std::make_shared<Function>(std::move(function));
        subscribers_.push_back(registration);
        return Subscription(std::move(registration));
    }
    // Tells all subscribers, before it returns.
    void send(const Arguments&... arguments) {
        std::erase_if(subscribers_, [](const auto& subscriber) { return subscriber.expired(); });
        const auto due = subscribers_;
        for (const auto& subscriber : due) {
            if (const auto function = subscriber.lock()) (*function)(arguments...);
        }
    }

private:
    std::vector<std::weak_ptr<Function>> subscribers_;
};

// The value, with those who watch it.
template <class T>
class QUOREL_VISIBLE Published {
public:
    explicit Published(T value) : value_(std::move(value)) {}
    Published(const Published&) = delete;

    const T& get() const { return value_; }
    operator const T&() const { return value_; }

    // Every write counts, also one of the same value: first the owner's willChange, then the stream with the value to
    // come, then the value itself.
    void set(T value) {
        if (willChange_) willChange_();
        stream_.send(value);
        value_ = std::move(value);
    }
    Published& operator=(T value) {
        set(std::move(value));
        return *this;
    }

    // What comes, from the subscription on.
    Stream<T>& stream() { return stream_; }
    void setWillChange(std::function<void()> willChange) { willChange_ = std::move(willChange); }

private:
    T value_;
    Stream<T> stream_;
    std::function<void()> willChange_;
};

}  // namespace quorel
