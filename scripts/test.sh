#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite:
# the release build with every test (end-to-end desktop tests, the translation check and the
# Debian package built, installed, run and removed included), the ASan+UBSan and
# TSan builds with the tests that do not need a desktop, and a bounded libFuzzer run of the
# frame decoder, the parameter reader and the device-list reader. The sanitizers' runtime
# options (leak and race suppressions for the uninstrumented Qt) come with the asan and tsan
# test presets.
#   FUZZ_SECONDS=N  how long each fuzzer runs (default 60)
set -euo pipefail
cd "$(dirname "$0")/.."
fuzz_seconds=${FUZZ_SECONDS:-60}
jobs=$(nproc)
status=0
summary=()

step() { printf '\n==== %s ====\n' "$*"; }

run_ctest() { # preset, extra ctest arguments...
    local preset=$1
    shift
    if ctest --preset "$preset" -j "$jobs" --timeout 600 "$@"; then
        summary+=("$preset tests: passed")
    else
        summary+=("$preset tests: FAILED")
        status=1
    fi
}

step "dependencies"
bash scripts/install-deps.sh

step "format"
if git ls-files '*.cpp' '*.h' '*.c' | xargs -r clang-format --dry-run --Werror; then
    summary+=("clang-format: clean")
else
    summary+=("clang-format: FAILED")
    status=1
fi

for preset in release asan tsan; do
    step "build $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
done

step "tests (release, all but reliability)"
run_ctest release -LE reliability
step "reliability (release: misbehaving clients and neighbours, see docs/reliability.md)"
if ctest --preset release --timeout 600 -L reliability; then
    summary+=("reliability tests: passed")
else
    summary+=("reliability tests: FAILED")
    status=1
fi
step "tests (ASan + UBSan, without the full desktop)"
run_ctest asan -LE desktop
step "tests (TSan, unit and integration)"
run_ctest tsan -L 'unit|integration'

step "fuzz (${fuzz_seconds}s per target)"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs"
for target in fuzz_frame fuzz_stringparam fuzz_devicelist; do
    corpus=$(mktemp -d)
    cp -r "fuzz/corpus/$target/." "$corpus/" 2>/dev/null || true
    if "build/fuzz/fuzz/$target" -max_total_time="$fuzz_seconds" -print_final_stats=1 "$corpus" \
        >"build/fuzz/$target.log" 2>&1; then
        summary+=("$target: no crash in ${fuzz_seconds}s ($(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "build/fuzz/$target.log" | grep -o '[0-9]*$') runs)")
    else
        tail -n 40 "build/fuzz/$target.log"
        summary+=("$target: CRASH")
        status=1
    fi
    rm -rf "$corpus"
done

step "summary"
printf '%s\n' "${summary[@]}"
passed=0
failed=0
for line in "${summary[@]}"; do
    case "$line" in
    *FAILED* | *CRASH*) failed=$((failed + 1)) ;;
    *) passed=$((passed + 1)) ;;
    esac
done
echo "checks: $passed passed, $failed failed"
exit $status
