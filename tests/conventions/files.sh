# shellcheck shell=bash
# For the other scripts of this folder: which files a check looks at. Sourced, not run.

# project_files ROOT: the files of the project below ROOT, one a line, relative to ROOT. Files that git does not
# know yet count too, so that a slip is seen before it is committed; outside of git, everything but build/.
project_files() {
  if [[ -e $1/.git ]] && command -v git >/dev/null; then
    git -C "$1" ls-files --cached --others --exclude-standard | while IFS= read -r file; do
      if [[ -f $1/$file ]]; then printf '%s\n' "$file"; fi
    done
  else
    (cd "$1" && find . -name build -prune -o -type f -print) | sed 's|^\./||' | sort
  fi
}

# public_headers ROOT: the headers that a host sees: qvprj/qvprj.h and the umbrella headers of the contracts, with
# all that they include. Relative to ROOT.
public_headers() {
  local root=$1 seen='' pending=() header include
  for header in qvprj/qvprj.h contracts/{qvfd,qvsql,qvgcp,qvmath}/{qvfd,qvsql,qvgcp,qvmath}.h; do
    if [[ -f $root/$header ]]; then pending+=("$header"); fi
  done
  while ((${#pending[@]} > 0)); do
    header=${pending[0]}
    pending=("${pending[@]:1}")
    if [[ " $seen " == *" $header "* ]]; then continue; fi
    seen+=" $header"
    while IFS= read -r include; do
      if [[ -f $root/contracts/$include ]]; then
        pending+=("contracts/$include")
      elif [[ -f $root/$include ]]; then
        pending+=("$include")
      fi
    done < <(sed -n 's/^#include "\(.*\)".*/\1/p' "$root/$header")
  done
  # shellcheck disable=SC2086  # a list of words
  printf '%s\n' $seen | sort
}
