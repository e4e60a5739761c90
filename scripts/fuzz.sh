#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time on its seed corpus.
# A crash, a leak, a sanitizer report or a broken promise in a target fails the run.
#   scripts/fuzz.sh [SECONDS_PER_TARGET]   (default 20)
# Seeds come from the committed corpus folders and from build/asan/fuzz-seeds, which the asan test
# run writes from our own writers' output (ORVANE_FUZZ_SEEDS names another folder); without it
# the fuzzers start from the rest.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-20}"
build=build/fuzz
seeds="${ORVANE_FUZZ_SEEDS:-build/asan/fuzz-seeds}"
jobs="$(nproc)"

CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DORVANE_FUZZ=ON -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_BENCH=OFF >/dev/null

# target name, its folder in the build tree, then the seed folders it reads
targets=(
    "orvane_delivery_DDPStreamFuzz delivery $seeds/ddp-stream"
    "orvane_delivery_CDTextFuzz delivery $seeds/cdtext"
    "orvane_delivery_CUESheetFuzz delivery $seeds/cue-sheet"
    "fuzz_tag_reader metadata metadata/fuzz/corpus"
    "orvane_model_ProjectDecodeFuzz model $seeds/project"
)

names=()
for entry in "${targets[@]}"; do
    read -r name _ <<<"$entry"
    names+=("$name")
done
cmake --build "$build" --target "${names[@]}" -j "$jobs"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
mkdir -p "$build/artifacts"
for entry in "${targets[@]}"; do
    read -r name folder seedFolder <<<"$entry"
    # New inputs go to a corpus inside the build tree; the seed folders are only read.
    corpus="$build/corpus/$name"
    mkdir -p "$corpus"
    inputs=("$corpus")
    if [[ -d "$seedFolder" ]]; then
        inputs+=("$seedFolder")
    else
        echo "fuzz: no seeds at $seedFolder for $name; starting from the corpus alone" >&2
    fi
    echo "fuzz: $name for ${seconds}s"
    "$build/$folder/$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$name-" "${inputs[@]}" 2>"$build/$name.log" || {
        tail -n 60 "$build/$name.log" >&2
        echo "fuzz: $name failed; the input is in $build/artifacts/" >&2
        exit 1
    }
    grep -E '^stat::number_of_executed_units|^#[0-9]+ *DONE' "$build/$name.log" || true
done
