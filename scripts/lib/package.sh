# shellcheck shell=bash
# What both packages are made by. To be sourced; the current folder is the checkout.

name=elvantris-redundancy-control
# shellcheck disable=SC2034 # for the scripts that source this
programs=("$name" elvantris-redundancy-tool elvantris-rehearsal)

# Of the last change, so that the same binaries make the same package.
export SOURCE_DATE_EPOCH
: "${SOURCE_DATE_EPOCH:=$(git log -1 --format=%ct)}"

version_of() { sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$1/CMakeCache.txt"; }

# write_checksums FOLDER VERSION : of the packages of that version which are there.
write_checksums() (
    cd "$1" || return
    for package in "${name}_$2_"*.deb "$name-$2-setup.exe"; do
        [[ ! -f $package ]] || sha256sum "$package"
    done >SHA256SUMS.new
    mv SHA256SUMS.new SHA256SUMS
)
