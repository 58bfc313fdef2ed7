#!/usr/bin/env bash
# Makes the sandbox's media: a generated, visibly time-coded picture with sound, once encoded, then packed as HLS
# titles; subtitle files and still pictures beside them.
#
#   make_media.sh OUTPUT_DIRECTORY
#
# Writes into a temporary directory beside the output and renames it at the end, so that an output directory that
# exists is complete, whoever else makes it at the same moment. Does nothing when it exists.
set -euo pipefail
export LC_ALL=C

here=$(cd "$(dirname "$0")" && pwd)
output=${1:?usage: make_media.sh OUTPUT_DIRECTORY}
if [ -e "$output/complete" ]; then
    touch "$output/complete"
    exit 0
fi

die() { echo "make_media.sh: $*" >&2; exit 1; }
command -v ffmpeg >/dev/null || die "ffmpeg is missing: apt-get install ffmpeg"
fonts=/usr/share/fonts/truetype/dejavu
[ -f $fonts/DejaVuSansMono-Bold.ttf ] || die "DejaVu fonts are missing: apt-get install fonts-dejavu-core"
filters=$(ffmpeg -hide_banner -filters 2>/dev/null)
case $filters in *" drawtext "*) ;; *) die "this ffmpeg has no drawtext filter" ;; esac

mkdir -p "$(dirname "$output")"
work=$(mktemp -d "$output.XXXXXX")
trap 'rm -rf "$work"' EXIT
run() { ffmpeg -hide_banner -nostdin -loglevel error -y "$@"; }

seconds=30
rate=25
segment=2                     # seconds; a key frame begins each segment
sans=$fonts/DejaVuSans.ttf
bold=$fonts/DejaVuSans-Bold.ttf
mono=$fonts/DejaVuSansMono-Bold.ttf

# --- the picture, 1280x720 ---------------------------------------------------------------------------------------

text() {  # text FONT SIZE COLOUR X Y TEXT [more drawtext options]
    printf ",drawtext=fontfile=%s:fontsize=%s:fontcolor=%s:x=%s:y=%s:text='%s'%s" "$1" "$2" "$3" "$4" "$5" "$6" "${7:+:$7}"
}

# Made small and out of sight at its edges, where the colours stand still, then enlarged.
gradient="gradients=s=480x270:r=$rate:d=$seconds:type=linear:n=4:speed=0.006:x0=150:y0=75:x1=330:y1=195"
gradient+=":c0=0x123a6b:c1=0x0d6a76:c2=0x622b86:c3=0x1d3580,crop=160:90"
# Drawn as RGB and converted last, so that the colours are exact.
background="$gradient,scale=1280:720:flags=bicubic,format=gbrp"

picture() {
    printf '%s' "$background"
    text "$bold" 34 white 56 70-ascent 'QUOREL'
    text "$sans" 34 'white@0.75' 220 70-ascent 'sandbox'
    # Minutes, seconds, milliseconds of the frame; the half millisecond keeps the rounding from cutting.
    text "$mono" 168 white '(w-text_w)/2' 200 \
        '%{eif\:trunc((t+0.0005)/60)\:d\:2}\:%{eif\:mod(trunc(t+0.0005)\,60)\:d\:2}.%{eif\:mod(trunc(t*1000+0.5)\,1000)\:d\:3}' \
        'shadowcolor=black@0.45:shadowx=4:shadowy=4'
    text "$sans" 34 'white@0.8' '(w-text_w)/2' 372 'frame %{n}'
    # A hand that goes round once a second, and a flash with each second's beep.
    local i angle
    for i in 0 1 2 3 4 5 6 7 8 9 10 11; do
        angle="2*PI*$i/12"
        text "$bold" 18 'white@0.45' "640+62*sin($angle)-text_w/2" "512-62*cos($angle)-text_h/2" '•'
    done
    text "$bold" 58 '0xffc857' '640+62*sin(2*PI*t)-text_w/2' '512-62*cos(2*PI*t)-text_h/2' '•'
    text "$bold" 130 white '640-text_w/2' '512-text_h/2' '•' "enable='lt(mod(t+0.0005,1),0.1)'"
    # Colours to check a picture by, 75 % white to blue.
    local x=56 colour
    for colour in 0xbfbfbf 0xbfbf00 0x00bfbf 0x00bf00 0xbf00bf 0xbf0000 0x0000bf; do
        printf ',drawbox=x=%s:y=596:w=36:h=24:color=%s:t=fill' $x $colour
        x=$((x + 36))
    done
    # The time line: a mark each second, a number each five.
    printf ',drawbox=x=56:y=654:w=1168:h=6:color=white@0.25:t=fill'
    for ((i = 0; i <= seconds; i++)); do
        x=$((56 + 1168 * i / seconds))
        if ((i % 5 == 0)); then
            printf ',drawbox=x=%s:y=642:w=3:h=18:color=white@0.8:t=fill' $((x - 1))
            text "$sans" 20 'white@0.8' "$x-text_w/2" 672 "$i s"
        else
            printf ',drawbox=x=%s:y=650:w=2:h=10:color=white@0.5:t=fill' $((x - 1))
        fi
    done
    text "$bold" 40 '0xffc857' "56+1168*t/$seconds-text_w/2" '657-text_h/2' '•'
}

