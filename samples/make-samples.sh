#!/usr/bin/env bash
# Makes the sample clips beside it with the ffmpeg program: samples/make-samples.sh [FOLDER]
# The committed ones came from ffmpeg 5.1; another version writes other bytes, but the facts in README.md still hold.
set -euo pipefail
target=${1:-$(dirname "${BASH_SOURCE[0]}")}
mkdir -p "$target"
target=$(cd "$target" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-samples.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

# Pictures and tones are generated; `picture RATE SIZE SECONDS` and `tone FREQUENCY SECONDS` are inputs for ffmpeg.
picture() { input+=(-f lavfi -i "testsrc=rate=$1:size=$2:duration=$3"); }
bars() { input+=(-f lavfi -i "$1=rate=$2:size=$3:duration=$4"); }
tone() { input+=(-f lavfi -i "sine=frequency=$1:sample_rate=16000:duration=$2"); }

mpeg4=(-c:v mpeg4 -q:v 12 -pix_fmt yuv420p)
aac=(-c:a aac -b:a 24k)

# clip NAME OPTIONS...: one file from the inputs gathered so far, without dates, versions or anything else that changes.
clip()
{
    local name=$1
    shift
    ffmpeg -nostdin -v error -y "${input[@]}" "$@" -threads 1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact \
        -map_metadata:g -1 "$target/$name"
    input=()
}

input=()
picture 25 160x90 1
tone 440 1
tone 880 1
clip two-audio.mov -map 0 -map 1 -map 2 -c:v prores_ks -profile:v 0 -vendor apl0 \
    -vf setparams=color_primaries=bt709:color_trc=bt709:colorspace=bt709 -c:a pcm_s16le \
    -metadata:s:a:0 language=eng -metadata:s:a:1 language=ger -disposition:a default

picture 25 160x90 2
tone 440 2
clip timecode-25.mov "${mpeg4[@]}" -c:a pcm_s16le -timecode 10:00:00:00

picture 30000/1001 160x90 3
clip timecode-2997-drop.mov "${mpeg4[@]}" -timecode "01:00:58;00"

# The turn is in the track's matrix; the pictures are stored lying.
picture 25 160x90 1
clip upright.mp4 "${mpeg4[@]}"
input=(-i "$target/upright.mp4")
clip rotated.mp4 -c copy -metadata:s:v:0 rotate=270
rm "$target/upright.mp4"

picture 25 160x90 2
tone 440 2
clip fragmented.mp4 "${mpeg4[@]}" -g 12 "${aac[@]}" -movflags frag_keyframe+empty_moov+default_base_moof

picture 25 160x90 2
tone 440 2
clip header-last.mov "${mpeg4[@]}" "${aac[@]}"

picture 25 160x90 2
tone 440 2
clip header-first.mp4 "${mpeg4[@]}" "${aac[@]}" -movflags +faststart

bars smptebars 30000/1001 720x480 1
clip ntsc-2997.mov -vf setsar=10/11 "${mpeg4[@]}"

bars pal75bars 25 720x576 1
clip pal-25.mov -vf setsar=12/11 "${mpeg4[@]}"

picture 60000/1001 160x90 1
clip rate-5994.mp4 "${mpeg4[@]}"

tone 440 2
clip audio-only.mov "${aac[@]}"

cat >captions.srt <<'END'
1
00:00:00,200 --> 00:00:01,000
The first caption

2
00:00:01,200 --> 00:00:01,900
The second: “Grüße”
END
picture 25 160x90 2
input+=(-i captions.srt)
clip text-track.mov "${mpeg4[@]}" -c:s mov_text -metadata:s:s:0 language=eng

cat >chapters.txt <<'END'
;FFMETADATA1
[CHAPTER]
TIMEBASE=1/1000
START=0
END=1000
title=Opening
[CHAPTER]
TIMEBASE=1/1000
START=1000
END=2200
title=Straße
[CHAPTER]
TIMEBASE=1/1000
START=2200
END=3000
title=End
END
picture 25 160x90 3
input+=(-i chapters.txt)
clip chapters.mov "${mpeg4[@]}" -map_chapters 1

ls -l "$target"
