#include "engines/gstreamer/end_barrier.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "engines/gstreamer/download_guard.h"
#include "engines/gstreamer/elements.h"

namespace quorel::gstreamer {
namespace {

// A source of progressive media with two streams, and what comes out of it, in order: "a" and "b" for data, "A" and "B"
// for the ends.
class TwoStreams {
public:
    TwoStreams() {
        gst_init(nullptr, nullptr);
        playbin_ = gst_element_factory_make("playbin3", nullptr);
        gst_object_ref_sink(playbin_);
        barrier = EndBarrier::watch(playbin_);
        source_ = gst_element_factory_make("urisourcebin", nullptr);
        gst_object_ref_sink(source_);
        g_signal_emit_by_name(playbin_, "element-setup", source_);
        a = makeStream('a');
        b = makeStream('b');
    }
    ~TwoStreams() {
        for (GstPad* pad : pads_) {
            gst_pad_set_active(pad, FALSE);
            gst_object_unref(pad);
        }
        gst_object_unref(source_);
        gst_object_unref(playbin_);
    }
    TwoStreams(const TwoStreams&) = delete;
    TwoStreams& operator=(const TwoStreams&) = delete;

    static void bring(GstPad* stream) { gst_pad_push(stream, gst_buffer_new()); }
    static void end(GstPad* stream) { gst_pad_push_event(stream, gst_event_new_eos()); }
    std::string arrived() const {
        const std::lock_guard lock(mutex_);
        return arrived_;
    }

    std::shared_ptr<EndBarrier> barrier;
    GstPad* a = nullptr;
    GstPad* b = nullptr;

private:
    void note(GstPad* pad, bool isEnd) {
        const std::lock_guard lock(mutex_);
        const char name = *GST_PAD_NAME(pad);
        arrived_ += isEnd ? static_cast<char>(name - 'a' + 'A') : name;
    }
    // Returns the pad to push from, behind which stands a ghost pad of the source's.
    GstPad* makeStream(char name) {
        const char text[] = {name, '\0'};
        GstPad* const inner = gst_pad_new("inner", GST_PAD_SRC);
        GstPad* const sink = gst_pad_new(text, GST_PAD_SINK);
        for (GstPad* pad : {inner, sink}) pads_.push_back(GST_PAD(gst_object_ref_sink(pad)));
        gst_pad_set_element_private(sink, this);
        gst_pad_set_chain_function(
            sink, +[](GstPad* pad, GstObject*, GstBuffer* buffer) {
                static_cast<TwoStreams*>(gst_pad_get_element_private(pad))->note(pad, false);
                gst_buffer_unref(buffer);
                return GST_FLOW_OK;
            });
        gst_pad_set_event_function(
            sink, +[](GstPad* pad, GstObject*, GstEvent* event) -> gboolean {
                if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) {
                    static_cast<TwoStreams*>(gst_pad_get_element_private(pad))->note(pad, true);
                }
                gst_event_unref(event);
                return TRUE;
            });
        GstPad* const ghost = gst_ghost_pad_new(nullptr, inner);
        for (GstPad* pad : {sink, ghost, inner}) gst_pad_set_active(pad, TRUE);
        gst_element_add_pad(source_, ghost);
        EXPECT_EQ(gst_pad_link(ghost, sink), GST_PAD_LINK_OK);
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_pad_push_event(inner, gst_event_new_stream_start(text));
        gst_pad_push_event(inner, gst_event_new_segment(&segment));
        return inner;
    }

