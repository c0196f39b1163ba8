#!/usr/bin/env bash
# Builds Release and ASan+UBSan configurations and runs the whole test suite in both, then the
# tests that run threads against each other under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
jobs=$(nproc)

echo "== Release"
cmake -S . -B build/release "${generator[@]}" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release --parallel "$jobs"
ctest --test-dir build/release --output-on-failure --parallel "$jobs"

echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
cmake -S . -B build/asan "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESS_SANITIZE=ON >/dev/null
cmake --build build/asan --parallel "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build/asan --output-on-failure --parallel "$jobs"

echo "== ThreadSanitizer (the tests whose names say Threads, Tick or Timer)"
cmake -S . -B build/tsan "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESS_TSAN=ON >/dev/null
cmake --build build/tsan --parallel "$jobs" --target core_tests engine_tests vst3_tests
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build/tsan --output-on-failure --parallel "$jobs" -R 'Threads|Tick|Timer'

echo "== Chunk fuzzing with libFuzzer (${TESS_FUZZ_SECONDS:-60} s)"
fuzz_home=$(mktemp -d)
trap 'rm -rf "$fuzz_home"' EXIT
CXX=clang++ cmake -S . -B build/fuzz "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESS_FUZZ=ON -DTESS_BENCH=OFF >/dev/null
cmake --build build/fuzz --parallel "$jobs" --target fuzz_chunk
mkdir -p "$fuzz_home/corpus"
status=0
TESS_FUZZ_SEEDS="$fuzz_home/corpus" ASAN_OPTIONS=detect_leaks=1 \
  build/fuzz/tests/fuzz/fuzz_chunk "$fuzz_home/corpus" -max_total_time="${TESS_FUZZ_SECONDS:-60}" \
  -max_len=400000 -print_final_stats=1 -artifact_prefix="$fuzz_home/" >"$fuzz_home/log" 2>&1 || status=$?
grep -E '^stat::(number_of_executed_units|new_units_added)|^Done' "$fuzz_home/log" || true
if [ "$status" -ne 0 ]; then
  tail -60 "$fuzz_home/log"
  exit "$status"
fi
