#!/bin/sh
# The whole test suite again under AddressSanitizer and
# UndefinedBehaviorSanitizer, a one-minute fuzzing run, and the threaded
# exports under ThreadSanitizer. Run after scripts/test.sh (CI runs both);
# about twenty minutes on two cores.
set -e
cd "$(dirname "$0")/.."
scripts/install-deps.sh

# One minute of libFuzzer with the sanitizers on, from the seed corpus.
fuzz/run.sh 60

# Any sanitizer report ends the process with a failure (no recovery), so a
# report fails its test. GCC's -Wmaybe-uninitialized misfires inside
# libstdc++ under the sanitizers' instrumentation: only that warning is not
# an error here. The property tests check fewer archives in this slower build;
# the package test is left out, since a package of this build would depend
# on the sanitizers' libraries. The sanitizers do the hardening's checks
# themselves, so the hardening flags are off here.
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQORARC_HARDENING=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -Wno-maybe-uninitialized"
cmake --build build-asan -j2
UBSAN_OPTIONS=print_stacktrace=1 QORARC_PROPERTY_ARCHIVES=150 \
  ctest --test-dir build-asan --output-on-failure -j2 -E '^packaging$'

# ThreadSanitizer over the program and the end-to-end tests that export with
# several threads: the batch-edge cases, a write failing part way, Parquet's
# page encoders, compressed blocks, the property archives, the cursor's live
# archives and its killed runs, each run with one and with three threads. A
# race report ends the program with status 66, which fails its test.
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQORARC_HARDENING=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=thread -Wno-maybe-uninitialized"
cmake --build build-tsan -j2 --target QorArc end_to_end_tests
TSAN_OPTIONS="halt_on_error=1 exitcode=66" QORARC_PROPERTY_ARCHIVES=100 \
  ctest --test-dir build-tsan --output-on-failure -j2 \
    -R 'ParallelExportTest|ParallelFailureTest|ParquetExportTest|UnattendedTest|PropertyTest|StateCursorTest|StateCommitTest'
