#!/usr/bin/env bash
# The demo: norvanta-sim on the demo fabric, on free loopback ports, and norvanta-cli talking
# to it. Everything stays on this machine.
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
sim="$build/Simulator/norvanta-sim"
cli="$build/Cli/norvanta-cli"
work=$(mktemp -d)
trap 'kill "$sim_pid" 2>/dev/null || true; wait "$sim_pid" 2>/dev/null || true; rm -rf "$work"' EXIT

"$sim" --bind 127.0.0.1 --tcp-port 0 --udp-port 0 --broadcast-port 0 \
    "$root/Simulator/topologies/demo.topo" > "$work/ready" 2> "$work/sim.log" &
sim_pid=$!
for _ in $(seq 1 100); do
    grep -q '^norvanta-sim ready' "$work/ready" 2>/dev/null && break
    sleep 0.1
done
ready=$(head -n 1 "$work/ready")
port=$(sed -n 's/.*tcp=\([0-9]*\).*/\1/p' <<< "$ready")
if [ -z "$port" ]; then
    echo "norvanta-sim did not start:" >&2
    cat "$work/sim.log" >&2
    exit 1
fi
echo "$ready"
echo
echo "\$ norvanta-cli --port $port identify"
"$cli" --port "$port" identify
echo
echo "\$ norvanta-cli --port $port read 0 --count 2   # host PE: Device Identity, Device Information"
"$cli" --port "$port" read 0 --count 2
echo
echo "\$ norvanta-cli --port $port read 60h            # host PE: Base Device ID"
"$cli" --port "$port" read 60h
