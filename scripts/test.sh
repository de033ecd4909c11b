#!/usr/bin/env bash
# The project's test command, and all that CI runs (.ci/run calls it): installs what is needed,
# builds with -j2 and runs every test. Then, unless QUORIN_QUICK=1, three hardening stages:
#  - the whole suite once more in a clang build with AddressSanitizer and UndefinedBehaviorSanitizer
#    (build-fuzz), stopping at the first report;
#  - each fuzz target of that build for QUORIN_FUZZ_SECONDS (default 20) over its corpus;
#  - the threaded renders under ThreadSanitizer (build-tsan, clang).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
stage() { echo "== $1 ($(date -u +%T))"; }

stage "build and test"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)

if [ "${QUORIN_QUICK:-0}" = 1 ]; then
  stage "QUORIN_QUICK=1: sanitizer, fuzz and thread sanitizer stages skipped"
  exit 0
fi

stage "sanitizer build of the whole suite and the fuzz targets (clang)"
# One clang build serves both: the engine and every test with AddressSanitizer and
# UndefinedBehaviorSanitizer (and the fuzzer's coverage hooks, which cost the suite nothing), and
# the libFuzzer targets. Neither the benchmarks nor the Python package: the Python suites would
# load the instrumented extension into an uninstrumented interpreter; they run in the stage above.
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORIN_FUZZ=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON -DCMAKE_DISABLE_FIND_PACKAGE_pybind11=ON > /dev/null
cmake --build build-fuzz -j2
# The runtime is clang's shared one, which a C host that links the library alone loads after its
# own libraries (verify_asan_link_order=0); fontconfig's caches stay until exit.
(cd build-fuzz &&
  ASAN_OPTIONS=halt_on_error=1:detect_leaks=1:abort_on_error=1:verify_asan_link_order=0 \
  LSAN_OPTIONS=suppressions="$PWD/../scripts/lsan.supp":print_suppressions=0 \
  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  ctest --output-on-failure -j2)

stage "fuzz targets, ${QUORIN_FUZZ_SECONDS:-20} s each, two at a time"
fuzz_one() {
  local target=$1 log=build-fuzz/ci-$1.log
  if ! QUORIN_FUZZ_BUILT=1 bash scripts/fuzz.sh "$target" "${QUORIN_FUZZ_SECONDS:-20}" > "$log" 2>&1; then
    tail -n 80 "$log"
    echo "fuzz target $target failed; the input is in build-fuzz/crashes/" >&2
    return 1
  fi
  echo "$target: $(grep -E '^Done [0-9]+ runs' "$log" | tail -n 1)"
}
set -- project decode dds tga nodetypes expr color
while [ $# -gt 0 ]; do
  fuzz_one "$1" & first=$!
  second=
  if [ $# -gt 1 ]; then fuzz_one "$2" & second=$!; fi
  wait "$first"
  [ -z "$second" ] || wait "$second"
  shift $(( $# > 1 ? 2 : 1 ))
done
stage "ThreadSanitizer build of the threaded suite (clang)"
# Renders divided over 1, 2 and 7 threads, and two renders sharing one pool. clang's OpenMP
# runtime is built to be understood by the sanitizer; the libraries it did not instrument are
# left out of its reports.
CC=clang CXX=clang++ cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Release -DQUORIN_TSAN=ON \
  -DQUORIN_PYTHON=OFF -DQUORIN_EDITOR=OFF -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON > /dev/null
cmake --build build-tsan -j2 --target test_eval
(cd build-tsan &&
  TSAN_OPTIONS=halt_on_error=1:ignore_noninstrumented_modules=1 \
  ./test_eval --gtest_filter='Threads*:GraphRender*')
stage "done"
