#!/bin/sh
# Shows station and panel at work: tools/demo.sh DIRECTORY [CAPTURE], where the programs lie.
# A panel starts empty, is brought what a directory holds, reports, and starts once more; another one
# is spoken to over a Unix socket, and what passes is recorded, to the file CAPTURE if it is named, and
# explained. Ends with status 0 only if every command did what it should; leaves no process and no
# other file behind.
set -eu

if [ $# -ne 1 ] && [ $# -ne 2 ]; then
  echo "usage: $0 DIRECTORY-OF-THE-PROGRAMS [CAPTURE]" >&2
  exit 2
fi
for program in nkctl nkdevice nkexplain; do
  if [ ! -x "$1/$program" ]; then
    echo "demo: $1/$program is not there; ./dev demo builds it" >&2
    exit 2
  fi
done
PATH=$(cd "$1" && pwd):$PATH
cd "$(dirname "$0")/.."  # so that the example is shown under its name in the source tree
site=examples/site
limit=120  # seconds for each step: ample on a loaded machine, and nothing waits so long in vain
scratch=$(mktemp -d)
capture=${2:-$scratch/demo.pcap}
panel=
recorder=

cleanUp() {
  for process in $panel $recorder; do
    kill "$process" 2>/dev/null || true
  done
  rm -rf "$scratch"
}
trap cleanUp EXIT
trap 'exit 1' HUP INT TERM

fail() {
  echo "demo: $*" >&2
  if [ -s "$scratch/panel.log" ]; then
    echo "demo: the panel said:" >&2
    sed 's/^/  /' "$scratch/panel.log" >&2
  fi
  exit 1
}

# Prints a command as one would type it.
show() {
  line='$'
  for word in "$@"; do
    case $word in
      '' | *[!A-Za-z0-9_./:=\&-]*) line="$line '$word'" ;;
      *) line="$line $word" ;;
    esac
  done
  printf '\n%s\n' "$line"
}

# Shows a command and runs it; it must end with status 0.
run() {
  show "$@"
  status=0
  timeout -k 2 "$limit" "$@" >"$scratch/output" || status=$?
  cat "$scratch/output"
  [ $status -ne 124 ] || fail "that did not end in time"
  [ $status -eq 0 ] || fail "that ended with status $status"
}

# The last command must have printed a line on which the pattern matches.
expect() {
  grep -q -- "$1" "$scratch/output" || fail "that should have printed: $1"
}

# Waits until a program says where it listens, and sets $link to that: awaitLink WHO PROCESS LOG.
awaitLink() {
  link=
  tries=$((limit * 10))
  while [ -z "$link" ]; do
    kill -0 "$2" 2>/dev/null || fail "the $1 ended before it listened"
    [ $tries -gt 0 ] || fail "the $1 does not say that it listens"
    tries=$((tries - 1))
    sleep 0.1
    link=$(sed -n 's/.*listening on \([^,]*\), .*/\1/p' "$3")
  done
  cat "$3"
}

# Starts a panel with the arguments given and waits until it listens. Sets $panel, and $link to
# where.
startPanel() {
  show nkdevice --link "$@" --address 2 --verbose '&'
  : >"$scratch/panel.log"
  timeout -k 2 "$((limit * 5))" nkdevice --link "$@" --address 2 --verbose >"$scratch/panel.log" 2>&1 &
  panel=$!
  awaitLink panel "$panel" "$scratch/panel.log"
}

# Waits for the panel to end by itself, and shows what it was asked meanwhile.
awaitPanel() {
  status=0
  wait "$panel" || status=$?
  panel=
  [ $status -ne 124 ] || fail "the panel did not end when it was told to"
  printf '\nMeanwhile the panel said, among other things:\n'
  grep 'request [A-Z_]* (type' "$scratch/panel.log" || true
  printf '\nThe panel ended with status %d.\n' $status
  [ $status -eq 0 ] || fail "it should have been 0"
}

# Puts a recorder before the panel. Sets $recorder, and $link to where it listens.
startRecorder() {
  set -- nkexplain --link "$link" --listen tcp://127.0.0.1:0 --record "$capture"
  show "$@" '&'
  : >"$scratch/recorder.log"
  # In the foreground, so to speak, timeout passes a signal on once and not twice.
  timeout --foreground -k 2 "$((limit * 5))" "$@" >/dev/null 2>"$scratch/recorder.log" &
  recorder=$!
  awaitLink recorder "$recorder" "$scratch/recorder.log"
}

# Ends the recorder and explains what it wrote; the beginning is shown.
explainRecord() {
  kill "$recorder"
  status=0
  wait "$recorder" || status=$?
  recorder=
  [ $status -eq 0 ] || fail "the recorder ended with status $status"
  show nkexplain "$capture"
  nkexplain "$capture" >"$scratch/explained" || fail "that ended with status $?"
  sed 20q "$scratch/explained"
  printf '... and %d more lines.\n' $(($(wc -l <"$scratch/explained") - 20))
  messages=$(grep -c '^message' "$scratch/explained")
  [ "$messages" -eq 7 ] || fail "that should have been 7 messages, not $messages"
}

station() { run nkctl --link "$link" --to 2 --timeout "$limit" "$@"; }

# The panel must have been asked for nothing but its state since line $1 of its log.
expectOnlyLooks() {
  others=$(tail -n +"$(($1 + 1))" "$scratch/panel.log" | grep 'request [A-Z_]* (type' | grep -v STATE_REQ || true)
  [ -z "$others" ] || fail "something was sent: $others"
}

echo "== A panel that starts empty, on a TCP link"
startPanel tcp://127.0.0.1:0 --state "$scratch/state" --displays $site/displays.json
station state
expect '^images  *0$'
printf '\n== It is brought what %s holds\n' $site
station sync --progress $site
expect '^the panel holds it all now$'
station images missing $site/schedules.json
expect '^none missing of 3$'
printf '\n== It reports\n'
station state
expect '^device name  *main hall$'
expect '^images  *3$'
station display
expect 'two side by side .* current$'
station statistics
expect '^image updates  *3$'
station events --sort id-desc
expect 'schedules set'
printf '\n== A second sync sends nothing\n'
before=$(wc -l <"$scratch/panel.log")
station sync $site
expect '^nothing to send$'
expectOnlyLooks "$before"
station shutdown
awaitPanel

printf '\n== The same panel, started once more, has forgotten nothing\n'
startPanel tcp://127.0.0.1:0 --state "$scratch/state" --displays $site/displays.json
station sync $site
expect '^nothing to send$'
station events
expect '  2  .*  started$'
station shutdown
awaitPanel

printf '\n== Another panel, on a Unix socket, with a recorder before it\n'
startPanel "unix://$scratch/panel.sock"
startRecorder
station generic hello panel
station time
run nkctl --link "$link" --to broadcast --timeout "$limit" generic 'hello, all panels' 'the first answer is shown'
station shutdown
awaitPanel
explainRecord
printf '\nAll went as it should.\n'
