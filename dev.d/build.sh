# Sourced by dev: configuring and compiling presets, and the list of sources. Uses $root.

cores=$(nproc)

# Fails, and says what to do, if another user owns something under build/, as after a run as root.
needOwnBuild() {
  [ -e build ] || return 0
  foreign=$(find build ! -type l ! -writable -print -quit 2>/dev/null)
  [ -n "$foreign" ] || return 0
  echo "dev: $foreign belongs to $(stat -c %U "$foreign"), and this user cannot write to it." \
    "Root can give it to this user or remove it, with one of" >&2
  echo "dev:   chown -R $(id -un) $root/build" >&2
  echo "dev:   rm -rf $root/build" >&2
  return 1
}

# Configures a preset; further arguments go to CMake. Quiet unless it fails.
configure() {
  preset=$1
  shift
  directory=build/$preset
  cache=$directory/CMakeCache.txt
  mkdir -p "$directory"
  # A tree that was copied or moved brings a cache with the paths of its old place.
  if [ -f "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$cache"; then
    set -- --fresh "$@"
  fi
  launcher=
  if command -v ccache >/dev/null; then launcher=ccache; fi
  if ! cmake --preset "$preset" -DCMAKE_CXX_COMPILER_LAUNCHER=$launcher "$@" \
    >"$directory/configure.log" 2>&1; then
    cat "$directory/configure.log" >&2
    return 1
  fi
}

# Configures the preset release for the programs and libraries. The tests are left out where they
# could not be built; otherwise the build directory stays as ./dev test wants it.
configurePrograms() {
  if havePackages test; then tests=ON; else tests=OFF; fi
  configure release -DNK_BUILD_TESTS=$tests
}

# Says how many files a preset, or some targets of it, have that were never compiled. One takes about
# 3 s. Ninja's dry run cannot tell: it ends at the lists of files, which it always looks through anew.
announceFiles() {
  directory=build/$1
  shift
  files=$(ninja -C "$directory" -t commands "$@" | sed -n 's/.* -o \([^ ]*\.o\) -c .*/\1/p' |
    while read -r object; do [ -e "$directory/$object" ] || echo "$object"; done | wc -l)
  [ "$files" -ge 10 ] || return 0
  echo "dev: compiling $files files, $cores at once: about $((files * 3 / cores / 60 + 1)) min on a" \
    "machine that does nothing else" >&2
}

# Compiles a configured preset, or some targets of it.
compile() {
  preset=$1
  shift
  announceFiles "$preset" "$@"
  [ $# -eq 0 ] || set -- --target "$@"
  cmake --build --preset "$preset" --parallel "$cores" "$@" >&2
}

# Sanitizers keep their records at fixed addresses, and a kernel that scatters programs widely may
# have put something there already; so sanitized programs start unscattered wherever that is allowed,
# behind the words that this stores in $unscattered.
findUnscattered() {
  unscattered="setarch $(uname -m) -R"
  $unscattered true 2>/dev/null || unscattered=
}

# Prints the names of the tracked files that match the patterns given, each ended by a zero byte.
# Without git, or outside a work tree, all files stand in for the tracked ones.
trackedFiles() {
  if git ls-files --error-unmatch dev >/dev/null 2>&1; then
    git ls-files -z -- "$@"
    return
  fi
  for pattern in "$@"; do
    find . \( -path ./build -o -path ./.git \) -prune -o -type f -path "./$pattern" -print0
  done
}

cppFiles() { trackedFiles '*.cpp' '*.h'; }
