#!/bin/bash
# Builds the Debian package of statistics_run. The last line tells where it is.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. scripts/packages.sh

umask 022 # the mode of the package's directories
build=build/package
install_packages "${build_packages[@]}" dpkg-dev file
rm -f "$build"/*.deb
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DWARNINGS_AS_ERRORS=ON \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_SYSCONFDIR=/etc \
    -DCMAKE_INSTALL_DOCDIR=share/doc/statistics-run -DSYSTEMD_UNIT_DIR=lib/systemd/system
cmake --build "$build" --parallel "$(nproc)"
(cd "$build" && cpack -G DEB)
printf '%s\n' "$PWD/$build"/*.deb
