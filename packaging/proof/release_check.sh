#!/bin/bash
# Proves the packages in build-packages/ in a clean Debian 12: installing, the demo as an ordinary user,
# building against them, upgrading, removing, purging. The packages of other architectures are unpacked
# and looked at.
# usage: packaging/proof/release_check.sh   (as root; ./run release-check builds the packages first)
# It works in build-release-check/. The clean system is fetched once; everything is mounted in a mount
# namespace of its own, which ends with this program however that ends.
set -euo pipefail
cd "$(dirname "$0")/../.."
source packaging/proof/steps.sh

place=$PWD/build-release-check
packages=$PWD/build-packages
native=$(dpkg --print-architecture)
clean=$place/clean-bookworm-$native

if [ "${1:-}" != --in-namespace ]; then
    [ "$(id -u)" = 0 ] || { echo "release_check.sh: debootstrap and chroot need root" >&2; exit 1; }
    ls "$packages"/*_"$native".deb >/dev/null || { echo "no packages: ./run package" >&2; exit 1; }
    exec unshare --mount --pid --fork --kill-child --propagation private \
        packaging/proof/release_check.sh --in-namespace
fi

# The mirror that this machine is set up with.
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' 'Codename: bookworm' \
    'Component: main' 2>/dev/null | head -n 1)
mirror=${mirror:-http://deb.debian.org/debian}

if [ ! -e "$clean/made" ]; then
    heading "fetch a clean Debian 12 from $mirror"
    rm -rf "$clean"
    mkdir -p "$clean/archives"
    quietly debootstrap --variant=minbase --arch="$native" --cache-dir="$clean/archives" \
        bookworm "$clean/system" "$mirror"
    : >"$clean/made"
fi

root=$place/system
rm -rf "$root"
cp -a "$clean/system" "$root"
prepare_system

for architecture in amd64 arm64; do
    if [ "$architecture" != "$native" ] && ls "$packages"/*_"$architecture".deb >/dev/null 2>&1; then
        heading "the packages for $architecture"
        look_at_packages "$architecture"
    fi
done

heading "install on a clean system"
snapshot >"$place/before"
install_packages libvantor vantor-tools vantor-picture-converter
check_installation

heading "use it as ordinary users"
use_as_users

heading "upgrade with edited settings"
check_upgrade

heading "remove, install again, purge"
check_removal
snapshot >"$place/after"
if ! diff "$place/before" "$place/after"; then
    fail "purging leaves something behind, or takes something along"
fi
done_with "the system is as it was before"

heading "install with a group that is there already"
in_system addgroup --quiet --system vantor
install_packages libvantor libvantor-dev vantor-tools
in_system usermod -aG vantor teller

heading "the demo as an ordinary user"
fetch python3
run_demo

heading "what udev makes of the rule"
fetch udev
check_udev

heading "build host applications"
fetch gcc g++ libc6-dev make cmake pkg-config
check_development

heading "purge with the group of the administrator"
in_system apt-get purge -y -qq libvantor libvantor-dev vantor-tools >"$log" 2>&1
in_system getent group vantor >/dev/null || fail "a group that was there before is gone"
[ ! -e "$root/opt/vantor" ] || fail "/opt/vantor is still there"
done_with "it stays, /opt/vantor is gone"

echo
echo "release check: passed, in $SECONDS s"
