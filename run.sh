#!/usr/bin/env bash
# Builds the remote-control service and starts it on a desktop, until interrupted. The last line is the address to open.
#
# The desktop is $DISPLAY when there is one, else a virtual one that is started here and ended again. Arguments go to kvremote:
# ./run.sh --port 8080
set -euo pipefail
cd "$(dirname "$0")"
. scripts/setup.sh

log=build/Korvane.log
started=()   # process IDs, in the order of their start

# background COMMAND...: starts a program out of reach of the terminal's interrupt key, so that we end it in our order.
background() {
  setsid "$@" </dev/null >>build/desktop.log 2>&1 &
  started+=($!)
}

# foreground COMMAND...: runs a program to its end. A signal to this script alone ends it, too, for bash hears signals while it
# waits for a background program only.
foreground() {
  "$@" &
  started+=($!)
  wait $!
  unset 'started[-1]'
}

start_virtual_desktop() {
  local number
  rm -f build/display
  mkfifo build/display
  setsid Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset \
    </dev/null 3>build/display >>build/desktop.log 2>&1 &
  started+=($!)
  read -r number <build/display || fail "the X server did not start"
  rm -f build/display
  export DISPLAY=:$number
  unset WAYLAND_DISPLAY

  xsetroot -solid '#2f5d62'
  background openbox
  background xclock -update 1 -geometry 220x220+1030+30
  background xload -update 1 -geometry 220x160+1030+300
  background ico -faces -sleep 0.05 -geometry 240x220+1030+540 -colors orange
  background xterm -geometry 110x30+30+40 -title processes -e top -d 1
  background xeyes -geometry 160x110+30+640
  wait_for_windows 5
}

# wait_for_windows COUNT: returns when the window manager shows that many windows, or after ten seconds.
wait_for_windows() {
  local i
  for ((i = 0; i < 100; i++)); do
    [ "$(xprop -root _NET_CLIENT_LIST | grep -o 0x | wc -l)" -lt "$1" ] || return 0
    sleep 0.1
  done
}

end_everything() {
  local status=$? i
  trap '' INT TERM HUP
  [ "$status" -eq 0 ] || [ "$status" -ge 128 ] || tail -n 5 build/desktop.log >&2
  for ((i = ${#started[@]} - 1; i >= 0; i--)); do
    kill "${started[i]}" 2>/dev/null || true
    wait "${started[i]}" 2>/dev/null || true
  done
  rm -f build/display build/desktop.log
  find build/data build/tmp "${XDG_RUNTIME_DIR:-/nonexistent}/korvane" "/tmp/korvane-$(id -u)" \
    -depth -type d -empty -delete 2>/dev/null || true
}

install_packages build desktop
build default kvobserve kvnotify kvremote
trap end_everything EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

: >build/desktop.log
if [ -n "${DISPLAY:-}" ]; then
  xdpyinfo >/dev/null || fail "the display that DISPLAY names cannot be used"
  echo "desktop: display $DISPLAY"
else
  start_virtual_desktop
  echo "desktop: a virtual one, display $DISPLAY"
fi

echo "log:     $log"
foreground build/bin/kvremote "$@" 2>>build/desktop.log
