// The engine that plays: HLS (and whatever else the installed GStreamer plugins read) through GStreamer's playbin3,
// with the picture as frames in memory, so that it works with and without a display or a sound card.
//
//   auto loop = std::make_shared<RealRunLoop>();
//   auto engines = makeGStreamerEngineFactory(loop);
//   auto player = engines->makePlayer(std::nullopt, THEOplayerConfigurationBuilder().build());
//   player->setSource(SourceDescription{.source = {.src = "https://cdn.example/film.m3u8"}});
//   player->play();
//   loop->run();
//
// Threads: the factory, its players and all their events belong to the main loop's thread. Each player has one thread
// of its own beside GStreamer's, where everything that may block happens; the main thread never waits for it, with
// one exception: whoever goes last of the factory and its players waits until the pipelines are torn down, which
// takes some milliseconds each.
//
// What it does beyond the contract of quorel/engine/player.h:
// - Live streams: 0 is the place where playback joined, so a seek to 0 before playback changes nothing; what the
//   server still keeps before that has negative times. Seeks are clamped to the window, and a viewer who falls
//   behind it goes on at its beginning.
//   A server that is away for up to a minute is waited for; playback goes on where the window then begins.
// - A source that breaks while some of it is buffered plays that first and tells ERROR when it is used up.
// - A server that goes silent gives ERROR after GStreamerOptions::stallTimeout. An ERROR may come later than its cause
//   by up to GStreamerOptions::diagnosisTimeout, in which the engine asks the server what is wrong.
// - WAITING is told for a seek only when it takes longer than a quarter of a second.
// - A seek into the last tenth of a second of a segment may begin with the picture of the next one.
// - Text tracks are the subtitle renditions of the master playlist (kind "subtitles", RFC 8216 4.3.4.1), and its closed
//   captions (kind "captions", listed but not decoded). They are told before LOADED_META_DATA, and are disabled until
//   somebody sets their mode; one that is shown is drawn into the frames. Its files are loaded apart from the film,
//   which they never disturb: what goes wrong with them is a line of the log. A track that is disabled and enabled
//   again is loaded anew.
// - There is no ad insertion.
// - A source is loaded through the manifest interceptor that developerSettings() hold when it is set. The interceptor is
//   asked on a queue of its source's own, and must answer within 9 seconds.
#pragma once

#include <memory>
#include <string>

#include "engines/gstreamer/export.h"
#include "quorel/engine/player.h"
#include "quorel/foundation/run_loop.h"

namespace quorel {

// How the engines of a factory behave.
struct QUOREL_VISIBLE GStreamerOptions {
    // Where the sound goes.
    enum class Audio {
        automatic,  // the system's sound output; silence in step with the clock where there is none
        none,       // always silence in step with the clock
    };
    Audio audio = Audio::automatic;

    // Seconds without any progress while the engine should load, seek or play, after which it gives up with ERROR.
    // Three times that for a live stream that has played. At least 1. GStreamer's own limit for a server that does not
    // answer at all, 15 seconds, may come first.
    double stallTimeout = 20;

    // Whether shown subtitles are drawn into the frames of videoFrames(). A host that draws them itself asks the track
    // that is showing for its activeCues(), or listens to its ENTER_CUE and EXIT_CUE.
    bool drawSubtitles = true;

    // What the times of a WebVTT file without an X-TIMESTAMP-MAP mean.
    enum class MissingTimestampMap {
        presentationStart,  // they count from the beginning of the presentation, which is what its authors mean
        rfc8216,            // RFC 8216 3.5: 0 is the stream's time stamp 0, wherever its presentation begins
    };
    MissingTimestampMap missingTimestampMap = MissingTimestampMap::presentationStart;

    // Seconds that finding out the reason of a failure may take; 0 for no questions to the server.
    double diagnosisTimeout = 5;

    // PEM file of the trusted issuers of servers; empty for the system's. GStreamer has one such file for a process: that
    // of the factory made last counts for the media of all. One that cannot be read leaves no server trusted.
    std::string caFile = {};  // so that a host may name the others alone

    // Whether the C library gives what it has free back to the system after each source: GStreamer's loading and
    // decoding threads leave tens of MB in its hands. That is for the whole process, on a thread that nobody waits for,
    // but who allocates meanwhile does: 6 to 40 ms for a heap of 200 MB in small pieces.
    bool giveMemoryBack = true;
};

// Initialises GStreamer, which reads its plugin registry: some 10 ms, but seconds on the first run after an
// installation. Where plugins are missing, each source gives an ERROR that names them.
QUOREL_GSTREAMER_API std::shared_ptr<EngineFactory> makeGStreamerEngineFactory(std::shared_ptr<RunLoop> mainLoop,
                                                                               GStreamerOptions options = {});

}  // namespace quorel