label() {  # label SIZE: the variant, in the corner of its own picture
    text "$sans" 34*h/720 'white@0.75' 'w-text_w-56*h/720' '70*h/720-ascent' "$1"
}

# One encode of the three sizes. Without B-frames the first picture's decoding time is 0 as well, so that no player's
# position differs from the time code. The profiles and levels are those that codecs() names.
bt709='scale=out_color_matrix=bt709:out_range=tv,format=yuv420p'
graph="$(picture),split=3[a][b][c]"
graph+=";[a]scale=426:240$(label '426 × 240'),${bt709}[v240]"
graph+=";[b]scale=640:360$(label '640 × 360'),${bt709}[v360]"
graph+=";[c]null$(label '1280 × 720'),${bt709}[v720]"
encoder=(-c:v libx264 -preset veryfast -bf 0 -g $((rate * segment)) -keyint_min $((rate * segment)) -sc_threshold 0
    -threads 2 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv)
run -filter_complex "$graph" \
    -map '[v240]' "${encoder[@]}" -profile:v main -level 3.0 -b:v 180k -maxrate 240k -bufsize 480k "$work/240.mp4" \
    -map '[v360]' "${encoder[@]}" -profile:v main -level 3.0 -b:v 450k -maxrate 600k -bufsize 1200k "$work/360.mp4" \
    -map '[v720]' "${encoder[@]}" -profile:v high -level 3.1 -b:v 1100k -maxrate 1500k -bufsize 3000k "$work/720.mp4"
codecs() { case $1 in 720) echo avc1.64001f ;; *) echo avc1.4d401e ;; esac; }
resolution() { case $1 in 240) echo 426x240 ;; 360) echo 640x360 ;; 720) echo 1280x720 ;; esac; }

# --- the sound: a soft chord, and a beep at each second ----------------------------------------------------------

sound() {  # sound NAME BEEP CHORD CHORD CHORD, in Hz
    local beep="0.4*sin(2*PI*$2*t)*exp(-20*mod(t,1))" chord
    chord="0.03*(sin(2*PI*$3*t)+sin(2*PI*$4*t)+sin(2*PI*$5*t))"
    run -f lavfi -i "aevalsrc='$beep+$chord|$beep+$chord':s=48000:d=$seconds" -c:a aac -b:a 96k "$work/$1.m4a"
}
sound mix 880 220 277.2 329.6
sound pt-br 660 196 246.9 293.7
sound en 1047 261.6 329.6 392

# --- HLS titles --------------------------------------------------------------------------------------------------

hls=(-c copy -f hls -hls_time "$segment" -hls_playlist_type vod -hls_flags independent_segments)
# In transport streams position 0 is presentation time 10 s (MPEGTS 900000), in every rendition.
ts=(-copyts -avoid_negative_ts disabled -muxdelay 0 -muxpreload 0 -output_ts_offset 10)

pack_ts() {  # pack_ts DIRECTORY [options] -- inputs and maps
    local to=$work/$1 options=()
    shift
    while [ "$1" != -- ]; do options+=("$1"); shift; done
    shift
    mkdir -p "$to"
    run "$@" "${hls[@]}" "${ts[@]}" "${options[@]}" -hls_segment_filename "$to/segment-%02d.ts" "$to/playlist.m3u8"
}

# Bits per second of the fullest segment and of all, as RFC 8216 4.3.4.2 defines them: a rest shorter than half the
# target duration has no bit rate of its own.
bandwidth() {  # bandwidth DIRECTORY -> "peak average"
    local line length=0 bytes
    while read -r line; do
        case $line in
            '#EXTINF:'*) length=${line#*:}; length=${length%%,*} ;;
            '#'* | '') ;;
            *) bytes=$(stat -c %s "$1/$line"); echo "$length $bytes" ;;
        esac
    done <"$1/playlist.m3u8" | awk '
        { bits = $2 * 8; if ($1 >= '$segment' / 2 && bits / $1 > peak) peak = bits / $1; all += bits; time += $1 }
        END { printf "%d %d", peak + 1, all / time + 1 }'
}

variant() {  # variant TITLE HEIGHT [peak and average of the sound, more attributes]
    local peak average
    read -r peak average <<<"$(bandwidth "$work/$1/$2")"
    printf '#EXT-X-STREAM-INF:BANDWIDTH=%s,AVERAGE-BANDWIDTH=%s,CODECS="%s,mp4a.40.2",RESOLUTION=%s,FRAME-RATE=%s.000%s\n%s\n' \
        $((peak + ${3:-0})) $((average + ${4:-0})) "$(codecs "$2")" "$(resolution "$2")" $rate "${5:-}" "$2/playlist.m3u8"
}

master() {  # master TITLE VERSION, rows on standard input
    { printf '#EXTM3U\n#EXT-X-VERSION:%s\n#EXT-X-INDEPENDENT-SEGMENTS\n' "$2"; cat; } >"$work/$1/master.m3u8"
}

