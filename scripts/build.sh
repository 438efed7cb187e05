#!/usr/bin/env bash
# Installs what is missing and builds one preset (default: release).
#   scripts/build.sh [release|asan|tsan|fuzz]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
bash scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
