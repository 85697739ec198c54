#!/usr/bin/env bash
# valgrind.sh QVPRJ SIMULATE_FLIGHT: the main paths of the program, with every access to memory watched.
set -euo pipefail
program=${1:?usage: valgrind.sh QVPRJ SIMULATE_FLIGHT}
simulate=${2:?usage: valgrind.sh QVPRJ SIMULATE_FLIGHT}
if ! command -v valgrind >/dev/null; then
  echo "SKIPPED: valgrind is not installed"
  exit 77
fi

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
"$simulate" "$place/flight" --images 20 >/dev/null

# What libraries keep until the end of the process is no leak.
watched() {
  valgrind --quiet --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect \
    --errors-for-leak-kinds=definite,indirect "$program" "$@" >"$place/out" 2>"$place/err" || {
    printf 'qvprj %s: exit code %s\n' "$*" "$?"
    cat "$place/err"
    exit 1
  }
}

watched missions "$place/flight/flight.db"
watched import "$place/flight/flight.db" --mission latest --out "$place/survey.db" --crs EPSG:32650
watched import "$place/flight/flight.db" --mission latest --out "$place/survey.db" --force
watched info "$place/survey.db"
watched set "$place/survey.db" --name quarry --crs EPSG:32650
watched copy "$place/survey.db" "$place/copy.db"
echo "valgrind: nothing to complain about"
