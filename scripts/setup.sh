#!/usr/bin/env bash
# Sets up a fresh machine, builds the Release configuration into build/release and installs
# the plug-in bundle to ~/.vst3.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S . -B build/release "${generator[@]}" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release --parallel "$(nproc)"
# The bundle goes to ~/.vst3, where hosts look for VST 3 plug-ins.
cmake --install build/release >/dev/null
echo "Installed $(realpath -m "${HOME}/.vst3/Tessarine.vst3")"
