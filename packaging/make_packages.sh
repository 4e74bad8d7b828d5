#!/bin/bash
# Builds the Debian packages into build-packages/, checks them with lintian and the library's binary
# interface against that of the last release.
# usage: packaging/make_packages.sh [--record-abi] [ARCHITECTURE...]   (./run package installs first)
# Without an architecture: this machine's and arm64. The sources stay as they are: each architecture is
# built in a copy of its own, build-packages/ARCHITECTURE/vantor-VERSION.
set -euo pipefail
cd "$(dirname "$0")/.."

record=
if [ "${1:-}" = --record-abi ]; then
    record=yes
    shift
fi
native=$(dpkg --print-architecture)
if [ $# -gt 0 ]; then
    architectures=("$@")
elif [ "$native" = arm64 ]; then
    architectures=(arm64)
else
    architectures=("$native" arm64)
fi

results=$PWD/build-packages
version=$(sed -n 's/^project(vantor VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo "CMakeLists.txt names no version" >&2; exit 1; }
# The moment of the sources, not of the build: the same sources give the same packages.
moment=$(git log -1 --format=%ct)
# debhelper gives the build a home of its own, where a compiler cache would be empty.
! command -v ccache >/dev/null || export CCACHE_DIR="${CCACHE_DIR:-$(ccache -k cache_dir)}"
export DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)"

# quietly LOG COMMAND...: shows what it said only when it fails.
quietly() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "failed: $* (all of it: $log)" >&2; return 1; }
}

# The files of the project as they are now, with debian/ where dpkg-buildpackage looks for it.
copy_sources() {
    local tree=$1
    rm -rf "$tree"
    mkdir -p "$tree"
    git ls-files -z | tar --create --null --files-from - | tar --extract --directory "$tree"
    cp -a "$tree/packaging/debian" "$tree/debian"
    cat >"$tree/debian/changelog" <<END
vantor ($version) bookworm; urgency=medium

  * Release $version.

 -- $(sed -n 's/^Maintainer: //p' "$tree/debian/control")  $(date -R -u -d "@$moment")
END
}

build() {
    local architecture=$1 directory=$results/$1
    local tree=$directory/vantor-$version
    rm -rf "$directory"
    copy_sources "$tree"
    echo "building $architecture"
    (cd "$tree" && quietly "$directory/build.log" \
        dpkg-buildpackage --build=any --no-sign --host-arch="$architecture")
    cp -a "$tree"/../*_"$architecture".deb "$results/"
}

mkdir -p "$results"
rm -f "$results"/*.deb
for architecture in "${architectures[@]}"; do
    started=$SECONDS
    build "$architecture"
    echo "built $architecture in $((SECONDS - started)) s"
done

for architecture in "${architectures[@]}"; do
    # The library as it was before its debug information went into a package of its own.
    tree=$results/$architecture/vantor-$version
    packaging/abi/check.sh ${record:+--record} "$tree"/obj-*/lib/libvantor.so "$tree/include"
done
for architecture in "${architectures[@]}"; do
    # As root, too: a terminal's build machine may have nobody else.
    echo "lintian $architecture"
    lintian --allow-root --fail-on error "$results/$architecture"/*.changes
done

(cd "$results" && du -h --apparent-size -- *.deb)
