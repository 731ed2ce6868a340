# Sourced by dev: binary compatibility with the last version that was tagged.

# Compiles the libraries of a source tree with what abidiff reads: compileLibraries TREE DIRECTORY.
compileLibraries() {
  cmake -G Ninja -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNK_BUILD_TESTS=OFF \
    -DNK_BUILD_TOOLS=OFF -DNK_BUILD_LINK=OFF >"$2.log" 2>&1 || {
    cat "$2.log" >&2
    return 1
  }
  cmake --build "$2" --parallel "$cores" >&2
}

# The major version that a built library carries in its SONAME.
majorOf() { readelf -d "$1" | sed -n 's/.*SONAME.*\.so\.\([0-9]*\)\].*/\1/p'; }

# Compares one library with its older self; says so and fails if programs could trip over a change
# and the major version is the same: compareLibrary OLD NEW.
compareLibrary() {
  name=$(basename "$2")
  status=0
  # Additions break no program.
  abidiff --no-added-syms --headers-dir1 build/abi/old/include \
    --headers-dir1 build/abi/old/support/include --headers-dir2 include \
    --headers-dir2 support/include "$1" "$2" || status=$?
  if [ $status -eq 0 ]; then
    echo "abi: $name: nothing that a program linked with $tag could trip over"
  elif [ $((status & 3)) -eq 0 ] && [ "$(majorOf "$1")" != "$(majorOf "$2")" ]; then
    echo "abi: $name: changed, and the major version with it"
  else
    echo "dev: $name: see above; CONTRIBUTING.md says which changes need another major version" >&2
    return 1
  fi
}

abi() {
  if [ "${1:-}" = keep ]; then
    needPackages build test
    configure release -DNK_BUILD_TESTS=ON
    compile release nkProtocol
    for library in build/release/libnkProtocol.so build/release/support/libnkSupport.so; do
      cmake -DKEEP=ON -DLIBRARY="$library" \
        -DLIST="abi/$(basename "$library" .so | sed 's/^lib//').symbols" -P tests/abi/symbols.cmake
    done
    return
  fi
  needPackages build abi
  tag=$(git describe --tags --abbrev=0 --match 'v*' 2>/dev/null || true)
  if [ -z "$tag" ]; then
    echo "abi: no version has been tagged yet (v*), so there is nothing to compare with"
    return
  fi
  rm -rf build/abi
  mkdir -p build/abi/old
  git archive "$tag" | tar -x -C build/abi/old
  compileLibraries build/abi/old build/abi/before
  compileLibraries . build/abi/now
  broken=
  for library in support/libnkSupport.so libnkProtocol.so; do
    compareLibrary "build/abi/before/$library" "build/abi/now/$library" || broken=1
  done
  [ -z "$broken" ]
}
