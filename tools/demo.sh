#!/usr/bin/env bash
# Sets up, builds, and runs the main job on a small demo tree of workspaces.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"
bash tools/setup.sh
exec bash tools/demo-scenario.sh "$top/build/bin"
