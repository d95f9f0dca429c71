#!/usr/bin/env bash
# Shows the main job on a copy of a clip: scripts/demo.sh [CLIP]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
programs=${REELWRIGHT_BIN:-$root/build/release/bin}
clip=${1:-$root/samples/two-audio.mov}
if [[ ! -x $programs/reelwright-cli ]]; then
    echo "$programs/reelwright-cli is not built; ./run builds and shows it." >&2
    exit 1
fi

folder=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-demo.XXXXXX")
trap 'rm -rf "$folder"' EXIT
copy=$folder/$(basename "$clip")
cp -- "$clip" "$copy"
chmod u+w "$copy"

step()
{
    printf '\n== %s\n\n' "$*"
}

show()
{
    printf '$ %s\n' "$*"
    "$@"
}

# Checksum of the media of every stream, without the header's say in it.
media()
{
    ffmpeg -nostdin -v error -i "$1" -map 0 -c copy -f streamhash -hash md5 - || true
}

# The tool stands in PATH under its own name, so that the lines shown can be typed as they are.
PATH=$programs:$PATH
cd "$folder"
name=$(basename "$copy")

step "A copy of ${clip##*/}: $(stat -c %s "$name") bytes"
show reelwright-cli info "$name"
media "$name" >before.txt
inode=$(stat -c %i "$name")

step "Repair: play at once when opened, turn the picture to the right, silence the second audio track"
show reelwright-cli edit --autoplay on --rotate right --track a2:enabled=off --verify "$name"

step "The same file afterwards: $(stat -c %s "$name") bytes"
show reelwright-cli info "$name"

step "What ffprobe makes of it"
show ffprobe -v error -of compact -show_entries \
    stream=index,codec_type,codec_name,width,height:stream_disposition=default:stream_side_data=rotation "$name"

step "Media"
media "$name" >after.txt
if [[ $(stat -c %i "$name") == "$inode" ]]; then
    echo "Saved into its own file (same inode)."
else
    echo "Saved as a new file in its place."
fi
if [[ ! -s before.txt ]]; then
    echo "ffmpeg cannot read this clip's media, so nothing is said about them."
elif cmp -s before.txt after.txt; then
    echo "The media of every track are the same as before, says ffmpeg:"
    cat after.txt
else
    echo "ffmpeg finds other media than before:" >&2
    diff before.txt after.txt >&2 || true
    exit 1
fi
