#include "engines/vast/vast.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "engines/vast/xml_tree.h"
#include "quorel/foundation/text.h"

namespace quorel::vast {
namespace {

template <class Number>
std::optional<Number> number(std::string_view text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> plainNumber(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string_view::npos) return std::nullopt;
    return number<double>(text);
}

// VAST 4.2, 3.11: hh:mm:ss or hh:mm:ss.mmm.
std::optional<double> clockTime(std::string_view text) {
    const auto parts = split(text, ':');
    if (parts.size() != 3) return std::nullopt;
    const auto hours = number<unsigned>(parts[0]);
    const auto minutes = number<unsigned>(parts[1]);
    const auto seconds = plainNumber(parts[2]);
    if (!hours || !minutes || !seconds) return std::nullopt;
    return *hours * 3600.0 + *minutes * 60.0 + *seconds;
}

int pixels(const XmlElement& element, std::string_view name) {
    const auto value = element.attribute(name);
    return value ? std::max(0, number<int>(trimmedBlanks(*value)).value_or(0)) : 0;
}

bool truth(const XmlElement& element, std::string_view name, bool standard) {
    const auto value = element.attribute(name);
    if (!value) return standard;
    return *value == "1" || asciiEqualsIgnoringCase(*value, "true");
}

std::string textOf(const XmlElement& element, std::string_view name) {
    const XmlElement* child = element.child(name);
    return child != nullptr ? child->text : std::string();
}

std::vector<std::string> urls(const XmlElement& element, std::string_view name) {
    std::vector<std::string> found;
    for (const XmlElement* child : element.all(name)) {
        if (!child->text.empty()) found.push_back(child->text);
    }
    return found;
}

std::vector<Tracking> trackings(const XmlElement& element) {
    std::vector<Tracking> found;
    const XmlElement* list = element.child("TrackingEvents");
    if (list == nullptr) return found;
    for (const XmlElement* tracking : list->all("Tracking")) {
        const auto event = tracking->attribute("event");
        if (!event || tracking->text.empty()) continue;
        const auto offset = tracking->attribute("offset");
        found.push_back({*event, offset ? TimeOffset::parse(*offset) : std::nullopt, tracking->text});
    }
    return found;
}

MediaFile mediaFile(const XmlElement& element) {
    MediaFile file;
    file.url = element.text;
    file.type = asciiLowercased(trimmedBlanks(element.attribute("type").value_or("")));
    file.progressive = element.attribute("delivery").value_or("progressive") == "progressive";
    file.width = pixels(element, "width");
    file.height = pixels(element, "height");
    file.bitrate = std::max(pixels(element, "bitrate"), pixels(element, "maxBitrate"));
    file.apiFramework = element.attribute("apiFramework").value_or("");
    return file;
}

Linear linear(const XmlElement& element) {
    Linear ad;
    ad.duration = clockTime(textOf(element, "Duration"));
    if (const auto skip = element.attribute("skipoffset")) ad.skipOffset = TimeOffset::parse(*skip);
    if (const XmlElement* files = element.child("MediaFiles")) {
        for (const XmlElement* file : files->all("MediaFile")) {
            if (!file->text.empty()) ad.mediaFiles.push_back(mediaFile(*file));
        }
    }
    ad.trackings = trackings(element);
    if (const XmlElement* clicks = element.child("VideoClicks")) {
        const auto through = urls(*clicks, "ClickThrough");
        if (!through.empty()) ad.clickThrough = through.front();
        ad.clickTrackings = urls(*clicks, "ClickTracking");
    }
    return ad;
}

std::optional<VastAd> vastAd(const XmlElement& element) {
    VastAd ad;
    ad.id = element.attribute("id").value_or("");
    if (const auto sequence = element.attribute("sequence")) {
        const auto place = number<int>(trimmedBlanks(*sequence));
        if (place && *place > 0) ad.sequence = place;
    }
    const XmlElement* body = element.child("InLine");
    if (body == nullptr) {
        body = element.child("Wrapper");
        if (body == nullptr) return std::nullopt;
        Wrapper wrapper;
        wrapper.tagURL = textOf(*body, "VASTAdTagURI");
        wrapper.followAdditionalWrappers = truth(*body, "followAdditionalWrappers", true);
        wrapper.allowMultipleAds = truth(*body, "allowMultipleAds", false);
        ad.wrapper = std::move(wrapper);
    }
    ad.system = textOf(*body, "AdSystem");
    ad.title = textOf(*body, "AdTitle");
    ad.impressions = urls(*body, "Impression");
    ad.errors = urls(*body, "Error");
    if (const XmlElement* creatives = body->child("Creatives")) {
        for (const XmlElement* creative : creatives->all("Creative")) {
            if (const XmlElement* content = creative->child("Linear")) ad.linears.push_back(linear(*content));
        }
    }
    return ad;
}

VastDocument vastDocument(const XmlElement& root) {
    VastDocument document;
    document.version = root.attribute("version").value_or("");
    document.errors = urls(root, "Error");
    for (const XmlElement* element : root.all("Ad")) {
        if (auto ad = vastAd(*element)) document.ads.push_back(std::move(*ad));
    }
    return document;
}

bool isForLinearAds(const XmlElement& adBreak) {
    const auto type = adBreak.attribute("breakType").value_or("linear");
    const auto kinds = split(type, ',');
    return std::any_of(kinds.begin(), kinds.end(),
                       [](std::string_view kind) { return trimmedBlanks(kind) == "linear"; });
}

VmapDocument vmapDocument(const XmlElement& root) {
    VmapDocument document;
    document.version = root.attribute("version").value_or("");
    for (const XmlElement* element : root.all("AdBreak")) {
        const auto offset = TimeOffset::parse(element->attribute("timeOffset").value_or(""));
        const XmlElement* source = element->child("AdSource");
        if (!offset || source == nullptr || !isForLinearAds(*element)) continue;
        AdBreak adBreak{*offset, element->attribute("breakId").value_or(""), {}, trackings(*element)};
        const XmlElement* data = source->child("VASTAdData");
        if (data == nullptr) data = source->child("VASTData");
        if (const XmlElement* vast = data != nullptr ? data->child("VAST") : nullptr) {
            adBreak.source = vastDocument(*vast);
        } else if (const XmlElement* tag = source->child("AdTagURI"); tag != nullptr && !tag->text.empty()) {
            adBreak.source = tag->text;
        } else {
            continue;
        }
        document.breaks.push_back(std::move(adBreak));
    }
    return document;
}

}  // namespace

std::optional<TimeOffset> TimeOffset::parse(std::string_view text) {
    text = trimmedBlanks(text);
    if (text == "start") return TimeOffset{Kind::start, 0};
    if (text == "end") return TimeOffset{Kind::end, 0};
    if (text.ends_with('%')) {
        const auto percent = plainNumber(text.substr(0, text.size() - 1));
        if (!percent || *percent > 100) return std::nullopt;
        return TimeOffset{Kind::percent, *percent};
    }
    const auto seconds = text.find(':') != std::string_view::npos ? clockTime(text) : plainNumber(text);
    if (!seconds) return std::nullopt;
    return TimeOffset{Kind::seconds, *seconds};
}

std::optional<double> TimeOffset::at(std::optional<double> duration) const {
    const bool known = duration && std::isfinite(*duration);
    switch (kind) {
        case Kind::start:
            return 0;
        case Kind::seconds:
            return value;
        case Kind::end:
            return known ? duration : std::nullopt;
        case Kind::percent:
            return known ? std::optional(*duration * value / 100) : std::nullopt;
    }
    return std::nullopt;
}

AdDocument parseAdDocument(std::string_view document) {
    const XmlElement root = parseXml(document);
    if (root.name == "VAST") return vastDocument(root);
    if (root.name == "VMAP") return vmapDocument(root);
    throw VastError(VastError::Code::notAnAdReply, "it is neither VAST nor VMAP");
}

}  // namespace quorel::vast
