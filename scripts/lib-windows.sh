# The libraries for Windows and where they lie. Sourced by scripts that have sourced lib.sh.

cache=${LUMO_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/lumo-windows}
export LUMO_SDK=$cache/lumo-win

sdk_archive() { # the archive to unpack; empty when there is none, or none is wanted
  if [ -n "${LUMO_WINDOWS_SDK+told}" ]; then
    printf '%s' "$LUMO_WINDOWS_SDK"
  elif [ -e "$root/../shared/windows-sdk/lumo-windows-sdk.tar.xz" ]; then
    realpath "$root/../shared/windows-sdk/lumo-windows-sdk.tar.xz"
  fi
}

have_sdk() { [ -e "$LUMO_SDK/.ready" ]; }

# relocate_sdk: makes the folder fit for the place where it lies now.
relocate_sdk() {
  local pc
  for pc in "$LUMO_SDK"/lib/pkgconfig/*.pc; do
    sed -i -e "s|^prefix=.*|prefix=$LUMO_SDK|" -e "s|^exec_prefix=.*|exec_prefix=$LUMO_SDK|" \
      -e 's|^libdir=.*|libdir=${prefix}/lib|' -e 's|^includedir=.*|includedir=${prefix}/include|' "$pc"
  done
  # We want the library alone: main stays ours.
  sed -i -e 's/-lmingw32 //; s/-lSDL2main //; s/-mwindows//; s/-Dmain=SDL_main//' "$LUMO_SDK/lib/pkgconfig/sdl2.pc"
  # Headers only, the same for every system.
  ln -sfn /usr/include/boost "$LUMO_SDK/include/boost"
  touch "$LUMO_SDK/.ready"
}

unpack_sdk() { # ARCHIVE
  [ -e "$1" ] || die "LUMO_WINDOWS_SDK: there is no $1"
  say "sdk: unpacking ${1##*/}"
  mkdir -p "$cache"
  rm -rf "$cache/unpacking"
  mkdir "$cache/unpacking"
  tar -xJf "$1" -C "$cache/unpacking" || die "$1 is not a tar archive packed by xz"
  [ -d "$cache/unpacking/lumo-win/lib/pkgconfig" ] || die "$1 holds no folder lumo-win with libraries"
  rm -rf "$LUMO_SDK"
  mv "$cache/unpacking/lumo-win" "$LUMO_SDK"
  rmdir "$cache/unpacking"
  relocate_sdk
}

make_sdk() {
  local archive; archive=$(sdk_archive)
  if have_sdk; then
    say "sdk: ready in $LUMO_SDK"
  elif [ -n "$archive" ]; then
    unpack_sdk "$archive"
  else
    "$root/scripts/windows-sdk-from-source" "$LUMO_SDK" || die "the libraries could not be built"
    relocate_sdk
  fi
}

ready_sdk() {
  ensure_setup
  ensure_packages packages-windows.txt
  make_sdk
}

# What a user gets of our own, apart from the page.
package_programs=(LumoPlayTool.exe Browse.exe lumo-host.exe LumoNet.dll LumoDecode.dll style.ss)

# ready_package: makes the installer when it is older than what goes into it.
ready_package() {
  local setup; setup=$(ls "$root"/build/windows/package/*-setup.exe 2> /dev/null || true)
  build_web
  if [ -z "$setup" ] || [ -n "$(find "${package_programs[@]/#/$root/build/windows/bin/}" "$root/web/dist" \
      "$root/packaging/windows" "$root/docs/licences.md" -type f -newer "$setup" -print -quit)" ]; then
    "$root/packaging/windows/make"
  fi
}

# windows_conversations ARGUMENT...: one Windows on a display of its own for each processor, and a Windows 10 beside them.
windows_conversations() {
  LUMO_WM=none LUMO_MORE_SCREENS=$jobs with_display "$root/tests/windows/conversations" "$@"
}
