#!/bin/bash
# The ABI check notices what breaks a host, and lets pass what does not.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# build NAME SONAME HEADER_TEXT SOURCE_TEXT
build() {
    mkdir -p "$work/$1"
    echo "$3" >"$work/$1/api.h"
    printf '#include "api.h"\n%s\n' "$4" >"$work/$1/api.c"
    gcc -g -O1 -shared -fPIC -Wl,-soname,"$2" "$work/$1/api.c" -o "$work/$1/lib.so"
}

# expect 0|1 NAME: what the check says of NAME against the release.
expect() {
    local status=0
    "$here/check.sh" --baseline "$work/release.abi" "$work/$2/lib.so" "$work/$2" \
        >"$work/said" 2>&1 || status=$?
    if [ "$status" != "$1" ]; then
        echo "FAILED: $2: exit status $status, expected $1"
        cat "$work/said"
        failed=1
    fi
}

header='struct state { int first; long second; };
int Use(struct state *state, int flags);
int Other(void);'
body='int Use(struct state *state, int flags) { return state->first + flags; }
int Other(void) { return 1; }'

build release libx.so.1 "$header" "$body"
abidw --headers-dir "$work/release" --drop-private-types --exported-interfaces-only \
    --no-architecture --type-id-style hash "$work/release/lib.so" >"$work/release.abi"

build same libx.so.1 "$header" "$body"
expect 0 same
build added libx.so.1 "$header
int More(void);" "$body
int More(void) { return 2; }"
expect 0 added
build removed libx.so.1 "$header" "${body%int Other*}"
expect 1 removed
build layout libx.so.1 "${header/int first;/char first; int middle;}" "$body"
expect 1 layout
build argument libx.so.1 "${header/int flags/long flags}" \
    'int Use(struct state *state, long flags) { return state->first + (int)flags; }
int Other(void) { return 1; }'
expect 1 argument
build renumbered libx.so.2 "$header" "${body%int Other*}"
expect 0 renumbered
cp -r "$work/same" "$work/bare"
strip --strip-debug "$work/bare/lib.so"
expect 1 bare

# A tag counts, not what the record has become since.
project=$work/project
mkdir -p "$project/packaging/abi"
cp "$here/check.sh" "$here/libvantor.abignore" "$project/packaging/abi/"
"$project/packaging/abi/check.sh" --record "$work/same/lib.so" "$work/same" >/dev/null
git -C "$project" init -q
git -C "$project" add packaging
git -C "$project" -c user.name=x -c user.email=x@x.example commit -q --message=release
git -C "$project" -c user.name=x -c user.email=x@x.example tag -a -m release v1
"$project/packaging/abi/check.sh" --record "$work/layout/lib.so" "$work/layout" >/dev/null
for name in same:0 layout:1; do
    status=0
    "$project/packaging/abi/check.sh" "$work/${name%:*}/lib.so" "$work/${name%:*}" >"$work/said" 2>&1 \
        || status=$?
    if [ "$status" != "${name#*:}" ] || ! grep -q 'v1' "$work/said"; then
        echo "FAILED: ${name%:*} against a tag: exit status $status"
        cat "$work/said"
        failed=1
    fi
done

[ "$failed" = 0 ] && echo "the ABI check: 9 cases hold"
exit "$failed"
