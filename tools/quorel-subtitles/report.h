// What the program says: results on standard output, troubles on standard error, and how far it is when that is a
// terminal.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "quorel/foundation/json.h"
#include "tools/quorel-subtitles/arguments.h"
#include "tools/quorel-subtitles/failure.h"

namespace quorel::subtitles_tool {

class Report {
public:
    // For `count` files. Without results on standard output, when that is where converted files go.
    Report(const Arguments& arguments, std::size_t count, bool hasResults = true);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    void begin(const std::filesystem::path& file);
    void warn(const std::filesystem::path& file, const std::string& message);
    void fail(const std::filesystem::path& file, const Failure& failure);
    // The line for people, and the members for programs, which get "file" and "ok" in front. Of the two, one is
    // written.
    void result(const std::filesystem::path& file, bool ok, const std::string& line, const JSONObject& members);
    // At the end: as "3 files converted, 1 failed", when there were several.
    void summary(const std::string& done);

    int exitCode() const { return failed_ > 0 ? 1 : 0; }

private:
    void clearProgress();

    const Arguments& arguments_;
    std::size_t count_;
    bool hasResults_;
    bool showsProgress_;
    bool isProgressShown_ = false;
    std::size_t begun_ = 0;
    std::size_t failed_ = 0;
};

// "-" as people call it.
std::string nameOf(const std::filesystem::path& file);

JSONObject describe(const Failure& failure);

}  // namespace quorel::subtitles_tool
