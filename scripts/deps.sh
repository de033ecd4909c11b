#!/usr/bin/env bash
# Installs the build and test dependencies from Debian's packages (as root), skipping what is there.
set -euo pipefail
packages=(build-essential cmake pkg-config
          libpng-dev libjpeg62-turbo-dev libjxr-dev libboost-dev libxml2-dev
          libfreetype-dev libfontconfig-dev fonts-dejavu-core
          libgtest-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libopenexr-dev
          libcpp-httplib-dev nodejs chromium
          python3-dev python3-pybind11 python3-numpy python3-distributed python3-pytest
          clang libclang-rt-14-dev libomp-14-dev llvm)  # the fuzz targets: clang with libFuzzer and the sanitizers
# The editor's page is bundled from npm packages at build time; npm comes with some nodejs builds.
command -v npm >/dev/null 2>&1 || packages+=(npm)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then echo "missing packages need root: ${missing[*]}" >&2; exit 1; fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
