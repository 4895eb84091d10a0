#!/bin/sh
# Installs the build into a fresh prefix, builds every example against the
# installed tree twice (pkg-config, then a CMake project with find_package),
# runs each and compares its output with the example built in the tree, then
# packs the Debian package and checks its contents list.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR
set -eu
build=$(cd "$1" && pwd)
src=$(cd "$2" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/qor-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
extra=${QOR_EXAMPLE_FLAGS:-}  # a sanitized library needs its programs built the same way

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name qor.pc)")/..
export PKG_CONFIG_PATH="$libdir/pkgconfig"
export LD_LIBRARY_PATH="$libdir"

# The examples that need nothing but the library (the MPI one has a test of its own).
examples=$(ls "$src"/examples/*.c "$src"/examples/*.cpp 2>/dev/null | grep -v '_mpi\.c$' || true)
[ -n "$examples" ] || { echo "no examples"; exit 1; }

cd "$src"  # the examples read their data files from here
same_output() {  # name binary
  "$2" > "$work/$1.out" 2>&1 || { echo "$1 failed:"; cat "$work/$1.out"; exit 1; }
  "$build/examples/$1" > "$work/$1.tree" 2>&1
  if ! cmp -s "$work/$1.out" "$work/$1.tree"; then
    echo "$1: output differs from the example built in the tree"
    diff "$work/$1.tree" "$work/$1.out" | head -20
    exit 1
  fi
}

# 1. pkg-config
mkdir -p "$work/pc"
for f in $examples; do
  name=$(basename "${f%.*}")
  case "$f" in *.cpp) cc=c++ ;; *) cc=cc ;; esac
  # shellcheck disable=SC2046
  $cc -O2 $extra -o "$work/pc/$name" "$f" $(pkg-config --cflags --libs qor) -lm
  same_output "$name" "$work/pc/$name"
done
echo "pkg-config: $(echo $examples | wc -w) examples built and run"

# 2. find_package(qor)
mkdir -p "$work/cm"
{
  echo 'cmake_minimum_required(VERSION 3.20)'
  echo 'project(qor_examples C CXX)'
  echo 'find_package(qor 1.0 REQUIRED)'
  for f in $examples; do
    name=$(basename "${f%.*}")
    echo "add_executable($name \"$f\")"
    echo "target_link_libraries($name PRIVATE qor::kernel qor::core m)"
  done
} > "$work/cm/CMakeLists.txt"
cmake -S "$work/cm" -B "$work/cm/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_C_FLAGS="$extra" -DCMAKE_CXX_FLAGS="$extra" >/dev/null
cmake --build "$work/cm/build" >/dev/null
for f in $examples; do
  name=$(basename "${f%.*}")
  same_output "$name" "$work/cm/build/$name"
done
echo "find_package: $(echo $examples | wc -w) examples built and run"

# 3. the Debian package
(cd "$build" && cpack -G DEB -B "$work/deb" >/dev/null)
deb=$(ls "$work"/deb/*.deb)
dpkg-deb -c "$deb" | awk '{print $NF}' > "$work/contents"
for want in libqor_core.so.2 libqor_kernel_ssse3.so include/qor/qor_bex.h include/qor/qor_bex_entries.h \
            include/qor/qor_core.h pkgconfig/qor.pc cmake/qor/qorConfig.cmake cmake/qor/qorTargets.cmake; do
  grep -q "$want\$" "$work/contents" || { echo "package lacks $want"; cat "$work/contents"; exit 1; }
done
echo "package $(basename "$deb"): $(wc -l < "$work/contents") entries, contents as expected"
