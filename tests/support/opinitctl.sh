# Sourced by the tests of opinitctl, which are called with its path: enters the simulated host, and says which checks
# fail. Without a terminal nothing can stop to ask for a secret.
set -u
[ -e /run/simhost/proc/self ] || exec setsid -w "$(dirname "$0")/../simhost/enter" bash "$0" "$@"
run=/run/simhost program=$1 array=iqn.2024-01.example.array p1=10.0.0.1 failed=0
conf=/etc/iscsi/iscsid.conf names=/etc/iscsi/initiatorname.iscsi
export LC_ALL=C

sanitized=$(grep -c __asan_init "$program")
opinitctl() ( # LeakSanitizer needs its entry in /proc
    [ "$sanitized" = 0 ] || ln -sfn $run/proc/$BASHPID /proc/$BASHPID
    exec "$program" "$@"
)
is() { # NAME GOT PATTERN
    [[ $2 == $3 ]] && return
    failed=$((failed + 1))
    printf 'FAILED line %s: %s\n  seen: %s\n  want: %s\n' "${BASH_LINENO[-2]}" "$@"
}
# gives EXIT OUT ERR ARGUMENTS...: OUT and ERR are patterns, empty for nothing at all.
gives() {
    opinitctl "${@:4}" >/tmp/out 2>/tmp/err </tmp/in
    is "opinitctl ${*:4}" "$? $(</tmp/out)"$'\n--'"$(</tmp/err)" "$1 $2"$'\n--'"$3"
}
shown() { tr -s ' ' | sed 's/^ //' | paste -sd,; } # standard input, in one line
row() { grep -E "^ *$1( |$)" /tmp/out | shown; }   # FIRST_WORD: its row of the last table
calls() { wc -l <$run/calls.log; }
override() { printf '#!/bin/bash\n%s\n' "$1" >$run/override/iscsiadm && chmod +x $run/override/iscsiadm; }
cd /tmp && : >/tmp/in
