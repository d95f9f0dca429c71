#!/usr/bin/env bash
# The Debian packages that the project needs, by purpose, and the installing of those that are missing.
#
#   source scripts/dependencies.sh; require_packages build test     from another script
#   scripts/dependencies.sh build test                              on its own
#
# One question to dpkg finds what is missing (a hundredth of a second), so nothing has to be remembered between runs.
# REELWRIGHT_SKIP_PACKAGES=1 leaves the question out, for systems without dpkg.

packages_for()
{
    case "$1" in
    build) # compiler, build system, libraries
        echo g++ cmake ninja-build pkg-config zlib1g-dev libfmt-dev libexpected-dev libcli11-dev \
            nlohmann-json3-dev libplist-dev libexiv2-dev libpugixml-dev \
            libavformat-dev libavcodec-dev libavfilter-dev libavutil-dev liblcms2-dev ;;
    app) # windows and player of the desktop program
        echo qt6-base-dev libqt6opengl6-dev libmpv-dev libavutil-dev libarchive-dev ;;
    run) # ffprobe and ffmpeg judge what the demonstration saved
        echo ffmpeg ;;
    test) # the test library, and other programs that judge the files that were saved
        echo libgtest-dev libgmock-dev ffmpeg libimage-exiftool-perl mediainfo strace python3 attr ;;
    bench) echo libbenchmark-dev ffmpeg libimage-exiftool-perl mediainfo python3 time valgrind ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    package) # the Debian package, and the programs that judge what is in it
        echo dpkg-dev file fakeroot desktop-file-utils appstream ;;
    screenshots) echo xvfb xauth xdotool x11-utils imagemagick librsvg2-bin ;;
    lint) echo clang-format clang-tidy shellcheck ;;
    *) return 1 ;;
    esac
}

say()
{
    printf '%s\n' "$*" >&2
}

# missing_packages NAME...: those that are not installed, one a line.
missing_packages()
{
    # dpkg-query answers "ii g++" for an installed package and fails for names that it has never heard of, which is fine.
    # shellcheck disable=SC2016 # the format's fields are dpkg-query's, not the shell's
    dpkg-query --show --showformat='${db:Status-Abbrev}${Package}\n' "$@" 2>/dev/null \
        | awk -v wanted="$*" '
            /^.i / { installed[$2] = 1 }
            END {
                count = split(wanted, names, " ")
                for (i = 1; i <= count; ++i)
                    if (!(names[i] in installed) && !seen[names[i]]++)
                        print names[i]
            }'
}

# require_packages PURPOSE...: installs what is missing for them, or says what to do and fails.
require_packages()
{
    local purpose names list wanted=() missing=() as_root=()
    for purpose in "$@"; do
        if ! list=$(packages_for "$purpose"); then
            say "No packages are listed for \"$purpose\"; there are build, app, run, test, bench, fuzz, package, screenshots and lint."
            return 2
        fi
        read -ra names <<<"$list"
        wanted+=("${names[@]}")
    done
    [[ ${REELWRIGHT_SKIP_PACKAGES:-} == 1 ]] && return 0

    if ! command -v dpkg-query >/dev/null; then
        say "This system has no dpkg-query, so it cannot be told what is installed. On Debian 12 these packages are needed:"
        say "  ${wanted[*]}"
        say "Install their like by this system's own means and set REELWRIGHT_SKIP_PACKAGES=1."
        return 1
    fi
    mapfile -t missing < <(missing_packages "${wanted[@]}")
    ((${#missing[@]})) || return 0

    say "Missing for $*: ${missing[*]}"
    if ! command -v apt-get >/dev/null; then
        say "There is no apt-get here to install them with. Install them by this system's own means and start again."
        return 1
    fi
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            say "Installing them takes root's rights, and there is no sudo here. As root:"
            say "  apt-get install --no-install-recommends ${missing[*]}"
            return 1
        fi
        as_root=(sudo)
        # Without a terminal a question for the password would wait for ever.
        [[ -t 0 ]] || as_root+=(--non-interactive)
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive)

    say "Installing them with ${as_root[*]} apt-get; this can take some minutes ..."
    local log options=(-qq -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0)
    log=$(mktemp)
    # A fresh machine has no package lists at all; on one that is off line the old ones may still do.
    "${as_root[@]}" apt-get "${options[@]}" update >"$log" 2>&1 \
        || say "The package lists could not be renewed; going on with the old ones."
    if ! "${as_root[@]}" apt-get "${options[@]}" install --yes --no-install-recommends "${missing[@]}" >>"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        rm -f "$log"
        say "apt-get could not install: ${missing[*]}"
        say "Its messages stand above; when they are mended, start again."
        return 1
    fi
    rm -f "$log"
    mapfile -t missing < <(missing_packages "${missing[@]}")
    if ((${#missing[@]})); then
        say "Still missing after installing: ${missing[*]}"
        return 1
    fi
    say "Installed."
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
    set -euo pipefail
    if (($# == 0)) || [[ $1 == --help || $1 == -h ]]; then
        echo "Usage: scripts/dependencies.sh PURPOSE...   (build app run test bench fuzz package screenshots lint)"
        echo "Installs the Debian packages that these purposes need and that are missing."
        (($#)) || exit 2
        exit 0
    fi
    require_packages "$@"
fi
