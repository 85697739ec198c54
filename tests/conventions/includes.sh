#!/usr/bin/env bash
# includes.sh ROOT: fails when an #include breaks the order of the rooms.
#
#   apps -> interchange -> qvprj -> contracts; examples -> qvprj; inside contracts: qvgcp -> qvfd, qvmath -> qvfd, nothing else
#   a header that no umbrella header brings is private to its folder (contracts/detail: to contracts and qvprj;
#   qvprj/detail: to qvprj)
#   each engine is known to the one room that wraps it, and to no public header
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/files.sh"
root=${1:?usage: includes.sh ROOT}

# What the files of a room may include: rooms of the project, then system headers that others may not.
may_include() {
  case $1 in
    contracts/detail) echo "detail proj.h" ;;
    contracts/qvfd) echo "qvfd detail xxhash.h xxh_x86dispatch.h iconv.h langinfo.h proj.h" ;;
    contracts/qvsql) echo "qvsql detail sqlite3.h" ;;
    contracts/qvgcp) echo "qvgcp qvfd detail" ;;
    contracts/qvmath) echo "qvmath qvfd detail proj.h" ;;
    qvprj) echo "qvprj qvfd qvsql qvgcp qvmath detail" ;;
    # Its own headers may be included within it and by the program; each other program's format is one room's business.
    interchange) echo "interchange qvprj qvfd qvsql qvgcp qvmath nlohmann exiv2 gdal.h ogr_api.h ogr_srs_api.h" ;;
    apps) echo "apps interchange qvprj qvfd qvsql qvgcp qvmath CLI nlohmann iostream" ;;
    examples) echo "examples qvprj qvfd qvsql qvgcp qvmath CLI nlohmann iostream" ;;
  esac
}

# System headers that need a permission above; any other may be included everywhere.
guarded=" sqlite3.h proj.h xxhash.h xxh_x86dispatch.h xxh_x86dispatch.h iconv.h langinfo.h CLI nlohmann iostream exiv2 gdal.h ogr_api.h ogr_srs_api.h "

public=$(public_headers "$root")
found=0
complain() {
  printf '%s\n' "$*"
  found=1
}

while IFS= read -r file; do
  case $file in
    contracts/*/*) room=$(cut -d/ -f1-2 <<<"$file") ;;
    qvprj/*) room=qvprj ;;
    interchange/*) room=interchange ;;
    apps/*) room=apps ;;
    examples/*) room=examples ;;
    *) continue ;;
  esac
  allowed=" $(may_include "$room") "
  while IFS= read -r line; do
    number=${line%%:*}
    include=${line#*:}
    if [[ $include == '<'* ]]; then
      name=${include:1:-1}
      name=${name%%/*}
      if [[ $guarded == *" $name "* && $allowed != *" $name "* ]]; then
        complain "$file:$number: $include does not belong into $room"
      elif [[ $name =~ ^(sqlite3|proj|xxhash|xxh_x86dispatch)\.h$ ]] && grep -qx "$file" <<<"$public"; then
        complain "$file:$number: a public header brings the engine $include"
      fi
      continue
    fi

    include=${include:1:-1}
    if [[ -f $root/contracts/$include ]]; then
      target=contracts/$include
    elif [[ -f $root/$include ]]; then
      target=$include
    elif [[ -f $root/$(dirname "$file")/$include ]]; then
      target=$(dirname "$file")/$include
    elif [[ $room == apps || $room == examples ]]; then
      target=$room/$include
    else
      complain "$file:$number: \"$include\" is no header of the project"
      continue
    fi
    case $target in
      contracts/*) layer=$(cut -d/ -f2 <<<"$target") ;;
      *) layer=${target%%/*} ;;
    esac
    if [[ $allowed != *" $layer "* ]]; then
      complain "$file:$number: \"$include\" points the wrong way: $room may include $allowed"
    elif [[ $layer == detail || $layer == apps || $layer == examples || $layer == interchange ]]; then
      if grep -qx "$file" <<<"$public"; then
        complain "$file:$number: a public header brings the private \"$include\""
      fi
    elif [[ $target == qvprj/detail/* && $room == qvprj ]]; then
      if grep -qx "$file" <<<"$public"; then
        complain "$file:$number: a public header brings the private \"$include\""
      fi
    elif ! grep -qx "$target" <<<"$public" && [[ $(dirname "$target") != $(dirname "$file") ]]; then
      complain "$file:$number: \"$include\" is private to $(dirname "$target")"
    fi
  done < <(grep -nE '^[[:space:]]*#[[:space:]]*include' "$root/$file" |
    sed -nE 's/^([0-9]+):[[:space:]]*#[[:space:]]*include[[:space:]]*("[^"]+"|<[^>]+>).*/\1:\2/p')
done < <(project_files "$root" | grep -E '\.(h|cpp)$')

if ((found)); then exit 1; fi
echo "includes: in order"
