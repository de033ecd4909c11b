#!/usr/bin/env bash
# The main job: installs what is needed, builds the engine and the quorin command, and renders an
# example project to a PNG.  Usage: bash scripts/render-example.sh [PROJECT.xml] [OUT.png]
set -euo pipefail
cd "$(dirname "$0")/.."
project=${1:-examples/generators.xml}
out=${2:-out/$(basename "${project%.xml}").png}
bash scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build -j2 --target quorin
mkdir -p "$(dirname "$out")"
build/bin/quorin render "$project" -o "$out"
echo "Rendered $project to $(realpath "$out")"
