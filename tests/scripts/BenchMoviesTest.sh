#!/usr/bin/env bash
# The movies that bench/make-movies.py writes are what they say, for another program too: BenchMoviesTest.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
folder=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-bench-movies.XXXXXX")
trap 'rm -rf "$folder"' EXIT

failed=0
expect()
{
    if [[ $2 != "$3" ]]; then
        echo "$1: expected $3, got $2"
        failed=1
    fi
}

# frames FILE: samples and seconds as ffprobe finds them; its complaints count as an answer too.
frames()
{
    ffprobe -v error -of csv=p=0 -show_entries stream=nb_frames,duration "$1" 2>&1 || true
}

python3 -B "$root/bench/make-movies.py" "$folder" samples 1e3 1e5 --header first >/dev/null
python3 -B "$root/bench/make-movies.py" "$folder" samples 1e3 >/dev/null
python3 -B "$root/bench/make-movies.py" "$folder" media 1M 100G >/dev/null
expect "1000 samples, header first" "$(frames "$folder/samples-1e3-first.mov")" "33.366667,1000"
expect "1000 samples, header last" "$(frames "$folder/samples-1e3-last.mov")" "33.366667,1000"
expect "100000 samples" "$(frames "$folder/samples-1e5-first.mov")" "3336.666667,100000"
expect "1 MB of media" "$(frames "$folder/media-1M-last.mov")" "3336.666667,100000"
expect "100 GB of media" "$(frames "$folder/media-100G-last.mov")" "3336.666667,100000"

# Where the media end up at the last sample, another program finds them at the end of the file's media.
last=$(ffprobe -v error -of csv=p=0 -show_entries packet=pos,size "$folder/samples-1e3-last.mov" 2>&1 | tail -1)
media=$(ffprobe -v error -of csv=p=0 -show_entries packet=size "$folder/samples-1e3-last.mov" | awk '{ all += $1 } END { print all }')
expect "end of the media" "$((${last%,*} + ${last#*,}))" "$((media + 36))"
expect "media asked for" "$media" 12000000
if (($(du --block-size=1000000 "$folder/media-100G-last.mov" | cut -f1) > 10)); then
    echo "100 GB of media take space on the disk"
    failed=1
fi
python3 -B "$root/bench/make-movies.py" "$folder" tracks 50 >/dev/null
python3 -B "$root/bench/make-movies.py" "$folder" free 50 >/dev/null
python3 -B "$root/bench/make-movies.py" "$folder" items 50 >/dev/null
python3 -B "$root/bench/make-movies.py" "$folder" keys 50 >/dev/null
expect "50 tracks" "$(frames "$folder/tracks-50-last.mov" | sort | uniq -c | tr -s ' ')" " 50 0.033367,1"
expect "50 free atoms" "$(frames "$folder/free-50-last.mov")" "0.033367,1"
expect "50 items" "$(frames "$folder/items-50-last.mov")" "0.033367,1"
keys=$(ffprobe -v error -of flat -show_entries format_tags "$folder/keys-50-last.mov" 2>&1 | grep -c 'example_key')
expect "50 keys" "$keys" 50
exit $failed
