# What the scripts share. Sourced, never run. Every function prints what it does in one line at most.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

say() { printf '%s\n' "$*"; }
die() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# Installs what is missing; quick when nothing is.
ensure_setup() { "$root/scripts/setup" --if-needed; }

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# missing_packages LIST: those of scripts/LIST that are not installed
missing_packages() {
  local packages
  mapfile -t packages < <(grep -v '^#' "$root/scripts/$1")
  # dpkg-query fails when it does not know a package; that is what is asked here.
  { dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true; } | awk '$2=="installed"{print $1}' \
    | sort -u | comm -13 - <(printf '%s\n' "${packages[@]}" | sort -u)
}

# install_packages NAME...
install_packages() {
  export DEBIAN_FRONTEND=noninteractive
  say "setup: installing $# packages"
  as_root apt-get update -q > /dev/null || die "apt-get update failed"
  as_root apt-get install -q -y --no-install-recommends "$@" > /dev/null || die "apt-get install failed"
}

# ensure_packages LIST: installs what scripts/LIST names; quick when all is there.
ensure_packages() {
  local lack; lack=$(missing_packages "$1")
  # shellcheck disable=SC2086
  [ -z "$lack" ] || install_packages $lack
}

# build_preset PRESET [TARGET...]: configures when needed and builds. Errors end the script with the last lines.
build_preset() {
  local preset=$1; shift
  local log=$root/build/$preset.log
  mkdir -p "$root/build"
  say "build: $preset"
  if ! { cmake --preset "$preset" -S "$root" && cmake --build "$root/build/$preset" -j "$jobs" ${1:+--target "$@"}; } \
      > "$log" 2>&1; then
    tail -n 60 "$log" >&2
    die "the $preset build failed; all of it stands in build/$preset.log"
  fi
}

# Builds web/dist when a source is newer than it.
build_web() {
  local dist=$root/web/dist/index.html
  if [ ! -e "$dist" ] || [ -n "$(find "$root/web" -path '*/node_modules' -prune -o -path '*/dist' -prune -o \
      -type f -newer "$dist" -print -quit)" ]; then
    say "build: page"
    (cd "$root/web" && npm run --silent build > "$root/build/web.log" 2>&1) || {
      tail -n 40 "$root/build/web.log" >&2
      die "the page's build failed"
    }
  fi
}

# with_display COMMAND...: runs it on an X server of its own, ended afterwards, with a window manager unless LUMO_WM is none.
# LUMO_MORE_SCREENS=N starts N more servers, bare ones; LUMO_SCREENS names all of them, the shared one first, to tests
# that want one to themselves. However the script ends, by an error or a signal, the kernel tells its servers to.
with_display() {
  local dir; dir=$(mktemp -d)
  local i servers=() screens=()
  for ((i = 0; i <= ${LUMO_MORE_SCREENS:-0}; i++)); do
    setpriv --pdeathsig TERM Xvfb -displayfd 3 -screen 0 "${LUMO_SCREEN:-1920x1200x24}" -nolisten tcp -noreset \
      +extension MIT-SHM +extension XTEST 3> "$dir/number$i" > "$dir/xvfb$i.log" 2>&1 &
    servers+=($!)
    for _ in $(seq 200); do
      if [ -s "$dir/number$i" ] || ! kill -0 "${servers[-1]}" 2> /dev/null; then break; fi
      sleep 0.05
    done
    [ -s "$dir/number$i" ] || die "Xvfb did not start: $(cat "$dir/xvfb$i.log")"
    screens+=(":$(cat "$dir/number$i")")
  done
  local display=${screens[0]} wm= status=0
  if [ "${LUMO_WM:-}" != none ]; then
    DISPLAY=$display setpriv --pdeathsig TERM openbox --sm-disable > "$dir/openbox.log" 2>&1 &
    wm=$!
    # A fact, not a time: the window manager has taken the screen when it names itself on the root window.
    for _ in $(seq 400); do
      DISPLAY=$display xprop -root _NET_SUPPORTING_WM_CHECK 2> /dev/null | grep -q 'window id' && break
      kill -0 "$wm" 2> /dev/null || die "openbox did not start: $(cat "$dir/openbox.log")"
      sleep 0.05
    done
  fi
  DISPLAY=$display LUMO_SCREENS="${screens[*]}" "$@" || status=$?
  kill $wm "${servers[@]}" 2>/dev/null || true
  wait $wm "${servers[@]}" 2>/dev/null || true
  rm -rf "$dir"
  return "$status"
}
