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

# The example, and a host of the reader's, as the page builds them.
ln -s prefix "$folder/symbols"
mkdir "$folder/page"
HOME=$folder CXXFLAGS="-Wall -Wextra -Werror $*" python3 "$source/tests/host/pages.py" "$build/bin" "$source" \
    --folder "$folder/page" docs/embedding.md
cd "$source/samples"
"$folder/page/build/example/minimal_host" station.axf 0x8670 filter_mean |
    diff "$source/examples/minimal_host/expected.txt" -

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
