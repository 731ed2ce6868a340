# Sourced by dev: the fuzz targets. What they keep on finding things with stays under
# build/fuzz/corpus, what they tripped over goes to fuzz/corpus, where the tests run it ever after.

fuzzTargets() { for file in fuzz/*Fuzz.cpp; do basename "$file" Fuzz.cpp; done; }

# fuzzOne TARGET: runs it for $seconds; leaves a log and, in a file, the exit status.
fuzzOne() {
  mkdir -p "build/fuzz/corpus/$1" "fuzz/corpus/$1"
  status=0
  $unscattered "build/fuzz/fuzz/fuzz_$1" -max_total_time="$seconds" -timeout=10 \
    -rss_limit_mb=2048 -max_len=4096 -close_fd_mask=1 -print_final_stats=1 \
    -artifact_prefix="fuzz/corpus/$1/" "build/fuzz/corpus/$1" "fuzz/corpus/$1" \
    >"build/fuzz/$1.log" 2>&1 || status=$?
  echo $status >"build/fuzz/$1.status"
}

# Runs the targets named one after the other, those whose turn it is in this one of $cores lanes.
fuzzLane() {
  lane=$1
  shift
  for target in "$@"; do
    if [ "$lane" -eq 0 ]; then fuzzOne "$target"; fi
    lane=$(((lane + cores - 1) % cores))
  done
}

# The line of one target in the table; adds it to $failed if it tripped.
fuzzReport() {
  log=build/fuzz/$1.log
  stat() { sed -n "s/^stat::$1: *//p" "$log"; }
  result=ok
  if [ "$(cat "build/fuzz/$1.status")" -ne 0 ]; then
    result=$(sed -n 's|.*Test unit written to ||p' "$log" | tail -n 1)
    result="failed: ${result:-see $log}"
    failed="$failed $1"
  fi
  printf '%-12s %12s %9s %8s %7s  %s\n' "$1" "$(stat number_of_executed_units)" \
    "$(stat average_exec_per_sec)" \
    "$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)" \
    "$(find "build/fuzz/corpus/$1" -type f | wc -l)" "$result"
}

fuzz() {
  seconds=60
  case ${1:-} in
    '' | *[!0-9]*) ;;
    *)
      seconds=$1
      shift
      ;;
  esac
  # shellcheck disable=SC2046 # one word for each target
  [ $# -ne 0 ] || set -- $(fuzzTargets)
  for target in "$@"; do
    # shellcheck disable=SC2046 # one word for each target
    [ -f "fuzz/${target}Fuzz.cpp" ] || {
      echo "dev: there is no fuzz target '$target'; there are:" $(fuzzTargets) >&2
      return 2
    }
  done
  needPackages build fuzz
  configure fuzz
  findUnscattered
  compile fuzz fuzz
  lanes=
  for lane in $(seq 0 $((cores - 1))); do
    fuzzLane "$lane" "$@" &
    lanes="$lanes $!"
  done
  # shellcheck disable=SC2086 # one word for each lane
  wait $lanes
  failed=
  printf '%-12s %12s %9s %8s %7s  %s\n' target executions 'per s' edges corpus result
  for target in "$@"; do fuzzReport "$target"; done
  [ -z "$failed" ] || echo "dev: what tripped a target is kept for ./dev test:$failed" >&2
  [ -z "$failed" ]
}
