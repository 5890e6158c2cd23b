#!/usr/bin/env bash
# To be sourced: unpacks source packages of Debian, whose libraries the Windows build compiles itself.
#
# The machine's apt configuration stays as it is: its Debian entries are read again as source
# entries, into package lists kept beside the build, with the same keys checking the same archive.

# apt names each entry as its file and the number of the line, or of the stanza in a .sources file.
write_source_entries() {
    local folder=$1 entry file number
    while IFS= read -r entry; do
        file=${entry%:*}
        number=${entry##*:}
        if [[ $file == *.sources ]]; then
            grep -v '^#' "$file" | awk -v wanted="$number" '
                BEGIN { RS = "" }
                NR == wanted {
                    sub(/(^|\n)[Tt][Yy][Pp][Ee][Ss]:[^\n]*/, "\nTypes: deb-src")
                    print $0 "\n"
                }' >>"$folder/debian.sources"
        else
            sed -n "${number}s/^[[:space:]]*deb[[:space:]]/deb-src /p" "$file" \
                >>"$folder/debian.list"
        fi
    done < <(apt-get indextargets --format '$(ORIGIN)|$(SOURCESENTRY)' 'Created-By: Packages' |
        sed -n 's/^Debian|//p' | sort -u)
    if [[ -z $(ls "$folder") ]]; then
        echo "no Debian entry in the machine's package sources" >&2
        return 1
    fi
}

# unpack_debian_source WORK NAME VERSION: into a folder of its own below WORK/source.
unpack_debian_source() {
    local work=$1 name=$2 version=$3
    mkdir -p "$work"/{sources,lists/partial,cache/archives/partial,source}
    write_source_entries "$work/sources" || return
    local apt=(apt-get -q -o Dir::Etc::sourcelist=/dev/null
        -o Dir::Etc::sourceparts="$work/sources" -o Dir::State::lists="$work/lists"
        -o Dir::Cache="$work/cache")
    "${apt[@]}" update && (cd "$work/source" && "${apt[@]}" source --only-source "$name=$version")
}
