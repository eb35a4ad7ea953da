#!/usr/bin/env bash
# Builds the libFuzzer targets (the `fuzz` preset: clang, AddressSanitizer,
# UndefinedBehaviorSanitizer) and runs every one of them in turn for SECONDS
# each (default 60), starting from its kept inputs under fuzz/corpus/NAME and
# fuzz/regressions/NAME. The fuzzers work in a scratch folder, so the
# repository is left as it was. Fails when any target reports a finding; the
# input that caused it is kept in the scratch folder, whose path is printed.
# The library's own dependencies come from scripts/setup.sh.
#
#   scripts/fuzz.sh [SECONDS [NAME...]]     NAME: packed, pool, ... (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
[[ "$seconds" =~ ^[1-9][0-9]*$ ]] || { echo "fuzz: SECONDS must be a whole number above 0" >&2; exit 2; }

# clang and its libFuzzer runtime (Debian ships it in libclang-rt-N-dev).
source scripts/packages.sh
install_missing clang
install_missing "libclang-rt-$(clang++ -dumpversion | cut -d. -f1)-dev"

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake --preset fuzz "${launcher[@]}" >/dev/null
build=build-fuzz

# Every fuzz target the build defines, so that a target added later is run too.
mapfile -t targets < <(cmake --build "$build" --target help | sed -n 's/^\(fuzz_[A-Za-z0-9_]*\): phony$/\1/p' | sort)
if [ $# -gt 0 ]; then
    wanted=()
    for name in "$@"; do wanted+=("fuzz_$name"); done
    targets=("${wanted[@]}")
fi
[ ${#targets[@]} -gt 0 ] || { echo "fuzz: the build defines no fuzz targets" >&2; exit 1; }
cmake --build "$build" --target "${targets[@]}"

scratch=$(mktemp -d "${TMPDIR:-/tmp}/sprig-fuzz.XXXXXX")
echo "fuzz: ${#targets[@]} targets, ${seconds} s each, working in $scratch"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
failed=()
for target in "${targets[@]}"; do
    name=${target#fuzz_}
    corpus="$scratch/corpus/$name"
    findings="$scratch/findings/$name"
    mkdir -p "$corpus" "$findings"
    [ -d "fuzz/corpus/$name" ] && cp -R "fuzz/corpus/$name/." "$corpus/"
    [ -d "fuzz/regressions/$name" ] && cp -R "fuzz/regressions/$name/." "$corpus/"
    echo "== $target"
    status=0
    # New inputs go to the scratch corpus, findings to their own folder.
    timeout $((seconds + 300)) "$build/fuzz/$target" -max_total_time="$seconds" -max_len=4096 \
        -timeout=30 -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" \
        >"$scratch/$name.log" 2>&1 || status=$?
    grep -E "^(stat::number_of_executed_units|stat::new_units_added)|^Done " "$scratch/$name.log" || true
    if [ "$status" -ne 0 ] || [ -n "$(ls -A "$findings")" ]; then
        echo "fuzz: $target failed (status $status); log $scratch/$name.log, inputs in $findings" >&2
        grep -E "ERROR|SUMMARY|runtime error" "$scratch/$name.log" | head -5 >&2 || true
        failed+=("$target")
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz: findings in ${failed[*]}" >&2
    exit 1
fi
echo "fuzz: no findings"
rm -rf "$scratch"
