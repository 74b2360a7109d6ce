#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is missing, builds Palomet and makes its Debian package,
# palomet_<version>_<arch>.deb, in the project folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${PALOMET_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
cd "$build"
cpack -G DEB -B "$build/package" >/dev/null
deb=$(ls -t "$build"/package/palomet_*.deb | head -n 1)
cp "$deb" "$root/"
echo "$root/$(basename "$deb")"
