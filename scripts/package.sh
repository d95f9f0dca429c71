#!/usr/bin/env bash
# Builds the Debian package into build/package and has its parts judged: scripts/package.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
source "$root/scripts/dependencies.sh"
source "$root/scripts/build.sh"
require_packages build app package

# Judged first: a package with a wrong entry is not shown by any desktop.
desktop-file-validate "$root"/packaging/*.desktop
appstreamcli validate --no-net "$root"/packaging/*.metainfo.xml >&2

build_preset release without-tests
mkdir -p "$root/build/package"
(cd "$root/build/package" && cpack -G DEB --config "$root/build/release/CPackConfig.cmake" -B "$root/build/package") >&2
for package in "$root"/build/package/*.deb; do
    printf '%s\n' "$package"
done
