#!/usr/bin/env bash
# Writes PNGs of the desktop's windows (main window, inspector, loudness figures, a take's tone graph,
# the mastering report panel, help, PQ sheet, preview and batch panels, DDP export progress) with the
# demo project, under a virtual X server, into OUTDIR (default build/screenshots).
set -euo pipefail
cd "$(dirname "$0")/.."
out="$(realpath -m "${1:-build/screenshots}")"
cmake --preset dev >/dev/null
cmake --build build/dev -j2 --target orvane-cli orvane_screenshots
rm -rf "$out"
mkdir -p "$out"
build/dev/cli/orvane-cli demo "$out/project" >/dev/null
# Private settings, so a developer's own recent list and recovery copy stay out of the pictures.
export XDG_CONFIG_HOME="$out/config" XDG_DATA_HOME="$out/data"
xvfb-run -a -s "-screen 0 1920x1080x24" build/dev/app/tests/orvane_screenshots "$out/project/Demo.ovproj" "$out"
