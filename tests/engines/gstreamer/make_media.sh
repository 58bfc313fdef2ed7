#!/usr/bin/env bash
# Makes the small streams that the engine is tested with: make_media.sh OUTPUT_DIRECTORY
#
# The picture is grey, and lighter with every second, so that a test can read the time from a pixel.
set -euo pipefail
output=${1:?usage: make_media.sh OUTPUT_DIRECTORY}
mkdir -p "$(dirname "$output")"
work=$(mktemp -d "$output.XXXXXX")
trap 'rm -rf "$work"' EXIT
run() { ffmpeg -hide_banner -nostdin -loglevel error -y "$@"; }

encode() {  # encode SECONDS FILE
    run -f lavfi -i "nullsrc=size=32x18:rate=25:duration=$1,format=gray,geq=lum='32+10*floor(T)',scale=320:180:flags=neighbor,format=yuv420p" \
        -f lavfi -i "sine=frequency=440:duration=$1" -c:v libx264 -preset veryfast -g 50 -keyint_min 50 \
        -sc_threshold 0 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -c:a aac -b:a 64k "$2"
}
encode 20 "$work/long.mp4"
encode 8 "$work/short.mp4"

mkdir "$work/ts" "$work/fmp4"
run -i "$work/long.mp4" -c copy -f hls -hls_time 2 -hls_playlist_type vod -hls_segment_filename "$work/ts/seg%02d.ts" "$work/ts/index.m3u8"
run -i "$work/short.mp4" -c copy -f hls -hls_time 2 -hls_playlist_type vod -hls_segment_type fmp4 \
    -hls_fmp4_init_filename init.mp4 -hls_segment_filename "$work/fmp4/seg%02d.m4s" "$work/fmp4/index.m3u8"
cat "$work"/ts/seg*.ts >"$work/long.ts"
cat >"$work/master.m3u8" <<'M'
#EXTM3U
#EXT-X-STREAM-INF:BANDWIDTH=200000,RESOLUTION=320x180
ts/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=400000,RESOLUTION=320x180
ts/index.m3u8?high
M
# A codec that nobody has heard of.
cp -r "$work/fmp4" "$work/unknown"
sed -i 's/avc1/zzz1/' "$work/unknown/init.mp4"
rm -rf
rm -rf "$output"
mv "$work" "$output"
trap - EXIT
