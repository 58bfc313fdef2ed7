#include "quorel/engine/event_dispatcher.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace quorel {
namespace {

struct Number {
    int value = 0;
};
const EventType<Number> FIRST{"first"};
const EventType<Number> SECOND{"second"};  // same struct: only the constant tells them apart

TEST(EventDispatcher, CallsTheListenersOfOneTypeInOrder) {
    EventDispatcher emitter;
    std::vector<std::string> heard;
    const auto listener = [&](const char* name) {
        return [&heard, name](const Number& n) { heard.push_back(name + std::to_string(n.value)); };
    };
    emitter.addEventListener(FIRST, listener("a"));
    emitter.addEventListener(SECOND, listener("other"));
    emitter.addEventListener(FIRST, nullptr);
    emitter.addEventListener(FIRST, listener("b"));
    emitter.dispatchEvent(FIRST, {7});
    EXPECT_EQ(heard, (std::vector<std::string>{"a7", "b7"}));
}

TEST(EventDispatcher, ListenersMayAddAndRemoveDuringDelivery) {
    EventDispatcher emitter;
    std::vector<std::string> heard;
    EventListener self, later;
    const auto held = std::make_shared<int>();
    self = emitter.addEventListener(FIRST, [&, held](const Number&) {
        emitter.removeEventListener(FIRST, self);
        emitter.removeEventListener(FIRST, later);
        emitter.addEventListener(FIRST, [&](const Number&) { heard.push_back("added"); });
        heard.push_back("self, holding " + std::to_string(held.use_count()));
    });
    later = emitter.addEventListener(FIRST, [&](const Number&) { heard.push_back("removed before its turn"); });
    emitter.dispatchEvent(FIRST, {});
    EXPECT_EQ(heard, std::vector<std::string>{"self, holding 2"});
    EXPECT_EQ(held.use_count(), 1);
    emitter.dispatchEvent(FIRST, {});
    EXPECT_EQ(heard.back(), "added");
    EXPECT_EQ(heard.size(), 2u);
}

TEST(EventDispatcher, HandlesOutliveEverythingAndWorkAtAnyEmitter) {
    auto emitter = std::make_unique<EventDispatcher>();
    EventDispatcher another;
    int heard = 0;
    const auto held = std::make_shared<int>();
    const auto handle = emitter->addEventListener(FIRST, [&heard, held](const Number&) { ++heard; });
    const auto second = emitter->addEventListener(FIRST, [&heard](const Number&) { heard += 10; });
    EXPECT_TRUE(handle);
    another.removeEventListener(FIRST, handle);
    another.removeEventListener(FIRST, handle);
    another.removeEventListener(FIRST, EventListener());
    EXPECT_FALSE(handle);
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(emitter->listenerCount(), 1u);
    emitter->dispatchEvent(FIRST, {});
    EXPECT_EQ(heard, 10);
    emitter = nullptr;
    EXPECT_FALSE(second);
    another.removeEventListener(FIRST, second);
}

// What a listener holds may itself remove listeners when it goes.
TEST(EventDispatcher, MayBeDestroyedOrChangedByWhatItReleases) {
    auto emitter = std::make_shared<EventDispatcher>();
    EventListener bystander = emitter->addEventListener(FIRST, [](const Number&) {});
    const auto removesMore = [weak = std::weak_ptr(emitter), &bystander](int* value) {
        delete value;
        if (const auto alive = weak.lock()) alive->removeEventListener(FIRST, bystander);
    };
    const auto handle =
        emitter->addEventListener(FIRST, [held = std::shared_ptr<int>(new int(1), removesMore)](const Number&) {});
    emitter->removeEventListener(FIRST, handle);
    EXPECT_EQ(emitter->listenerCount(), 0u);

    int heard = 0;
    emitter->addEventListener(FIRST, [&](const Number& n) { emitter = nullptr, heard += n.value; });
    emitter->dispatchEvent(FIRST, {3});
    EXPECT_EQ(heard, 3);
    EXPECT_EQ(emitter, nullptr);
}

}  // namespace
}  // namespace quorel
