#!/usr/bin/env bash
# Starts and stops a headless, persistent Wine for the Windows tests, with
# its prefix inside the build folder.
#   source scripts/wine.sh BUILD_DIR; wine_start; ...; wine_stop
wine_build=$(cd "$1" && pwd)
export WINEPREFIX="$wine_build/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
export WINEARCH=win64

wine_start() {
  # The first start makes the prefix; a persistent server then saves the
  # start-up cost of every test program and keeps pipes from hanging.
  wine cmd /c exit >/dev/null 2>&1 || true
  wineserver -p
  wine cmd /c exit >/dev/null 2>&1 || true
}

wine_stop() {
  wineserver -k 2>/dev/null || true
  wineserver -w 2>/dev/null || true
}
