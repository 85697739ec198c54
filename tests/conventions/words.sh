#!/usr/bin/env bash
# words.sh ROOT: fails when a file holds what does not belong into a repository that others read: notes to oneself,
# paths of one machine, hosts of package archives, documents that the reader does not have; or when a source is not
# plain ASCII. The patterns are written so that they do not match themselves.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/files.sh"
root=${1:?usage: words.sh ROOT}

found=0

# look_for WHAT PATTERN EXCEPT: complains about every line of a text file that matches, case ignored.
look_for() {
  local hits
  hits=$(project_files "$root" | grep -vxE "LICENSE${3:+|$3}" | tr '\n' '\0' |
    (cd "$root" && xargs -0 -r grep -nIiE -- "$2" /dev/null) || true)
  if [[ -n $hits ]]; then
    while IFS= read -r hit; do printf '%s: %s\n' "$1" "$hit"; done <<<"$hits"
    found=1
  fi
}

look_for 'left undone' '(^|[^A-Za-z])(T[O]DO|F[I]XME|X[X]X|H[A]CK)([^A-Za-z]|$)'
look_for 'path of a machine' '(^|[^A-Za-z0-9_.])[/](work|root|home|farm|Users)[/][A-Za-z]'
look_for 'host of an archive' '(deb|snapshot)[.]debian[.]org|registry[.]npmjs|pypi[.]org'
look_for 'document that is not here' '(the|this|a) [s]pec(ification)?([^A-Za-z]|$)|[s]pec[.]md|[P]art [1-9][.][1-9]([^0-9]|$)|[i]mplementer'
look_for 'folder that is not here' '[.][.]/[s]hared|(^|[^A-Za-z])[s]hared/(data|design|spec|style)' '[.]ci/run'

not_ascii=$(project_files "$root" | grep -E '\.(h|cpp|cmake|sh|in)$|CMakeLists\.txt$|^dev$|^bench/run$|^bench/peers/run$|^\.ci/run$' |
  tr '\n' '\0' | (cd "$root" && LC_ALL=C xargs -0 -r grep -nP '[^\x00-\x7F]' /dev/null) || true)
if [[ -n $not_ascii ]]; then
  while IFS= read -r hit; do printf 'not ASCII: %s\n' "$hit"; done <<<"$not_ascii"
  found=1
fi

if ((found)); then exit 1; fi
echo "words: nothing that does not belong"
