# bash completion of kvtctl and kvt-server: what --help of the command so far says is what can follow.

# What the program's help lists, one a line: commands, and options, with "=" behind those that take a value.
_kvt_offered() {
  "$@" --help 2>/dev/null | awk '
    /^[A-Z][A-Za-z ]*:$/ { list = $0; next }
    /^[^ ]/ { list = ""; next }
    list == "Subcommands:" && /^  [a-z]/ { print $1; next }
    list ~ /^Options:|^\[?Option/ && /^  -/ {
      sub(/^  /, "")
      sub(/  .*/, "")  # left is "-o,--output FORMAT [table]", without what it does
      count = split($1, names, ",")
      for (i = 1; i <= count; ++i) print names[i] (NF > 1 ? "=" : "")
    }'
}

# What can be the value of the option; nothing for an address, a name or a number.
_kvt_values() {
  case $1 in
    -c | --config | --ca) compopt -o filenames 2>/dev/null; compgen -f -- "$2" ;;
    --plugin-dir | --state-dir) compopt -o filenames 2>/dev/null; compgen -d -- "$2" ;;
    --log-level) compgen -W "error warning info detail trace" -- "$2" ;;
    -o | --output) compgen -W "table json" -- "$2" ;;
    --role) compgen -W "viewer operator" -- "$2" ;;
  esac
}

_kvt_complete() {
  local word=${COMP_WORDS[COMP_CWORD]} line=("${COMP_WORDS[0]}") option="" offered options i
  offered=$(_kvt_offered "${line[@]}")
  options=$offered
  # Down through the commands before the cursor. Their options go on to apply; an option's value is no command.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ -n $option ]]; then
      [[ ${COMP_WORDS[i]} == "=" ]] || option=""
    elif grep -qxF -e "${COMP_WORDS[i]}=" <<<"$options"; then
      option=${COMP_WORDS[i]}
    elif [[ ${COMP_WORDS[i]} != -* ]] && grep -qxF -e "${COMP_WORDS[i]}" <<<"$offered"; then
      line+=("${COMP_WORDS[i]}")
      offered=$(_kvt_offered "${line[@]}")
      options=$(grep '^-' <<<"$options")$'\n'$offered
    fi
  done
  if [[ -n $option ]]; then
    mapfile -t COMPREPLY < <(_kvt_values "$option" "${word#=}")
  else
    mapfile -t COMPREPLY < <(compgen -W "${options//=/}" -- "$word" | sort -u)
  fi
}

complete -F _kvt_complete kvtctl kvt-server
