#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the demo and the tests need.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
  # toolchain and build
  build-essential cmake ninja-build pkg-config ccache clang-format
  clang libclang-rt-14-dev llvm
  # libraries
  qtbase5-dev qtbase5-dev-tools qttools5-dev qttools5-dev-tools qtwayland5
  libqt5svg5-dev librapidxml-dev libsystemd-dev libgtest-dev
  # benchmarks (bench/, scripts/bench.sh); util-linux below brings taskset
  libbenchmark-dev
  # icons are rendered from SVG at build time
  librsvg2-bin
  # buses and desktops for the end-to-end tests and the demo
  dbus dbus-daemon dbus-bin python3 python3-dbus python3-gi
  sway waybar mako-notifier grim imagemagick libwayland-dev wayland-protocols
  xvfb x11-utils util-linux procps fontconfig fonts-dejavu-core libwayland-bin
  # the Debian package and its checks: dpkg-shlibdeps, lintian, systemd-analyze verify
  dpkg-dev lintian systemd
  # the warning box stays above full-screen applications through the layer shell
  liblayershellqtinterface-dev layer-shell-qt
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
