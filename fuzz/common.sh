# Sourced by the scripts of this folder.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/tools/packages.sh"
# Where the presets are built.
build=${DWARF2_BUILD:-$root/build}
targets=(file elf die line location names console preference)

# build_preset PRESET TARGET...
build_preset() {
    local preset=$1
    shift
    (cd "$root" && cmake --preset "$preset" -B "$build/$preset" >/dev/null &&
        cmake --build "$build/$preset" --target "$@") >&2
}

# The inputs to start from that aren't committed: written anew each time.
make_seeds() {
    "$build/fuzz/bin/make_corpus" "$build/fuzz/seeds" "$root"/samples/*.axf
}

# libfuzzer TARGET ARGUMENT...: with the limits that hold for every run
libfuzzer() {
    local target=$1
    shift
    local length=4096
    case $target in file) length=16384 ;; esac
    UBSAN_OPTIONS=print_stacktrace=1 "$build/fuzz/bin/${target}_fuzz" \
        -timeout=20 -rss_limit_mb=2048 -max_len="$length" -dict="$root/fuzz/dwarf.dict" "$@"
}
