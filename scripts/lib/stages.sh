# The stages of scripts/test. To be sourced; the current folder is the checkout.

# What a stage prints is kept in build/test/ and shown whole only when it fails.
mkdir -p build/test
stages_run=0
stages_started=$SECONDS
gtest_passed=0
node_passed=0

# stage NAME COMMAND... : one line when it passes, everything it said and the end when it fails.
stage() {
    local name=$1 started=$SECONDS output
    shift
    output=build/test/${name//[^a-z0-9]/_}.txt
    printf '%-30s' "$name"
    # A plain call under `if` would switch `set -e` off inside the command's functions.
    set +e
    (set -e; "$@") >"$output" 2>&1
    local result=$?
    set -e
    if ((result != 0)); then
        echo "FAILED"
        cat "$output"
        echo "FAILED: $name (exit code $result)"
        exit 1
    fi
    count_passed "$output"
    stages_run=$((stages_run + 1))
    printf '%4d s   %s\n' $((SECONDS - started)) "$(stage_counts "$output")"
}

# The test runner's own count in what a stage has printed.
gtest_count() { sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\..*/\1/p' "$1" | tail -1; }
node_count() { sed -nE 's/^(# |ℹ )pass ([0-9]+)\r?$/\2/p' "$1" | tail -1; }

stage_counts() {
    local gtest node
    gtest=$(gtest_count "$1") node=$(node_count "$1")
    if [[ -n $gtest || -n $node ]]; then echo "$((${gtest:-0} + ${node:-0})) passed"; fi
}

count_passed() {
    local gtest node
    gtest=$(gtest_count "$1") node=$(node_count "$1")
    gtest_passed=$((gtest_passed + ${gtest:-0}))
    node_passed=$((node_passed + ${node:-0}))
}

close_stages() {
    echo "$stages_run stages in $((SECONDS - stages_started)) s"
    echo "$((gtest_passed + node_passed)) passed, 0 failed"
}

our_sources() { git ls-files --cached --others --exclude-standard -- "$@"; }

check_format() {
    our_sources 'src/*.[ch]pp' 'tests/*.[ch]pp' 'simulator/*.[ch]pp' 'bench/*.[ch]pp' |
        xargs clang-format --dry-run --Werror
}

# Only what the Linux build compiles: the other system's headers are not here. All sources of one
# library are read as one, which takes a tenth of the time; that much alone is why they are included.
check_lint() {
    cmake --preset lint
    find build/lint/src build/lint/simulator -name 'unity_*.cxx' |
        xargs -P2 -n1 clang-tidy --quiet -p build/lint --checks=-bugprone-suspicious-include \
            --extra-arg=-Wno-shadow
}

build_preset() {
    cmake --preset "$1"
    cmake --build --preset "$1"
}

# A console program of the Windows build. The prefix is the tests' own; the machine's stays as it is.
run_in_wine() {
    export WINEDEBUG=-all WINEPREFIX=$PWD/build/test/wine
    export XDG_RUNTIME_DIR=$PWD/build/test
    wine "$@"
}

run_fuzz_targets() {
    local seconds=$1 target name
    for target in build/fuzz/fuzz_*; do
        name=${target#build/fuzz/fuzz_}
        mkdir -p "build/fuzz/corpus/$name"
        "$target" -max_total_time="$seconds" -max_len=4096 -rss_limit_mb=1024 -print_final_stats=0 \
            -artifact_prefix="build/fuzz/$name-" "build/fuzz/corpus/$name" "tests/fuzz/corpus/$name"
    done
}

# The program must run on a Windows that has nothing of ours.
check_windows_imports() {
    local allowed='^(ADVAPI32|CRYPT32|GDI32|IPHLPAPI|KERNEL32|msvcrt|ole32|SHELL32|USER32|WS2_32)\.dll$'
    local imports
    imports=$(x86_64-w64-mingw32-objdump -p build/windows/elvantris-redundancy-control.exe |
        sed -n 's/.*DLL Name: //p')
    [[ -n $imports ]]
    if grep -viE "$allowed" <<<"$imports"; then
        echo "the .exe imports what Windows doesn't bring" >&2
        return 1
    fi
}

build_packages() {
    scripts/package_windows
    scripts/package_linux
}

node_tests() { node --test --test-concurrency=1 "$@"; }
