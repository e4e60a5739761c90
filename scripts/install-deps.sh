#!/usr/bin/env bash
# Installs everything Orvane needs to build and test on Debian 12, from Debian's own packages.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
    build-essential cmake ninja-build ccache pkg-config git
    clang libclang-rt-14-dev clang-format
    libgtest-dev libgmock-dev libbenchmark-dev
    nlohmann-json3-dev libexpected-dev libssl-dev
    libsndfile1-dev libsoxr-dev libfftw3-dev libsamplerate0-dev
    libcairo2-dev libpango1.0-dev libgdk-pixbuf-2.0-dev fonts-dejavu-core poppler-utils libpoppler-cpp-dev
    librtaudio-dev
    cdrskin cuetools cdrdao libcue-dev
    qt6-base-dev qt6-base-dev-tools libgl-dev libpoppler-qt6-dev xvfb xauth fonts-dseg
    libavformat-dev libavcodec-dev libavutil-dev libswresample-dev ffmpeg flac
    libebur128-dev zip unzip chromium nodejs
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi

export DEBIAN_FRONTEND=noninteractive
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
    "${sudo_cmd[@]}" apt-get update -qq
    "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
