// Typed events: an event type names the event's struct, so that a listener gets exactly that struct.
//
//   EventListener handle = player->addEventListener(PlayerEventTypes::PLAY, [](const PlayEvent&) { ... });
//   player->removeEventListener(PlayerEventTypes::PLAY, handle);
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "quorel/engine/export.h"

namespace quorel {

// The address of the constant is the type's identity, the name is for people.
template <class E>
struct QUOREL_VISIBLE EventType {
    using Event = E;
    std::string_view name;
};

namespace detail {

struct QUOREL_VISIBLE ListenerEntry {
    virtual ~ListenerEntry() = default;
    // Lets go of the function, and so of what it holds; while it runs, once it returns.
    virtual void release() = 0;
    bool active = true;
    const void* type = nullptr;
};

}  // namespace detail

// A handle to one registration. It knows its registration by itself, so any emitter can remove it; a handle that
// was removed, is empty, or whose emitter is gone does no harm. Holding it keeps nothing else alive, and what the
// listener's function holds is released when it is removed.
class QUOREL_VISIBLE EventListener {
public:
    EventListener() = default;
    // Whether the registration stands.
    explicit operator bool() const {
        const auto entry = entry_.lock();
        return entry && entry->active;
    }

private:
    friend class EventDispatcher;
    explicit EventListener(std::weak_ptr<detail::ListenerEntry> entry) : entry_(std::move(entry)) {}
    std::weak_ptr<detail::ListenerEntry> entry_;
};

// The base of everything that emits events. Listeners of one type are called in the order of their registration.
// One that is removed while an event is being delivered is not called any more, one that is added is called from
// the next event on, and the emitter may be destroyed by a listener.
class QUOREL_VISIBLE EventDispatcher {
public:
    EventDispatcher() : entries_(std::make_shared<Entries>()) {}
    virtual ~EventDispatcher() = default;
    EventDispatcher(const EventDispatcher&) = delete;
    EventDispatcher& operator=(const EventDispatcher&) = delete;

    // Adds a listener for events of the type. It stays until it is removed or the emitter goes.
    template <class E>
    EventListener addEventListener(const EventType<E>& type,
                                   std::type_identity_t<std::function<void(const E&)>> listener) {
        auto entry = std::make_shared<Entry<E>>();
        entry->type = &type;
        entry->function = std::make_shared<const std::function<void(const E&)>>(std::move(listener));
        // Entries that were removed through another emitter end here at the latest.
        std::erase_if(*entries_, [](const auto& old) { return !old->active; });
        entries_->push_back(entry);
        return EventListener(entry);
    }

    // Also removes a handle that another emitter gave out: ad listeners are removed through the player.
    template <class E>
    void removeEventListener(const EventType<E>&, const EventListener& listener) {
        const std::shared_ptr<Entries> keep = entries_;
        if (const auto entry = listener.entry_.lock()) {
            entry->active = false;
            entry->release();
        }
        std::erase_if(*keep, [](const auto& entry) { return !entry->active; });
    }

    // How many listeners stand; for tests and for engines that skip work nobody listens to.
    std::size_t listenerCount() const {
        return static_cast<std::size_t>(
            std::count_if(entries_->begin(), entries_->end(), [](const auto& entry) { return entry->active; }));
    }

    // Delivers an event to the listeners of its type, synchronously. For the engine that owns the emitter.
    template <class E>
    void dispatchEvent(const EventType<E>& type, const std::type_identity_t<E>& event) {
        const std::shared_ptr<Entries> keep = entries_;
        std::vector<std::shared_ptr<detail::ListenerEntry>> due;
        for (const auto& entry : *keep) {
            if (entry->type == &type) due.push_back(entry);
        }
        for (const auto& entry : due) {
            const auto function = static_cast<const Entry<E>&>(*entry).function;
            if (entry->active && *function) (*function)(event);
        }
    }

private:
    template <class E>
    struct Entry : detail::ListenerEntry {
        void release() override { const auto dropped = std::move(function); }
        std::shared_ptr<const std::function<void(const E&)>> function;
    };
    using Entries = std::vector<std::shared_ptr<detail::ListenerEntry>>;
    std::shared_ptr<Entries> entries_;
};

}  // namespace quorel
