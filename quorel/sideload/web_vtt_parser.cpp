#include "quorel/sideload/web_vtt_parser.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_request.h"
#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/time.h"
#include "quorel/subtitles/vtt.h"

namespace quorel {
namespace {

// WebVTT 4.2.2: cue text with its character references.
std::string plainText(std::string_view cueText) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 6> references{{
        {"&amp;", "&"},
        {"&lt;", "<"},
        {"&gt;", ">"},
        {"&nbsp;", "\xC2\xA0"},
        {"&lrm;", "\xE2\x80\x8E"},
        {"&rlm;", "\xE2\x80\x8F"},
    }};
    std::string plain;
    plain.reserve(cueText.size());
    while (!cueText.empty()) {
        if (cueText.front() == '<') {
            const std::size_t end = cueText.find('>');
            cueText.remove_prefix(end == std::string_view::npos ? cueText.size() : end + 1);
            continue;
        }
        const auto* reference = references.begin();
        while (reference != references.end() && !cueText.starts_with(reference->first)) ++reference;
        if (reference != references.end()) {
            plain += reference->second;
            cueText.remove_prefix(reference->first.size());
        } else {
            plain += cueText.front();
            cueText.remove_prefix(1);
        }
    }
    return plain;
}

class SubtitlesWebVTTParser final : public WebVTTParser {
public:
    explicit SubtitlesWebVTTParser(std::weak_ptr<UrlSession> session) : session_(std::move(session)) {}

    void getVttContent(const std::string& urlString,
                       std::function<void(std::string content, std::exception_ptr error)> completion) override {
        const std::shared_ptr<UrlSession> session = session_.lock();
        const std::optional<URL> url = URL::parse(urlString);
        if (!session || !url) {
            const auto code = url ? URLError::Code::cancelled : URLError::Code::badURL;
            completion({}, std::make_exception_ptr(URLError(code, urlString)));
            return;
        }
        const auto given = [completion = std::move(completion)](UrlSession::Result result) {
            if (const auto* error = std::get_if<std::exception_ptr>(&result)) return completion({}, *error);
            completion(std::move(std::get<DataAndResponse>(result).data), nullptr);
        };
        session->dataTask(URLRequest(*url), given)->resume();
    }

    std::vector<WebVTTCue> cues(std::string_view webVttContent) const override {
        std::vector<WebVTTCue> cues;
        try {
            for (const Subtitles::Cue& cue : Subtitles::Coder::VTT().decode(webVttContent).cues()) {
                cues.push_back(
                    {plainText(cue.text()), cue.startTime().timeInSeconds(), cue.endTime().timeInSeconds()});
            }
        } catch (const SubTitlesError&) {
            // A file that cannot be read has no cues.
        }
        return cues;
    }

private:
    const std::weak_ptr<UrlSession> session_;
};

}  // namespace

std::shared_ptr<WebVTTParser> makeWebVTTParser(std::weak_ptr<UrlSession> session) {
    return std::make_shared<SubtitlesWebVTTParser>(std::move(session));
}

}  // namespace quorel
