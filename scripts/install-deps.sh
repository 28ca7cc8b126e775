#!/usr/bin/env bash
# Installs the Debian packages the build, tests, benchmarks and tools need.
# Safe to run repeatedly; only missing packages are fetched.
#   --bench   also the benchmark peer (OpenCV)
#   --fuzz    also clang and its sanitizer runtimes
#   --windows also the Windows cross-compiler, Wine and GoogleTest's sources
set -euo pipefail
want=(build-essential cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev
      libpng-dev libjpeg-dev libtiff-dev libcli11-dev
      python3-numpy python3-pytest python3-setuptools python3-pip python3-venv dpkg-dev
      qemu-user gcovr)
for a in "$@"; do
  case "$a" in
    --bench) want+=(libopencv-dev) ;;
    --fuzz)  want+=(clang libclang-rt-14-dev) ;;
    --windows) want+=(g++-mingw-w64-x86-64-posix wine wine64 googletest) ;;
    *) echo "install-deps: unknown option $a" >&2; exit 2 ;;
  esac
done
missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
