#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the Debian packages that Palomet needs to build, test and run.
# Idempotent: packages already present are left alone, and apt is only
# asked when something is missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qt6-base-dev qt6-base-dev-tools libgl-dev
    libqt6svg6 qt6-multimedia-dev
    libpugixml-dev unzip
    dpkg-dev file
    dbus-daemon
    wit
    dosfstools fusefat
    openssl
    clang libclang-rt-14-dev
)

missing=()
for pkg in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$pkg" 2>/dev/null || true)
    [ "$status" = "installed" ] || missing+=("$pkg")
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing missing packages: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
    sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
# A fresh machine may have no package lists yet; refresh them only when
# the first attempt fails, so repeated runs stay fast and offline-friendly.
if ! "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"; then
    "${sudo_cmd[@]}" apt-get update -q
    "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
