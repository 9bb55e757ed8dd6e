#!/usr/bin/env bash
# What the built library shows to a linker: exactly the names of the contract, its soname, what it needs.
#
#     exports_test.sh LIBRARY EXPECTED_NAMES [sanitized]
set -uo pipefail
library=$1 expected=$2 sanitized=${3:-}
failed=0
check() {
    if ! diff <(echo "$2") <(echo "$3"); then
        echo "FAIL $1"
        failed=1
    fi
}

check "exported names" "$(cat "$expected")" "$(nm -D --defined-only "$library" | awk '{ print $3 }' | LC_ALL=C sort)"
dynamic=$(readelf -d "$library")
check "soname" libkvlinopinitr.so.2 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
check "file name" libkvlinopinitr.so.2.2 "$(basename "$(readlink -f "$library")")"
check "stays loaded" 1 "$(grep -c NODELETE <<<"$dynamic")"
if [ -z "$sanitized" ]; then
    needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
    others=$(grep -vE '^lib(c|m|gcc_s|stdc\+\+|kvlinhw)\.so|^ld-linux' <<<"$needed")
    check "needs nothing else" "" "$others"
    check "needs the maker's runtime" 1 "$(grep -c '^libkvlinhw.so$' <<<"$needed")"
fi
exit $failed
