#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the libFuzzer targets of tests/fuzz with clang in build-fuzz/ (or
# $PALOMET_FUZZ_BUILD_DIR) and runs each for FUZZ_SECONDS seconds (default
# 60) from its seed corpus. Fails when any target finds a crash, a leak,
# undefined behaviour or an input that runs longer than FUZZ_TIMEOUT
# seconds (default 10); the input is kept in the build folder's artifacts/.
# Arguments name the targets to run (default: all of them).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${PALOMET_FUZZ_BUILD_DIR:-$root/build-fuzz}
seconds=${FUZZ_SECONDS:-60}
timeout=${FUZZ_TIMEOUT:-10}
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(reader database dragdata filenamepattern archive)

"$root/scripts/install-deps.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
    launcher=()
    if command -v ccache > /dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    cmake -S "$root/tests/fuzz" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_COMPILER=clang++ "${launcher[@]}"
fi
cmake --build "$build" --parallel

# Inputs found on the way go to the build folder, not to the repository's
# seed corpus; a later run starts from both.
mkdir -p "$build/artifacts"
failed=()
for target in "${targets[@]}"; do
    echo "== fuzz_$target: ${seconds} s"
    mkdir -p "$build/corpus/$target"
    log="$build/fuzz_$target.log"
    status=0
    "$build/fuzz_$target" -max_total_time="$seconds" -timeout="$timeout" -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" \
        "$build/corpus/$target" "$root/tests/fuzz/corpus/$target" > "$log" 2>&1 || status=$?
    # The progress lines are many; the rest says what was run and found.
    grep -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse)' "$log" || true
    [ "$status" -eq 0 ] || failed+=("$target")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "Fuzzing found problems in: ${failed[*]} (inputs in $build/artifacts)" >&2
    exit 1
fi
