// Log lines: plain lines on standard output, without levels and without time stamps.
//
//   logLine("Quorel SDK initializing...");
//   logLine({"Initializing Chromecast", applicationId});   // items are separated by one blank
//
// Any thread; a line is written whole, never torn by another thread's.
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "quorel/foundation/export.h"

namespace quorel {

// Writes a line; the line end is added.
QUOREL_FOUNDATION_API void logLine(std::string_view line);
QUOREL_FOUNDATION_API void logLine(std::initializer_list<std::string_view> items);

// Where lines go. An empty function restores standard output. The sink is called with the line, without its
// line end, on the thread that logs, one call at a time; it must not log itself.
using LogSink = std::function<void(std::string_view line)>;
QUOREL_FOUNDATION_API void setLogSink(LogSink sink);

// Captures the process's log lines while it lives; for tests and for programs that own their screen.
class QUOREL_FOUNDATION_API LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // All lines so far, each followed by "\n".
    std::string text() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace quorel
