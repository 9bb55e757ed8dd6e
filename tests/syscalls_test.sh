#!/usr/bin/env bash
# What every listing operation costs in system calls, at two sizes, beside few and many processes and on both forms
# of sysfs; that it opens each file once; and that it answers what a plain C program answers that reads the same
# host. Enters the simulated host.
#
#     syscalls_test.sh OURS FLOOR
set -uo pipefail
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" bash "$0" "$@"
ours=$1 floor=$2
failed=0

# fail WHAT...
fail() {
    echo "FAIL $*"
    failed=1
}

# costs LIMIT OPERATION [ARGUMENT]: runs it; leaves its trace in $trace and the number of calls in $calls. What
# the C library asks for the heap is counted apart.
costs() {
    local limit=$1 answer expected heap='^(brk|mmap|munmap|mremap)\('
    shift
    answer=$(strace -o /tmp/trace "$ours" "$@") || fail "$*: does not run"
    expected=$("$floor" "$@") || fail "$*: the plain program does not run"
    trace=$(awk '/\/mark/ { ++marks; next } marks == 1' /tmp/trace)
    calls=$(grep -vcE "$heap" <<<"$trace")
    echo "$*, $host: $calls system calls, at most $limit"
    ((calls <= limit)) || fail "$*, $host: too many system calls"
    (($(grep -cE "$heap" <<<"$trace") <= 5)) || fail "$*, $host: the heap grows too often"
    # Status and digest of the answer stand first.
    [[ $answer == *'"status": 0'* && ${answer%%, \"faults*} == "${expected%%, \"faults*}" ]] ||
        fail "$*, $host: answered $answer, and the plain program $expected"
}

opened_once() {
    local twice
    twice=$(grep -oE 'open(at)?\(.*"[^"]*"' <<<"$trace" | grep -oE '"[^"]*"' | sort | uniq -d)
    [ -z "$twice" ] || fail "$host: opened more than once: $twice"
}

# add_sessions COUNT [OPTION...]: numbers 1 and up.
add_sessions() {
    /run/simhost/bin/simhost-command add-session --target iqn.t%d --address 10.0.0.1 --sid 1 --count "$@" >/tmp/added
}

remove_sessions() {
    local session
    for session in /sys/class/iscsi_session/session*; do
        /run/simhost/bin/simhost-command remove-session "${session##*session}"
    done
}

# record_targets PORTALS TARGETS: as discovery leaves them, so many at each portal.
record_targets() {
    local portal target node
    rm -rf /var/lib/iscsi
    for ((portal = 1; portal <= $1; ++portal)); do
        mkdir -p "/var/lib/iscsi/send_targets/10.0.0.$portal,3260"
        for ((target = 1; target <= $2; ++target)); do
            node=/var/lib/iscsi/nodes/iqn.t$target/10.0.0.$portal,3260,1
            mkdir -p "$node"
            echo $'# BEGIN RECORD\nnode.startup = automatic' >"$node/default"
            ln -s "$node" "/var/lib/iscsi/send_targets/10.0.0.$portal,3260/iqn.t$target,10.0.0.$portal,3260,1,default"
        done
    done
}

small_operations() {
    costs 13 check
    check=$calls
    costs $((check + 7)) property
    costs $((2 * check + 3)) globals
    costs $((2 * check + 3)) initiators
    costs 20 set
    [ "$(grep -c '^fsync(' <<<"$trace")" = 1 ] || fail "set: one fsync for the file that stays"
}

host="few processes"
small_operations
few=$check
host="5,000 processes"
mkdir /proc/{5000000..5004999}
for process in /proc/5??????; do printf '/usr/sbin/service\0' >"$process/cmdline"; done
small_operations
[ "$check" = "$few" ] || fail "the stack check costs more beside many processes"

# list_targets SESSIONS PORTALS TARGETS_EACH: where a session goes is read if its target is recorded.
list_targets() {
    record_targets "$2" "$3"
    host="$form, $1 sessions, $2 portals, $3 targets each"
    costs $((8 + 4 * $2 + 3 * $2 * $3 + 3 * $1 + 9 * ($1 < $3 ? $1 : $3))) targets
    opened_once
    costs $((check + 7 + 4 * $2)) groups iqn.t1
    costs $((check - 2 + 4 * $2)) portals iqn.t1
}

for form in today older; do
    echo $form >/run/simhost/sysfs-form
    for sessions in 1 64; do
        add_sessions $sessions
        host="$form, $sessions sessions"
        costs $((check + 7 + 14 * sessions)) sessions
        opened_once
        costs $((check + 14)) connections 1
        list_targets $sessions 1 1
        list_targets $sessions 8 16
        remove_sessions
    done
    for luns in 1 64; do
        lun_options=()
        for ((lun = 0; lun < luns; ++lun)); do lun_options+=(--lun "$lun:1048576:VENDOR:MODEL"); done
        add_sessions 1 "${lun_options[@]}"
        host="$form, $luns LUNs"
        costs $((check + 15 + 12 * luns)) disks 1
        opened_once
        remove_sessions
    done
done
exit $failed
