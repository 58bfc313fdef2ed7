#include "quorel/subtitles/srt_to_vtt.h"

#include <cstddef>
#include <cstdint>

#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/srt_scanner_private.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/time.h"
#include "quorel/subtitles/vtt.h"
#include "quorel/subtitles/vtt_writing_private.h"

namespace quorel {
namespace {

struct OutOfOrder {};

class WritingSink {
public:
    explicit WritingSink(std::size_t size) {
        // A cue gets about as many bytes as its index line took.
        out.reserve(size + size / 16 + 64);
        out = detail::vttHeader;
    }

    void timing(std::int64_t, const detail::Timing& timing) {
        if (timing.start < last_) throw OutOfOrder();
        last_ = timing.start;
        cueStart_ = out.size();
        detail::appendVTTTiming(out, {}, timing.start, timing.end);
        textStart_ = out.size();
    }
    void line(std::string_view line) {
        if (out.size() != textStart_) out += '\n';
        out += line;
    }
    void finish(const char*) { out += "\n\n"; }
    void drop() { out.resize(cueStart_); }

    std::string out;

private:
    SubtitlesTime last_;
    std::size_t cueStart_ = 0;
    std::size_t textStart_ = 0;
};

}  // namespace

std::string convertSRTToVTT(std::string_view content) {
    try {
        WritingSink sink(content.size());
        detail::scanSRT(content, sink);
        return std::move(sink.out);
    } catch (const OutOfOrder&) {
        return Subtitles::Coder::VTT().encode(Subtitles::Coder::SRT().decode(content));
    }
}

}  // namespace quorel
