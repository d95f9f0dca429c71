#!/usr/bin/env bash
# What scripts/dependencies.sh does on machines that are made up: dpkg-query, apt-get and sudo are stand-ins in an own
# PATH, which write down how they were called. As root, the cases of ordinary users run as nobody.
# shellcheck disable=SC2016 # the stand-ins' variables are theirs
set -u
script=$(cd "$(dirname "$0")/../.." && pwd)/scripts/dependencies.sh
machine=$(mktemp -d "${TMPDIR:-/tmp}/reelwright-dependencies.XXXXXX")
trap 'rm -rf "$machine"' EXIT
failures=0

# fresh_machine INSTALLED...: a machine with these packages, with apt-get, and without sudo.
fresh_machine()
{
    rm -rf "${machine:?}"/*
    mkdir "$machine/bin"
    printf '%s\n' "$@" >"$machine/installed"
    touch "$machine/calls"
    local tool
    for tool in bash env awk grep cat mktemp rm; do
        ln -s "$(command -v "$tool")" "$machine/bin/$tool"
    done
    stand_in dpkg-query 'for name; do grep -qx -e "$name" "$M/installed" && echo "ii $name"; done; exit 1'
    stand_in apt-get '
        echo "apt-get $*" >>"$M/calls"
        case " $* " in
        *" update "*) [[ ! -e $M/offline ]] ;;
        *" install "*)
            [[ ! -e $M/broken ]] || { echo "E: held back" >&2; exit 100; }
            [[ ! -e $M/idle ]] || exit 0
            for name; do echo "$name"; done >>"$M/installed" ;;
        esac'
    chmod -R a+rwX "$machine"
}

# stand_in NAME CODE: a program of that name; $M is the machine.
stand_in()
{
    printf '#!%s/bin/bash\nM=%q\n%s\n' "$machine" "$machine" "$2" >"$machine/bin/$1"
    chmod a+rx "$machine/bin/$1"
}

# as_root, as_user PURPOSE...: run the script on the machine; what it said, called and answered is kept.
as_root()
{
    output=$(PATH=$machine/bin "$machine/bin/bash" "$script" "$@" 2>&1 </dev/null)
    status=$?
    calls=$(cat "$machine/calls")
}

as_user()
{
    local prefix=()
    ((EUID != 0)) || prefix=("$(command -v setpriv)" --reuid=65534 --regid=65534 --clear-groups)
    # On standard input, because nobody may not be allowed to read the folder that the script is in.
    output=$(PATH=$machine/bin "${prefix[@]}" "$machine/bin/bash" \
        -c 'source /dev/stdin; require_packages "$@" </dev/null' user "$@" 2>&1 <"$script")
    status=$?
    calls=$(cat "$machine/calls")
}

# fact WHY CONDITION...: one thing that must be true.
fact()
{
    local why=$1
    shift
    "$@" && return
    failures=$((failures + 1))
    printf 'not so: %s\n  status %s\n  output: %s\n  calls: %s\n' "$why" "$status" "$output" "$calls"
}

said() { [[ $output == *"$1"* ]]; }
called() { [[ $calls == *"$1"* ]]; }
silent() { [[ -z $output && -z $calls ]]; }
ended() { [[ $status == "$1" ]]; }

if ((EUID == 0)); then
    fresh_machine ffmpeg
    as_root run
    fact "with everything there nothing is said and nothing is called" silent
    fact "with everything there it succeeds" ended 0

    fresh_machine ffmpeg python3 attr
    as_root run test
    fact "what is missing is named" said "Missing for run test: libgtest-dev libgmock-dev libimage-exiftool-perl mediainfo strace"
    fact "lists are renewed first" called "update"
    fact "exactly what is missing is installed" called "--no-install-recommends libgtest-dev libgmock-dev libimage-exiftool-perl mediainfo strace"
    fact "installing succeeds" ended 0
    as_root run test
    fact "the second start finds nothing to do" ended 0
    fact "the second start says nothing" test -z "$output"

    fresh_machine
    touch "$machine/offline"
    as_root run
    fact "old lists are good enough when they cannot be renewed" ended 0
    fact "that they are old is said" said "could not be renewed"

    fresh_machine
    touch "$machine/broken"
    as_root run
    fact "a failing installation fails" ended 1
    fact "a failing installation shows what apt-get said" said "E: held back"
    fact "a failing installation names the packages" said "could not install: ffmpeg"

    fresh_machine
    touch "$machine/idle"
    as_root run
    fact "an installation that installs nothing fails" ended 1
    fact "and says what is still missing" said "Still missing after installing: ffmpeg"

    fresh_machine
    rm "$machine/bin/apt-get"
    as_root run
    fact "without apt-get it fails" ended 1
    fact "without apt-get it names the packages" said "Missing for run: ffmpeg"
    fact "without apt-get it says so" said "no apt-get"
else
    echo "not root: the cases of root are left out"
fi

fresh_machine
as_user run
fact "an ordinary user without sudo cannot install" ended 1
fact "and is told the command" said "apt-get install --no-install-recommends ffmpeg"
fact "and nothing is tried" test -z "$calls"

fresh_machine
stand_in sudo 'echo "sudo $*" >>"$M/calls"; while [[ $1 == -* ]]; do shift; done; "$@"'
as_user run
fact "an ordinary user installs through sudo" ended 0
fact "sudo does not ask for a password where nobody can type it" called "sudo --non-interactive env DEBIAN_FRONTEND=noninteractive apt-get"
fact "sudo is announced before it runs" said "Installing them with sudo"

fresh_machine
rm "$machine/bin/dpkg-query"
as_user build
fact "a system without dpkg-query is not guessed at" ended 1
fact "and the packages are named" said "g++ cmake ninja-build"
export REELWRIGHT_SKIP_PACKAGES=1
as_user build
unset REELWRIGHT_SKIP_PACKAGES
fact "the question can be left out" ended 0

as_user nonsense
fact "an unknown purpose is a wrong use" ended 2

if ((failures)); then
    echo "$failures facts do not hold"
    exit 1
fi
echo "all facts hold"
