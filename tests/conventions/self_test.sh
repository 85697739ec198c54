#!/usr/bin/env bash
# self_test.sh COMPILER: plants violations and fails when a check of this folder does not find one, or finds one
# where there is none.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
compiler=${1:?usage: self_test.sh COMPILER}

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
failed=0
planted=0

# A small project without a fault.
# shellcheck disable=SC2016  # the backquotes are Markdown's
sound_tree() {
  rm -rf "$place/tree"
  mkdir -p "$place"/tree/{contracts/{detail,qvfd,qvsql,qvgcp},qvprj/{detail,project,flight},apps/qvprj,examples/host_minimal}
  cd "$place/tree"
  echo '#pragma once' >contracts/detail/Number.h
  printf '#pragma once\n#include "qvfd/Track.h"\n' >contracts/qvfd/qvfd.h
  printf '#pragma once\nstruct Track {};\n' >contracts/qvfd/Track.h
  printf '#include "qvfd/Track.h"\n#include <xxhash.h>\n#include "detail/Number.h"\n' >contracts/qvfd/Track.cpp
  printf '#pragma once\n' >contracts/qvsql/qvsql.h
  printf '#pragma once\n#include <sqlite3.h>\n' >contracts/qvsql/Statement.h
  printf '#include "qvsql/Statement.h"\n' >contracts/qvsql/Database.cpp
  printf '#pragma once\n#include "qvfd/qvfd.h"\n' >contracts/qvgcp/qvgcp.h
  printf '#pragma once\n#include "qvprj/project/QvProject.h"\n#include "qvsql/qvsql.h"\n' >qvprj/qvprj.h
  printf '#pragma once\n#include "qvgcp/qvgcp.h"\nstruct QvProject { Track track; };\n' >qvprj/project/QvProject.h
  printf '#pragma once\n' >qvprj/flight/Rows.h
  printf '#pragma once\n' >qvprj/detail/NoThrow.h
  printf '#include "qvprj/flight/Rows.h"\n#include "qvprj/detail/NoThrow.h"\n#include "qvprj/project/QvProject.h"\n' >qvprj/flight/Flight.cpp
  printf '#include "qvprj/qvprj.h"\n#include <CLI/CLI.hpp>\n' >apps/qvprj/main.cpp
  echo 'int main() {}' >examples/host_minimal/main.cpp
  echo 'find_package(qvprj)' >examples/host_minimal/CMakeLists.txt
  printf '# A project\n[link](qvprj/qvprj.h)\n```cpp\nint main() {}\n```\n```cmake\nfind_package(qvprj)\n```\n' >README.md
}

# passes CHECK...: the check finds nothing. fails CHECK...: it finds something.
passes() {
  if ! "$@" >"$place/said" 2>&1; then
    echo "a sound tree does not pass: $*"
    cat "$place/said"
    failed=1
  fi
}
fails() {
  planted=$((planted + 1))
  if "$@" >"$place/said" 2>&1; then
    echo "not found, violation $planted: $*"
    failed=1
  fi
}

# plant FILE TEXT: adds a line to a file of a sound tree.
plant() {
  sound_tree
  printf '%b\n' "$2" >>"$place/tree/$1"
}

sound_tree
passes "$here/includes.sh" "$place/tree"
passes "$here/words.sh" "$place/tree"
passes "$here/readme.sh" "$place/tree"
passes "$here/headers.sh" "$place/tree" "$compiler"

while IFS='|' read -r file text; do
  plant "$file" "$text"
  fails "$here/includes.sh" "$place/tree"
