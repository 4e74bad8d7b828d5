#!/bin/bash
# Holds a built library's binary interface (symbols, arguments, structure layouts) against that of the
# last tag, or against libvantor.abi here as it stands while there is no tag.
# usage: packaging/abi/check.sh [--record | --baseline FILE] LIBRARY INCLUDE_DIRECTORY
# The library needs its debug information. --record writes libvantor.abi: before a release, and when
# calls have been added. Additions pass. All else fails unless the soname has changed: a host that was
# built before would no longer run.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
recorded=$here/libvantor.abi

mode=compare
baseline=
case ${1:-} in
--record) mode=record; shift ;;
--baseline) baseline=$2; shift 2 ;;
esac
library=$1
include=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

abidw --headers-dir "$include" --drop-private-types --exported-interfaces-only --no-architecture \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names --no-elf-needed \
    --type-id-style hash "$library" >"$work/now.abi"
# Without debug information the comparison would see names only, and pass.
grep -q '<function-decl' "$work/now.abi" || { echo "$library has no debug information" >&2; exit 1; }

if [ "$mode" = record ]; then
    cp "$work/now.abi" "$recorded"
    echo "ABI: recorded in $recorded"
    exit
fi

release="the record"
if [ -z "$baseline" ]; then
    baseline=$recorded
    if tag=$(git -C "$here" describe --tags --abbrev=0 2>/dev/null); then
        release=$tag
        baseline=$work/then.abi
        git -C "$here" show "$tag:packaging/abi/libvantor.abi" >"$baseline"
    fi
else
    release=$baseline
fi

soname_of() {
    sed -n "s/.*<abi-corpus .*soname='\([^']*\)'.*/\1/p" "$1"
}
symbols_of() {
    sed -n "s/.*<elf-symbol name='\([^']*\)'.*/\1/p" "$1" | sort
}
then=$(soname_of "$baseline")
now=$(soname_of "$work/now.abi")
if [ "$then" != "$now" ]; then
    echo "ABI: the soname has changed from $then to $now since $release; nothing is compared"
    exit
fi

# 1 and 2: abidiff itself failed. 4: a difference. 8: one that breaks hosts for certain.
status=0
abidiff --suppressions "$here/libvantor.abignore" --no-added-syms "$baseline" "$work/now.abi" \
    >"$work/differences" || status=$?
if [ "$status" != 0 ]; then
    cat "$work/differences" >&2
    echo "ABI: $library differs from $release (abidiff: $status) under the same soname $now" >&2
    exit 1
fi
added=$(comm -13 <(symbols_of "$baseline") <(symbols_of "$work/now.abi") | xargs)
echo "ABI: $now as in $release${added:+, and new: $added}"
