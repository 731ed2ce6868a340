# Sourced by dev: installs the libraries, the programs and the documents.

# Prints the directory in which a file was installed, by the end of its path.
installedIn() { dirname "$(grep -m 1 "/$1\$" build/release/install_manifest.txt)"; }

# True if the loader searches the directory without being told.
loaderKnows() {
  PATH=$PATH:/usr/sbin:/sbin ldconfig -v -N 2>/dev/null | grep -q "^$1:"
}

# Tells where things are and how programs find them.
tellInstalled() {
  libraries=$(installedIn libnkProtocol.so)
  cat <<END

Installed, as build/release/install_manifest.txt lists:
  programs    $(installedIn bin/nkctl): nkctl nkdevice nkchaos nkexplain
  libraries   $libraries
  headers     $prefix/include
  documents   $(installedIn README.md)
link/ (nk_station, carriers, guard) is not installed; docs/guides/first-link.md says how to use it.

To build a program with it:
  CMake       cmake -DCMAKE_PREFIX_PATH=$prefix, and in the project find_package(nkProtocol)
  pkg-config  export PKG_CONFIG_PATH=$libraries/pkgconfig
              c++ -std=c++20 FILE \$(pkg-config --cflags --libs nkProtocol)
END
  if loaderKnows "$libraries"; then
    echo "When it runs, the loader finds the libraries by itself."
  else
    echo "When it runs, the loader finds the libraries if the program was built by CMake, or linked with"
    echo "  \$(pkg-config --variable=runpath nkProtocol)"
    echo "or if LD_LIBRARY_PATH=$libraries is set."
  fi
}

# Builds what is installed, and nothing for the tests, and installs it under a prefix.
installUnder() {
  prefix=$1
  if ! mkdir -p "$prefix" 2>/dev/null || [ ! -w "$prefix" ]; then
    echo "dev: this user cannot write to $prefix; name another directory, or let root install" >&2
    return 1
  fi
  needPackages build
  configurePrograms
  compile release nkctl nkdevice nkchaos nkexplain nkManuals
  cmake --install build/release --prefix "$prefix" >build/install.log
  # What the loader searches is kept in a cache, which only root can write.
  ! { [ "$(id -u)" -eq 0 ] && loaderKnows "$(installedIn libnkProtocol.so)"; } || ldconfig
  tellInstalled
}
