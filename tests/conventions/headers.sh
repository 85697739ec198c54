#!/usr/bin/env bash
# headers.sh ROOT COMPILER: fails when a public header does not compile alone, or brings an engine into the host
# (also by way of another header).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/files.sh"
root=${1:?usage: headers.sh ROOT COMPILER}
compiler=${2:?usage: headers.sh ROOT COMPILER}

# One header: its dependencies come out of the same run as its errors.
check_header() {
  local dependencies
  dependencies=$("$compiler" -std=c++20 -Wall -Wextra -Werror -I "$root" -I "$root/contracts" -include "$1" \
    -x c++ -fsyntax-only -MD -MF /dev/stdout /dev/null) || {
    echo "$1: does not compile alone"
    return 1
  }
  if grep -E '/(sqlite3|proj|xxhash|xxh_x86dispatch)\.h' <<<"$dependencies"; then
    echo "$1: brings an engine into the host"
    return 1
  fi
}
export -f check_header
export root compiler

headers=$(public_headers "$root" | sed -e 's|^contracts/||')
if [[ -z $headers ]]; then
  echo "headers: there are none below $root"
  exit 1
fi
# shellcheck disable=SC2016  # the inner shell expands it
xargs -P 2 -n 1 bash -c 'check_header "$1"' _ <<<"$headers" || exit 1
echo "headers: $(wc -l <<<"$headers") public headers compile alone"
