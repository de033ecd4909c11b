#!/usr/bin/env bash
# Builds one libFuzzer target and runs it for a while over its corpus:
#   scripts/fuzz.sh TARGET SECONDS [extra libFuzzer options]
# TARGET: project, decode, dds, tga, nodetypes, expr or color. The working corpus grows in
# build-fuzz/corpus/TARGET, seeded from fuzz/corpus/TARGET and the committed fixtures and examples;
# a crashing input lands in build-fuzz/crashes/. QUORIN_FUZZ_BUILD names another build folder.
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options]}
seconds=${2:?usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options]}
shift 2
build=${QUORIN_FUZZ_BUILD:-build-fuzz}

# Formulas are short, and the parser recurses once per bracket or sign, as deep as the text asks
# (the render command refuses formulas nested past 256 levels): the expression target stays within
# 1024 bytes, whose nesting the fuzzer build's stack still follows.
opts=()
case $target in
  project)   dict=project;   seeds=(examples/*.xml) ;;
  nodetypes) dict=nodetypes; seeds=() ;;
  decode)    dict=image;     seeds=($(ls tests/codecs/fixtures/* | grep -v -e '\.ref\.' -e '\.py$')) ;;
  dds)       dict=image;     seeds=(tests/codecs/fixtures/*.dds) ;;
  tga)       dict=image;     seeds=(tests/codecs/fixtures/*.tga) ;;
  expr)      dict=expr;      seeds=(); opts=(-max_len=1024) ;;
  color)     dict=color;     seeds=() ;;
  *) echo "unknown fuzz target '$target'" >&2; exit 2 ;;
esac

if [ ! -f "$build/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUORIN_FUZZ=ON >/dev/null
fi
# QUORIN_FUZZ_BUILT=1 says the build is done already (CI runs two targets at once on one build).
[ "${QUORIN_FUZZ_BUILT:-0}" = 1 ] || cmake --build "$build" -j2 --target "fuzz_$target" >/dev/null

corpus="$build/corpus/$target"
mkdir -p "$corpus" "$build/crashes"
[ -d "fuzz/corpus/$target" ] && cp -n fuzz/corpus/"$target"/* "$corpus"/ 2>/dev/null || true
for s in "${seeds[@]}"; do cp -n "$s" "$corpus"/ ; done
# Regression inputs of earlier faults start every run too.
[ -d "tests/fuzz_regressions/$target" ] && cp -n tests/fuzz_regressions/"$target"/* "$corpus"/ 2>/dev/null || true

# A render of a hostile image may ask for more memory than the sanitizer's allocator gives; the
# decoders must then fail cleanly, so an allocation over 256 MB returns null instead of ending the run.
# The decoder chain gets 32 MB (2M pixels): larger declared images then take the failure paths,
# and the target spends its time on the parsers rather than on filling big images.
max_mb=256
[ "$target" = decode ] && max_mb=32
# The sanitizer runtime is the shared one, which the fuzzer's C++ library comes before.
export ASAN_OPTIONS=${ASAN_OPTIONS:-allocator_may_return_null=1:max_allocation_size_mb=$max_mb:detect_leaks=1:verify_asan_link_order=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# fontconfig's process-wide caches (a new Text node asks it for the default font) are not leaks.
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$PWD/scripts/lsan.supp:print_suppressions=0}
exec "$build/fuzz/fuzz_$target" "$corpus" -dict="fuzz/dict/$dict.dict" -max_total_time="$seconds" \
  -artifact_prefix="$build/crashes/$target-" -rss_limit_mb=2048 -malloc_limit_mb=2048 -print_final_stats=1 "${opts[@]}" "$@"
