# Sourced by ./run and ./test: installs what is missing from tools/packages.txt.
#
#   qv_setup SCOPE...    installs the missing packages of these scopes, saying which and why

qv_die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

qv_missing() {
  local scope name reason
  while read -r scope name reason; do
    case " $* " in *" $scope "*) ;; *) continue ;; esac
    [ "$(dpkg-query -W -f '${db:Status-Abbrev}' "$name" 2>/dev/null)" = "ii " ] || printf '%s\t%s\n' "$name" "$reason"
  done < <(grep -v '^#' tools/packages.txt)
}

qv_setup() {
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
    qv_die "this system has no apt-get; install the packages of tools/packages.txt by other means on a Debian 12 system"
  local missing as_root=""
  missing=$(qv_missing "$@")
  [ -n "$missing" ] || return 0
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || qv_die "these packages are missing, and there is neither root nor sudo to install them: $(cut -f1 <<<"$missing" | tr '\n' ' ')"
    as_root=sudo
  fi
  echo "Installing:"
  sed 's/\t/: /; s/^/  /' <<<"$missing"
  local log
  log=$(mktemp)
  export DEBIAN_FRONTEND=noninteractive
  { $as_root apt-get update -q && cut -f1 <<<"$missing" | xargs $as_root apt-get install -q -y --no-install-recommends; } >"$log" 2>&1 || {
    tail -n 20 "$log" >&2
    qv_die "apt-get could not install what is missing; is this a Debian 12 system with its package sources in place?"
  }
  rm -f "$log"
}

# Configures a preset once and builds it; prints the compiler's words only when it fails.
qv_build() {
  local preset=$1
  shift
  local log=build/$preset.log
  mkdir -p build
  { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" --log-level=WARNING; } >"$log" 2>&1 &&
    cmake --build --preset "$preset" "$@" >>"$log" 2>&1 && return 0
  tail -n 60 "$log" >&2
  return 1
}
