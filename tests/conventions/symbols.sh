#!/usr/bin/env bash
# symbols.sh LIBRARY...: fails when a shared library prints, ends the process, or exports something that is not of
# the project's namespaces.
set -euo pipefail

found=0
complain() {
  printf '%s\n' "$*"
  found=1
}

(($# > 0)) || {
  echo "usage: symbols.sh LIBRARY..."
  exit 1
}
for library in "$@"; do
  if [[ ! -f $library ]]; then
    complain "$library: no such library"
    continue
  fi
  name=$(basename "$library")

  # Messages belong to the program; a library of a host neither prints nor ends the process.
  while read -r symbol; do
    complain "$name uses $symbol"
  done < <(nm -DC --undefined-only "$library" | awk '{print $2}' | sed 's/@.*//' |
    grep -xE 'std::(cout|cerr|clog|wcout|wcerr|wclog|cin)|stdout|stderr|(__)?v?printf(_chk)?|puts|putchar|perror|abort|exit|_exit|quick_exit|__assert_fail' || true)

  # Namespaces as the ABI spells them. What the standard library's headers put into every program is weak; sanitizers leave marks of their own.
  while read -r kind symbol; do
    case $symbol in
      __asan_* | __odr_asan* | __ubsan_* | _init | _fini | _edata | _end | __bss_start) continue ;;
    esac
    if [[ $symbol =~ ^_Z(T[VIST]|GV|Th[n0-9_]*)?(N[KVRO]*)?(5qvprj|4qvfd|5qvsql|5qvgcp|6qvmath) ]]; then continue; fi
    if [[ $kind =~ ^[WVu]$ && $symbol =~ ^_Z([A-Z]*(N[KVRO]*)?(S|9__gnu_cxx)|n[wa]|d[la]) ]]; then continue; fi
    complain "$name exports $(c++filt "$symbol")"
  done < <(nm -D --defined-only "$library" | awk '{print $2, $3}' | sed 's/@.*//')
done

if ((found)); then exit 1; fi
echo "symbols: $# libraries in order"
