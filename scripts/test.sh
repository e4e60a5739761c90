#!/usr/bin/env bash
# Installs the dependencies, checks the formatting, builds Orvane with AddressSanitizer and
# UndefinedBehaviorSanitizer (with the standard library's own checks on) and runs every test, then
# runs the threaded modules' tests once more under ThreadSanitizer, then fuzzes each parser for a
# bounded time. This is the one command CI runs. ORVANE_TSAN=0 leaves the ThreadSanitizer stage out
# (a second build of the lower half of the tree, about six minutes on a fresh two-core machine).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

# Formatting first: it costs seconds and a failure says exactly which file.
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    git ls-files -z -- '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run -Werror
else
    find . -path ./build -prune -o \( -name '*.cpp' -o -name '*.h' \) -print0 |
        xargs -0 -r clang-format --dry-run -Werror
fi

jobs="$(nproc)"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
cmake --preset asan
cmake --build --preset asan -j "$jobs"
# The browser test's driver (playwright-core, pinned by its lock file; it uses Debian's Chromium).
npm ci --prefix delivery/tests/browser --no-audit --no-fund
ctest --preset asan -j "$jobs"

# The modules whose code runs on several threads, once more under ThreadSanitizer.
if [[ "${ORVANE_TSAN:-1}" == 1 ]]; then
    threaded=(platform render workspace monitoring)
    targets=()
    for module in "${threaded[@]}"; do targets+=("orvane_${module}_tests"); done
    export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}"
    cmake --preset tsan
    cmake --build --preset tsan -j "$jobs" --target "${targets[@]}"
    for module in "${threaded[@]}"; do
        echo "tsan: ${module}"
        "build/tsan/${module}/orvane_${module}_tests" --gtest_brief=1
    done
fi

# Then each libFuzzer target for a bounded time, seeded by what the tests above wrote.
bash scripts/fuzz.sh 20
