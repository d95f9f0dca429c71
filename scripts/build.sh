#!/usr/bin/env bash
# Sourced by ./run, ./test and scripts/check.sh: configures and builds a preset, quietly when nothing is to be done.
# Everything is said on standard error: standard output belongs to the program that is started afterwards.

reelwright_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)

# build_preset PRESET with-tests|without-tests [TARGET]
# Tests and the desktop program that are configured once stay so; "without-tests" only spares a first build the test
# library, and the target "reelwright-cli" the libraries of the desktop program.
build_preset()
{
    local preset=$1 tests=$2 target=${3:-all} folder="$reelwright_root/build/$1" configure=() cache app=ON
    cache=$(cat "$folder/CMakeCache.txt" 2>/dev/null || true)
    if [[ ! -e $folder/build.ninja ]]; then
        configure=(cmake --preset "$preset")
    elif [[ $cache != *"CMAKE_HOME_DIRECTORY:INTERNAL=$reelwright_root"$'\n'* ]]; then
        # The folder was moved or copied, and CMake refuses a cache that was made elsewhere.
        configure=(cmake --preset "$preset" --fresh)
    elif [[ $tests == with-tests && $cache != *"REELWRIGHT_BUILD_TESTS:BOOL=ON"* ]]; then
        configure=(cmake --preset "$preset")
    elif [[ $target == all && $cache == *"REELWRIGHT_APP_LEFT_OUT:BOOL=ON"* ]]; then
        configure=(cmake --preset "$preset")
    fi
    if [[ $target == reelwright-cli && (! -e $folder/build.ninja || $cache == *"REELWRIGHT_APP_LEFT_OUT:BOOL=ON"*) ]]; then
        app=OFF
    fi
    if ((${#configure[@]})); then
        # A preset that never builds the desktop program says so itself.
        if [[ $app == OFF ]]; then
            configure+=(-D REELWRIGHT_BUILD_APP=OFF -D REELWRIGHT_APP_LEFT_OUT=ON)
        elif [[ $cache == *"REELWRIGHT_APP_LEFT_OUT:BOOL=ON"* ]]; then
            configure+=(-D REELWRIGHT_BUILD_APP=ON -D REELWRIGHT_APP_LEFT_OUT=OFF)
        fi
        if [[ $tests == with-tests ]]; then
            configure+=(-D REELWRIGHT_BUILD_TESTS=ON)
        else
            configure+=(-D REELWRIGHT_BUILD_TESTS=OFF)
        fi
        printf 'Configuring build/%s ...\n' "$preset" >&2
        mkdir -p "$folder"
        if ! (cd "$reelwright_root" && "${configure[@]}") >"$folder/configure.log" 2>&1; then
            cat "$folder/configure.log" >&2
            printf 'Configuring failed.\n' >&2
            return 1
        fi
    fi
    # Lines that only say that there was nothing to do are left out.
    ninja -j "$(nproc)" -C "$folder" "$target" \
        | { grep --line-buffered -vE '^ninja: (Entering directory|no work to do)|Re-checking globbed directories' || true; } >&2
    return "${PIPESTATUS[0]}"
}

# Makes every report of a sanitizer end its program with a failure. Options already in the environment come last and win.
export_sanitizer_options()
{
    local address=halt_on_error=1:detect_leaks=1:detect_stack_use_after_return=1:check_initialization_order=1:strict_string_checks=1
    export ASAN_OPTIONS=$address${ASAN_OPTIONS:+:$ASAN_OPTIONS}
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}
    export TSAN_OPTIONS=halt_on_error=1:exitcode=66:second_deadlock_stack=1${TSAN_OPTIONS:+:$TSAN_OPTIONS}
}
