#include "tools/quorel-subtitles/report.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace quorel::subtitles_tool {

std::string nameOf(const std::filesystem::path& file) {
    return file == "-" ? "standard input" : printable(file.string());
}

JSONObject describe(const Failure& failure) {
    JSONObject error;
    if (failure.line > 0) error.set("line", failure.line);
    error.set("message", printable(failure.message));
    if (!failure.found.empty()) error.set("found", printable(failure.found));
    return error;
}

Report::Report(const Arguments& arguments, std::size_t count, bool hasResults)
    : arguments_(arguments),
      count_(count),
      hasResults_(hasResults),
      showsProgress_(count > 1 && !arguments.quiet && isatty(STDERR_FILENO) == 1) {}

Report::~Report() {
    clearProgress();
}

void Report::begin(const std::filesystem::path& file) {
    ++begun_;
    if (!showsProgress_) return;
    fmt::print(stderr, "\r\x1b[2K[{}/{}] {}", begun_, count_, nameOf(file));
    std::fflush(stderr);
    isProgressShown_ = true;
}

void Report::clearProgress() {
    if (!isProgressShown_) return;
    isProgressShown_ = false;
    fmt::print(stderr, "\r\x1b[2K");
    std::fflush(stderr);
}

void Report::warn(const std::filesystem::path& file, const std::string& message) {
    if (arguments_.quiet || arguments_.json) return;
    clearProgress();
    fmt::print(stderr, "{}: warning: {}\n", nameOf(file), printable(message));
}

void Report::fail(const std::filesystem::path& file, const Failure& failure) {
    ++failed_;
    if (arguments_.json) return result(file, false, {}, JSONObject{{"error", describe(failure)}});
    clearProgress();
    const std::string place = failure.line > 0 ? fmt::format(":{}", failure.line) : "";
    fmt::print(stderr, "{}{}: error: {}\n", nameOf(file), place, printable(failure.message));
    if (!failure.found.empty()) {
        const std::string number = failure.line > 0 ? fmt::format("{}", failure.line) : "";
        fmt::print(stderr, "{:>5} | {}\n", number, printable(failure.found));
    }
}

void Report::result(const std::filesystem::path& file, bool ok, const std::string& line,
                    const JSONObject& members) {
    std::string text;
    if (arguments_.json) {
        JSONObject object{{"file", nameOf(file)}, {"ok", ok}};
        for (const auto& [key, value] : members) object.set(key, value);
        text = serializeJSON(object);
    } else if (hasResults_ && !arguments_.quiet) {
        text = line;
    }
    if (text.empty()) return;
    clearProgress();
    fmt::print("{}\n", text);
    std::fflush(stdout);
}

void Report::summary(const std::string& done) {
    if (count_ < 2 || arguments_.quiet || arguments_.json) return;
    clearProgress();
    const std::string failed = failed_ > 0 ? fmt::format(", {} failed", failed_) : "";
    fmt::print(stderr, "{}{}\n", done, failed);
}

}  // namespace quorel::subtitles_tool
