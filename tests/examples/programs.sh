#!/usr/bin/env bash
# programs.sh SIMULATE_FLIGHT FLIGHT_MAP: exit codes and messages of the example programs.
set -euo pipefail
simulate=${1:?usage: programs.sh SIMULATE_FLIGHT FLIGHT_MAP}
map=${2:?usage: programs.sh SIMULATE_FLIGHT FLIGHT_MAP}

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
failed=0

# expect CODE TEXT COMMAND...: the command ends with CODE and says TEXT.
expect() {
  local code=0 said wanted=$1 text=$2
  shift 2
  said=$("$@" 2>&1) || code=$?
  if [[ $code -ne $wanted || $said != *"$text"* ]]; then
    printf 'expected %s and "%s", but got %s: %s\n  %s\n' "$wanted" "$text" "$code" "$*" "$said"
    failed=1
  fi
}

expect 0 'Example: simulate_flight' "$simulate" --help
expect 2 'FOLDER is required' "$simulate"
expect 2 '--images' "$simulate" "$place/flight" --images 0
expect 2 '--images' "$simulate" "$place/flight" --images many
expect 0 'newest with 5 images' "$simulate" "$place/flight" --images 5
first=$(cksum <"$place/flight/flight.db")
expect 1 "$place/flight/flight.db: is there already; --force replaces it" "$simulate" "$place/flight" --images 9
[[ $(cksum <"$place/flight/flight.db") == "$first" ]] || { echo "a refused flight was written"; failed=1; }
expect 0 'newest with 5 images' "$simulate" "$place/flight" --images 5 --force
[[ $(cksum <"$place/flight/flight.db") == "$first" ]] || { echo "the same seed gave another file"; failed=1; }
echo text >"$place/file"
expect 1 "$place/file: no folder" "$simulate" "$place/file"

expect 0 'Example: flight_map' "$map" --help
expect 2 'PROJECT is required' "$map"
expect 1 "$place/missing.db: not a project" "$map" "$place/missing.db" "$place/map.svg"
expect 1 "$place/flight/flight.db: not a project" "$map" "$place/flight/flight.db" "$place/map.svg"
[[ ! -e $place/map.svg ]] || { echo "a map was drawn of no project"; failed=1; }

exit "$failed"
