#!/usr/bin/env bash
# Renders the PNG files from the drawing; only after the drawing was changed. Needs rsvg-convert (librsvg2-bin).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
for size in 48 128 256; do
    rsvg-convert --width "$size" --height "$size" --output "reelwright-$size.png" reelwright.svg
done
