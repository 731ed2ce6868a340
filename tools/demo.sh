#!/bin/sh
# Shows station and panel at work: tools/demo.sh DIRECTORY, where nkctl and nkdevice lie.
# A panel starts empty, is brought what a directory holds, reports, and starts once more; another one
# is spoken to over a Unix socket. Ends with status 0 only if every command did what it should;
# leaves no process and no file behind; takes two minutes at most.
set -eu

if [ $# -ne 1 ]; then
  echo "usage: $0 DIRECTORY-OF-THE-PROGRAMS" >&2
  exit 2
fi
for program in nkctl nkdevice; do
  if [ ! -x "$1/$program" ]; then
    echo "demo: $1/$program is not there; ./dev demo builds it" >&2
    exit 2
  fi
done
PATH=$(cd "$1" && pwd):$PATH
cd "$(dirname "$0")/.."  # so that the example is shown under its name in the source tree
site=examples/site
scratch=$(mktemp -d)
panel=

cleanUp() {
  [ -z "$panel" ] || kill "$panel" 2>/dev/null || true
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
  timeout -k 2 10 "$@" >"$scratch/output" || status=$?
  cat "$scratch/output"
  [ $status -ne 124 ] || fail "that did not end in time"
  [ $status -eq 0 ] || fail "that ended with status $status"
}

# The last command must have printed a line on which the pattern matches.
expect() {
  grep -q -- "$1" "$scratch/output" || fail "that should have printed: $1"
}

# Starts a panel with the arguments given and waits until it listens. Sets $panel, and $link to
# where.
startPanel() {
  show nkdevice --link "$@" --address 2 --verbose '&'
  : >"$scratch/panel.log"
  timeout -k 2 60 nkdevice --link "$@" --address 2 --verbose >"$scratch/panel.log" 2>&1 &
  panel=$!
  link=
  tries=100
  while [ -z "$link" ]; do
    kill -0 "$panel" 2>/dev/null || fail "the panel ended before it listened"
    [ $tries -gt 0 ] || fail "the panel does not say that it listens"
    tries=$((tries - 1))
    sleep 0.1
    link=$(sed -n 's/.*listening on \(.*\), address .*/\1/p' "$scratch/panel.log")
  done
  cat "$scratch/panel.log"
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

station() { run nkctl --link "$link" --to 2 "$@"; }

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

printf '\n== Another panel, on a Unix socket\n'
startPanel "unix://$scratch/panel.sock"
station generic hello panel
station time
run nkctl --link "$link" --to broadcast generic 'hello, all panels' 'the first answer is shown'
station shutdown
awaitPanel
printf '\nAll went as it should.\n'
