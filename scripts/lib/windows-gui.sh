# Sourced by scripts/windows-installer-check and scripts/windows-screenshots:
# a fresh Wine prefix, the Linux simulator beside it, and the Windows GUI
# started under Xvfb and photographed. The caller sets `root` (the
# repository) and `build_dir` (a folder built by scripts/windows-test).

wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64)
wineserver=$(dirname "$wine")/wineserver
[ -x "$wineserver" ] || wineserver=$(command -v wineserver)
export WINEDEBUG=-all
# No Mono or Gecko installer prompts; no menu entries on the Linux desktop
# for the installer's Start-menu shortcuts.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"

# Tools the GUI part needs beyond scripts/windows-test's (Debian names).
lp_gui_tools() {
  local p missing=()
  for p in xvfb xauth imagemagick; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# A new prefix in $WINEPREFIX with Wine's own windows drawn in a virtual
# desktop of $1 (WxH), so that a picture shows the title bar and frame a
# Windows user sees. Its own wineserver runs until lp_stop_wine.
lp_fresh_prefix() {
  local size=$1 log=$2
  "$wineserver" -k >>"$log" 2>&1 || true
  rm -rf "$WINEPREFIX"
  timeout 300 "$wine" wineboot --init >>"$log" 2>&1 || { echo "wineboot failed, see $log"; return 1; }
  # The default com1..com4 lead to /dev/ttyS*, where an open can block.
  rm -f "$WINEPREFIX"/dosdevices/com[0-9]*
  timeout 60 "$wine" reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f >>"$log" 2>&1
  timeout 60 "$wine" reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d "$size" /f >>"$log" 2>&1
  # wineserver adopts the first pty it opens as its terminal: start it
  # before the simulator's ptys exist, its output sent away.
  "$wineserver" -k >>"$log" 2>&1 || true
  "$wineserver" -p >>"$log" 2>&1 </dev/null &
}

lp_stop_wine() {
  "$wineserver" -k >/dev/null 2>&1 || true
}

# linkport-sim (built by scripts/windows-test into $build_dir/host) for the
# prefix: COM5 the second-generation adapter through the driver DLL $1,
# COM7 the compact one, wireless adapters on 127.0.0.2/.3. Sets sim_pid.
sim_pid=
lp_start_simulator() {
  local driver=$1 out=$2
  : >"$out"
  "$build_dir/host/bin/linkport-sim" --lp2=COM5 --compact=COM7 --wireless \
    --windir="$WINEPREFIX/drive_c/windows" --dosdevices="$WINEPREFIX/dosdevices" \
    --registry="$WINEPREFIX/sim-registry.reg" --driver-library="$driver" >"$out" 2>&1 &
  sim_pid=$!
  local _
  for _ in $(seq 100); do
    grep -q "wireless:" "$out" && return 0
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "linkport-sim did not start:"
  cat "$out"
  return 1
}

# Ends the simulator, which removes its links, INI files and driver copy.
lp_stop_simulator() {
  [ -n "$sim_pid" ] || return 0
  kill -INT "$sim_pid" 2>/dev/null || true
  wait "$sim_pid" 2>/dev/null || true
  sim_pid=
}

# The toolkit in folder $1 shows the Summary of adapter kind $2 (lp2,
# compact or wireless); the picture of Wine's desktop, trimmed to the
# window, goes to $3. Needs $DISPLAY. Fails if the window never shows.
lp_summary_picture() {
  local folder=$1 kind=$2 picture=$3 log=$4
  local edition=()
  [ "$kind" = compact ] && edition=(/CLP) # the compact edition's command line
  (cd "$folder" && timeout 60 "$wine" linkport.exe config set device "$kind" </dev/null >>"$log" 2>&1) || {
    echo "linkport.exe config set device $kind failed"
    return 1
  }
  # Wine draws its windows inside one X window (the virtual desktop), so
  # the toolkit says when its main window shows.
  local shown
  shown=$(mktemp)
  (cd "$folder" && LINKPORT_PRINT_WHEN_SHOWN=1 exec "$wine" linkport-toolkit.exe "${edition[@]}" \
     </dev/null >"$shown" 2>>"$log") &
  local gui=$! _
  for _ in $(seq 120); do
    grep -q shown "$shown" && break
    kill -0 "$gui" 2>/dev/null || break
    sleep 0.5
  done
  if ! grep -q shown "$shown"; then
    echo "the toolkit's window did not show ($kind)"
    rm -f "$shown"
    kill "$gui" 2>/dev/null || true
    wait "$gui" 2>/dev/null || true
    return 1
  fi
  rm -f "$shown"
  # The Summary reads the adapter after the window shows (a second-
  # generation adapter takes a few seconds at 9600 baud).
  sleep "${LP_WIN_SUMMARY_SECONDS:-12}"
  local whole
  whole=$(mktemp --suffix=.png)
  import -window root "$whole"
  convert "$whole" -trim +repage "$picture"
  rm -f "$whole"
  kill "$gui" 2>/dev/null || true
  wait "$gui" 2>/dev/null || true
}
