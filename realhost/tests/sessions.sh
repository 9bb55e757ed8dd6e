# Live sessions: targets that go away, disks that change, numbers out of the ordinary.
. /test/checks.sh redhat-old
answers "0*" StartInitiator , DiscoverTarget 10.0.0.1 , LoginTarget :disks 10.0.0.1
group=$config/iscsi/$array:disks/tpgt_1

state_is() { grep -qx "$1" /sys/class/iscsi_session/session1/state; }
taken_over() { [ "$(iscsiadm -m session -P 1 | grep -c 'Internal iscsid Session State: NO CHANGE')" = 2 ]; }

section "Live sessions"
row "the target is logged in already" "0: open-iscsi no longer prints what 197 is read from. There is still one session." LoginTarget :disks 10.0.0.1 , opinitctl login :disks 10.0.0.1
row "two sessions to one target, by two portals" "|Each is a session of its own, with disks of its own." LoginTarget :disks 10.0.0.2 , QuerySessionList
answers 0 LogoutTarget 2 , LoginTarget :empty 10.0.0.2
row "a session at another address than the last entry of the portal's directory" \
    "\`logged_in\` is asked at one address for all targets that were discovered together: ask for the sessions instead." GetTargetList

# The target goes, and comes back.
echo 0 >"$group/enable"
wait_until state_is FAILED
row "the target went away under a session" \
    "The session lives on and keeps its portal; where it comes from is not known until it is back.||It counts as a session, here and for a stop.||Its disks are listed as if nothing had happened." \
    QuerySessionList , GetTargetList , RemoveTarget 10.0.0.1 , StopInitiator , QueryDisks 1 , opinitctl doctor
echo 1 >"$group/enable"
wait_until state_is LOGGED_IN
row "the target came back" "The session recovers by itself." QuerySessionList

# Its disks
echo offline >/sys/bus/scsi/devices/0:0:0:1/state
row "a disk is offline" "It is listed all the same: see its \`state\` in sysfs, or \`opinitctl disks\`." QueryDisks 1 , opinitctl doctor
echo running >/sys/bus/scsi/devices/0:0:0:1/state
lun disks 256 other
row "the target has a new LUN" "Nobody rescans: \`iscsiadm -m session -R\` does." QueryDiskCount 1
iscsiadm -m session -R >/dev/null
row "the same after a rescan; it is LUN 256" "Only the low 8 bits of the number are shown: LUN 256 looks like LUN 0." QueryDisks 1
rm "$group/lun/lun_256/disk" && rmdir "$group/lun/lun_256"
row "the LUN went away" "Its disk stays until it is deleted in sysfs." QueryDiskCount 1
echo 1 >/sys/bus/scsi/devices/0:0:0:256/delete
wait_until test ! -e /sys/bus/scsi/devices/0:0:0:256
row "its disk was deleted" "Now it is gone." QueryDiskCount 1

# The initiator under a live session
ask SetProperty 1=iqn.2024-01.example.host:renamed
row "the initiator got another name" \
    "Session records carry the name in the file; the sessions keep the one that they were made with." QuerySessionList , opinitctl doctor
ask SetProperty 1=iqn.2024-01.example.host:guest
kill_daemon
row "the daemon was killed between two operations" "The sessions live on.||The new daemon takes them over." \
    QuerySessionList , StartInitiator , QuerySessionList
wait_until taken_over

# log_in COUNT TARGET ADDRESS; those that fail use numbers up, too.
log_in() {
    local records="-m node -T $array:$2 -p $3:3260"
    iscsiadm $records -o update -n node.session.nr_sessions -v "$1"
    iscsiadm $records -l >/dev/null
}
section "Session numbers"
ask DiscoverTarget 10.0.0.1
log_in 45 chap 10.0.0.1
log_in 1 disks 10.0.0.2
row "session 49" "In the disk queries, and there alone, an identifier of 48 to 57 reads as text, here as session 1.|Name sessions by text there." QueryDisks 49 , QueryDisks text:49
answers 0 LogoutTarget 49 , LogoutTarget 3
log_in 64 empty 10.0.0.2
row "64 sessions at once, and session 1" "Only a login made outside, or one with \`nr_sessions\` in the record, makes more than one." QuerySessionCount
ask QuerySessionList
check "64 sessions listed" "$(tr '~' '\n' <<<"$answer" | grep -c ':empty 10.0.0.2:3260 from 10.0.0.100')" 64
iscsiadm -m node -p 10.0.0.2:3260 -u >/dev/null
log_in 143 chap 10.0.0.1
log_in 1 empty 10.0.0.2
row "session 257 beside session 1" "Numbers travel in one byte: 257 looks like 1, with the portal of session 1.|Text names it.||\`opinitctl\` refuses." \
    QuerySessionList , QueryDisks text:257 , opinitctl doctor , opinitctl logout 257
row "the same; a logout by the record of session 257" "It ends session 1, which is another target's.|What looks like session 1 now is 257.|No record names it.|It stands in the way: log it out with \`iscsiadm -m session -r 257 -u\`." \
    LogoutTarget 1 , QuerySessionList , LogoutTarget 1 , StopInitiator
check "session 257" "$(ls /sys/class/iscsi_session)" session257
iscsiadm -m session -r 257 -u >/dev/null
answers 0 StopInitiator
