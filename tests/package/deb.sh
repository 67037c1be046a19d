#!/usr/bin/env bash
# Packs the build, and lets lintian judge. usage: deb.sh BUILD SCRATCH
set -euo pipefail
build=$1 scratch=$2
for tool in dpkg-deb dpkg-shlibdeps lintian; do
    command -v "$tool" >/dev/null || { echo "skipped: no $tool"; exit 77; }
done
rm -rf "$scratch"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch"
for package in "$scratch"/*.deb; do
    dpkg-deb --info "$package"
    dpkg-deb --contents "$package"
done
# Only a build with the prefix /usr has its library in the directory of its architecture.
lintian --allow-root --fail-on error,warning \
    --suppress-tags pkg-config-unavailable-for-cross-compilation "$scratch"/*.deb
