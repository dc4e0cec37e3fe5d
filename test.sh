#!/bin/bash
# Builds statistics_run and runs its tests: as it is, with faults in its system calls, and with the
# sanitizers.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. scripts/packages.sh

install_packages "${build_packages[@]}" libgtest-dev busybox strace
jobs=$(nproc)

build_and_test() {
    local directory=$1
    shift
    cmake -S . -B "$directory" -DCMAKE_BUILD_TYPE=Debug -DWARNINGS_AS_ERRORS=ON "$@"
    cmake --build "$directory" --parallel "$jobs"
    # The tests look at owners, which only root can give.
    as_root ctest --test-dir "$directory" --output-on-failure --no-tests=error --parallel "$jobs"
}

build_and_test build/test
if [[ $(uname -m) == x86_64 ]]; then
    faults/run short build/test/tests/statistics_run_under_test
fi
build_and_test build/sanitized -DSANITIZE=ON
