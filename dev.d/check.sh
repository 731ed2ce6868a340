# Sourced by dev: the checks. Each step is a function; one that fails does not stop the others.

checkSteps="format shell rules docs gcc clang tidy cppcheck asan tsan"

checkUsage() {
  cat <<'END'
usage: ./dev check [STEP...]

  format    C++ files are laid out as clang-format would
  shell     shellcheck finds nothing in the scripts
  rules     house rules: no marks of unfinished work, no skipped tests, layers point one way
  docs      doxygen finds nothing wrong in headers and documents
  gcc       g++ compiles everything but the benchmarks without a warning
  clang     clang++ compiles everything without a warning, with thread-safety analysis
  tidy      clang-tidy finds nothing
  cppcheck  cppcheck finds nothing
  asan      the tests pass under the address and undefined behaviour sanitizers
  tsan      the tests pass under the thread sanitizer

Without a step all of them run. What a step printed stays in build/check/STEP.log.
END
}

step_format() { cppFiles | xargs -0 clang-format --dry-run --Werror; }

step_shell() { shellcheck --external-sources --check-sourced dev tools/*.sh .ci/run; }

step_rules() {
  . dev.d/rules.sh
  checkRules
}

step_docs() {
  . dev.d/docs.sh
  buildDocs
}

step_gcc() {
  configure release -DNK_BUILD_TESTS=ON
  compile release
}

step_clang() {
  configure clang
  compile clang
}

# Makes the list of all compilations that the readers of code below go by, and what it names that is
# generated; which itself is not for reading.
listCompilations() {
  configure clang
  compile clang nkbenchProto
}

step_tidy() {
  listCompilations
  sed -n 's/^ *"file": "\(.*\)",*$/\1/p' build/clang/compile_commands.json | sort -u |
    grep -vF "$root/build/" |
    xargs -d '\n' -n 1 -P "$cores" clang-tidy -p build/clang --quiet
}

# Receiving constructors read through serialize() of their own class, which is what they mean.
# Moved-from objects of this project are empty and may be used: that is part of their interface.
step_cppcheck() {
  listCompilations
  mkdir -p build/check/cppcheck
  cppcheck --project=build/clang/compile_commands.json --cppcheck-build-dir=build/check/cppcheck \
    --enable=warning,performance,portability --library=googletest --inline-suppr --quiet \
    --suppress='*:/usr/*' --suppress='*:*build/*' --suppress='literalWithCharPtrCompare:*tests/*' \
    --suppress=virtualCallInConstructor --suppress=accessMoved --error-exitcode=1 -j "$cores"
}

step_asan() { testSanitized asan; }
step_tsan() { testSanitized tsan; }

# Test programs also run while they are built, to list their tests.
testSanitized() {
  configure "$1"
  findUnscattered
  $unscattered cmake --build --preset "$1" --parallel "$cores"
  $unscattered ctest --preset "$1" --parallel "$cores"
}

# Runs one step and prints its line; on failure, also the end of what it printed, and adds it to
# $failed. Not to be called where a status is asked for: the step would then not stop at an error.
runStep() {
  log=build/check/$1.log
  start=$(date +%s)
  set +e
  (
    set -e
    "step_$1"
  ) >"$log" 2>&1
  status=$?
  set -e
  seconds=$(($(date +%s) - start))
  if [ $status -eq 0 ]; then
    printf 'ok      %-9s %4d s\n' "$1" $seconds
  else
    printf 'failed  %-9s %4d s, see %s\n' "$1" $seconds "$log"
    grep -v 'warnings generated\.$' "$log" | tail -n 60 | sed 's/^/    /'
    failed="$failed $1"
  fi
}

check() {
  # shellcheck disable=SC2086 # one word for each step
  [ $# -ne 0 ] || set -- $checkSteps
  for step in "$@"; do
    case " $checkSteps " in
      *" $step "*) ;;
      *)
        [ "$step" = help ] || echo "dev: there is no check '$step'" >&2
        checkUsage
        [ "$step" = help ] || return 2
        return 0
        ;;
    esac
  done
  needPackages build test bench check docs
  mkdir -p build/check
  failed=
  for step in "$@"; do
    runStep "$step"
  done
  [ -z "$failed" ] || echo "dev: failed:$failed" >&2
  [ -z "$failed" ]
}
