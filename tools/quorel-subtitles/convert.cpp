#include "tools/quorel-subtitles/convert.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <set>
#include <system_error>
#include <variant>

#include "tools/quorel-subtitles/reading.h"
#include "tools/quorel-subtitles/report.h"
#include "tools/quorel-subtitles/writing.h"

namespace quorel::subtitles_tool {
namespace {

namespace fs = std::filesystem;

bool isFolderName(const std::string& name) {
    std::error_code ignored;
    return name.ends_with('/') || fs::is_directory(name, ignored);
}

// Where each input goes, by the command line alone.
class Targets {
public:
    Targets(const Arguments& arguments, const Inputs& inputs) : arguments_(arguments) {
        if (arguments.inPlace) return;
        const auto& output = arguments.output;
        isFolder_ = output && *output != "-" && isFolderName(*output);
        if (output && inputs.areMany && !isFolder_) {
            throw UsageError{*output == "-"
                                 ? std::string("standard output takes one file only")
                                 : fmt::format("for more than one file -o needs a folder; '{}/' would be "
                                               "made",
                                               *output)};
        }
        const bool readsStandardInput = !inputs.areMany && inputs.all.front().isStandard();
        if (isFolder_ && readsStandardInput) {
            throw UsageError{"standard input has no name to go by in a folder; name a file behind -o"};
        }
        if (arguments.command == Command::shift) {
            if (!output && !readsStandardInput) {
                throw UsageError{"say where to: -o and a name, or --in-place"};
            }
        } else if (!arguments.to &&
                   !(output && !isFolder_ && *output != "-" && findFormat(extensionOf(*output)))) {
            if (output && !isFolder_ && *output != "-") {
                throw UsageError{
                    fmt::format("no format has the extension of '{}'; say which one to write with --to", *output)};
            }
            throw UsageError{"the format to write is missing, as --to vtt or -o film.vtt"};
        }
    }

    // "-" for standard output.
    fs::path target(const Input& input, const Format& format) const {
        if (arguments_.inPlace) return input.path;
        if (arguments_.output && !isFolder_) return *arguments_.output;
        if (!arguments_.output && input.isStandard()) return "-";
        fs::path path = isFolder_ ? fs::path(*arguments_.output) / input.relative : input.path;
        return path.replace_extension(format.extension);
    }

    const Format& format(const Reading& reading) const {
        if (arguments_.to) return *findFormat(*arguments_.to);
        if (arguments_.command == Command::shift && !namesFormat()) return *reading.format;
        return namesFormat() ? *findFormat(extensionOf(*arguments_.output)) : *reading.format;
    }

    // The folders that a target needs below the one that was named.
    void makeFolders(const fs::path& target) const {
        if (!isFolder_ || target.parent_path().empty()) return;
        std::error_code error;
        fs::create_directories(target.parent_path(), error);
        if (error) throw systemFailure("the folder cannot be made", error.value());
    }

private:
    static std::string extensionOf(const std::string& name) {
        const std::string extension = fs::path(name).extension().string();
        return extension.empty() ? extension : extension.substr(1);
    }
    bool namesFormat() const {
        return arguments_.output && !isFolder_ && *arguments_.output != "-" &&
               findFormat(extensionOf(*arguments_.output)) != nullptr;
    }

