#!/usr/bin/env bash
# Runs what CI runs, and then the formatter, the shell checker and clang-tidy over the tree: scripts/check.sh [--no-tidy]
# Before a change is handed in. clang-tidy takes minutes; --no-tidy leaves it out.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
source "$root/scripts/dependencies.sh"
source "$root/scripts/build.sh"
cd "$root"
tidy=yes
case ${1:-} in
--no-tidy) tidy=no ;;
"") ;;
*)
    echo "Usage: scripts/check.sh [--no-tidy]" >&2
    exit 2
    ;;
esac

failed=()
# check NAME COMMAND...: goes on after a failure, so that one run shows them all.
check()
{
    local name=$1
    shift
    printf '\n== %s\n' "$name"
    "$@" || failed+=("$name")
}

# The tree's files whose names match the pattern, each ended by a zero byte.
files()
{
    python3 -B -c 'import re, sys; sys.path.insert(0, "scripts"); import source_tree
for name in source_tree.source_files():
    if re.search(sys.argv[1], name): print(name, end="\0")' "$1"
}

format_check()
{
    local report status=0
    report=$(files '\.(cpp|h)$' | xargs -0 -r clang-format --dry-run -Werror 2>&1) || status=$?
    # One line a file is enough: clang-format itself shows, and mends, the places.
    sed -nE 's/^([^ :]+):[0-9]+:[0-9]+: error: .*/clang-format -i \1/p' <<<"$report" | sort -u
    return "$status"
}

shell_check() { files '(\.sh|^run|^test|^\.ci/run)$' | xargs -0 -r shellcheck --external-sources --source-path="$root"; }

tidy_check()
{
    build_preset debug with-tests || return 1
    local status=0
    # The warning switches are GCC's. Only our own sources: the compile commands name generated ones as well.
    run-clang-tidy -quiet -j "$(nproc)" -p build/debug -extra-arg=-Wno-unknown-warning-option "^$root/(?!build/).*\.cpp$" \
        >build/debug/tidy.log 2>&1 || status=$?
    # A header's finding is reported once for every source that includes it.
    sed 's/\x1b\[[0-9;]*m//g' build/debug/tidy.log | grep -E '(warning|error): ' | sort -u || true
    ((status == 0)) || echo "The whole report: build/debug/tidy.log"
    return "$status"
}

require_packages build app test lint
check "tests" .ci/run
check "format" format_check
check "shell scripts" shell_check
[[ $tidy == no ]] || check "clang-tidy" tidy_check

if ((${#failed[@]})); then
    printf '\nFailed:'
    printf ' [%s]' "${failed[@]}"
    printf '\n'
    exit 1
fi
printf '\nAll checks passed.\n'
