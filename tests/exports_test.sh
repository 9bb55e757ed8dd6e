#!/usr/bin/env bash
# What the built library shows to a linker: exactly the names of the contract, its soname, what it needs.
#
#     exports_test.sh LIBRARY SYMBOLS [sanitized]
set -uo pipefail
library=$1 expected=$2 failed=0
check() { # NAME WANT GOT
    diff <(echo "$2") <(echo "$3") || { echo "FAIL $1" && failed=1; }
}

check "exported names" "$(sed -n "s/^ \(.*\)@Base .*/\1/p" "$expected")" "$(nm -D --defined-only "$library" | awk '{ print $3 }' | LC_ALL=C sort)"
dynamic=$(readelf -d "$library")
check "soname" libkvlinopinitr.so.2 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
check "file name" libkvlinopinitr.so.2.2 "$(basename "$(readlink -f "$library")")"
check "stays loaded" 1 "$(grep -c NODELETE <<<"$dynamic")"
if [ -z "${3:-}" ]; then
    needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
    check "needs nothing but the maker's runtime" libkvlinhw.so \
        "$(grep -vE '^lib(c|m|gcc_s|stdc\+\+)\.so|^ld-linux' <<<"$needed")"
fi
exit $failed
