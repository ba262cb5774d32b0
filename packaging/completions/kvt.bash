# bash completion of kvtctl and kvt-server: what --help of the command so far says is what can follow.

# Options and commands that the program's help lists, one a line.
_kvt_offered() {
  "$@" --help 2>/dev/null | awk '
    /^[A-Z][A-Za-z ]*:$/ { list = $0; next }
    /^[^ ]/ { list = ""; next }
    list == "Subcommands:" && /^  [a-z]/ { print $1; next }
    list ~ /^Options:|^\[?Option/ && /^  -/ {
      line = $0
      sub(/^ +/, "", line)
      count = split(line, words, /[ ,]+/)
      for (i = 1; i <= count && words[i] ~ /^-/; ++i) print words[i]
    }'
}

_kvt_complete() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local line=("${COMP_WORDS[0]}") offered options i
  COMPREPLY=()
  case $previous in
    -c | --config) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
    --plugin-dir) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
    --log-level) mapfile -t COMPREPLY < <(compgen -W "error warning info detail trace" -- "$word"); return ;;
    -o | --output) mapfile -t COMPREPLY < <(compgen -W "table json" -- "$word"); return ;;
  esac
  # Down through the commands before the cursor. Their options go on to apply; an option's value is no command.
  offered=$(_kvt_offered "${line[@]}")
  for ((i = 1; i < COMP_CWORD; ++i)); do
    grep -qx -- "${COMP_WORDS[i]}" <<<"$(grep -v '^-' <<<"$offered")" || continue
    options+=$(grep '^-' <<<"$offered")$'\n'
    line+=("${COMP_WORDS[i]}")
    offered=$(_kvt_offered "${line[@]}")
  done
  mapfile -t COMPREPLY < <(compgen -W "$options$offered" -- "$word" | sort -u)
}

complete -o default -F _kvt_complete kvtctl kvt-server
