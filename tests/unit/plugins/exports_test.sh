#!/bin/sh
# exports_test.sh <nm> <library> <symbol>...: a plug-in library shows the process exactly these symbols, and defines none
# that the process keeps for ever (type "u"), which would forbid to unload it.
nm=$1
library=$2
shift 2

shown=$("$nm" --dynamic --defined-only "$library" | awk '{ print $NF }' | sort) || exit 1
expected=$(printf '%s\n' "$@" | sort)
if [ "$shown" != "$expected" ]; then
  printf '%s shows:\n%s\nand not:\n%s\n' "$library" "$shown" "$expected"
  exit 1
fi

all=$("$nm" "$library") || exit 1
if [ -z "$all" ]; then
  echo "$library: nm lists no symbols"
  exit 1
fi
unique=$(printf '%s\n' "$all" | awk 'NF == 3 && $2 == "u"')
if [ -n "$unique" ]; then
  printf '%s defines unique symbols:\n%s\n' "$library" "$unique"
  exit 1
fi
