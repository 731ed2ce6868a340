# Sourced by dev: Debian packages, and a trial of them.

# Fails if two packages bring the same file.
eachFileOnce() {
  doubled=$(for package in "$@"; do
    dpkg-deb --fsys-tarfile "$package" | tar -t | grep -v '/$'
  done | sort | uniq -d)
  [ -z "$doubled" ] || {
    echo "dev: in more than one package: $doubled" >&2
    return 1
  }
}

# Unpacks the packages into a directory of their own; builds and runs an outside project against
# them there, in both ways; and starts the programs.
tryPackages() {
  image=$root/build/package/image
  rm -rf "$image"
  for package in "$@"; do dpkg -x "$package" "$image"; done
  # The system's loader would find the libraries where they are when they are installed.
  libraries=$(dirname "$(find "$image" -name 'libnkProtocol.so.?')")
  export LD_LIBRARY_PATH="$libraries"
  cmake -DPREFIX="$image/usr" -DSCRATCH="$root/build/package/trial" -DCOMPILER=c++ \
    -P tests/install/install.cmake
  for program in "$image"/usr/bin/*; do
    "$program" --version
    [ -f "$image/usr/share/man/man1/$(basename "$program").1.gz" ]
  done
  tools/demo.sh "$image/usr/bin"
  unset LD_LIBRARY_PATH
  if command -v systemd-analyze >/dev/null; then
    # The service names the program where it is when it is installed. With this option a finding in
    # the service itself is an error.
    for unit in nkdevice.service nkdevice@.service; do
      sed "s,^ExecStart=/usr,ExecStart=$image/usr," "$image/usr/lib/systemd/system/$unit" \
        >"build/package/$unit"
      systemd-analyze verify --man=no --recursive-errors=no "build/package/$unit"
    done
  else
    echo "the service was not verified: there is no systemd-analyze here"
  fi
}

makePackages() {
  needPackages build package
  configure package
  compile package
  rm -f build/package/*.deb
  (cd build/package && cpack) >build/package/cpack.log 2>&1 || {
    cat build/package/cpack.log >&2
    return 1
  }
  eachFileOnce build/package/*.deb
  # Where a status is asked for at once, the shell would not stop at an error.
  set +e
  (
    set -e
    tryPackages build/package/*.deb
  ) >build/package/trial.log 2>&1
  status=$?
  set -e
  if [ $status -ne 0 ]; then
    tail -n 40 build/package/trial.log >&2
    return 1
  fi
  echo "tried: an outside project by find_package and by pkg-config, the programs, the service;" \
    "build/package/trial.log has more"
  for package in build/package/*.deb; do
    echo "$package: $(dpkg-deb -f "$package" Package) needs: $(dpkg-deb -f "$package" Depends)"
  done
}
