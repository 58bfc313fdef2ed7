// Private to this room. Shared ownership as the user data of GObject's callbacks.
//
//   gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, onBuffer, keep(stream), release<Stream>);
//   ... in onBuffer:  Stream& stream = from<Stream>(userData);
#pragma once

#include <gst/gst.h>

#include <memory>
#include <utility>

namespace quorel::gstreamer {

template <class T>
gpointer keep(std::shared_ptr<T> owned) {
    return new std::shared_ptr<T>(std::move(owned));
}

// A GDestroyNotify for what keep() gave.
template <class T>
void release(gpointer kept) {
    delete static_cast<std::shared_ptr<T>*>(kept);
}

template <class T>
T& from(gpointer kept) {
    return **static_cast<std::shared_ptr<T>*>(kept);
}

// The connection owns `owned`, which the callback gets as its last argument.
template <class T>
void connect(GstElement* element, const char* signal, GCallback callback, std::shared_ptr<T> owned) {
    g_signal_connect_data(
        element, signal, callback, keep(std::move(owned)), [](gpointer kept, GClosure*) { release<T>(kept); },
        static_cast<GConnectFlags>(0));
}

}  // namespace quorel::gstreamer
