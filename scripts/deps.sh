#!/usr/bin/env bash
# Installs the Debian packages the project builds and tests with; skips what is there.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev libfftw3-dev
  zlib1g-dev libcjson-dev libpng-dev libstb-dev
  libcairo2-dev libxcb1-dev libxcb-xfixes0-dev libxkbcommon-x11-dev
  fonts-league-spartan fonts-dejavu-core juce-modules-source-data
  clang libclang-rt-14-dev
  libsndfile1-dev ardour sox
  xvfb xdotool imagemagick x11-utils
  liblilv-dev lv2-dev lsp-plugins-lv2 python3 bc valgrind
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
