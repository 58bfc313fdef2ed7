// Type identifiers of the subtitle formats, for hosts that declare document types. Nothing in the library reads
// them.
#pragma once

#include <string_view>

#include "quorel/subtitles/export.h"

namespace quorel {

struct QUOREL_SUBTITLES_API UTType {
    std::string_view identifier;
    std::string_view conformsTo;

    static const UTType srt, vtt, sbv, sub, podcastsIndex, lrc, ttml, advancedsubstationalpha, substationalpha;

    bool operator==(const UTType&) const = default;
};

inline constexpr UTType UTType::srt{"public.srt", "public.plain-text"};
inline constexpr UTType UTType::vtt{"org.w3.webvtt", "public.plain-text"};
inline constexpr UTType UTType::sbv{"public.sbv", "public.plain-text"};
inline constexpr UTType UTType::sub{"public.microdvd.sub", "public.plain-text"};
inline constexpr UTType UTType::podcastsIndex{"public.podcastsindex", "public.json"};
inline constexpr UTType UTType::lrc{"public.lrc", "public.plain-text"};
inline constexpr UTType UTType::ttml{"public.ttml", "public.xml"};
inline constexpr UTType UTType::advancedsubstationalpha{"public.substationalpha.fileformat.ass",
                                                        "public.plain-text"};
inline constexpr UTType UTType::substationalpha{"public.substationalpha.fileformat.ssa", "public.plain-text"};

}  // namespace quorel
