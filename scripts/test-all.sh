#!/usr/bin/env bash
# Builds and runs every test: native Debug with AddressSanitizer and
# UndefinedBehaviorSanitizer, the Windows build under Wine, and the 32-bit
# layout tests. Ends with one line "N passed, N failed".
set -uo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh test || exit 1
totals=$(mktemp)
trap 'rm -f "$totals"' EXIT
status=0

build() {
  cmake --preset "$1" >/dev/null && cmake --build --preset "$1"
}

echo "== native (ASan + UBSan)"
if build asan; then
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1 \
    scripts/run-tests.sh native build/asan "$totals" || status=1
else
  echo "native: build failed"; echo "0 1 0" >>"$totals"; status=1
fi

echo "== windows (mingw-w64, under Wine)"
if build mingw; then
  source scripts/wine.sh build/mingw
  wine_start
  scripts/run-tests.sh windows build/mingw "$totals" -- wine || status=1
  wine_stop
else
  echo "windows: build failed"; echo "0 1 0" >>"$totals"; status=1
fi

echo "== 32-bit layout"
if build i686; then
  scripts/run-tests.sh i686 build/i686 "$totals" || status=1
else
  echo "i686: build failed"; echo "0 1 0" >>"$totals"; status=1
fi

read -r passed failed skipped < <(awk '{p+=$1; f+=$2; s+=$3} END {print p+0, f+0, s+0}' "$totals")
echo "${passed} passed, ${failed} failed"
[ "$failed" -eq 0 ] && exit "$status"
exit 1
