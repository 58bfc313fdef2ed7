#include "tools/quorel-subtitles/inputs.h"

#include <fmt/format.h>
#include <glob.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <system_error>

#include "tools/quorel-subtitles/formats.h"

namespace quorel::subtitles_tool {
namespace {

namespace fs = std::filesystem;

std::string extensionOf(const fs::path& path) {
    const std::string extension = path.extension().string();
    return extension.empty() ? extension : extension.substr(1);
}

bool isHidden(const fs::path& path) {
    return path.filename().string().starts_with('.');
}

class Finder {
public:
    explicit Finder(const Arguments& arguments) : arguments_(arguments) {}

    Inputs find() {
        for (const std::string& word : arguments_.inputs) {
            std::error_code ignored;
            if (word == "-" || fs::exists(fs::symlink_status(word, ignored))) {
                add(word);
            } else if (word.find_first_of("*?[") != std::string::npos) {
                addMatches(word);
            } else {
                add(word);  // reading it will say what is wrong
            }
        }
        found_.areMany = found_.areMany || found_.all.size() > 1;
        return std::move(found_);
    }

private:
    void add(const std::string& word) {
        std::error_code ignored;
        if (word != "-" && fs::is_directory(word, ignored)) {
            addFolder(word);
        } else {
            addFile(word, fs::path(word).filename());
        }
    }

    void addFile(const fs::path& path, const fs::path& relative) {
        if (seen_.insert(path.lexically_normal()).second) found_.all.push_back({path, relative});
    }

    void addFailure(const fs::path& path, const Failure& failure) {
        found_.all.push_back({path, path.filename(), failure});
    }

    void addMatches(const std::string& pattern) {
        found_.areMany = true;
        glob_t matches{};
        const int result = glob(pattern.c_str(), 0, nullptr, &matches);
        if (result == 0) {
            for (std::size_t i = 0; i < matches.gl_pathc; ++i) add(matches.gl_pathv[i]);
        } else {
            addFailure(pattern, {"no file matches the pattern"});
        }
        globfree(&matches);
    }

    void addFolder(const fs::path& folder) {
        found_.areMany = true;
        std::vector<fs::path> paths;
        std::error_code error;
        fs::recursive_directory_iterator at(folder, error), end;
        while (!error && at != end) {
            const bool isFolder = at->is_directory(error);
            if (isFolder && (!arguments_.recursive || isHidden(at->path()))) at.disable_recursion_pending();
            if (!isFolder && isWanted(at->path())) paths.push_back(at->path());
            at.increment(error);
        }
        if (error) addFailure(folder, systemFailure("the folder cannot be read", error.value()));
        if (!error && paths.empty()) addFailure(folder, {nothingFound()});
        std::sort(paths.begin(), paths.end());
        for (const fs::path& path : paths) addFile(path, path.lexically_relative(folder));
    }

    bool isWanted(const fs::path& path) const {
        const std::string extension = extensionOf(path);
        const Format* const format = findFormat(extension);
        if (isHidden(path) || format == nullptr) return false;
        if (arguments_.from) return format->extension == *arguments_.from;
        // In place of itself it would be written over what it was made of.
        return !(arguments_.command == Command::convert && !arguments_.output &&
                 arguments_.to == format->extension);
    }

    std::string nothingFound() const {
        const std::string what = arguments_.from ? *arguments_.from + " files" : "subtitle files";
        return fmt::format("the folder has no {}{}", what,
                           arguments_.recursive ? "" : " (--recursive looks deeper)");
    }

    const Arguments& arguments_;
    Inputs found_;
    std::set<fs::path> seen_;
};

}  // namespace

Inputs findInputs(const Arguments& arguments) {
    return Finder(arguments).find();
}

}  // namespace quorel::subtitles_tool
