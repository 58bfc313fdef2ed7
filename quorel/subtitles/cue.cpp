#include "quorel/subtitles/cue.h"

#include <algorithm>
#include <cstring>

namespace quorel {
namespace {

std::string_view stored(const std::optional<std::string_view>& label) {
    if (!label) return {};
    return label->data() != nullptr ? *label : std::string_view("");
}

// Copies the texts of `fields` into one block, and makes `fields` refer to it.
std::shared_ptr<const char[]> copyTexts(SubtitlesCue::Fields& fields) {
    const std::size_t size = fields.text.size() + stored(fields.identifier).size() + stored(fields.speaker).size();
    if (size == 0) {
        fields.text = "";
        if (fields.identifier) fields.identifier = "";
        if (fields.speaker) fields.speaker = "";
        return nullptr;
    }
    const auto block = std::make_shared_for_overwrite<char[]>(size);
    char* at = block.get();
    const auto copy = [&](std::string_view text) {
        if (!text.empty()) std::memcpy(at, text.data(), text.size());
        at += text.size();
        return std::string_view(at - text.size(), text.size());
    };
    fields.text = copy(fields.text);
    if (fields.identifier) fields.identifier = copy(*fields.identifier);
    if (fields.speaker) fields.speaker = copy(*fields.speaker);
    return block;
}

SubtitlesTime clamped(double seconds) {
    return SubtitlesTime().timeshifting(seconds);
}

}  // namespace

SubtitlesCue::SubtitlesCue(std::shared_ptr<const char[]> block, const ID& id, const Fields& fields)
    : id_(id),
      position_(fields.position),
      startTime_(fields.startTime),
      endTime_(fields.endTime),
      text_(fields.text),
      identifier_(stored(fields.identifier)),
      speaker_(stored(fields.speaker)),
      block_(std::move(block)) {}

SubtitlesCue::SubtitlesCue(const Fields& fields) : SubtitlesCue(restoring(ID{UUID::random()}, fields)) {
    if (startTime_ > endTime_) endTime_ = startTime_;
}

SubtitlesCue SubtitlesCue::withDuration(Fields fields, double duration) {
    fields.endTime = SubtitlesTime(fields.startTime.timeInSeconds() + duration);
    return SubtitlesCue(fields);
}

SubtitlesCue SubtitlesCue::sharing(std::shared_ptr<const char[]> block, const Fields& fields) {
    SubtitlesCue cue(std::move(block), ID{UUID::random()}, fields);
    if (cue.startTime_ > cue.endTime_) cue.endTime_ = cue.startTime_;
    return cue;
}

SubtitlesCue SubtitlesCue::restoring(const ID& id, const Fields& fields) {
    Fields copied = fields;
    std::shared_ptr<const char[]> block = copyTexts(copied);
    return SubtitlesCue(std::move(block), id, copied);
}

SubtitlesCue SubtitlesCue::restoring(std::shared_ptr<const char[]> block, const ID& id, const Fields& fields) {
    return SubtitlesCue(std::move(block), id, fields);
}

SubtitlesCue SubtitlesCue::between(double start, double end) const {
    return sharing(block_, {identifier(), position_, clamped(start), clamped(std::max(start, end)), text_, {}});
}

SubtitlesCue SubtitlesCue::timeshifting(double by) const {
    return between(std::max(0.0, startTimeInSeconds() + by), endTimeInSeconds() + by);
}

SubtitlesCue SubtitlesCue::inserting(double durationInSeconds) const {
    Fields changed = fields();
    changed.speaker.reset();
    const double end = endTimeInSeconds() + durationInSeconds;
    changed.endTime = end >= startTimeInSeconds() ? clamped(end) : startTime_;
    return sharing(block_, changed);
}

SubtitlesCue SubtitlesCue::inserting(double seconds, double at) const {
    if (contains(at)) return inserting(seconds);
    if (endTimeInSeconds() > at) return timeshifting(seconds);
    return *this;
}

SubtitlesCue SubtitlesCue::renumbered(std::int64_t position) const {
    Fields changed = fields();
    changed.position = position;
    changed.endTime = clamped(duration() + startTimeInSeconds());
    return sharing(block_, changed);
}

}  // namespace quorel
