#!/usr/bin/env bash
# install.sh ROOT BUILD CMAKE COMPILER BUILD_TYPE [FLAGS]: installs the build into a folder of its own, and builds
# and runs examples/host_minimal against nothing but that. Fails too when other headers are installed than the
# public ones.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/files.sh"
root=$1 build=$2 cmake=$3 compiler=$4 build_type=$5 flags=${6:-}

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
prefix=$place/prefix

"$cmake" --install "$build" --prefix "$prefix" >"$place/install.log" || {
  cat "$place/install.log"
  exit 1
}

expected=$(public_headers "$root" | sed 's|^contracts/||' | sort)
installed=$(cd "$prefix/include" && find . -name '*.h' | sed 's|^\./||' | sort)
if ! diff <(echo "$expected") <(echo "$installed"); then
  echo "install: '<' is a public header that is not installed, '>' a private one that is"
  exit 1
fi

# build_host PREFIX: configures and builds the host against what is installed there.
build_host() {
  rm -rf "$place/host"
  {
    "$cmake" -S "$root/examples/host_minimal" -B "$place/host" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_BUILD_TYPE="$build_type" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$1" &&
      "$cmake" --build "$place/host"
  } >"$place/host.log" 2>&1
}

# The check has to be able to fail: with an empty prefix there is nothing to build against.
if build_host "$place/empty"; then
  echo "install: the host builds without an installed library, so this test shows nothing"
  exit 1
fi
build_host "$prefix" || {
  cat "$place/host.log"
  exit 1
}

# A flight becomes a project with the installed program, and the host opens it.
"$build/examples/simulate_flight" "$place/flight" --images 12 >/dev/null
"$prefix/bin/qvprj" import "$place/flight/flight.db" --mission latest --out "$place/survey.db" >/dev/null
said=$("$place/host/host_minimal" "$place/survey.db")
if [[ $said != *"12 images"* ]]; then
  echo "install: the host should have found 12 images, but said: $said"
  exit 1
fi
if "$place/host/host_minimal" "$place/missing.db" 2>/dev/null; then
  echo "install: the host opened a project that is not there"
  exit 1
fi
echo "install: a host builds and runs against what is installed"
