# Sourced by dev: configuring and compiling presets, and the list of sources. Uses $root.

cores=$(nproc)

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

# Compiles a configured preset; further arguments go to cmake --build.
compile() {
  preset=$1
  shift
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
