#!/bin/sh
# CI step: builds the fuzz targets with clang (sanitizers, coverage) in
# build-fuzz and runs each for 60 seconds. Needs clang-14 and the clang
# runtime libraries of libFuzzer and the sanitizers (Debian/Ubuntu package
# libclang-rt-14-dev, or clang-14's own runtime on older releases).
#
#   tests/fuzz/ci.sh [seconds per target]
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
seconds=${1:-60}
build="$root/build-fuzz"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_C_COMPILER=clang-14 \
  -DVORP_FUZZ=ON -DVORP_TESTS=OFF
cmake --build "$build" -j2 --target fuzz_reader fuzz_run fuzz_equal fuzz_verilog fuzz_liberty
exec sh "$root/tests/fuzz/run.sh" "$build" "$seconds"
