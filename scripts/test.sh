#!/usr/bin/env bash
# Installs the dependencies, builds Orvane with AddressSanitizer and UndefinedBehaviorSanitizer,
# and runs every test. This is the one command CI runs.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
cmake --preset asan
cmake --build --preset asan -j "$(nproc)"
# The browser test's driver (playwright-core, pinned by its lock file; it uses Debian's Chromium).
npm ci --prefix delivery/tests/browser --no-audit --no-fund
ctest --preset asan -j "$(nproc)"
# Then each libFuzzer target for a bounded time, seeded by what the tests above wrote.
bash scripts/fuzz.sh 20
