#!/usr/bin/env bash
# Makes sure the Debian packages that a job needs are installed.
#   scripts/deps.sh demo   what `make demo` needs
#   scripts/deps.sh test   what `make test` needs (native, Windows under Wine, 32-bit)
#   scripts/deps.sh bench  what the benchmarks need
# As root it installs what is missing; otherwise it prints the one apt-get
# line to run and fails.
set -euo pipefail

job=${1:-test}
packages=(cmake ninja-build g++ make pkg-config zlib1g-dev)
case "$job" in
  demo) ;;
  test)
    packages+=(libgtest-dev libbenchmark-dev g++-multilib
      g++-mingw-w64-x86-64-posix mingw-w64-tools libz-mingw-w64-dev wine wine64 libwine-dev xvfb xauth) ;;
  bench) packages+=(libbenchmark-dev libopencv-imgproc-dev) ;;
  *) echo "deps.sh: unknown job '$job'" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == *"install ok installed"* ]] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

line="apt-get install -y --no-install-recommends ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  echo "Missing packages. Run as root:" >&2
  echo "  apt-get update && $line" >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# An unrelated index may fail to update; the install itself decides.
apt-get update -qq || true
$line -qq
