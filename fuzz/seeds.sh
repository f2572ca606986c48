#!/bin/bash
# Compiles the samples' sources in many ways: two compilers, three levels of optimisation, ARM and Thumb code,
# both byte orders.
#   fuzz/seeds.sh FOLDER
set -euo pipefail
out=$(mkdir -p "$1" && cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/../samples/sources"
objects=$(mktemp -d)
trap 'rm -rf "$objects"' EXIT

clang=$(command -v clang-14 || command -v clang)
lld=$(command -v ld.lld-14 || command -v ld.lld)
common=(-mcpu=arm926ej-s -ffreestanding -fno-asynchronous-unwind-tables -fno-unwind-tables -gdwarf-2 -gstrict-dwarf
    -gpubnames -fdebug-prefix-map="$PWD"=/build/samples)
link=(-nostdlib -z max-page-size=4 -z noexecstack -T program.ld)

# compile COMPILER OPTION...
compile() {
    local compiler=$1 source
    shift
    for source in start.c station.c filter.c device.cpp; do
        local options=("$@")
        case $source in
        *.cpp) options+=(-std=c++11 -fno-exceptions -fno-rtti -fno-threadsafe-statics) ;;
        start.c) options=("${options[@]/%-mthumb/-marm}") ;;
        esac
        "$compiler" "${common[@]}" "${options[@]}" -c "$source" -o "$objects/${source%.*}.o"
    done
}

for level in -O0 -O1 -O2; do
    for code in -marm -mthumb; do
        compile arm-none-eabi-gcc -fno-builtin -mthumb-interwork -mlittle-endian $level $code -g3
        arm-none-eabi-ld "${link[@]}" "$objects"/*.o -o "$out/gcc$level$code.axf"
        compile arm-none-eabi-gcc -fno-builtin -mthumb-interwork -mbig-endian $level $code
        arm-none-eabi-ld -EB "${link[@]}" "$objects"/*.o -o "$out/gcc$level$code-be.axf"
        compile "$clang" --target=arm-none-eabi $level $code -fdebug-macro
        "$lld" "${link[@]}" "$objects"/*.o -o "$out/clang$level$code.axf"
        compile "$clang" --target=armeb-none-eabi $level $code
        arm-none-eabi-ld -EB "${link[@]}" "$objects"/*.o -o "$out/clang$level$code-be.axf"
    done
done
