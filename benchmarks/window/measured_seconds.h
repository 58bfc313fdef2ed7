// What both programs measure, so that they measure the same.
#pragma once

#include <fmt/format.h>
#include <sys/resource.h>

#include <QGuiApplication>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace quorel::bench {

inline double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto sum = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return sum(usage.ru_utime) + sum(usage.ru_stime);
}

// Plays for three seconds, so that all is loaded, then measures `seconds`, prints a line of JSON with `more` in it, and
// ends the process.
inline void measure(QGuiApplication& app, double seconds, const std::function<unsigned long long()>& framesShown,
                    const std::function<std::string()>& more) {
    QTimer::singleShot(3000, &app, [&] {
        const double begin = processorSeconds();
        const unsigned long long framesBefore = framesShown();
        QTimer::singleShot(static_cast<int>(seconds * 1000), &app, [&, begin, framesBefore] {
            fmt::print(R"({{"processor": {:.6f}, "frames": {}{}}})"
                       "\n",
                       processorSeconds() - begin, framesShown() - framesBefore, more());
            std::fflush(stdout);
            std::_Exit(0);  // nobody measures the end
        });
    });
    QGuiApplication::exec();
}

}  // namespace quorel::bench
