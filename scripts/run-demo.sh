#!/usr/bin/env bash
# The demo: the application on the built-in demo fabric. With a display, norvanta opens its
# window, starts norvanta-sim on free loopback ports and connects to it. Without one, the same
# scenario runs headless and norvanta-cli prints the map it saved. Everything stays on this
# machine.
set -euo pipefail
build=${1:-build}
app="$build/App/norvanta"
cli="$build/Cli/norvanta-cli"

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$app" --demo
fi

echo "No display (neither DISPLAY nor WAYLAND_DISPLAY is set): running the demo headless and"
echo "printing its map through norvanta-cli. Run 'make run' in a desktop session for the window."
echo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
map="$work/demo.nvm"

echo "\$ norvanta --headless-demo $map"
"$app" --headless-demo "$map"
echo
echo "\$ norvanta-cli map show demo.nvm"
"$cli" map show "$map"
echo
echo "\$ norvanta-cli regs show 0001h FFF0h      # the browser's registers of the host PE"
"$cli" regs show 0001h FFF0h > "$work/regs.txt"
head -n 20 "$work/regs.txt"
