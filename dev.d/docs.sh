# Sourced by dev: the reference and the guides as web pages, by doxygen.

# Every class, member, file-wide function and page is held to all of doxygen's checks; no warning
# passes. docs/rows.awk lets one comment serve a row of members.
buildDocs() {
  rm -rf build/docs
  mkdir -p build/docs
  version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
  NK_VERSION=$version doxygen docs/Doxyfile
  cp -R examples build/docs/html/
  if [ -s build/docs/warnings.log ]; then
    cat build/docs/warnings.log >&2
    return 1
  fi
}
