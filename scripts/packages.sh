# Sourced by the commands at the root: installs the Debian packages that they need and this machine lacks.

# missingPackages GROUP...: those of packaging/debian-packages.txt in these groups that are not installed.
missingPackages() {
  local groups=" $* " group package program
  while read -r group package program; do
    [[ "$groups" == *" $group "* ]] || continue
    # The program may have come another way, and then apt would take that away for its own.
    [[ -z "$program" ]] || ! command -v "$program" >/dev/null || continue
    [[ "$(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null)" == installed* ]] || echo "$package"
  done < <(grep -v '^#' packaging/debian-packages.txt)
}

# ensurePackages GROUP...: asks nothing; with nothing missing it neither needs root nor touches the network.
ensurePackages() {
  if ! command -v dpkg-query >/dev/null; then
    echo "This is not Debian: taking for granted that what packaging/debian-packages.txt lists is here." >&2
    return
  fi
  local missing
  missing="$(missingPackages "$@" | tr '\n' ' ')"
  [[ -n "$missing" ]] || return 0

  local asRoot=()
  if [[ "$(id -u)" != 0 ]]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing, and installing them needs root: apt-get install $missing" >&2
      return 1
    fi
    echo "Using sudo to install from Debian: $missing" >&2
    asRoot=(sudo)
  fi
  # A machine may hold another Boost: its headers exclude ours, and apt replaces them.
  "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq update
  # shellcheck disable=SC2086  # a list of words
  "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends $missing
}
