#!/usr/bin/env bash
# wine-prefix.sh start|stop PREFIX: makes the Wine prefix that the Windows tests run in and keeps one
# process alive in it, so that every test program starts in a tenth of a second; stop ends both.
set -u
action=$1
export WINEPREFIX=$2 WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8 TZ=UTC
export WINEDLLOVERRIDES="mscoree=d;mshtml=d;winemenubuilder.exe=d;winedbg.exe=d"
unset DISPLAY
log=$WINEPREFIX.log
keep=$WINEPREFIX/keep.fifo

prepare() {
  wineboot -i && wineserver -w || return 1
  # Wine's own bitmap and outline fonts: without them every face becomes the same substitute.
  [ -d /usr/share/wine/fonts ] && cp -n /usr/share/wine/fonts/* "$WINEPREFIX/drive_c/windows/Fonts/"
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
  wine reg add 'HKCU\Software\Wine' /v Version /d win10 /f
  wineserver -w
  touch "$WINEPREFIX/ready"
}

start() {
  mkdir -p "$WINEPREFIX"
  [ -f "$WINEPREFIX/ready" ] || prepare || return 1
  rm -f "$keep"
  mkfifo "$keep"
  # Waits for a line that never comes; "stop" ends it with the server.
  setsid wine cmd.exe /c "set /p x=" <>"$keep" &
  sleep 1
  # The first use of COM and of the desktop starts a server each. Inside a test these would hold its output
  # open, so that nobody sees the test end; a program with a desktop waits until it stands.
  wine net start RpcSs
  wine rundll32.exe shell32.dll,Control_RunDLL none
}

# CTest waits for everyone who holds its pipes, and the server inherits them: hence the log file.
case $action in
  start) start >"$log" 2>&1 </dev/null ;;
  stop) { wineserver -k; wineserver -w; } >>"$log" 2>&1 </dev/null || true ;;
  *) echo "usage: wine-prefix.sh start|stop PREFIX" >&2; exit 2 ;;
esac
