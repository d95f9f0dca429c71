#!/usr/bin/env bash
# Takes the pictures of docs/screenshots: the real program on sample clips, in a display of its own, light and dark.
# scripts/screenshots.sh [FOLDER]; REELWRIGHT_BIN is the folder of the program, else it is built.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
source "$root/scripts/dependencies.sh"
source "$root/scripts/build.sh"
folder=${1:-$root/docs/screenshots}
if [[ -z ${REELWRIGHT_BIN:-} ]]; then
    require_packages build app run screenshots
    build_preset release without-tests reelwright
fi
program=${REELWRIGHT_BIN:-$root/build/release/bin}/reelwright

scratch=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-screenshots.XXXXXX")
pids=()
finish()
{
    ((${#pids[@]} == 0)) || kill "${pids[@]}" 2>/dev/null || true
    rm -rf "$scratch"
}
trap finish EXIT

# A display of its own, on a number that the server chooses.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$scratch/display" 2>"$scratch/xvfb.log" &
pids+=($!)
for ((tries = 0; tries < 100; ++tries)); do
    [[ -s $scratch/display ]] && break
    sleep 0.1
done
unset WAYLAND_DISPLAY XDG_CURRENT_DESKTOP
DISPLAY=:$(cat "$scratch/display")
export DISPLAY HOME=$scratch XDG_RUNTIME_DIR=$scratch QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=${QT_SCALE_FACTOR:-1}
export REELWRIGHT_RENDERER=software REELWRIGHT_SOUND=off LC_ALL=C.UTF-8
chmod 700 "$scratch"

# A clip with what a camera file has: a picture, two sound tracks, timecode.
clips=$scratch/Clips
mkdir "$clips"
sky="gradients=size=1280x720:rate=25:duration=8:nb_colors=4:c0=0x1b2a49:c1=0x5b5f97:c2=0xf4a259:c3=0xffe8c2:x0=0:y0=0:x1=0:y1=560:speed=0.00001:seed=4"
sea=drawbox=y=540:h=180:color=0x16324f:t=fill,drawbox=y=540:h=4:color=0xf7c98b:t=fill
quay=drawbox=x=0:y=470:w=330:h=80:color=0x0e1b2c:t=fill,drawbox=x=60:y=390:w=90:h=90:color=0x0e1b2c:t=fill,drawbox=x=190:y=425:w=70:h=60:color=0x0e1b2c:t=fill
ship=drawbox=x=760:y=515:w=300:h=45:color=0x0b1523:t=fill,drawbox=x=960:y=455:w=70:h=62:color=0x0b1523:t=fill,drawbox=x=850:y=380:w=8:h=140:color=0x0b1523:t=fill
ffmpeg -nostdin -v error -f lavfi -i "$sky,$sea,$quay,$ship" \
    -f lavfi -i sine=440:duration=8 -f lavfi -i sine=660:duration=8 -map 0 -map 1 -map 2 -ac:a:0 2 -ac:a:1 1 \
    -c:v png -pix_fmt rgb24 -c:a pcm_s16le -timecode 10:00:00:00 -fflags +bitexact "$clips/harbour.mov"

# window NAME: waits for a visible window with that title, and answers its number.
window()
{
    local id tries
    for ((tries = 0; tries < 150; ++tries)); do
        id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -n 1) || true
        if [[ -n $id ]]; then
            echo "$id"
            return
        fi
        sleep 0.1
    done
    echo "No window \"$1\" came." >&2
    return 1
}

# picture ID NAME: takes it once two looks in a row see the same.
picture()
{
    local last='' now tries
    for ((tries = 0; tries < 50; ++tries)); do
        import -silent -window "$1" "$scratch/look.png"
        now=$(identify -format '%#' "$scratch/look.png")
        [[ $now == "$last" ]] && break
        last=$now
        sleep 0.3
    done
    convert "$scratch/look.png" -strip -define png:compression-level=9 -define png:compression-filter=5 "$folder/$2.png"
    printf '%s\n' "$folder/$2.png"
}

keys()
{
    xdotool key --clearmodifiers --delay 60 "$@"
}

# session APPEARANCE: all pictures of one appearance.
session()
{
    local appearance=$1 id program_id
    export REELWRIGHT_APPEARANCE=$appearance REELWRIGHT_PREFS_DIR=$scratch/$appearance
    mkdir "$REELWRIGHT_PREFS_DIR"
    cat >"$REELWRIGHT_PREFS_DIR/reelwright.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>startupType</key><integer>2</integer></dict></plist>
PLIST
    "$program" 2>>"$scratch/program.log" &
    program_id=$!
    pids+=("$program_id")

    id=$(window '^Reelwright$')
    picture "$id" "start-$appearance"
    xdotool windowfocus --sync "$id"
    keys ctrl+comma
    id=$(window '^Preferences')
    picture "$id" "preferences-$appearance"
    xdotool windowfocus --sync "$id"
    keys Escape

    xdotool windowfocus --sync "$(window '^Reelwright$')"
    keys alt+h a
    id=$(window '^About Reelwright')
    picture "$id" "about-$appearance"
    xdotool windowfocus --sync "$id"
    keys Escape

    # A second start hands its file over.
    "$program" "$clips/harbour.mov"
    id=$(window 'harbour')
    xdotool windowmove --sync "$id" 0 0
    xdotool windowsize "$id" 1280 800
    xdotool windowfocus --sync "$id"
    picture "$id" "movie-$appearance"
    local row
    for row in video sound second-sound timecode; do
        keys Down
        [[ $row == second-sound ]] || picture "$id" "$row-track-$appearance"
    done

    "$program" /nowhere/holiday.mov
    id=$(window '^Reelwright$')
    picture "$id" "cannot-open-$appearance"
    xdotool windowfocus --sync "$id"
    keys Escape
    kill "$program_id"
    wait "$program_id" 2>/dev/null || true
}

mkdir -p "$folder"
for appearance in light dark; do
    session "$appearance"
done
