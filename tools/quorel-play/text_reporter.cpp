// Lines for people, each event with the seconds since the start, and a progress line that stays at the bottom.

#include <fmt/format.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <mutex>

#include "quorel/foundation/text.h"
#include "tools/quorel-play/reporter.h"
#include "tools/standard_output.h"

namespace quorel::play {

namespace {

// "0:07.5", "1:02:03.5"
std::string clock(double seconds) {
    const auto tenths = static_cast<long long>(std::floor(std::max(seconds, 0.0) * 10 + 1e-6));
    const long long minutes = tenths / 600;
    const std::string rest = fmt::format("{:02}.{}", tenths / 10 % 60, tenths % 10);
    if (minutes < 60) return fmt::format("{}:{}", minutes, rest);
    return fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, rest);
}

int terminalColumns() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

std::string repeated(std::string_view piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += piece;
    return text;
}

std::string_view sentence(Outcome outcome) {
    switch (outcome) {
        case Outcome::ended:
            return "played to its end";
        case Outcome::stopped:
            return "played as long as asked";
        case Outcome::interrupted:
            return "interrupted";
        case Outcome::failed:
            return "failed";
        case Outcome::noPicture:
            return "gave no picture in time";
    }
    return "";
}

class TextReporter final : public Reporter {
public:
    TextReporter() : terminal_(isatty(STDOUT_FILENO) == 1) {
        std::setlocale(LC_CTYPE, "");
        const bool unicode = asciiEqualsIgnoringCase(nl_langinfo(CODESET), "UTF-8");
        full_ = unicode ? "━" : "=";
        rest_ = unicode ? "─" : "-";
    }

    void event(double at, const QuorelPlayerEvent& event) override { line(at, describe(event)); }

    void timeUpdate(double at, double position, std::optional<double> duration) override {
        if (terminal_) {
            const std::lock_guard lock(mutex_);
            progress_ = progressLine(position, duration);
            say("\r\x1b[2K" + progress_);
            return;
        }
        if (nextLineAt_ && at < *nextLineAt_) return;
        nextLineAt_ = at + 1;
        line(at, duration && std::isfinite(*duration) ? fmt::format("{} / {}", clock(position), clock(*duration))
                                                      : clock(position));
    }

    void screen(double at, std::string_view state, const std::string& countdown) override {
        line(at, fmt::format("screen: {}{}{}", state, countdown.empty() ? "" : ", ", countdown));
    }

    void track(const Track& track, bool isShown) override {
        write(fmt::format("track: {} {} \"{}\"{}\n", track.kind(), track.language(), track.label(),
                          isShown ? ", shown" : ""));
    }

    void subtitle(double at, const std::string& text) override {
        line(at, fmt::format("subtitle: {}", replacingAll(text, "\n", " / ")));
    }

    void logged(std::string_view text) override { write(fmt::format("           {}\n", text)); }

    void summary(const Summary& summary) override {
        {
            const std::lock_guard lock(mutex_);
            if (!progress_.empty()) say("\n");
            progress_.clear();
        }
        std::string text = fmt::format("\n{} {}", summary.contentId, sentence(summary.outcome));
        text += summary.error ? fmt::format(": {}\n", *summary.error) : std::string("\n");
        if (summary.firstFrame) {
            text += fmt::format("  first picture   {:.3f} s after setup, now {} x {}\n", *summary.firstFrame,
                                summary.width, summary.height);
        }
        if (summary.position) {
            text += fmt::format("  position        {:.3f} s", *summary.position);
            if (summary.duration && std::isfinite(*summary.duration)) {
                text += fmt::format(" of {:.3f} s", *summary.duration);
            }
            text += "\n";
        }
        if (summary.subtitleLines > 0) text += fmt::format("  subtitle lines  {}\n", summary.subtitleLines);
        if (!summary.events.empty()) {
            std::string counts;
            for (const auto& [name, count] : summary.events) {
                counts += counts.empty() ? "" : ", ";
                counts += count == 1 ? name : fmt::format("{} {} times", name, count);
            }
            text += fmt::format("  events          {}\n", counts);
        }
        if (summary.snapshot) {
            text += fmt::format("  snapshot        {}, the picture at {:.3f} s\n", *summary.snapshot,
                                summary.frameTime.value_or(0));
        }
        write(text);
    }

private:
    std::string progressLine(double position, std::optional<double> duration) const {
        if (!duration || !std::isfinite(*duration) || *duration <= 0) return clock(position);
        const double part = std::clamp(position / *duration, 0.0, 1.0);
        const std::string times = fmt::format(" {} / {} ", clock(position), clock(*duration));
        const int width = std::clamp(terminalColumns() - static_cast<int>(times.size()) - 8, 10, 60);
        const int full = static_cast<int>(std::lround(part * width));
        return fmt::format("{}{}{}{:3.0f} %", times, repeated(full_, full), repeated(rest_, width - full),
                           part * 100);
    }

    void line(double at, const std::string& text) { write(fmt::format("{:8.3f} s {}\n", at, text)); }

    void write(const std::string& text) {
        const std::lock_guard lock(mutex_);
        // The progress line makes room and comes back below.
        say(progress_.empty() ? text : "\r\x1b[2K" + text + progress_);
    }

    const bool terminal_;
    std::string_view full_;
    std::string_view rest_;
    std::optional<double> nextLineAt_;
    std::mutex mutex_;
    std::string progress_;  // what stands in the terminal's last line
};

}  // namespace

std::unique_ptr<Reporter> makeTextReporter() {
    return std::make_unique<TextReporter>();
}

}  // namespace quorel::play
