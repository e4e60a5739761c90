#!/usr/bin/env bash
# Installs the dependencies, builds Orvane (release) and runs its main job on an embedded default:
# a demo project made from synthesised audio, saved, laid out on the disc.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset release
cmake --build --preset release -j "$(nproc)" --target orvane-cli ssrc_hp
out="${1:-build/demo}"
rm -rf "$out"
build/release/cli/orvane-cli demo "$out"
build/release/cli/orvane-cli layout "$out/Demo.ovproj"
build/release/cli/orvane-cli validate "$out/Demo.ovproj" || true
build/release/cli/orvane-cli ddp export "$out/Demo.ovproj" "$out/DDP" --pq-sheet
(cd "$out/DDP" && md5sum -c checksum.md5)
