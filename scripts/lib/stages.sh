# shellcheck shell=bash
# The stages of scripts/test. To be sourced; the current folder is the checkout.

# What a stage prints is kept in build/test/ and shown whole only when it fails.
mkdir -p build/test
stages_run=0
begun_names=() begun_outputs=() begun_pids=()
stages_started=$SECONDS
gtest_passed=0
node_passed=0

# begin_stage NAME COMMAND... : starts one of several stages that run side by side.
begin_stage() {
    local name=$1 output
    shift
    output=build/test/${name//[^a-z0-9]/_}.txt
    {
        local started=$SECONDS result=0
        # A plain call under `if` would switch `set -e` off inside the command's functions.
        set +e
        (set -e; "$@") >"$output" 2>&1
        result=$?
        echo $((SECONDS - started)) >"$output.seconds"
        exit $result
    } &
    begun_names+=("$name") begun_outputs+=("$output") begun_pids+=($!)
}

# One line for each that passed; everything it said and the end for the first that failed.
finish_stages() {
    local i failed=-1 output
    for i in "${!begun_pids[@]}"; do
        wait "${begun_pids[i]}" || { ((failed >= 0)) || failed=$i; }
    done
    for i in "${!begun_pids[@]}"; do
        output=${begun_outputs[i]}
        ((i != failed)) || continue
        count_passed "$output"
        stages_run=$((stages_run + 1))
        printf '%-30s%4d s   %s\n' "${begun_names[i]}" "$(<"$output.seconds")" "$(stage_counts "$output")"
    done
    if ((failed >= 0)); then
        echo "${begun_names[failed]}: FAILED"
        cat "${begun_outputs[failed]}"
        echo "FAILED: ${begun_names[failed]}"
        exit 1
    fi
    begun_names=() begun_outputs=() begun_pids=()
}

stage() {
    begin_stage "$@"
    finish_stages
}

# The test runner's own counts in what a stage has printed.
gtest_count() { sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?\..*/\1/p' "$1" | awk '{ sum += $1 } END { if (NR) print sum }'; }
node_count() { sed -nE 's/^(# |ℹ )pass ([0-9]+)\r?$/\2/p' "$1" | awk '{ sum += $1 } END { if (NR) print sum }'; }

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
    our_sources '*.[ch]pp' |
        xargs clang-format --dry-run --Werror
    tests/e2e/node_modules/.bin/prettier --check --log-level warn '**/*.{js,mjs}'
}

check_shell() {
    local marks='^#!/(usr/bin/env |bin/)(ba)?sh$' scripts
    # A batch of files without a script, or with one that is gone, is no failure.
    scripts=$(our_sources '*.sh' && { our_sources | xargs grep -d skip -slIE "$marks" || true; })
    sort -u <<<"$scripts" | xargs shellcheck
}

# Only what the Linux build compiles: the other system's headers are not here. All sources of one
# library are read as one, which takes a tenth of the time; that much alone is why they are included.
check_lint() {
    cmake --preset lint
    find build/lint/src build/lint/simulator build/lint/rehearsal -name 'unity_*.cxx' -print0 |
        xargs -0 -P2 -n1 clang-tidy --quiet -p build/lint --checks=-bugprone-suspicious-include \
            --extra-arg=-Wno-shadow --extra-arg=-Wthread-safety
}

check_scripts() { tests/e2e/node_modules/.bin/eslint --max-warnings 0 .; }

# Where the machine has a compiler cache, a new build folder uses its results.
build_preset() {
    if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
    cmake --preset "$1"
    cmake --build --preset "$1"
}

# The product alone needs none of the packages that only tests and benchmarks use, and is all that
# the package holds: from its own build comes the same package, byte for byte.
check_product_alone() {
    if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
    local name package hidden=()
    for name in benchmark GTest JPEG; do
        hidden+=("-DCMAKE_DISABLE_FIND_PACKAGE_$name=ON")
    done
    cmake --preset linux -B build/product -DELVANTRIS_TESTS=OFF "${hidden[@]}"
    cmake --build build/product
    package=$(scripts/package_linux build/product build/product/package)
    cmp "$package" "build/package/${package##*/}"
}

# For what runs beside tests that wait for more than they compute: it takes what they leave over.
behind() {
    renice -n 19 -p $BASHPID >/dev/null
    "$@"
}

# The integration tests wait far more than they compute. Those that use what a login session has
# but once, such as its mark of the single instance, its tray or its autostart, follow one another
# in a run of their own.
run_shards() {
    local count=4 i result=0 pids=()
    local sharing='single_instance*:windows_platform_app*'
    for ((i = 0; i < count; ++i)); do
        GTEST_TOTAL_SHARDS=$count GTEST_SHARD_INDEX=$i "$@" --gtest_brief=1 \
            --gtest_filter="-$sharing" &
        pids+=($!)
    done
    "$@" --gtest_brief=1 --gtest_filter="$sharing" &
    pids+=($!)
    for i in "${pids[@]}"; do wait "$i" || result=1; done
    return $result
}

# The tests' own Wine; the machine's stays as it is. Without a screen it makes windows by a driver
# that draws nothing.
in_wine() {
    WINEDEBUG=-all WINEPREFIX=$PWD/build/test/wine XDG_RUNTIME_DIR=$PWD/build/test "$@"
}

prepare_wine() {
    in_wine wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
    in_wine wineserver -w
}

# A console program of the Windows build.
run_in_wine() { in_wine wine "$@"; }

# Always the same seed: what a run finds is found again, and a longer run by hand looks further.
run_fuzz_target() {
    local seconds=$1 name=$2 output=build/test/fuzz_$2.txt
    mkdir -p "build/fuzz/corpus/$name"
    "build/fuzz/fuzz_$name" -seed=1 -max_total_time="$seconds" -max_len=4096 -rss_limit_mb=1024 \
        -artifact_prefix="build/fuzz/$name-" \
        "build/fuzz/corpus/$name" "tests/fuzz/corpus/$name" >"$output" 2>&1 && return
    echo "fuzz_$name:"
    tail -n 30 "$output"
    return 1
}

run_fuzz_targets() {
    export -f run_fuzz_target
    find build/fuzz -maxdepth 1 -name 'fuzz_*' -executable -printf '%f\n' | sed 's/^fuzz_//' |
        xargs -P2 -I{} bash -c "run_fuzz_target $1 {}"
}

# All programs must run on a Windows that has nothing of ours.
check_windows_imports() {
    local allowed='^(ADVAPI32|CRYPT32|GDI32|IPHLPAPI|KERNEL32|msvcrt|ole32|SHELL32|USER32|WS2_32)\.dll$'
    local name imports
    for name in redundancy-control redundancy-tool rehearsal; do
        imports=$(x86_64-w64-mingw32-objdump -p "build/windows/elvantris-$name.exe" |
            sed -n 's/.*DLL Name: //p')
        [[ -n $imports ]]
        if grep -viE "$allowed" <<<"$imports"; then
            echo "elvantris-$name.exe imports what Windows doesn't bring" >&2
            return 1
        fi
    done
}

build_packages() {
    scripts/package_windows
    scripts/package_linux
}

node_tests() { node --test --test-concurrency=1 "$@"; }
