#!/usr/bin/env bash
# readme.sh ROOT: fails when the program in README.md is not examples/host_minimal, which is built and run, or when a
# link of a page leads nowhere.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/files.sh"
root=${1:?usage: readme.sh ROOT}

found=0
# block LANGUAGE: the block of that language in README.md.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$root/README.md" | sed '1d;$d'; }

if ! diff <(block cpp) "$root/examples/host_minimal/main.cpp"; then
  echo "README.md: the program is not examples/host_minimal/main.cpp"
  found=1
fi
while IFS= read -r line; do
  if ! grep -qxF "$line" "$root/examples/host_minimal/CMakeLists.txt"; then
    echo "README.md: not in examples/host_minimal/CMakeLists.txt: $line"
    found=1
  fi
done < <(block cmake)

while IFS= read -r page; do
  while IFS= read -r link; do
    if [[ ! -e $root/$(dirname "$page")/$link ]]; then
      echo "$page: leads nowhere: $link"
      found=1
    fi
  done < <(grep -oE '\]\([^)#:]+\)' "$root/$page" | sed -E 's/^\]\(//; s/\)$//')
done < <(project_files "$root" | grep -E '\.md$')

if ((found)); then exit 1; fi
echo "readme: program and links hold"
