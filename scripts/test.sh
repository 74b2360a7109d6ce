#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is missing, builds Palomet and runs the whole test suite.
# Arguments are passed on to ctest (for example -R browsing).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
cd "${PALOMET_BUILD_DIR:-$root/build}"
ctest --output-on-failure --timeout 300 -j "$(nproc)" "$@"
