#include <cstdlib>
#include <cstring>

#include "benchmarks/subtitles/peers.h"
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

namespace quorel::bench {
namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

struct Source {
    const std::string& bytes;
    std::size_t at = 0;
};

int readSource(void* opaque, std::uint8_t* buffer, int size) {
    auto& source = *static_cast<Source*>(opaque);
    const std::size_t count = std::min(static_cast<std::size_t>(size), source.bytes.size() - source.at);
    if (count == 0) return AVERROR_EOF;
    std::memcpy(buffer, source.bytes.data() + source.at, count);
    source.at += count;
    return static_cast<int>(count);
}

AVCodecContext* open(const AVCodec* codec, AVRational timeBase, const AVCodecParameters* parameters,
                     const AVCodecContext* decoder) {
    AVCodecContext* context = avcodec_alloc_context3(codec);
    if (parameters != nullptr) avcodec_parameters_to_context(context, parameters);
    context->pkt_timebase = context->time_base = timeBase;
    if (decoder != nullptr) {  // the header of the script that it decodes to
        context->subtitle_header = static_cast<std::uint8_t*>(
            av_memdup(decoder->subtitle_header, static_cast<std::size_t>(decoder->subtitle_header_size) + 1));
        context->subtitle_header_size = decoder->subtitle_header_size;
    }
    require(avcodec_open2(context, codec, nullptr) == 0);
    return context;
}

}  // namespace

std::string convertByLibav(const std::string& srt) {
    av_log_set_level(AV_LOG_QUIET);
    constexpr int bufferSize = 64 * 1024;
    constexpr AVRational milliseconds{1, 1000};
    Source source{srt};
    AVFormatContext* input = avformat_alloc_context();
    input->pb = avio_alloc_context(static_cast<unsigned char*>(av_malloc(bufferSize)), bufferSize, 0, &source,
                                   &readSource, nullptr, nullptr);
    require(avformat_open_input(&input, "film.srt", av_find_input_format("srt"), nullptr) == 0);
    const AVStream* const from = input->streams[0];
    AVCodecContext* decoder =
        open(avcodec_find_decoder(AV_CODEC_ID_SUBRIP), from->time_base, from->codecpar, nullptr);
    AVCodecContext* encoder = open(avcodec_find_encoder(AV_CODEC_ID_WEBVTT), milliseconds, nullptr, decoder);

    AVFormatContext* output = nullptr;
    require(avformat_alloc_output_context2(&output, nullptr, "webvtt", nullptr) >= 0);
    AVStream* const to = avformat_new_stream(output, nullptr);
    avcodec_parameters_from_context(to->codecpar, encoder);
    to->time_base = milliseconds;
    require(avio_open_dyn_buf(&output->pb) == 0 && avformat_write_header(output, nullptr) >= 0);

    AVPacket* packet = av_packet_alloc();
    AVPacket* written = av_packet_alloc();
    std::string text(1024 * 1024, '\0');
    while (av_read_frame(input, packet) == 0) {
        AVSubtitle subtitle{};
        int isThere = 0;
        require(avcodec_decode_subtitle2(decoder, &subtitle, &isThere, packet) >= 0);
        if (isThere != 0) {
            const int size = avcodec_encode_subtitle(encoder, reinterpret_cast<std::uint8_t*>(text.data()),
                                                     static_cast<int>(text.size()), &subtitle);
            require(size >= 0 && av_new_packet(written, size) == 0);
            std::memcpy(written->data, text.data(), static_cast<std::size_t>(size));
            written->pts = written->dts = packet->pts;
            written->duration = packet->duration;
            av_packet_rescale_ts(written, from->time_base, to->time_base);
            require(av_write_frame(output, written) >= 0);
            av_packet_unref(written);
            avsubtitle_free(&subtitle);
        }
        av_packet_unref(packet);
    }
    av_write_trailer(output);
    std::uint8_t* bytes = nullptr;
    const int size = avio_close_dyn_buf(output->pb, &bytes);
    std::string vtt(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(size));
    av_free(bytes);
    av_packet_free(&packet);
    av_packet_free(&written);
    avcodec_free_context(&decoder);
    avcodec_free_context(&encoder);
    avformat_free_context(output);
    AVIOContext* const reader = input->pb;
    avformat_close_input(&input);
    av_free(reader->buffer);
    av_free(reader);
    return vtt;
}

}  // namespace quorel::bench
