# Sourced by dev.d/check.sh: rules of this house that grep can see. Letters in brackets keep the
# patterns from finding themselves.

# forbid WHY PATTERN FILES...: prints each line of the tracked files on which the Perl-style pattern
# matches, and remembers that there was one.
forbid() {
  why=$1
  pattern=$2
  shift 2
  found=$(trackedFiles "$@" | xargs -0 -r grep -nHIP -e "$pattern" -- || true)
  [ -z "$found" ] || {
    printf '%s:\n%s\n' "$why" "$found"
    broken=1
  }
}

checkRules() {
  broken=
  # One text of the library itself has such a word in it.
  forbid 'mark of unfinished work' '^(?!.*!!!!! TO[D]O !!!!!).*\b(TO[D]O|FIX[M]E|XX[X]|HA[C]K)s?\b' '*'
  forbid 'path of one machine' '(?<![\w.~-])/(home|root|Users)/\w' '*'
  forbid 'skipped test' 'GTEST_[S]KIP|\bDISABLED[_]' '*.cpp' '*.h'
  forbid 'sleeping test' '\bsleep_(for|until)\b|\b(u|nano)sleep *\(' 'tests/*.cpp' 'tests/*.h'

  # Layers point one way, and the message and telegram layers never meet.
  forbid 'support needs nothing above it' \
    '#include ["<](nkProtocol|codec|messages|protocol|link|tools)/' 'support/*'
  forbid 'codec is below messages and telegrams' \
    '#include ["<](link|tools|messages|protocol|nkProtocol/(?!(serializer|export)\.h))' \
    'codec/*' 'include/nkProtocol/serializer.h'
  forbid 'the message layer knows no telegrams' \
    '#include ["<](link|tools|protocol|nkProtocol/(nkProtocol|protocol|\w*[tT]elegram\w*)\.h)' \
    'messages/*' 'include/nkProtocol/*essage*.h'
  forbid 'the telegram layer knows no messages' \
    '#include ["<](link|tools|messages|nkProtocol/(nkProtocol|\w*[mM]essage\w*)\.h)' \
    'protocol/*' 'include/nkProtocol/protocol.h' 'include/nkProtocol/*elegram*.h'
  forbid 'link knows no programs' '#include ["<]tools/' 'link/*'
  forbid 'link and programs use the public headers of messages and telegrams' \
    '#include ["<](messages|protocol)/' 'link/*' 'tools/*'

  # The libraries serve 32-bit and 64-bit programs alike: comments aside, no type in their
  # interfaces may change its size between the two.
  forbid 'type that differs between platforms' \
    '^((?!//).)*(\b(s?size_t|time_t|ptrdiff_t)\b|(?<!long )\blong\b(?! long))' \
    'include/*.h' 'support/include/*.h'
  [ -z "$broken" ]
}
