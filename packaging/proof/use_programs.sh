#!/bin/bash
# The main jobs of the installed programs, each against a virtual reader, as the user who calls it.
set -euo pipefail
work=$(mktemp -d)
readers=()
clean_up() {
    [ ${#readers[@]} = 0 ] || kill "${readers[@]}" 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT

# reader PROFILE: starts one, sets $port.
reader() {
    local word
    rm -f "$work/ready"
    mkfifo "$work/ready"
    vantor-reader --quiet --profile "$1" >"$work/ready" &
    readers+=($!)
    read -r word port _ <"$work/ready"
    [ "$word" = ready ]
}

# expect TEXT COMMAND...
expect() {
    local text=$1
    shift
    "$@" >"$work/said" 2>&1 </dev/null || { cat "$work/said"; echo "FAILED: $*"; exit 1; }
    cat "$work/said"
    grep -qF -- "$text" "$work/said" || { echo "FAILED: $* did not say $text"; exit 1; }
}

expect loglevel vantor config set loglevel 2
expect 2 vantor config get loglevel

reader default
expect "Virtual reader" vantor --port "$port" info
expect 6210948000000011 vantor --port "$port" ic info
expect 6200000000000005 vantor --port "$port" mag number
expect 张示例 vantor --port "$port" id read
reader online
expect approved vantor --port "$port" ic transaction --amount 12.34 --merchant 茶馆
expect loglevel vantor config set loglevel 1
echo "the programs work: information, IC card, stripe, identity card, an online transaction"
