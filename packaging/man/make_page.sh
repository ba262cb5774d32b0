#!/bin/sh
# make_page.sh SERVER PAGE.in PAGE: writes the manual page of the configuration out of what the program says of its keys.
set -e
"$1" --dump-config >"$3.dump"
awk -f "$(dirname "$0")/keys.awk" "$2" "$3.dump" >"$3.new"
mv "$3.new" "$3"
