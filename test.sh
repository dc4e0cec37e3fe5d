#!/bin/bash
# Builds the programs and tests them: as they are shipped, in a browser, with faults in their system
# calls, how they are written, and with the sanitizers, which also tells what the tests cover.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. scripts/packages.sh

jobs=$(nproc)
shipped=build/test # with the flags of package.sh
sanitized=build/sanitized

# Runs a stage of the tests and tells the time it took. The first that fails ends this.
stage() {
    local began=$SECONDS
    running=$1
    shift
    printf '\n--- %s\n' "$running"
    "$@"
    printf -- '--- %s: %d s\n' "$running" $((SECONDS - began))
    running=
}
trap '[[ -z ${running-} ]] || printf "test.sh: FAILED: %s\n" "$running" >&2' EXIT

install_all() {
    local packages=("${build_packages[@]}" "${test_packages[@]}" "${style_packages[@]}")
    if is_installed chromium; then
        packages+=("${browser_packages[@]}")
    fi
    install_packages "${packages[@]}" awstats
    install_webalizer || true # a full disk is tried with those that there are
}

build_and_test() {
    local directory=$1
    shift
    cmake -S . -B "$directory" -DWARNINGS_AS_ERRORS=ON "$@"
    cmake --build "$directory" --parallel "$jobs"
    # The tests look at owners, which only root can give.
    as_root ctest --test-dir "$directory" --output-on-failure --no-tests=error --parallel "$jobs"
}

browse_pages() {
    if is_installed chromium; then
        as_root /usr/bin/python3 -B tests/runs/frame_pages_test.py "$shipped"
    else
        printf 'Chromium is not installed: the pages are not browsed\n'
    fi
}

# The trials mostly wait.
run_trials_and_check_style() {
    local trials status=0
    (as_root tests/runs/faults short "$shipped" && browse_pages) >"$shipped/trials.out" 2>&1 &
    trials=$!
    scripts/check_style || status=1
    wait "$trials" || status=1
    cat "$shipped/trials.out"
    return "$status"
}

# The files of the counts stay, so that their modes do.
forget_coverage() {
    [[ ! -d $sanitized ]] || as_root find "$sanitized" -name '*.gcda' -exec truncate --size 0 {} +
}

# Tells which part of the lines of src/ the tests have run, and the files with less than 90 %.
show_coverage() {
    as_root gcovr --root . --filter src/ --csv - "$sanitized" | awk -F, '
        NR == 1 { next }
        { lines += $2; covered += $3 }
        $3 < 0.9 * $2 { low = low sprintf("\n    %5.1f %%  %s", 100 * $3 / $2, $1) }
        END {
            printf "The tests run %.1f %% of the lines of src/ (%d of %d)", 100 * covered / lines, covered, lines
            print low ? "; less than 90 %:" low : ""
            exit lines == 0 || covered < 0.93 * lines
        }'
}

stage 'packages' install_all
stage 'tests of what is shipped' build_and_test "$shipped" -DCMAKE_BUILD_TYPE=Release
stage 'faults, kills, pages in a browser; style' run_trials_and_check_style
forget_coverage
stage 'tests with sanitizers' build_and_test "$sanitized" -DCMAKE_BUILD_TYPE=Debug -DSANITIZE=ON \
    -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_UNITY_BUILD=ON
stage 'coverage' show_coverage
