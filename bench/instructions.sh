#!/usr/bin/env bash
# Counts the instructions of what is done most and compares them with bench/instructions.txt, so that work that came in
# shows without a stopwatch, on a busy machine too.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
cli=${REELWRIGHT_CLI:-$root/build/release/bin/reelwright-cli}
known=$root/bench/instructions.txt
allowed=3 # percent; the same program counts a little differently from run to run

usage()
{
    cat <<END
Usage: bench/instructions.sh [--update] [--keep FOLDER]

Runs $cli under callgrind and prints the instructions, in thousands, beside those in bench/instructions.txt. The exit
status is 1 when one of them is more than $allowed % larger. The numbers in the file are those of a release build
with the compiler and libraries of Debian 12; elsewhere make your own first.

  --update        writes the numbers to bench/instructions.txt
  --keep FOLDER   leaves the profiles there, for callgrind_annotate
END
}

update=no
profiles=
while (($#)); do
    case "$1" in
    --update) update=yes ;;
    --keep)
        profiles=${2:?a folder is missing}
        mkdir -p "$profiles"
        profiles=$(cd "$profiles" && pwd)
        shift
        ;;
    *)
        usage
        [[ $1 == --help || $1 == -h ]] && exit 0
        exit 2
        ;;
    esac
    shift
done
if [[ ! -x $cli ]]; then
    echo "$cli is not built; ./run cli --version builds it." >&2
    exit 2
fi

folder=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-instructions.XXXXXX")
trap 'rm -rf "$folder"' EXIT
python3 -B "$root/bench/make-movies.py" "$folder" samples 1e3 1e6 >"$folder/made"
python3 -B "$root/bench/make-movies.py" "$folder" media 1M >>"$folder/made"
cd "$folder"
for number in {1..50}; do
    cp samples-1e3-last.mov "many-$number.mov"
done

# The work, one a line: a name without blanks, and the arguments.
jobs=(
    "start --version"
    "info-1e3 info --json samples-1e3-last.mov"
    "info-1e6 info --json samples-1e6-last.mov"
    "info-50-files info --json $(printf 'many-%s.mov ' {1..50})"
    "atoms-1e6 atoms samples-1e6-last.mov"
    "edit-1e3 edit --no-sync --autoplay on samples-1e3-last.mov"
    "edit-1e6 edit --no-sync --autoplay on samples-1e6-last.mov"
    "flatten-1e3 edit --no-sync --autoclose on -o flat-1e3.mov samples-1e3-last.mov"
    "flatten-1e5 edit --no-sync --autoclose on -o flat-1e5.mov media-1M-last.mov"
)

# count NAME ARGUMENTS...: thousands of instructions.
count()
{
    local name=$1 log=$folder/$1.log profile=/dev/null
    shift
    [[ -n $profiles ]] && profile=$profiles/$name.callgrind
    if ! valgrind --tool=callgrind --callgrind-out-file="$profile" "$cli" "$@" >/dev/null 2>"$log"; then
        cat "$log" >&2
        return 1
    fi
    awk '/ Collected : / { printf "%d", $4 / 1000 }' "$log"
}

printf '%-16s %12s %12s %8s\n' "" "thousands" "known" "%"
status=0
counts=()
for job in "${jobs[@]}"; do
    read -ra words <<<"$job"
    name=${words[0]}
    now=$(count "${words[@]}")
    counts+=("$name $now")
    before=$(awk -v name="$name" '$1 == name { print $2 }' "$known" 2>/dev/null || true)
    if [[ -z $before ]]; then
        printf '%-16s %12d %12s\n' "$name" "$now" "-"
        continue
    fi
    verdict=
    if ((now * 100 > before * (100 + allowed))); then
        verdict="  more than before"
        status=1
    elif ((now * (100 + allowed) < before * 100)); then
        verdict="  less: --update keeps it so"
    fi
    printf '%-16s %12d %12d %+8.1f%s\n' "$name" "$now" "$before" "$(awk "BEGIN { print 100 * ($now - $before) / $before }")" "$verdict"
done
if [[ $update == yes ]]; then
    {
        echo "# Thousands of instructions of a release build, $(c++ --version | head -1); see bench/instructions.sh."
        printf '%s\n' "${counts[@]}"
    } >"$known"
    exit 0
fi
exit $status
