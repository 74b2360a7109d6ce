#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs what is missing, builds Palomet and starts it. Arguments are
# passed on to the program.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
exec "${PALOMET_BUILD_DIR:-$root/build}/src/palomet" "$@"
