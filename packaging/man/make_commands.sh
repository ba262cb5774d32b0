#!/bin/sh
# make_commands.sh KVTCTL PAGE.in PAGE: writes the manual page of kvtctl out of what it says of its commands itself.
set -e
here=$(dirname "$0")
kvtctl=$1

subcommands() {
  "$kvtctl" "$@" --help | awk '/^[A-Z]/ { isList = $0 == "Subcommands:" } isList && /^  [a-z]/ { print $1 }'
}

walk() {
  "$kvtctl" "$@" --help | awk -f "$here/help.awk"
  for sub in $(subcommands "$@"); do
    walk "$@" "$sub"
  done
}

walk >"$3.commands"
awk -v commands="$3.commands" '
  $0 == "@COMMANDS@" { while ((getline line <commands) > 0) print line; next }
  { print }' "$2" >"$3.new"
mv "$3.new" "$3"
