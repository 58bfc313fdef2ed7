// The least that shows a stream in a window: playbin3, an appsink, and an item with the picture as its texture.
//
// window_playbin URL SECONDS
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSGSimpleTextureNode>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "benchmarks/window/measured_seconds.h"

namespace {

class Picture final : public QQuickItem {
public:
    explicit Picture(QQuickItem* parent) : QQuickItem(parent) { setFlag(ItemHasContents); }
    void show(GstSample* sample) {  // any thread
        struct Held {
            GstSample* sample;
            GstMapInfo map;
        };
        if (sample == nullptr) return;
        auto* const held = new Held{sample, {}};
        gst_buffer_map(gst_sample_get_buffer(sample), &held->map, GST_MAP_READ);
        gint width = 0;
        gint height = 0;
        const GstStructure* const form = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
        gst_structure_get_int(form, "width", &width);
        gst_structure_get_int(form, "height", &height);
        const auto drop = [](void* own) {
            auto* const dropped = static_cast<Held*>(own);
            gst_buffer_unmap(gst_sample_get_buffer(dropped->sample), &dropped->map);
            gst_sample_unref(dropped->sample);
            delete dropped;
        };
        QImage image(held->map.data, width, height, 4 * width, QImage::Format_RGB32, drop, held);
        {
            const std::lock_guard lock(mutex_);
            image_ = std::move(image);
        }
        QMetaObject::invokeMethod(this, &QQuickItem::update, Qt::QueuedConnection);
    }
    unsigned long long frames = 0;

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData*) override {
        auto* node = static_cast<QSGSimpleTextureNode*>(old);
        const std::lock_guard lock(mutex_);
        if (image_.isNull()) return node;
        if (node == nullptr) {
            node = new QSGSimpleTextureNode;
            node->setOwnsTexture(true);
            node->setFiltering(QSGTexture::Linear);
        }
        node->setTexture(window()->createTextureFromImage(image_, QQuickWindow::TextureIsOpaque));
        node->setRect(boundingRect());
        ++frames;
        return node;
    }

private:
    std::mutex mutex_;
    QImage image_;
};

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 3) return 2;
    gst_init(nullptr, nullptr);
    QQuickWindow window;
    window.setColor(Qt::black);
    window.resize(1280, 720);
    Picture picture(window.contentItem());
    picture.setSize({1280, 720});
    window.show();
    GstElement* const playbin = gst_element_factory_make("playbin3", nullptr);
    GstElement* const video = gst_element_factory_make("appsink", nullptr);
    GstElement* const audio = gst_element_factory_make("fakesink", nullptr);
    GstCaps* const caps = gst_caps_from_string("video/x-raw,format=BGRx");
    g_object_set(video, "caps", caps, "max-buffers", 1u, "drop", TRUE, "enable-last-sample", FALSE, nullptr);
    g_object_set(audio, "sync", TRUE, nullptr);
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = [](GstAppSink* sink, gpointer own) {
        static_cast<Picture*>(own)->show(gst_app_sink_pull_sample(sink));
        return GST_FLOW_OK;
    };
    gst_app_sink_set_callbacks(GST_APP_SINK(video), &callbacks, &picture, nullptr);
    constexpr guint pictureAndSound = 3;
    g_object_set(playbin, "flags", pictureAndSound, "uri", argv[1], "video-sink", video, "audio-sink", audio,
                 nullptr);
    gst_element_set_state(playbin, GST_STATE_PLAYING);
    quorel::bench::measure(
        app, std::atof(argv[2]), [&] { return picture.frames; }, [] { return std::string(); });
}
