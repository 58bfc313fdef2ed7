#include "quorel/sideload/hls_line.h"

#include <algorithm>
#include <cstring>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

// Where a piece ends besides at a comma. Lines were cut here for as long as there have been players, since commas
// used to be replaced by this text first.
constexpr std::string_view sentinel = "<SomeStringThatYouDoNotExpectToOccurInSelf>";

// In linear time, which std::string_view::find does not promise.
std::size_t found(std::string_view text, std::string_view what, std::size_t from) {
    if (from >= text.size()) return std::string_view::npos;
    const void* at = memmem(text.data() + from, text.size() - from, what.data(), what.size());
    if (at == nullptr) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
}

bool isLowerCase(char c) {
    return c >= 'a' && c <= 'z';
}

}  // namespace

std::size_t HLSAttributes::indexOf(std::string_view key) const {
    if (!indices_.empty()) {
        const auto index = indices_.find(key);
        return index == indices_.end() ? entries_.size() : index->second;
    }
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [key](const Entry& candidate) { return candidate.first == key; });
    return static_cast<std::size_t>(entry - entries_.begin());
}

std::optional<std::string_view> HLSAttributes::value(std::string_view key) const {
    const std::size_t index = indexOf(key);
    return index < entries_.size() ? std::optional(entries_[index].second) : std::nullopt;
}

void HLSAttributes::set(std::string_view key, std::string value) {
    put(key, keep(std::move(value)));
}

void HLSAttributes::put(std::string_view key, std::string_view value) {
    if (const std::size_t index = indexOf(key); index < entries_.size()) {
        entries_[index].second = value;
        return;
    }
    entries_.emplace_back(key, value);
    if (entries_.size() < fewEntries) return;
    if (indices_.empty()) {
        for (std::size_t i = 0; i < entries_.size(); ++i) indices_.emplace(entries_[i].first, i);
    } else {
        indices_.emplace(key, entries_.size() - 1);
    }
}

void HLSAttributes::clear() {
    entries_.clear();
    if (!indices_.empty()) indices_.clear();
    if (!kept_.empty()) kept_.clear();
}

void HLSLine::parse(std::string_view line) {
    lineString = line;
    tag = line;
    params_ = {};
    paramsObject.clear();
    replacement_.reset();
    if (!line.starts_with('#')) return;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    tag = line.substr(0, colon);
    params_ = line.substr(colon + 1);

    const std::string_view tagAndColon = line.substr(0, colon + 1);
    if (std::size_t next = found(params_, tagAndColon, 0); next != std::string_view::npos) {
        ownParams_.clear();
        std::size_t start = 0;
        for (; next != std::string_view::npos; next = found(params_, tagAndColon, start)) {
            ownParams_.append(params_, start, next - start);
            start = next + tagAndColon.size();
        }
        ownParams_.append(params_, start);
        params_ = ownParams_;
    }
    if (params_.find('=') != std::string_view::npos) parseAttributes();
}

void HLSLine::parseAttributes() {
    // A comma separates when an even number of quotes follows it.
    auto quotesAfter = std::count(params_.begin(), params_.end(), '"');
    std::size_t start = 0;
    for (std::size_t i = 0; i < params_.size(); ++i) {
        const char c = params_[i];
        if (c == '"') {
            --quotesAfter;
        } else if (c == ',' && quotesAfter % 2 == 0) {
            addAttribute(params_.substr(start, i - start));
            start = i + 1;
        } else if (c == '<' && params_.substr(i).starts_with(sentinel)) {
            addAttribute(params_.substr(start, i - start));
            start = i + sentinel.size();
            i = start - 1;
        }
    }
    addAttribute(params_.substr(start));
}

void HLSLine::addAttribute(std::string_view piece) {
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) return;
    const std::string_view written = piece.substr(0, equals);
    std::string_view key = written;
    if (std::any_of(written.begin(), written.end(), isLowerCase)) {
        std::string upper(written);
        for (char& c : upper) {
            if (isLowerCase(c)) c = static_cast<char>(c - 'a' + 'A');
        }
        key = paramsObject.keep(std::move(upper));
    }
    needle_.assign(key).push_back('=');
    std::string_view value = piece;
    if (value.starts_with(needle_)) value.remove_prefix(needle_.size());
    if (std::size_t next = found(value, needle_, 0); next != std::string_view::npos) {
        std::string rest;
        std::size_t start = 0;
        for (; next != std::string_view::npos; next = found(value, needle_, start)) {
            rest.append(value, start, next - start);
            start = next + needle_.size();
        }
        rest.append(value, start);
        value = paramsObject.keep(std::move(rest));
    }
    paramsObject.put(key, trimmedWhitespaceAndNewlines(value));
}

std::string HLSLine::paramsString() const {
    if (!replacement_) return std::string(params_);
    return replacingAll(params_, replacement_->first, replacement_->second);
}

void HLSLine::replaceURI(std::string_view unquoted, std::string absolute) {
    std::string quoted;
    quoted.reserve(absolute.size() + 2);
    quoted.append("\"").append(absolute).append("\"");
    replacement_.emplace(unquoted, std::move(absolute));
    paramsObject.set("URI", std::move(quoted));
}

std::string HLSLine::toString() const {
    std::string out;
    appendTo(out);
    return out;
}

void HLSLine::appendTo(std::string& out) const {
    const std::size_t start = out.size();
    const bool blank = trimmedWhitespaceAndNewlines(params_).empty();
    if (!blank && paramsObject.empty() && tag.size() + 1 + params_.size() == lineString.size()) {
        out += lineString;
    } else {
        out += tag;
        if (!blank) out += ':';
        if (paramsObject.empty()) out += params_;
        for (const auto& [key, value] : paramsObject) out.append(key).append("=").append(value).append(",");
    }
    if (out.size() > start && out.back() == ',') out.pop_back();
}

}  // namespace quorel
