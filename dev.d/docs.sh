# Sourced by dev: the reference and the guides as web pages, by doxygen.

# Every class, file-wide function and page is held to all of doxygen's checks. One warning passes:
# of members without a comment of their own, because here one comment serves a row of members, and
# what overrides something is described where it is declared first.
buildDocs() {
  rm -rf build/docs
  mkdir -p build/docs
  version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
  NK_VERSION=$version doxygen docs/Doxyfile
  cp -R examples build/docs/html/
  if grep -vE 'warning: Member .* of (class|struct) .* is not documented\.$' \
    build/docs/warnings.log >&2; then
    return 1
  fi
}
