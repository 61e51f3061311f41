#!/usr/bin/env bash
# Compiles the first program of README.md ("Using the library") with the
# README's own pkg-config line, from a folder outside the source and build
# trees, runs it from yet another folder and compares what it prints with the
# output the README shows.
#   readme_program.sh README.md [PREFIX]
# Without PREFIX the system's pkg-config path is used (an installed package).
set -euo pipefail
readme=$1
prefix=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The first C block after the section heading, and the text block after
# "It prints:".
awk '/^## Using the library/ {s = 1} s && /^```c$/ {c = 1; next} c && /^```$/ {exit} c {print}' \
  "$readme" > "$work/first.c"
awk '/^## Using the library/ {s = 1} s && /^It prints:/ {p = 1} p && /^```text$/ {t = 1; next}
     t && /^```$/ {exit} t {print}' "$readme" > "$work/expected.txt"
[ -s "$work/first.c" ] || { echo "no C program under 'Using the library' in $readme"; exit 1; }
[ -s "$work/expected.txt" ] || { echo "no expected output after 'It prints:' in $readme"; exit 1; }

if [ -n "$prefix" ]; then
  export PKG_CONFIG_PATH
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tarnx-linalg.pc -print -quit)")
fi
cd "$work"
# --as-needed first, as some distributions' compilers have it: zwrt.so must
# stay linked although the library finds it without a symbol reference.
# shellcheck disable=SC2046
cc -Wall -Wextra -Werror -Wl,--as-needed first.c $(pkg-config --cflags --libs tarnx-linalg) -o first
readelf -d first | grep -q 'NEEDED.*\[zwrt.so\]' || { echo "zwrt.so was dropped from the link"; exit 1; }
(cd / && "$work/first") > actual.txt
if ! diff -u expected.txt actual.txt; then
  echo "the README program's output differs from what the README shows"
  exit 1
fi
echo "README program: built with pkg-config, ran from /, printed what the README says"