done <<'END'
contracts/qvfd/Track.cpp|#include "qvprj/qvprj.h"
contracts/qvfd/Track.cpp|#include "qvgcp/qvgcp.h"
contracts/qvfd/Track.cpp|#include "qvsql/qvsql.h"
contracts/qvsql/Database.cpp|#include "qvfd/qvfd.h"
contracts/detail/Number.h|#include "qvfd/qvfd.h"
qvprj/flight/Flight.cpp|#include "apps/qvprj/main.h"
qvprj/project/QvProject.cpp|#include "qvprj/flight/Rows.h"
qvprj/project/QvProject.cpp|  #  include "qvprj/flight/Rows.h"
qvprj/project/QvProject.cpp|#include "qvsql/Statement.h"
qvprj/project/QvProject.cpp|#include "nowhere/Nothing.h"
qvprj/project/QvProject.cpp|#include <sqlite3.h>
qvprj/project/QvProject.cpp|#include <iostream>
qvprj/project/QvProject.h|#include "detail/Number.h"
contracts/qvfd/Track.h|#include <xxhash.h>
contracts/qvgcp/GCP.cpp|#include <proj.h>
apps/qvprj/main.cpp|#include "qvprj/flight/Rows.h"
apps/qvprj/main.cpp|#include "qvprj/detail/NoThrow.h"
apps/qvprj/main.cpp|#include "detail/Number.h"
apps/qvprj/main.cpp|#include <sqlite3.h>
END

# Put together here, so that this file passes the check itself.
while IFS= read -r text; do
  plant apps/qvprj/main.cpp "// ${text//+/}"
  fails "$here/words.sh" "$place/tree"
done <<'END'
TO+DO: later
FIX+ME
see /ho+me/someone/notes
see /wo+rk/main
from deb.deb+ian.org
as the s+pecification says
see s+pec.md
see P+art 3.2
in ..+/sha+red/data
a dash \xe2\x80\x94 that is not ASCII
END

plant examples/host_minimal/main.cpp '// more'
fails "$here/readme.sh" "$place/tree"
# shellcheck disable=SC2016  # the backquotes are Markdown's
plant README.md '```cmake\nfind_package(qvprj CONFIG)\n```'
fails "$here/readme.sh" "$place/tree"
plant README.md '[link](qvprj/none.h)'
fails "$here/readme.sh" "$place/tree"

plant qvprj/project/QvProject.h 'inline std::size_t Size();'
fails "$here/headers.sh" "$place/tree" "$compiler"
plant qvprj/project/QvProject.h '#include <sqlite3.h>'
fails "$here/headers.sh" "$place/tree" "$compiler"

# library SOURCE: a shared library of one source.
library() {
  printf '%b\n' "$1" >"$place/lib.cpp"
  "$compiler" -std=c++20 -shared -fPIC -fvisibility=hidden -o "$place/lib.so" "$place/lib.cpp"
}
export_mark='__attribute__((visibility("default")))'
library "#include <string>\nnamespace qvfd { $export_mark std::string F(std::string a) { return a + a; } }"
passes "$here/symbols.sh" "$place/lib.so"
library "#include <iostream>\nnamespace qvfd { $export_mark void F() { std::cout << 1; } }"
fails "$here/symbols.sh" "$place/lib.so"
library "#include <cstdio>\nnamespace qvfd { $export_mark void F(int a) { std::printf(\"%d\", a); } }"
fails "$here/symbols.sh" "$place/lib.so"
library "#include <cstdio>\nnamespace qvfd { $export_mark void F(int a) { std::fprintf(stderr, \"%d\", a); } }"
fails "$here/symbols.sh" "$place/lib.so"
library "#include <cstdlib>\nnamespace qvfd { $export_mark void F() { std::abort(); } }"
fails "$here/symbols.sh" "$place/lib.so"
library "$export_mark int stray() { return 1; }"
fails "$here/symbols.sh" "$place/lib.so"
library "extern \"C\" $export_mark int stray() { return 1; }"
fails "$here/symbols.sh" "$place/lib.so"
library "namespace qvfdx { $export_mark int F() { return 1; } }"
fails "$here/symbols.sh" "$place/lib.so"
fails "$here/symbols.sh" "$place/none.so"

if ((failed)); then exit 1; fi
echo "self-test: all $planted planted violations were found"
