#!/bin/sh
# Shows station and panel at work: tools/demo.sh DIRECTORY, where nkctl and nkdevice lie.
# Over each carrier a panel is started, spoken to and shut down. Ends with status 0 only if every
# command did what it should; leaves no process and no file behind; takes two minutes at most.
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
  timeout -k 2 10 "$@" || status=$?
  [ $status -ne 124 ] || fail "that did not end in time"
  [ $status -eq 0 ] || fail "that ended with status $status"
}

# Starts a panel on the link given and waits until it listens. Sets $panel, and $link to where.
startPanel() {
  show nkdevice --link "$1" --address 2 --verbose '&'
  : >"$scratch/panel.log"
  timeout -k 2 60 nkdevice --link "$1" --address 2 --verbose >"$scratch/panel.log" 2>&1 &
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

# The story, over one kind of link.
story() {
  startPanel "$1"
  run nkctl --link "$link" --to 2 generic hello panel
  run nkctl --link "$link" --to 2 time
  run nkctl --link "$link" --to broadcast generic 'hello, all panels' 'the first answer is shown'
  run nkctl --link "$link" --to 2 shutdown
  awaitPanel
}

echo "== A panel on a TCP link"
story tcp://127.0.0.1:0
printf '\n== The same on a Unix socket\n'
story "unix://$scratch/panel.sock"
printf '\nAll went as it should.\n'
