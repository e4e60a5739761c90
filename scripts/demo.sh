#!/usr/bin/env bash
# Installs the dependencies, builds Orvane (release) and runs its main job on an embedded default:
# a demo project made from synthesised audio, saved, laid out on the disc, checked, exported as a
# DDP fileset and the fileset verified. With a display ($DISPLAY or $WAYLAND_DISPLAY), the desktop
# then opens on the demo project.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset release
targets=(orvane-cli ssrc_hp)
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
    targets+=(orvane)
fi
cmake --build --preset release -j "$(nproc)" --target "${targets[@]}"
out="${1:-build/demo}"
rm -rf "$out"
build/release/cli/orvane-cli demo "$out"
build/release/cli/orvane-cli layout "$out/Demo.ovproj"
build/release/cli/orvane-cli validate "$out/Demo.ovproj" || true
build/release/cli/orvane-cli ddp export "$out/Demo.ovproj" "$out/DDP" --pq-sheet
(cd "$out/DDP" && md5sum -c checksum.md5)
# Our own verifier has the last word: sizes, frame alignment, PQ lead-out, CD-Text CRCs and MD5s.
build/release/cli/orvane-cli ddp verify "$out/DDP"
if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
    exec build/release/app/orvane "$out/Demo.ovproj"
fi
