#!/usr/bin/env bash
# Takes the README's picture of the main window on the demo fabric: a virtual X display (Xvfb),
# the application with --demo, and a grab of its window once it has connected.
#   scripts/screenshot.sh [BUILD_DIR] [OUTPUT_PNG]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
out=${2:-$root/Gui/doc/main-window.png}
app="$build/App/norvanta"

for tool in Xvfb xauth; do
    command -v "$tool" > /dev/null || { echo "$tool is missing: run scripts/setup-deps.sh" >&2; exit 1; }
done
mkdir -p "$(dirname "$out")"
work=$(mktemp -d)
# The picture shows a new user's settings, not the ones of whoever runs the script.
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_RUNTIME_DIR="$work/run"
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

# A display number nobody uses: the first free one from 90 on.
display=90
while [ -e "/tmp/.X$display-lock" ] || [ -e "/tmp/.X11-unix/X$display" ]; do
    display=$((display + 1))
done
touch "$work/Xauthority"
export XAUTHORITY="$work/Xauthority"
xauth add ":$display" . "$(od -An -N16 -tx1 /dev/urandom | tr -d ' \n')"
Xvfb ":$display" -screen 0 1400x900x24 -nolisten tcp -auth "$XAUTHORITY" > "$work/xvfb.log" 2>&1 &
xvfb_pid=$!
trap 'kill "$xvfb_pid" 2>/dev/null || true; wait "$xvfb_pid" 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 1 50); do
    [ -e "/tmp/.X11-unix/X$display" ] && break
    sleep 0.1
done

DISPLAY=":$display" QT_QPA_PLATFORM=xcb "$app" --demo --screenshot "$out"
echo "screenshot: $out"
