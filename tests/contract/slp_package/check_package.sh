#!/usr/bin/env bash
# check_package.sh CMAKE BUILD SOURCE COMPILER [FLAG...]: installs the library alone into a folder of its own, looks at
# what is there and what it exports, builds a C program against it as others would, and runs that in a network without
# an interface.
set -euo pipefail
cmake=$1 build=$2 source=$3 compiler=$4
shift 4
flags=("$@")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "check_package: $*" >&2
  exit 1
}

for component in slp slp_dev; do
  "$cmake" --install "$build" --component "$component" --prefix "$work/first" >"$work/log" || fail "$(cat "$work/log")"
done
# Whoever moves the tree must not notice.
mv "$work/first" "$work/prefix"
cd "$work/prefix"
libdir=$(dirname "$(find . -name libslp.a)")
cmake_dir=$libdir/cmake/ServerDiscovery
targets=$(find "$cmake_dir" -name 'ServerDiscoverySlp*.cmake' | LC_ALL=C sort | xargs)
expected="./include/slp.h $targets $libdir/libslp.a $libdir/libslp.so $libdir/libslp.so.1 $libdir/pkgconfig/slp.pc"
found=$(find . ! -type d | LC_ALL=C sort | xargs)
[ "$found" = "$expected" ] || fail "installed: $found"

# What the header declares is what the library exports, and nothing else is.
declared=$(grep -v '#define' include/slp.h | grep -o 'SLP_EXPORT [^(]*' | grep -o 'SLP[A-Za-z]*$' | LC_ALL=C sort)
exported=$(nm --dynamic --defined-only --format=posix "$libdir/libslp.so" | cut -d' ' -f1 | LC_ALL=C sort)
[ "$(echo "$declared" | wc -l)" -ge 19 ] || fail "the header declares too little: $declared"
[ "$declared" = "$exported" ] || fail "declared and exported differ: $(diff <(echo "$declared") <(echo "$exported"))"
readelf --dynamic "$libdir/libslp.so" | grep -q 'SONAME.*\[libslp\.so\.1\]' || fail "no soname"

export PKG_CONFIG_PATH="$PWD/$libdir/pkgconfig" PKG_CONFIG_LIBDIR=
strict=(-Wall -Wextra -Wpedantic -Werror)
program="$source/program.c"
read -ra cflags <<<"$(pkg-config --cflags slp)"
read -ra shared <<<"$(pkg-config --libs slp)"
read -ra static <<<"$(pkg-config --static --libs slp | sed 's/-lslp/-l:libslp.a/')"
echo '#include <slp.h>' | "$compiler" -std=c89 "${strict[@]}" "${cflags[@]}" -fsyntax-only -xc -
echo '#include <slp.h>' | "$compiler" -std=c++98 "${strict[@]}" "${cflags[@]}" -fsyntax-only -xc++ -
"$compiler" -std=c99 "${strict[@]}" "${flags[@]}" "${cflags[@]}" "$program" -o "$work/with_shared" "${shared[@]}"
"$compiler" -std=c99 "${strict[@]}" "${flags[@]}" "${cflags[@]}" "$program" -o "$work/with_static" "${static[@]}"
readelf --dynamic "$work/with_shared" | grep -q 'NEEDED.*libslp' || fail "the shared library was not taken"
if readelf --dynamic "$work/with_static" | grep -q 'NEEDED.*libslp'; then fail "the static library was not taken"; fi

export SLP_CONF=/dev/null
LD_LIBRARY_PATH="$PWD/$libdir" timeout 60 unshare --net "$work/with_shared" || fail "with the shared library: $?"
timeout 60 unshare --net "$work/with_static" || fail "with the static library: $?"