    const Arguments& arguments_;
    bool isFolder_ = false;
};

// Times are cut to milliseconds, and a sum of binary fractions may lie a hair below the one that is meant: 3.4 s moved by
// -2 s would be written as 1.399 s.
SubtitlesTime moved(const SubtitlesTime& time, double by) {
    const SubtitlesTime sum = time + by;
    const double meant = std::round(sum.timeInSeconds() * 1000);
    if (meant > 1e12 || std::abs(meant - sum.timeInSeconds() * 1000) > 1e-3) return sum;
    const auto whole = static_cast<std::uint64_t>(meant);
    return {whole / 3'600'000, whole / 60'000 % 60, whole / 1000 % 60, whole % 1000};
}

// Keeps speakers, which Subtitles::timeShifting drops. Counts those that would begin below zero.
Subtitles shifted(const Subtitles& document, double by, double at, std::size_t& clamped) {
    std::vector<Subtitles::Cue> cues;
    cues.reserve(document.cues().size());
    for (const auto& cue : document.cues()) {
        auto fields = cue.fields();
        if (fields.startTime.timeInSeconds() >= at) {
            if (fields.startTime.timeInSeconds() + by < 0) ++clamped;
            fields.startTime = moved(fields.startTime, by);
            fields.endTime = moved(fields.endTime, by);
            cues.emplace_back(fields);
        } else {
            cues.push_back(cue);
        }
    }
    return Subtitles(std::move(cues));
}

std::string encoded(const Subtitles& document, const Format& format, const TextEncoding& encoding) {
    if (!format.isWritten) {
        throw Failure{fmt::format("{} can be read only; say another format with --to", format.extension)};
    }
    if (format.isBytes && !(encoding == TextEncoding::utf8)) {
        throw Failure{fmt::format("{} is always written in UTF-8, not in {}", format.extension, encoding.name())};
    }
    try {
        return document.encode(format.extension, encoding);
    } catch (...) {
        Failure failure = currentFailure();
        // The line would be one of a file that is not written.
        if (failure.line > 0)
            failure.message += fmt::format(", on line {} of what would be written", failure.line);
        failure.line = 0;
        throw failure;
    }
}

class Converter {
public:
    explicit Converter(const Arguments& arguments)
        : arguments_(arguments),
          inputs_(findInputs(arguments)),
          targets_(arguments, inputs_),
          report_(arguments, inputs_.all.size(), !writesToStandardOutput()) {}

    int run() {
        for (const Input& input : inputs_.all) {
            report_.begin(input.path);
            try {
                convert(input);
            } catch (...) {
                report_.fail(input.path, currentFailure());
            }
        }
        report_.summary(fmt::format("{} {} {}", done_, done_ == 1 ? "file" : "files",
                                    arguments_.command == Command::shift ? "shifted" : "converted"));
        return report_.exitCode();
    }

private:
    bool writesToStandardOutput() const {
        return arguments_.output ? *arguments_.output == "-" : inputs_.all.front().isStandard();
    }

    void convert(const Input& input) {
        Reading reading = read(input, arguments_);
        const Format& format = targets_.format(reading);
        const fs::path target = targets_.target(input, format);
        std::vector<std::string> warnings;
        if (arguments_.offset != 0) {
            std::size_t clamped = 0;
            reading.document = shifted(reading.document, arguments_.offset, arguments_.at, clamped);
            if (clamped > 0) {
                warnings.push_back(fmt::format("{} {} would begin before 0 and {} at 0 now", clamped,
                                               clamped == 1 ? "cue" : "cues", clamped == 1 ? "begins" : "begin"));
            }
        }
        if (format.isWritten) {
            for (auto& phrase : fit(reading.document, format)) warnings.push_back(std::move(phrase));
        }
        const std::string bytes = encoded(reading.document, format, outputEncoding(reading, format));
        write(target, bytes);
        ++done_;
        for (const std::string& warning : warnings) report_.warn(input.path, warning);

        JSONArray lost;
        for (const std::string& warning : warnings) lost.emplace_back(warning);
        const std::size_t count = reading.document.cues().size();
        report_.result(input.path, true,
                       fmt::format("{} -> {}: {} {}", nameOf(input.path), printable(target.string()), count,
                                   count == 1 ? "cue" : "cues"),
                       JSONObject{{"output", printable(target.string())},
                                  {"from", std::string(reading.format->extension)},
                                  {"to", std::string(format.extension)},
                                  {"encoding", std::string(reading.encoding.name())},
                                  {"cues", static_cast<std::int64_t>(count)},
                                  {"warnings", std::move(lost)}});
    }

    const TextEncoding& outputEncoding(const Reading& reading, const Format& format) const {
        // A player that could read the file before is to be able to read it afterwards.
        const bool staysAsItWas = arguments_.inPlace && arguments_.outputEncoding == TextEncoding::utf8 &&
                                  !format.isBytes && !(reading.encoding == TextEncoding::ascii);
        return staysAsItWas ? reading.encoding : arguments_.outputEncoding;
    }

    void write(const fs::path& target, std::string_view bytes) {
        if (target == "-") return writeStandardOutput(bytes);
        try {
            if (!written_.insert(target.lexically_normal()).second) {
                throw Failure{"another file of this command goes there, too"};
            }
            targets_.makeFolders(target);
            writeFile(target, bytes, arguments_.force || arguments_.inPlace);
        } catch (const Failure& failure) {
            throw Failure{fmt::format("{}: {}", printable(target.string()), failure.message)};
        }
    }

    const Arguments& arguments_;
    Inputs inputs_;
    Targets targets_;
    Report report_;
    std::set<fs::path> written_;
    std::size_t done_ = 0;
};

}  // namespace

int convertFiles(const Arguments& arguments) {
    return Converter(arguments).run();
}

}  // namespace quorel::subtitles_tool
