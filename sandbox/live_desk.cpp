#include "sandbox/live_desk.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/text.h"

namespace quorel::sandbox {

namespace {

using State = Title::State;

constexpr std::array<std::pair<std::string_view, State>, 4> stateNames{{
    {"onAir", State::onAir},
    {"paused", State::paused},
    {"over", State::over},
    {"startsSoon", State::startsSoon},
}};

class ControlError : public Error {
public:
    using Error::Error;
};

std::string folderOf(const std::string& playlist) {
    return playlist.substr(0, playlist.rfind('/') + 1);
}

Answer noSuchThing() {
    return Answer::error(404, "the channel has nothing of that name, or no more");
}

}  // namespace

std::string LiveDesk::text(const std::string& path) const {
    const MediaFile* file = files_.find(path);
    if (file == nullptr) return {};
    std::ifstream in(file->path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

LiveDesk::Channel LiveDesk::makeChannel(const Title& title) const {
    Channel channel{title, {}};
    const std::string master = text(title.playlist);
    for (const std::string_view line : split(master, '\n', EmptyPieces::drop)) {
        if (line.starts_with('#')) continue;
        const std::string uri(trimmedWhitespaceAndNewlines(line));
        Recording recording = Recording::parse(text(folderOf(title.playlist) + uri));
        if (recording.segments.empty()) continue;
        channel.renditions.emplace(uri.substr(0, uri.find('/')), LiveChannel(std::move(recording)));
    }
    return channel;
}

void LiveDesk::follow(const Title& title, double now) {
    const std::lock_guard lock(mutex_);
    auto found = channels_.find(title.id);
    if (!title.isLive()) {
        if (found != channels_.end()) channels_.erase(found);
        return;
    }
    if (found == channels_.end() || found->second.title.playlist != title.playlist) {
        found = channels_.insert_or_assign(title.id, makeChannel(title)).first;
    }
    auto& [last, renditions] = found->second;
    for (auto& [name, channel] : renditions) {
        if (last.cdnHost != title.cdnHost) channel.switchCDN(title.cdnHost, now);
        if (title.state == State::over) {
            channel.end(now);
        } else {
            channel.goOn();
        }
    }
    last = title;
}

Answer LiveDesk::answer(const Title& title, const std::string& rendition, const std::string& file,
                        const std::string& baseURL, double now) const {
    if (rendition.empty()) {
        const MediaFile* master = file == "master.m3u8" ? files_.find(title.playlist) : nullptr;
        return master != nullptr ? Answer::file(*master, std::nullopt) : noSuchThing();
    }
    const std::lock_guard lock(mutex_);
    const auto channel = channels_.find(title.id);
    if (channel == channels_.end()) return noSuchThing();
    const auto found = channel->second.renditions.find(rendition);
    if (found == channel->second.renditions.end()) return noSuchThing();
    if (file == "playlist.m3u8") {
        const auto addressOf = [&](const std::string& host) {
            Title there = title;
            there.cdnHost = host;
            return fmt::format("{}/live/{}/{}/", cdnURL(there, baseURL), title.id, rendition);
        };
        return Answer::text(200, found->second.playlist(addressOf, now),
                            "application/vnd.apple.mpegurl; charset=utf-8");
    }
    const auto recorded = found->second.recordedFile(file, now);
    const MediaFile* media =
        recorded ? files_.find(folderOf(title.playlist) + rendition + "/" + *recorded) : nullptr;
    return media != nullptr ? Answer::file(*media, std::nullopt) : noSuchThing();
}

Title LiveDesk::changed(Title title, const JSONObject& wanted, double now) {
    for (const auto& [name, value] : wanted) {
        if (name == "state") {
            const std::string& text = value.asString();
            const auto found = std::find_if(stateNames.begin(), stateNames.end(),
                                            [&text](const auto& known) { return known.first == text; });
            if (found == stateNames.end()) {
                throw ControlError(fmt::format("'{}' is no state: onAir, paused, over or startsSoon", text));
            }
            title.state = found->second;
        } else if (name == "eventDate") {
            title.eventDate = value.asDouble();
        } else if (name == "eventIn") {
            title.eventDate = now + value.asDouble();
        } else if (name == "cdn") {
            // Other names lead to other machines.
            const std::string& host = value.asString();
            if (host != "127.0.0.1" && host != "localhost") {
                throw ControlError(fmt::format("'{}' is none of the sandbox's names: 127.0.0.1, localhost", host));
            }
            if (std::exchange(title.cdnHost, host) != host) ++title.cdnUpdate;
        } else if (name != "id") {
            throw ControlError(fmt::format("there is nothing to change that is called '{}'", name));
        }
    }
    return title;
}

JSONObject LiveDesk::describe(const Title& title, double now) const {
    const auto name = std::find_if(stateNames.begin(), stateNames.end(),
                                   [&title](const auto& known) { return known.second == title.state; });
    JSONObject object{{"id", title.id},
                      {"state", name != stateNames.end() ? name->first : ""},
                      {"eventDate", title.eventDate},
                      {"cdn", title.cdnHost},
                      {"lastUpdate", title.cdnUpdate}};
    const std::lock_guard lock(mutex_);
    const auto channel = channels_.find(title.id);
    if (channel != channels_.end() && !channel->second.renditions.empty()) {
        object.set("lastSegment", channel->second.renditions.begin()->second.lastSequence(now));
    }
    return object;
}

}  // namespace quorel::sandbox
