#!/usr/bin/env bash
# Sets up a fresh machine and builds the Release configuration into build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S . -B build/release "${generator[@]}" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release --parallel "$(nproc)"
