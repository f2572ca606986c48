#!/bin/bash
# Installs what has been built, builds the example of a host against that, and uses both where they are:
# embedding.sh BUILD SOURCE [FLAG...]; the flags are for the example's compiler.
set -eu
build=$1
source=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cmake --install "$build" --prefix "$folder/first" >"$folder/log"
mv "$folder/first" "$folder/prefix" # nothing may hang on the place
prefix=$folder/prefix
cmake -S "$source/examples/minimal_host" -B "$folder/example" -D CMAKE_PREFIX_PATH="$prefix" \
    -D CMAKE_CXX_FLAGS="-Wall -Wextra -Werror $*" >>"$folder/log"
cmake --build "$folder/example" >>"$folder/log" || { cat "$folder/log"; exit 1; }

cd "$source/samples"
"$folder/example/minimal_host" station.axf 0x8670 filter_mean | diff "$source/examples/minimal_host/expected.txt" -

# The installed program finds its module and its converter, also through a link.
ln -s "$prefix/bin/symhost" "$folder/symhost"
"$folder/symhost" units station.axf | diff <("$build/bin/symhost" units station.axf) -
"$folder/symhost" functions shapes-5.axf 2>/dev/null | diff <("$build/bin/symhost" functions shapes-5.axf 2>/dev/null) -
cd "$prefix"
for file in share/man/man1/symhost.1 share/doc/symhost/docs/embedding.md share/bash-completion/completions/symhost \
    share/zsh/site-functions/_symhost share/fish/vendor_completions.d/symhost.fish; do
    [ -s "$file" ] || { echo "not installed: $file"; exit 1; }
done
cmp share/bash-completion/completions/symhost <("$build/bin/symhost" completions bash)
