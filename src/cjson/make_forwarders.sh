#!/bin/sh
# make_forwarders.sh PROCESSOR NM LIBCJSON OUTPUT
# Writes one jump a public function of libcjson, through a slot that resolve.c fills at load.
# Linking against libcjson alone would not do: a host that links to libvantor only could not
# reach the functions, because the linker resolves symbols from named libraries only.
set -eu
processor=$1
nm=$2
library=$3
output=$4

names=$("$nm" -D --defined-only "$library" | awk '$2 == "T" { print $3 }' | grep '^cJSON' | sort)
[ -n "$names" ] || { echo "make_forwarders.sh: no functions found in $library" >&2; exit 1; }

{
    index=0
    echo '    .text'
    for name in $names; do
        printf '    .globl %s\n    .type %s, %%function\n    .p2align 4\n%s:\n' "$name" "$name" "$name"
        offset=$((8 * index))
        case $processor in
        x86_64)
            echo '    endbr64'
            echo "    jmp *cjson_slot+$offset(%rip)"
            ;;
        aarch64)
            echo '    hint #34' # bti c
            echo "    adrp x16, cjson_slot+$offset"
            echo "    ldr x16, [x16, #:lo12:cjson_slot+$offset]"
            echo '    br x16'
            ;;
        *)
            echo "make_forwarders.sh: no forwarder is written for $processor" >&2
            exit 1
            ;;
        esac
        echo "    .size $name, .-$name"
        index=$((index + 1))
    done
    echo '    .section .rodata'
    printf '    .globl cjson_names\n    .hidden cjson_names\ncjson_names:\n'
    for name in $names; do
        echo "    .asciz \"$name\""
    done
    echo '    .byte 0'
    echo '    .bss'
    printf '    .globl cjson_slot\n    .hidden cjson_slot\n    .p2align 3\ncjson_slot:\n'
    echo "    .zero $((8 * index))"
    echo '    .section .note.GNU-stack,"",%progbits'
} >"$output.new"
mv "$output.new" "$output"
