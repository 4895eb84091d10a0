#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# but only those that are missing. Runs apt-get only when something is absent.
set -eu
pkgs=(g++ cmake ninja-build pkg-config binutils python3 python3-mpmath
      libgtest-dev libgmock-dev libbenchmark-dev
      libmpfr-dev libgmp-dev libsleef-dev libgsl-dev libopenblas-dev liblapack-dev
      libboost-dev librandom123-dev libmpc-dev python3-numpy python3-scipy
      libopenmpi-dev openmpi-bin python3-matplotlib)
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
