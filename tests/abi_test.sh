#!/usr/bin/env bash
# The library's binary interface, as its debug information tells it, against the stored reference. Where a change is
# meant, make the reference anew with --write and say why.
#
#     abi_test.sh LIBRARY REFERENCE [--write]
set -euo pipefail
library=$1 reference=$2
if [ "${3:-}" = --write ]; then
    # Where a source stands is no part of the interface.
    abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
        --type-id-style hash "$library" | sed "s,path='[./]*,path='," >"$reference"
    exit
fi
# It prints what changed, and fails unless nothing did.
abidiff "$reference" "$library"
