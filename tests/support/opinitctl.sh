# Sourced by the tests of opinitctl inside the simulated host, which are called with its path or without.
run=/run/simhost build=$(dirname "$(dirname "$(readlink -f /run/simhost/bin/iscsiadm)")")
program=${1:-$build/opinitctl/opinitctl} command=$(readlink -f $run/bin/iscsiadm)
array=iqn.2024-01.example.array p1=10.0.0.1 checks=0 failed=0
conf=/etc/iscsi/iscsid.conf names=/etc/iscsi/initiatorname.iscsi
module=/lib/modules/$(uname -r)/kernel/drivers/scsi/iscsi_tcp.ko
[ -x "$program" ] || { echo "there is no $program in the simulated host"; exit 1; }
cd /tmp || exit 1
export LC_ALL=C

sanitized=$(grep -c __asan_init "$program")
opinitctl() ( # LeakSanitizer needs its entry in /proc
    [ "$sanitized" = 0 ] || ln -sfn $run/proc/$BASHPID /proc/$BASHPID
    exec "$program" "$@"
)
check() { # NAME CONDITION...
    checks=$((checks + 1))
    "${@:2}" && return
    failed=$((failed + 1))
    printf 'FAILED line %s: %s\n    exit %s\n    out: %s\n    err: %s\n' \
        "${BASH_LINENO[-2]}" "$1" "${code-}" "${out-}" "${err-}"
}
matches() { [[ $1 == $2 ]]; }
is() { [ "$1" = "$2" ]; }
answer() { # ARGUMENTS...: runs it for out, err, code
    opinitctl "$@" >/tmp/out 2>/tmp/err </tmp/in
    code=$? out=$(</tmp/out) err=$(</tmp/err)
}
# gives EXIT OUT ERR ARGUMENTS...: OUT and ERR are patterns, empty for nothing at all.
gives() {
    answer "${@:4}"
    check "opinitctl ${*:4}" matches "exit $code: $out
--$err" "exit $1: $2
--$3"
}
row() { grep -E "^ *$1( |$)" /tmp/out | tr -s ' ' | sed 's/^ //'; } # FIRST_WORD: its row, single-spaced
calls() { wc -l <$run/calls.log; }
override() { printf '#!/bin/bash\n%s\n' "$1" >$run/override/iscsiadm && chmod +x $run/override/iscsiadm; }
: >/tmp/in