for height in 240 360 720; do
    both=(-i "$work/$height.mp4" -i "$work/mix.m4a" -map 0:v -map 1:a)
    pack_ts sample/$height -- "${both[@]}"

    mkdir -p "$work/sample-aes"
    printf 'quorel-sandbox-k' >"$work/sample-aes/key.bin"
    printf '%s\n' ../key.bin "$work/sample-aes/key.bin" 000102030405060708090a0b0c0d0e0f >"$work/keyinfo"
    pack_ts sample-aes/$height -hls_key_info_file "$work/keyinfo" -- "${both[@]}"

    mkdir -p "$work/sample-fmp4/$height"
    run "${both[@]}" "${hls[@]}" -hls_segment_type fmp4 -hls_fmp4_init_filename init.mp4 \
        -hls_segment_filename "$work/sample-fmp4/$height/segment-%02d.m4s" "$work/sample-fmp4/$height/playlist.m3u8"
done
{ variant sample 360; variant sample 240; variant sample 720; } | master sample 3
{ variant sample-aes 360; variant sample-aes 240; variant sample-aes 720; } | master sample-aes 3
{ variant sample-fmp4 360; variant sample-fmp4 240; variant sample-fmp4 720; } | master sample-fmp4 7

for height in 360 720; do pack_ts sample-audio/$height -- -i "$work/$height.mp4" -map 0:v; done
for language in pt-br en; do pack_ts sample-audio/$language -- -i "$work/$language.m4a" -map 0:a; done
{
    media='#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="sound",AUTOSELECT=YES,CHANNELS="2"'
    echo "$media,NAME=\"Português\",LANGUAGE=\"pt-BR\",DEFAULT=YES,URI=\"pt-br/playlist.m3u8\""
    echo "$media,NAME=\"English\",LANGUAGE=\"en\",DEFAULT=NO,URI=\"en/playlist.m3u8\""
    read -r peak average <<<"$(bandwidth "$work/sample-audio/pt-br")"
    variant sample-audio 360 "$peak" "$average" ',AUDIO="sound"'
    variant sample-audio 720 "$peak" "$average" ',AUDIO="sound"'
} | master sample-audio 4

# --- ads ---------------------------------------------------------------------------------------------------------

ad() {  # ad NUMBER SECONDS COLOUR HZ -> ad-NUMBER.mp4, 1280x720: nothing like the titles, and counting down
    local left="%{eif\\:ceil($2-t)\\:d}"
    run -f lavfi -i "color=c=$3:s=1280x720:r=$rate:d=$2,format=gbrp,drawbox=x=40:y=40:w=1200:h=640:color=white@0.8:t=6$(
        text "$bold" 110 white '(w-text_w)/2' 220 'Publicidade')$(
        text "$sans" 60 'white@0.9' '(w-text_w)/2' 370 "Anúncio $1")$(
        text "$mono" 60 white '(w-text_w)/2' 480 "$left"),$bt709" \
        -f lavfi -i "aevalsrc='0.1*sin(2*PI*$4*t)|0.1*sin(2*PI*$4*t)':s=48000:d=$2" \
        "${encoder[@]}" -profile:v main -level 3.1 -b:v 600k -maxrate 900k -bufsize 1800k -c:a aac -b:a 96k \
        -movflags +faststart "$work/ad-$1.mp4"
}
ad 1 5 0xa8321f 330
ad 2 4 0x1f7a3d 392
mkdir -p "$work/ads"
mv "$work/ad-1.mp4" "$work/ads/one-720.mp4"
run -i "$work/ads/one-720.mp4" -vf scale=640:360 "${encoder[@]}" -profile:v main -level 3.0 -b:v 350k -maxrate 500k \
    -bufsize 1000k -c:a copy -movflags +faststart "$work/ads/one-360.mp4"
pack_ts ads/two -- -i "$work/ad-2.mp4"

# --- subtitles and stills ----------------------------------------------------------------------------------------

mkdir -p "$work/subtitles" "$work/images"
cp "$here"/subtitles/*.srt "$work/subtitles/"
still() {  # still NAME HEADING TEXT
    run -f lavfi -i "$background$(text "$bold" 84 white '(w-text_w)/2' 290 "$2")$(text "$sans" 36 'white@0.8' \
        '(w-text_w)/2' 420 "$3")" -frames:v 1 "$work/images/$1.png"
}
still start-soon 'Já vamos começar' 'A transmissão começa em breve'
still pause 'Voltamos já' 'A transmissão está em pausa'
still end 'Fim' 'A transmissão terminou'
run -ss 7.52 -i "$work/720.mp4" -frames:v 1 -vf scale=420:240 "$work/images/thumbnail.png"

rm -f "$work"/*.mp4 "$work"/*.m4a "$work/keyinfo"
chmod -R a+rX "$work"
touch "$work/complete"
# Another run may have been quicker; its result is the same.
mv -T "$work" "$output" 2>/dev/null || [ -e "$output/complete" ] || die "cannot make $output"
