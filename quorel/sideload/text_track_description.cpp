#include "quorel/sideload/text_track_description.h"

#include <string_view>
#include <utility>
#include <variant>

#include "quorel/foundation/json_coding.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_request.h"

namespace quorel {
namespace {

struct CodedDescription {
    std::string src;
    std::string srclang;
    std::optional<bool> isDefault;
    std::optional<std::string> kind;
    std::optional<std::string> label;
    std::optional<std::string> format;
    QUOREL_JSON_FIELDS(CodedDescription, src, srclang, isDefault, kind, label, format)
};

std::optional<TextTrackKind> kindOf(const std::optional<std::string>& name) {
    if (name == "subtitles") return TextTrackKind::subtitles;
    if (name == "captions") return TextTrackKind::captions;
    if (name == "descriptions") return TextTrackKind::descriptions;
    if (name == "chapters") return TextTrackKind::chapters;
    if (name == "metadata") return TextTrackKind::metadata;
    return std::nullopt;
}

std::optional<TextTrackFormat> formatOf(const std::optional<std::string>& name) {
    if (name == "WebVTT") return TextTrackFormat::WebVTT;
    if (name == "SRT") return TextTrackFormat::SRT;
    return std::nullopt;
}

}  // namespace

SSTextTrackDescription::TimestampError::TimestampError(Code code)
    : Error("Could not find a timestamp in the WebVTT file."), code_(code) {}

SSTextTrackDescription SSTextTrackDescription::decode(const JSONValue& json) {
    CodedDescription coded = JSONDecoder().decodeValue<CodedDescription>(json);
    return SSTextTrackDescription(std::move(coded.src), std::move(coded.srclang), coded.isDefault,
                                  kindOf(coded.kind), std::move(coded.label), formatOf(coded.format));
}

void SSTextTrackDescription::extractSourceTimestamp(
    UrlSession& session,
    std::function<void(WebVttTimestamp timestamp, std::exception_ptr error)> completion) const {
    const std::optional<URL> url = src();
    if (!url) {
        completion({}, nullptr);
        return;
    }
    session
        .dataTask(URLRequest(*url),
                  [completion = std::move(completion)](UrlSession::Result result) {
                      if (const auto* error = std::get_if<std::exception_ptr>(&result)) {
                          return completion({}, *error);
                      }
                      const std::string& data = std::get<DataAndResponse>(result).data;
                      if (!isValidUTF8(data)) return completion({}, nullptr);
                      if (auto timestamp = TimestampStringUtils::extract(data)) {
                          return completion(std::move(*timestamp), nullptr);
                      }
                      completion({},
                                 std::make_exception_ptr(TimestampError(TimestampError::Code::timestampNotFound)));
                  })
        ->resume();
}

}  // namespace quorel