    GstElement* playbin_ = nullptr;
    GstElement* source_ = nullptr;
    std::vector<GstPad*> pads_;
    mutable std::mutex mutex_;
    std::string arrived_;
};

// Of a stream in a thread of its own, which has begun to run when this returns.
std::future<void> endAside(GstPad* stream) {
    auto begun = std::make_shared<std::promise<void>>();
    auto running = begun->get_future();
    auto done = std::async(std::launch::async, [begun, stream] {
        begun->set_value();
        TwoStreams::end(stream);
    });
    running.wait();
    return done;
}

TEST(EndBarrier, AnEndWaitsUntilTheOtherStreamsFirstBufferIsThrough) {
    for (int round = 0; round < 20; ++round) {
        TwoStreams streams;
        TwoStreams::bring(streams.a);
        auto ended = endAside(streams.a);
        TwoStreams::bring(streams.b);
        TwoStreams::bring(streams.b);  // says that the one before is through, and may be behind the end itself
        ended.wait();
        TwoStreams::end(streams.b);
        const std::string arrived = streams.arrived();
        ASSERT_TRUE(arrived == "abbAB" || arrived == "abAbB") << arrived;
    }
}

TEST(EndBarrier, NobodyWaitsForWhatWillNotCome) {
    {
        TwoStreams streams;  // one stream has nothing at all
        TwoStreams::bring(streams.a);
        auto ended = endAside(streams.a);
        TwoStreams::end(streams.b);
        ended.wait();
        EXPECT_EQ(streams.arrived().size(), 3u);
    }
    {
        TwoStreams streams;  // a seek
        TwoStreams::bring(streams.a);
        auto ended = endAside(streams.a);
        while (ended.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            gst_pad_push_event(streams.b, gst_event_new_flush_start());
        }
    }
    {
        TwoStreams streams;  // a teardown
        TwoStreams::bring(streams.a);
        auto ended = endAside(streams.a);
        streams.barrier->open();
        ended.wait();
        EXPECT_EQ(streams.arrived(), "aA");
    }
}

// A request that has been made when a seek begins is sent by another thread before the seek goes on and cancels it.
TEST(DownloadGuard, ASeekWaitsForWhatOtherThreadsWereWokenFor) {
    gst_init(nullptr, nullptr);
    GstElement* const playbin = GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("playbin3", nullptr)));
    GstElement* const demuxer = GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("hlsdemux2", nullptr)));
    const auto guard = DownloadGuard::watch(playbin);
    g_signal_emit_by_name(playbin, "element-setup", demuxer);
    GstPad* const source = gst_pad_new("out", GST_PAD_SRC);
    GstPad* const sink = GST_PAD(gst_object_ref_sink(gst_pad_new("in", GST_PAD_SINK)));
    std::atomic<int> requested = 0;
    struct {
        std::atomic<int> sent = 0;
        int atSeek = 0;
    } seen;
    gst_pad_set_element_private(sink, &seen);
    gst_pad_set_event_function(
        sink, +[](GstPad* pad, GstObject*, GstEvent* event) -> gboolean {
            auto* const own = static_cast<decltype(seen)*>(gst_pad_get_element_private(pad));
            if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) own->atSeek = own->sent;
            gst_event_unref(event);
            return TRUE;
        });
    for (GstPad* pad : {source, sink}) gst_pad_set_active(pad, TRUE);
    gst_element_add_pad(demuxer, source);
    EXPECT_EQ(gst_pad_link(source, sink), GST_PAD_LINK_OK);
    auto sender = std::async(std::launch::async, [&] {
        for (int next = 1; next <= 20; ++next) {
            requested.wait(next - 1);
            seen.sent = next;
        }
    });
    for (int seek = 1; seek <= 20; ++seek) {
        requested = seek;
        requested.notify_one();
        gst_pad_push_event(source, gst_event_new_flush_start());
        EXPECT_EQ(seen.atSeek, seek);
        gst_pad_push_event(source, gst_event_new_flush_stop(TRUE));
    }
    sender.wait();
    for (GstPad* pad : {source, sink}) gst_pad_set_active(pad, FALSE);
    gst_object_unref(sink);
    gst_object_unref(demuxer);
    gst_object_unref(playbin);
}

// Of each kind of element, how many there are in a playbin, and how loud it is.
struct Inside {
    std::mutex mutex;
    std::multiset<std::string> alive;
    GstElement* volume = nullptr;

    void add(GstElement* element) {
        struct Member {
            Inside& inside;
            std::string kind;
        };
        auto* const member = new Member{*this, G_OBJECT_TYPE_NAME(element)};
        const std::lock_guard lock(mutex);
        alive.insert(member->kind);
        if (member->kind == "GstVolume") volume = element;
        const auto gone = +[](gpointer own, GObject*) {
            const std::unique_ptr<Member> left(static_cast<Member*>(own));
            const std::lock_guard inner(left->inside.mutex);
            left->inside.alive.erase(left->inside.alive.find(left->kind));
        };
        g_object_weak_ref(G_OBJECT(element), gone, member);
    }
};

// GStreamer's own volume element would stay.
TEST(Playbin, TakesEveryElementWithIt) {
    setenv("PULSE_SERVER", "unix:/nowhere", 1);  // a sound output, of some kind
    for (const auto audio : {GStreamerOptions::Audio::automatic, GStreamerOptions::Audio::none}) {
        std::string problem;
        GstElement* const playbin =
            makePlaybin("file://" QUOREL_TEST_MEDIA "/long.ts", audio, std::make_shared<FrameStore>(), 1, problem);
        ASSERT_TRUE(playbin) << problem;
        Inside inside;
        const auto onElement =
            +[](GstBin*, GstBin*, GstElement* element, gpointer own) { static_cast<Inside*>(own)->add(element); };
        g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElement), &inside);
        g_object_set(playbin, "volume", 0.5, nullptr);
        gst_element_set_state(playbin, GST_STATE_PAUSED);
        EXPECT_EQ(gst_element_get_state(playbin, nullptr, nullptr, 60 * GST_SECOND), GST_STATE_CHANGE_SUCCESS);
        EXPECT_EQ(inside.volume != nullptr, audio == GStreamerOptions::Audio::automatic);
        gdouble loudness = 0.5;
        if (inside.volume != nullptr) g_object_get(inside.volume, "volume", &loudness, nullptr);
        EXPECT_EQ(loudness, 0.5);
        gst_element_set_state(playbin, GST_STATE_NULL);
        gst_object_unref(playbin);
        EXPECT_THAT(inside.alive, ::testing::IsEmpty());
    }
}

}  // namespace
}  // namespace quorel::gstreamer
