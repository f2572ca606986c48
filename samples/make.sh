#!/bin/bash
# Rebuilds the samples. Needs arm-none-eabi-g++ and clang with ld.lld; neither `run` nor `check`
# does. The files that were committed come from arm-none-eabi-g++ 12.2 and clang 14.
set -euo pipefail
samples=$(cd "$(dirname "$0")" && pwd)
cd "$samples/sources"
objects=$(mktemp -d)
trap 'rm -rf "$objects"' EXIT

clang=$(command -v clang-14 || command -v clang)
lld=$(command -v ld.lld-14 || command -v ld.lld)
common=(-ffreestanding -fno-asynchronous-unwind-tables -fno-unwind-tables -gdwarf-2 -gstrict-dwarf -gpubnames
    -fdebug-prefix-map="$PWD"=/build/samples)
plusplus=(-std=c++11 -fno-exceptions -fno-rtti -fno-threadsafe-statics)
link=(-nostdlib -z max-page-size=4 -z noexecstack)

# compile COMPILER OBJECT SOURCE OPTION...
compile() {
    local compiler=$1 object=$2 source=$3
    shift 3
    case $source in *.cpp) set -- "${plusplus[@]}" "$@" ;; esac
    "$compiler" "${common[@]}" "$@" -c "$source" -o "$objects/$object"
}

# gcc_program NAME OPTION...: ARM and Thumb code in one file, and macros of one unit
gcc_program() {
    local name=$1
    shift
    set -- -mcpu=arm926ej-s -mthumb-interwork -fno-builtin "$@"
    compile arm-none-eabi-gcc station.o station.c -marm -g3 "$@"
    compile arm-none-eabi-gcc filter.o filter.c -mthumb "$@"
    compile arm-none-eabi-g++ device.o device.cpp -mthumb "$@"
    compile arm-none-eabi-gcc start.o start.c -marm "$@"
    arm-none-eabi-gcc "$@" "${link[@]/#-z/-Wl,-z}" -Wl,-T,program.ld -Wl,--build-id=none \
        "$objects"/{start,station,filter,device}.o -o "$samples/$name"
}

# clang_objects TARGET OPTION...
clang_objects() {
    local target=$1
    shift
    set -- --target="$target" -mcpu=arm926ej-s -fdebug-compilation-dir=/build/samples "$@"
    compile "$clang" station.o station.c -marm -fdebug-macro "$@"
    compile "$clang" filter.o filter.c -mthumb "$@"
    compile "$clang" device.o device.cpp -marm "$@"
    compile "$clang" start.o start.c -marm "$@"
}

gcc_program station.axf -O0 -mlittle-endian
gcc_program station-be.axf -O0 -mbig-endian
gcc_program station-O2.axf -O2 -mlittle-endian
gcc_program station-O1-be.axf -O1 -mbig-endian

clang_objects arm-none-eabi -O0
"$lld" "${link[@]}" -T program.ld "$objects"/{start,station,filter,device}.o -o "$samples/clang.axf"
clang_objects arm-none-eabi -O2
"$lld" "${link[@]}" -T program.ld "$objects"/{start,station,filter,device}.o -o "$samples/clang-O2.axf"
clang_objects armeb-none-eabi -O1
arm-none-eabi-ld -EB "${link[@]}" -T program.ld "$objects"/{start,station,filter,device}.o \
    -o "$samples/clang-O1-be.axf"

compile "$clang" library.o library.c --target=arm-none-eabi -mcpu=arm926ej-s -fropi -frwpi -O1 \
    -fdebug-compilation-dir=/build/samples
arm-none-eabi-as record.s -o "$objects/record.o"
python3 static_base.py "$objects/library.o" 0x1000
"$lld" "${link[@]}" -T library.ld "$objects"/{record,library}.o -o "$samples/library.axf"

# The same library without section headers, as a loader would take it, and a programme of which
# only the ELF symbols are left.
python3 drop_section_headers.py "$samples/library.axf" "$samples/library-bare.axf"
arm-none-eabi-objcopy --strip-debug "$samples/station.axf" "$samples/symbols.axf"
# Programs of later versions of DWARF, for the conversion. The runs of memcpy and memset are what
# compilers call by themselves.
modern=(-ffreestanding -fno-builtin -ffunction-sections -fdata-sections -fno-asynchronous-unwind-tables
    -fno-unwind-tables)

# gcc_modern OBJECT SOURCE OPTION...
gcc_modern() {
    local object=$1 source=$2
    shift 2
    case $source in *.cpp) set -- "${plusplus[@]}" "$@" ;; esac
    arm-none-eabi-gcc "${modern[@]}" -mcpu=cortex-m3 -mthumb -fdebug-prefix-map="$PWD"=/build/samples "$@" \
        -c "$source" -o "$objects/$object"
}

# gcc_shapes NAME OPTION...
gcc_shapes() {
    local name=$1
    shift
    gcc_modern shapes.o shapes.cpp "$@"
    gcc_modern list.o list.c "$@"
    link_shapes "$name" "$@"
}

# link_shapes NAME OPTION...: what nothing refers to is dropped
link_shapes() {
    local name=$1
    shift
    arm-none-eabi-gcc -mcpu=cortex-m3 -mthumb "$@" "${link[@]/#-z/-Wl,-z}" -Wl,--gc-sections -Wl,-T,program.ld \
        -Wl,--build-id=none "$objects"/{shapes,list}.o -o "$samples/$name"
}

# clang_shapes NAME OPTION...
clang_shapes() {
    local name=$1 source
    shift
    for source in shapes.cpp list.c; do
        local language=()
        case $source in *.cpp) language=("${plusplus[@]}") ;; esac
        "$clang" "${modern[@]}" "${language[@]}" --target=arm-none-eabi -mcpu=cortex-m3 -mthumb \
            -fdebug-compilation-dir=/build/samples -fdebug-prefix-map="$PWD"=/build/samples "$@" \
            -c "$source" -o "$objects/${source%.*}.o"
    done
    "$lld" "${link[@]}" --gc-sections -T program.ld "$objects"/{shapes,list}.o -o "$samples/$name"
}

gcc_shapes shapes-5.axf -g -O0
gcc_shapes shapes-5-O2.axf -g -O2
gcc_shapes shapes-4-types-be.axf -gdwarf-4 -fdebug-types-section -O1 -mbig-endian
gcc_shapes shapes-2.axf -gdwarf-2 -O1
clang_shapes shapes-clang-5-O2.axf -gdwarf-5 -O2
clang_shapes shapes-clang-3.axf -gdwarf-3 -O0

# Each unit of another version, and the sections compressed.
mixed=(-mcpu=arm926ej-s -marm -O1)
gcc_modern station.o station.c "${mixed[@]}" -gdwarf-2
gcc_modern filter.o filter.c "${mixed[@]}" -gdwarf-3
gcc_modern device.o device.cpp "${mixed[@]}" -gdwarf-4
gcc_modern start.o start.c "${mixed[@]}" -gdwarf-5
arm-none-eabi-gcc "${mixed[@]}" -gz "${link[@]/#-z/-Wl,-z}" -Wl,--gc-sections -Wl,-T,program.ld -Wl,--build-id=none \
    "$objects"/{start,station,filter,device}.o -o "$samples/mixed-gz.axf"

# Skeletons: what they leave out stands in files that aren't kept. Their names come from the path of
# the object file.
cp station.h shapes.cpp list.c program.ld "$objects"
(
    cd "$objects"
    objects=.
    gcc_shapes shapes-split.axf -gdwarf-5 -gsplit-dwarf -O1
)

chmod 644 "$samples"/*.axf
