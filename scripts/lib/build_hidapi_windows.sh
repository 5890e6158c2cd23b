#!/usr/bin/env bash
# Builds hidapi as a static library for Windows out of Debian's source package of the version
# given, into build/hidapi-windows. scripts/setup calls it.
#
# The machine's apt configuration stays as it is: its Debian entries are read again as source
# entries, into package lists kept beside the build, with the same keys checking the same archive.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

version=$1
target=build/hidapi-windows

mkdir -p build
work=$(mktemp -d "$PWD/build/hidapi-windows.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{sources,lists/partial,cache/archives/partial,source,result/lib,result/include}

# apt names each entry as its file and the number of the line, or of the stanza in a .sources file.
write_source_entries() {
    local entry file number
    while IFS= read -r entry; do
        file=${entry%:*}
        number=${entry##*:}
        if [[ $file == *.sources ]]; then
            grep -v '^#' "$file" | awk -v wanted="$number" '
                BEGIN { RS = "" }
                NR == wanted {
                    sub(/(^|\n)[Tt][Yy][Pp][Ee][Ss]:[^\n]*/, "\nTypes: deb-src")
                    print $0 "\n"
                }' >>"$work/sources/debian.sources"
        else
            sed -n "${number}s/^[[:space:]]*deb[[:space:]]/deb-src /p" "$file" \
                >>"$work/sources/debian.list"
        fi
    done < <(apt-get indextargets --format '$(ORIGIN)|$(SOURCESENTRY)' 'Created-By: Packages' |
        sed -n 's/^Debian|//p' | sort -u)
    if [[ -z $(ls "$work/sources") ]]; then
        echo "no Debian entry in the machine's package sources" >&2
        exit 1
    fi
}

source_apt() {
    apt-get -q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/sources" \
        -o Dir::State::lists="$work/lists" -o Dir::Cache="$work/cache" "$@"
}

write_source_entries
source_apt update
(cd "$work/source" && source_apt source --only-source "hidapi=$version")

hidapi=$(echo "$work"/source/hidapi-*/)
# It must start under Wine too; a deck that another application holds must not open; a write must
# tell the truth about its end and leave nothing behind that Windows still writes to.
patch -s -p1 -d "$hidapi" <scripts/lib/hidapi_windows.patch
x86_64-w64-mingw32-gcc-posix -O2 -I"$hidapi/hidapi" -c "$hidapi/windows/hid.c" -o "$work/hid.o"
x86_64-w64-mingw32-ar rcs "$work/result/lib/libhidapi.a" "$work/hid.o"
cp "$hidapi/hidapi/hidapi.h" "$work/result/include/"
echo "$version" >"$work/result/version"

# Put in place whole, so that an interrupted run is never taken for a finished one.
rm -rf "$target"
mv -T "$work/result" "$target"
