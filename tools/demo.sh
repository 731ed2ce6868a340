#!/bin/sh
# Shows station and panel at work: tools/demo.sh DIRECTORY [CAPTURE], where the programs lie.
# Over each carrier a panel is started, spoken to and shut down. What crosses the TCP link is
# recorded, to the file CAPTURE if it is named, and explained. Ends with status 0 only if every
# command did what it should; leaves no process and no other file behind; takes two minutes at most.
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

# Shows a command and runs it; it must end with status 0 within 10 s.
run() {
  show "$@"
  status=0
  timeout -k 2 10 "$@" || status=$?
  [ $status -ne 124 ] || fail "that did not end in time"
  [ $status -eq 0 ] || fail "that ended with status $status"
}

# Waits until a program says where it listens, and sets $link to that: awaitLink WHO PROCESS LOG.
awaitLink() {
  link=
  tries=100
  while [ -z "$link" ]; do
    kill -0 "$2" 2>/dev/null || fail "the $1 ended before it listened"
    [ $tries -gt 0 ] || fail "the $1 does not say that it listens"
    tries=$((tries - 1))
    sleep 0.1
    link=$(sed -n 's/.*listening on \([^,]*\), .*/\1/p' "$3")
  done
  cat "$3"
}

# Starts a panel on the link given and waits until it listens. Sets $panel, and $link to where.
startPanel() {
  show nkdevice --link "$1" --address 2 --verbose '&'
  : >"$scratch/panel.log"
  timeout -k 2 60 nkdevice --link "$1" --address 2 --verbose >"$scratch/panel.log" 2>&1 &
  panel=$!
  awaitLink panel "$panel" "$scratch/panel.log"
  linesSeen=$(wc -l <"$scratch/panel.log")
}

# Waits for the panel to end by itself, and shows what it said meanwhile.
awaitPanel() {
  status=0
  wait "$panel" || status=$?
  panel=
  [ $status -ne 124 ] || fail "the panel did not end when it was told to"
  printf '\nMeanwhile the panel said:\n'
  tail -n +"$((linesSeen + 1))" "$scratch/panel.log"
  printf '\nThe panel ended with status %d.\n' $status
  [ $status -eq 0 ] || fail "it should have been 0"
}

# Puts a recorder before the panel. Sets $recorder, and $link to where it listens.
startRecorder() {
  set -- nkexplain --link "$link" --listen tcp://127.0.0.1:0 --record "$capture"
  show "$@" '&'
  : >"$scratch/recorder.log"
  # In the foreground, so to speak, timeout passes a signal on once and not twice.
  timeout --foreground -k 2 60 "$@" >/dev/null 2>"$scratch/recorder.log" &
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

# The story, over one kind of link; recorded if a second word says so.
story() {
  startPanel "$1"
  [ $# -eq 1 ] || startRecorder
  run nkctl --link "$link" --to 2 generic hello panel
  run nkctl --link "$link" --to 2 time
  run nkctl --link "$link" --to broadcast generic 'hello, all panels' 'the first answer is shown'
  run nkctl --link "$link" --to 2 shutdown
  awaitPanel
}

echo "== A panel on a TCP link"
story tcp://127.0.0.1:0 recorded
explainRecord
printf '\n== The same on a Unix socket\n'
story "unix://$scratch/panel.sock"
printf '\nAll went as it should.\n'
