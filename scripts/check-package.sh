#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds the Debian package and proves it whole: it holds what the
# program needs, dpkg reads its dependencies, apt can resolve them here,
# and the program installed into a scratch root runs.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
deb=$("$root/scripts/package.sh" | tail -n 1)
echo "Checking $(basename "$deb")"

fail() { echo "package check: $*" >&2; exit 1; }

contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
for file in ./usr/bin/palomet \
            ./usr/share/applications/palomet.desktop \
            ./usr/share/metainfo/palomet.metainfo.xml \
            ./usr/share/icons/hicolor/scalable/apps/palomet.svg \
            ./usr/share/icons/hicolor/48x48/apps/palomet.png; do
    grep -qxF "$file" <<<"$contents" || fail "$file is missing"
done
# Nothing of the build or the tests belongs in it.
if grep -E 'faketool|tst_|bench_|rendericon' <<<"$contents"; then
    fail "the package holds files of the tests or the build"
fi

depends=$(dpkg-deb -f "$deb" Depends)
[ -n "$depends" ] || fail "dpkg-deb reads no dependencies"
for pkg in wit unzip libqt6core6 libqt6widgets6 libpugixml1v5; do
    grep -qE "(^|, )$pkg( |,|$)" <<<"$depends" || fail "Depends lacks $pkg: $depends"
done
apt-get -s -q install "$deb" >/dev/null || fail "apt cannot resolve the dependencies"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/var/lib/dpkg/info" "$scratch/var/lib/dpkg/updates"
touch "$scratch/var/lib/dpkg/status"
# The scratch root has no libraries of its own: the dependencies are the
# system's, which the apt check above has just resolved.
dpkg --root="$scratch" --force-depends --force-not-root --log=/dev/null -i "$deb" >/dev/null 2>&1 \
    || fail "dpkg could not install it into a scratch root"
version=$("$scratch/usr/bin/palomet" --version)
[ "$version" = "palomet $(dpkg-deb -f "$deb" Version)" ] || fail "the installed program says '$version'"
echo "package check: $(basename "$deb") is whole ($version)"
