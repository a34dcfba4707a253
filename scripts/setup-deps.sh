#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, but only those that are missing,
# so a prepared machine pays nothing and a fresh Debian 12 machine needs no other step.
set -euo pipefail

packages=(
    cmake ninja-build g++ ccache make python3
    googletest libgtest-dev libgmock-dev libbenchmark-dev
    qt6-base-dev qt6-svg-dev libgl-dev libqt6svg6 libqt6printsupport6
    qt6-serialport-dev  # the RS232 link
    qt6-charts-dev libqt6opengl6-dev  # the monitors' strip charts (Qt6Charts needs Qt6OpenGL's CMake files)
    libxkbcommon-x11-0 libxcb-cursor0 fonts-dejavu-core
    libssl-dev
    pkg-config libxml2-dev
    graphviz
    dbus libglib2.0-bin  # the session bus of the automation tests, and gdbus that calls it
    qt6-declarative-dev  # QJSEngine, the JavaScript macro engine
    python3-dbus  # the Python automation client of examples/ and its test
    xvfb xauth
    srecord
    libftdi1-dev  # the FTDI MPSSE I2C pods (libftdi1)
    chromium  # the report tests load each HTML report headless, from file:// only
    tshark    # the Wireshark dissector's test decodes captures with it
)
# `make fuzz` builds the parsers' harnesses with clang, libFuzzer and the sanitizers.
if [ "${1:-}" = "--fuzz" ]; then
    packages+=(clang libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing missing packages: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
# tshark's package would ask whether ordinary users may capture; they need not.
echo "wireshark-common wireshark-common/install-setuid boolean false" | "${sudo_cmd[@]}" debconf-set-selections
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
