#!/usr/bin/env bash
# The Debian package as a user installs it: makes it with ./dev package,
# installs it with apt (which brings its dependencies), runs the installed
# tarnx from / and builds the README's first program through the system's
# pkg-config, then removes the package again. Needs root (CI is).
#   tests/install/deb_check.sh
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD_DIR=${BUILD_DIR:-build}
./dev package
deb=$(ls -t "$BUILD_DIR"/tarnx-linalg_*_amd64.deb | head -1)
echo "package: $deb"
dpkg-deb --field "$deb" Package Version Architecture Depends
export DEBIAN_FRONTEND=noninteractive
apt-get install -y -qq "./$deb" >/dev/null
trap 'apt-get remove -y -qq tarnx-linalg >/dev/null' EXIT
dpkg -L tarnx-linalg | grep -E '/(tarnx|TARNX_LINALG.so|tarnx-linalg.pc|TARNX_LINALGConfig.cmake)$'
(cd / && command -v tarnx && tarnx --version && tarnx demo | tail -1)
bash tests/install/readme_program.sh README.md
