#!/bin/bash
# tools.sh ORIGINAL CONVERTED: what today's tools say of a converted file is nothing new: no warning of readelf, no error
# of llvm-dwarfdump --verify, no other answer of gdb. Says what it skips because a tool isn't installed. Exit status 0 if
# nothing is new, 1 if something is, 77 if no tool was there.
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
if [ $# -ne 2 ]; then
    echo "usage: tools.sh ORIGINAL CONVERTED" >&2
    exit 2
fi
original=$1 converted=$2
seconds=300
status=0 ran=0
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

first_of() {
    local name
    for name in "$@"; do
        command -v "$name" && return
    done
    return 1
}

# Lines without what differs from file to file: numbers, names in quotes and paths; sorted.
shapes() {
    sed -E "s#$original|$converted#FILE#g; s/0x[0-9a-fA-F]+/N/g; s/\b[0-9a-f]*[0-9][0-9a-f]*\b/N/g; s/'[^']*'/NAME/g; s/\"[^\"]*\"/NAME/g" |
        sort
}

# new_lines WHAT OLD NEW: shapes that NEW has more often than OLD.
new_lines() {
    shapes <"$2" >"$folder/old"
    shapes <"$3" >"$folder/new"
    if comm -13 "$folder/old" "$folder/new" | grep . >"$folder/more"; then
        echo "$1: $(wc -l <"$folder/more") new"
        sort "$folder/more" | uniq -c | sort -rn | head -8 | cut -c1-300
        head -3 "$3" | cut -c1-300 | sed 's/^/  for example: /'
        status=1
    fi
}

if command -v readelf >/dev/null; then
    ran=1
    for which in original converted; do
        timeout $seconds readelf -W -w "${!which}" >/dev/null 2>"$folder/readelf-$which"
        code=$?
        [ $code -eq 0 ] || [ $code -eq 1 ] || echo "readelf ended with $code for $which" >>"$folder/readelf-$which"
    done
    new_lines "readelf -w" "$folder/readelf-original" "$folder/readelf-converted"
else
    echo "skipped: readelf isn't installed"
fi

if dumper=$(first_of llvm-dwarfdump-22 llvm-dwarfdump-19 llvm-dwarfdump-16 llvm-dwarfdump-14 llvm-dwarfdump); then
    ran=1
    # It doesn't end for some files of today's compilers: a file that it isn't done with within a minute can't be judged.
    for which in original converted; do
        timeout 60 "$dumper" --verify "${!which}" >"$folder/verify" 2>&1
        code=$?
        grep -E 'error:|Assertion|LLVM ERROR' "$folder/verify" >"$folder/verify-$which"
        if [ $code -gt 1 ]; then
            echo "${dumper##*/} --verify ended with $code for the $which file"
            if [ $which = original ]; then
                echo "skipped: ${dumper##*/} --verify, which can't judge the original"
                dumper=
                break
            fi
            status=1
        fi
    done
    [ -n "$dumper" ] && new_lines "${dumper##*/} --verify" "$folder/verify-original" "$folder/verify-converted"
else
    echo "skipped: llvm-dwarfdump isn't installed"
fi

if debugger=$(first_of gdb-multiarch gdb); then
    ran=1
    "${PYTHON:-/usr/bin/python3}" "$here/debugger.py" "$debugger" "$original" "$converted" || status=1
else
    echo "skipped: gdb isn't installed"
fi

[ $ran -eq 1 ] || exit 77
[ $status -eq 0 ] && echo "ok: nothing new"
exit $status
