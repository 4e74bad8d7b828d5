#!/bin/bash
# A bank card is read on the virtual reader, every exchange on the wire shown decoded; then a
# magnetic stripe and an identity card; then other cards make whole online transactions with the
# virtual issuer.
# usage: cli/demo.sh BUILD_DIRECTORY   (./run demo builds first)
#        demo.sh --installed           (the programs of the search path; without the photo)
set -euo pipefail

if [ "${1:?usage: cli/demo.sh BUILD_DIRECTORY | --installed}" = --installed ]; then
    build=
    programs=
else
    build=$(cd "$1" && pwd)
    programs=$build/bin/
fi
vantor=${programs}vantor
work=$(mktemp -d)
reader_pid=
failed=0

clean_up() {
    if [ -n "$reader_pid" ]; then
        kill "$reader_pid" 2>/dev/null || true
        wait "$reader_pid" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP

bold= dim= plain=
if [ -t 1 ]; then
    bold=$'\e[1m' dim=$'\e[2m' plain=$'\e[0m'
fi

heading() {
    printf '\n%s== %s ==%s\n' "$bold" "$1" "$plain"
}

# control COMMAND...: one line to the reader's control socket; prints the answer, for a trace its
# lines too; fails when the answer is an error.
control() {
    python3 - "$work/control" "$*" <<'EOF'
import socket, sys

line = socket.socket(socket.AF_UNIX)
line.settimeout(60)
line.connect(sys.argv[1])
line.sendall(sys.argv[2].encode() + b"\n")
answer = line.makefile(encoding="utf-8", errors="replace")
print(first := answer.readline().rstrip("\n"))
if first.startswith("ok") and sys.argv[2].startswith("trace"):
    for text in answer:
        if text == ".\n":
            break
        print(text, end="")
sys.exit(0 if first.startswith("ok") else 1)
EOF
}

# The trace lines since the last call, beside the tool's own output: all, or only the commands that
# match $trace_only with their answers.
trace_seen=0
trace_only=
show_trace() {
    control "trace since $trace_seen" >"$work/trace"
    read -r _ trace_seen <"$work/trace"
    if [ -n "$trace_only" ]; then
        sed -n '1p' "$work/trace" >"$work/some"
        grep -E -A1 --no-group-separator "$trace_only" "$work/trace" >>"$work/some" || true
        mv "$work/some" "$work/trace"
    fi
    # Long hexadecimal texts keep their beginning and their status word.
    sed -n -e 's/\([0-9A-F]\{48\}\)[0-9A-F]\{8,\}\([0-9A-F]\{4\}\)$/\1...\2/' \
        -e "2,\$s/^.*\$/    $dim&$plain/p" "$work/trace"
}

judge() {
    if [ "$1" != 0 ]; then
        echo "FAILED: exit status $1"
        failed=$((failed + 1))
    fi
}

# step WORDS...: runs the tool, shows the exchanges it made on the wire, then what it said; with
# brief=yes without the decoded objects, which are indented.
brief=
step() {
    local status=0
    printf '%s$ vantor --port %s %s%s\n' "$bold" "$port" "$*" "$plain"
    "$vantor" --port "$port" "$@" >"$work/said" 2>&1 </dev/null || status=$?
    show_trace
    if [ -n "$brief" ]; then
        grep -v '^  ' "$work/said" || true
    else
        cat "$work/said"
    fi
    judge "$status"
}

card_in_the_slot() {
    control info | python3 -c '
import json, sys
print(json.loads(sys.stdin.read().split(" ", 1)[1])["contact"]["0"]["card"])'
}

# ---- the reader ----

mkfifo "$work/ready"
"${programs}vantor-reader" --quiet --control "$work/control" >"$work/ready" &
reader_pid=$!
if ! read -r word port path <"$work/ready" || [ "$word" != ready ]; then
    echo "the virtual reader did not start" >&2
    exit 1
fi

heading "a virtual reader is on $path"
control info | sed 's/^ok //'
echo "dimmed or indented lines: what went over the wire, as the reader saw it"

heading "what the reader says about itself"
step info

heading "power the card on: its answer to reset"
step ic reset

heading "read the card: number, name, identity, tracks, balance, dates"
step ic info

heading "read the card's transaction log"
step ic log

heading "pull the card while the tool waits, put it in again"
card=$(card_in_the_slot)
control remove contact >/dev/null
read -r _ exchanges < <(control exchanges)
echo "the card is out; it comes back after the reader has said three times that there is none"
{
    control wait $((exchanges + 3)) 60000 && control insert contact "$card"
} >"$work/inserted" &
inserter=$!
status=0
printf '%s$ vantor --port %s --timeout 60 ic reset%s\n' "$bold" "$port" "$plain"
# Standard error stays what it is: a terminal shows the countdown.
"$vantor" --port "$port" --timeout 60 ic reset >"$work/said" </dev/null || status=$?
if [ "$status" != 0 ]; then
    kill "$inserter" 2>/dev/null || true # it may wait for exchanges that never come
fi
wait "$inserter" || status=$?
show_trace
cat "$work/said"
judge "$status"

heading "wait for a swipe and read the magnetic stripe"
echo "the reader's card is swiped one second after the tool has begun to wait"
step mag read

# The photo's libraries are looked for in the tool's working directory. The converter is real; the
# decoder is a stand-in that draws a portrait from the photo's bytes, since the real one is no part
# of this project.
if [ -n "$build" ]; then
    heading "read an identity card, its photo as BMP and as PNG"
    cp "$build/tests/standins/libwlt.so" "$build/lib/libPicConvert.so" "$work/" \
        || failed=$((failed + 1))
    cd "$work"
    step id read --photo "$build/photo.bmp"
    step id read --photo "$build/photo.png"
    cd "$OLDPWD"
    echo "look at it: $build/photo.png (drawn by a stand-in for the photo decoder)"
else
    heading "read an identity card"
    step id read
fi

heading "an online transaction: a card with keys, the virtual issuer verifies and approves"
control swap contact '{"kind": "reference", "file": "online.json", "card": "online-1"}' >/dev/null
echo "selecting the application and reading its records, as above, are left out of the trace"
trace_only='GENERATE AC|EXTERNAL AUTH|PUT DATA'
step ic transaction --amount 12.34 --merchant "茶馆" -- \
    --script 'put-data 9F79=000000020000'

heading "the card has entered it in its log, and the script has set its balance"
trace_only='none'
step ic log
step ic info --tags G

heading "contactless, through the calls of the terminal-standard interface"
control swap contactless '{"kind": "reference", "file": "online.json", "card": "online-contactless"}' \
    >/dev/null
trace_only='GENERATE AC|EXTERNAL AUTH'
brief=yes
step ic transaction --interface terminal --contactless --amount 8.00 --merchant "茶馆"
brief=
trace_only='none'
step ic log --interface terminal --contactless

heading "what next"
cat <<EOF
In one terminal:   ${programs}vantor-reader --control /tmp/reader.sock
In another one:    export VANTOR_PORT=pts/N      (the name that it prints)
                   $vantor ic apdu 00A404000E315041592E5359532E444446303100
                   $vantor ic info --json
                   $vantor config set Iccmd 1    (the reader's other command set)
                   $vantor ic detect
                   ${programs}vantor-issuer --help      (the issuer by itself)
                   $vantor mag number
                   $vantor id read --json
More: docs/tool.md, docs/virtual-reader.md, vantor --help
EOF

if [ "$failed" != 0 ]; then
    echo "$failed steps failed" >&2
    exit 1
fi
