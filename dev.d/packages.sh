# Sourced by dev: the Debian packages that each purpose needs, and how they are installed.
# Lists of packages are split into words on purpose, one for each package.
# shellcheck disable=SC2086

installOptions="-y --no-install-recommends"
allPurposes="build test bench check docs fuzz coverage arm package abi"

packagesFor() {
  case $1 in
    build) echo g++ cmake ninja-build pkg-config nettle-dev rapidjson-dev libasio-dev libcli11-dev ;;
    test) echo libgtest-dev python3 tshark groff-base ;;
    bench)
      echo libbenchmark-dev libssl-dev zlib1g-dev libboost-dev libzmq3-dev nlohmann-json3-dev \
        libprotobuf-dev protobuf-compiler
      ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    coverage) echo gcovr ;;
    arm) echo g++-arm-linux-gnueabihf qemu-user libgtest-dev:armhf libstdc++6:armhf nettle-dev:armhf ;;
    package) echo dpkg-dev file ;;
    abi) echo abigail-tools git ;;
    check) echo clang clang-format clang-tidy cppcheck libclang-rt-14-dev shellcheck ;;
    docs) echo doxygen ;;
    *)
      echo "dev: no packages are listed for '$1'; there are lists for: $allPurposes" >&2
      return 2
      ;;
  esac
}

# Prints those packages for the purposes named that are not installed. One named without an
# architecture is wanted for that of this machine, or for all.
missingPackages() {
  wanted=$(for purpose in "$@"; do packagesFor "$purpose"; done)
  native=$(dpkg --print-architecture)
  states=$(dpkg-query -W -f '${Package}:${Architecture}=${db:Status-Status}\n' $wanted 2>/dev/null ||
    true)
  for package in $wanted; do
    case $package in
      *:*) set -- "$package" ;;
      *) set -- "$package:$native" "$package:all" ;;
    esac
    for name in "$@"; do
      ! echo "$states" | grep -qxF "$name=installed" || continue 2
    done
    echo "$package"
  done
}

havePackages() {
  command -v dpkg-query >/dev/null && [ -z "$(missingPackages "$@")" ]
}

asRoot() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif [ -t 0 ]; then
    sudo "$@"
  else
    sudo -n "$@"
  fi
}

# True for root, and where sudo lets this user run what quietApt runs. May ask for a password.
mayInstall() {
  [ "$(id -u)" -eq 0 ] || { command -v sudo >/dev/null && asRoot env true 2>/dev/null; }
}

# apt-get with no questions; waits if another installation is under way.
quietApt() {
  asRoot env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@"
}

# Prints the architectures that the packages given are for and that dpkg does not allow yet.
foreignArchitectures() {
  for package in "$@"; do
    case $package in
      *:*) echo "${package#*:}" ;;
    esac
  done | sort -u | grep -vxF "$(dpkg --print-foreign-architectures)"
}

# Prints the line by which root does the same as needPackages.
installLine() {
  for architecture in $(foreignArchitectures "$@"); do
    printf 'dpkg --add-architecture %s && ' "$architecture"
  done
  echo "apt-get update && apt-get install $installOptions $*"
}

# Says how much there is to install, packages that those given need included.
announcePackages() {
  count=$(apt-get -qq --simulate install $installOptions "$@" 2>/dev/null | grep -c '^Inst ') || return 0
  bytes=$(apt-get -qq --print-uris install $installOptions "$@" | awk '{ sum += $3 } END { print sum + 0 }')
  echo "dev: installing $count packages ($(((bytes + 999999) / 1000000)) MB to download):" "$@" >&2
}

# Installs what the purposes named lack. Calls nothing and needs no network if they lack nothing.
needPackages() {
  for purpose in "$@"; do packagesFor "$purpose" >/dev/null; done
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "dev: this is no Debian system, so what is missing cannot be installed from here;" >&2
    echo "dev: going on in the hope that these or their like are there:" >&2
    for purpose in "$@"; do echo "dev:   $(packagesFor "$purpose")" >&2; done
    return 0
  fi
  missing=$(missingPackages "$@" | sort -u)
  [ -n "$missing" ] || return 0
  if ! mayInstall; then
    echo "dev: packages are missing, and this user may not install them. Root can, with" >&2
    echo "dev:   $(installLine $missing)" >&2
    return 1
  fi
  for architecture in $(foreignArchitectures $missing); do
    asRoot dpkg --add-architecture "$architecture"
  done
  for attempt in 1 2; do
    # Lists that could not all be fetched may do.
    quietApt update >&2 || true
    [ "$attempt" = 2 ] || announcePackages $missing
    if quietApt install $installOptions $missing >&2; then
      return 0
    fi
    [ "$attempt" = 2 ] || echo "dev: that failed; once more" >&2
  done
  echo "dev: could not install" $missing >&2
  return 1
}
