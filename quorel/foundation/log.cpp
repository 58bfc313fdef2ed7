#include "quorel/foundation/log.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace quorel {
namespace {

std::mutex sinkMutex;
LogSink& currentSink() {
    static LogSink sink;
    return sink;
}

}  // namespace

void logLine(std::string_view line) {
    std::lock_guard lock(sinkMutex);
    if (const LogSink& sink = currentSink()) {
        sink(line);
        return;
    }
    std::string whole(line);
    whole += '\n';
    std::fwrite(whole.data(), 1, whole.size(), stdout);
    std::fflush(stdout);
}

void logLine(std::initializer_list<std::string_view> items) {
    std::string line;
    std::string_view separator;
    for (std::string_view item : items) {
        line.append(separator).append(item);
        separator = " ";
    }
    logLine(line);
}

void setLogSink(LogSink sink) {
    std::lock_guard lock(sinkMutex);
    currentSink() = std::move(sink);
}

struct LogCapture::State {
    mutable std::mutex mutex;
    std::string text;
};

LogCapture::LogCapture() : state_(std::make_shared<State>()) {
    setLogSink([state = state_](std::string_view line) {
        std::lock_guard lock(state->mutex);
        state->text.append(line).push_back('\n');
    });
}

LogCapture::~LogCapture() {
    setLogSink({});
}

std::string LogCapture::text() const {
    std::lock_guard lock(state_->mutex);
    return state_->text;
}

}  // namespace quorel
