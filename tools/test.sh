#!/usr/bin/env bash
# Sets up, builds and runs every test: the plain build, then the same tests under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"
bash tools/setup.sh --asan
jobs=$(nproc 2>/dev/null || echo 2)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
echo "== tests, plain build"
(cd build && ctest -j "$jobs" --output-on-failure --timeout 600) || status=1
echo "== tests, sanitizer build"
(cd build-asan && ctest -j "$jobs" --output-on-failure --timeout 900) || status=1
exit $status
