#!/usr/bin/env bash
# Runs each libFuzzer harness of a fuzz build for a bounded time on its seed corpus and on the
# inputs that once failed. New interesting inputs go to BUILD/fuzz-corpus/NAME (not into the
# repository); an input that crashes, hangs or trips a sanitizer goes to BUILD/fuzz-failures/NAME
# and makes the run fail. After fixing the fault, copy that input into tests/Fuzz/crashes/NAME so
# that `make test` replays it from then on.
#     scripts/run-fuzzers.sh BUILD_DIR SECONDS NAME...
set -uo pipefail

build=$1
seconds=$2
shift 2
source_dir=$(cd "$(dirname "$0")/.." && pwd)
failed=()
for name in "$@"; do
    fuzzer="$build/tests/Fuzz/nv-fuzz-$name"
    work="$build/fuzz-corpus/$name"
    failures="$build/fuzz-failures/$name"
    mkdir -p "$work" "$failures"
    inputs=("$work" "$source_dir/tests/Fuzz/corpus/$name")
    if [ -d "$source_dir/tests/Fuzz/crashes/$name" ]; then
        inputs+=("$source_dir/tests/Fuzz/crashes/$name")
    fi
    echo "== $name: ${seconds}s"
    if ! QT_QPA_PLATFORM=offscreen "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=1 -artifact_prefix="$failures/" "${inputs[@]}" \
            > "$build/fuzz-$name.log" 2>&1; then
        failed+=("$name")
        grep -E "^==[0-9]+==ERROR|runtime error|^SUMMARY|Test unit written" "$build/fuzz-$name.log" | head -8
    fi
    grep -E "stat::number_of_executed_units|stat::new_units_added" "$build/fuzz-$name.log" | tr '\n' ' '
    echo
done
if [ ${#failed[@]} -ne 0 ]; then
    echo "Failing harnesses: ${failed[*]} (inputs in $build/fuzz-failures, logs in $build/fuzz-NAME.log)"
    exit 1
fi
echo "No harness failed."
