#!/usr/bin/env bash
# What the operations cost in system calls, and that each file is opened once. Enters the simulated host.
#
#     syscalls_test.sh PROBE
set -uo pipefail
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" bash "$0" "$@"
probe=$1 command=$(readlink -f /run/simhost/bin/iscsiadm)
failed=0

# calls OPERATION: the trace of the operation alone.
calls() {
    strace -o /tmp/trace "$probe" "$1" >/tmp/status || { echo "FAIL $1 answered $(cat /tmp/status)"; exit 1; }
    awk '/\/mark/ { ++marks; next } marks == 1' /tmp/trace
}

# at_most NAME LIMIT COUNT
at_most() {
    echo "$1: $3 system calls, at most $2"
    if [ "$3" -gt "$2" ]; then
        echo "FAIL $1"
        failed=1
    fi
}

opened_once() {
    local twice
    twice=$(grep -oE 'open(at)?\(.*"[^"]*"' <<<"$2" | grep -oE '"[^"]*"' | sort | uniq -d)
    if [ -n "$twice" ]; then
        echo "FAIL $1 opens more than once: $twice"
        failed=1
    fi
}

processes=$(ls /proc | grep -c '^[0-9]')
check=$(calls check | wc -l)
at_most "stack check, $processes processes" $((14 + 3 * processes)) "$check"

trace=$(calls set)
at_most "_SetProperty" 20 $(wc -l <<<"$trace")
if [ "$(grep -c '^fsync' <<<"$trace")" != 1 ]; then
    echo "FAIL _SetProperty flushes a file that does not stay"
    failed=1
fi

for form in today older; do
    echo $form >/run/simhost/sysfs-form
    for sessions in 1 10 300; do
        rmmod iscsi_tcp
        modprobe iscsi_tcp
        "$command" add-session --target iqn.t --address 10.0.0.1 --port 3260 --count $sessions >/tmp/added
        trace=$(calls sessions)
        at_most "QuerySessionList, $form, $sessions sessions" $((10 + 14 * sessions)) $(($(wc -l <<<"$trace") - check))
        opened_once "QuerySessionList, $form, $sessions sessions" "$trace"
        for session in $(ls /sys/class/iscsi_session | tr -dc '0-9\n'); do "$command" remove-session "$session"; done
    done
    for luns in 1 3 256; do
        rmmod iscsi_tcp
        modprobe iscsi_tcp
        lun_options=()
        for ((lun = 0; lun < luns; ++lun)); do lun_options+=(--lun "$lun:1048576:VENDOR:MODEL"); done
        "$command" add-session --target iqn.t --address 10.0.0.1 --port 3260 --sid 1 "${lun_options[@]}" >/tmp/added
        trace=$(calls disks)
        at_most "QueryDisks, $form, $luns LUNs" $((22 + 12 * luns)) $(($(wc -l <<<"$trace") - check))
        opened_once "QueryDisks, $form, $luns LUNs" "$trace"
        "$command" remove-session 1
    done
done
exit $failed
