#!/bin/bash
# The stand-in commands answer as a real host's do: texts, exit codes and what they leave behind. The expected
# texts were taken down on a real host. Enters the simulated host by itself.
set -u
export LC_ALL=C
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" --stopped bash "$0"

export run=/run/simhost base=iqn.2024-01.example.array p1=10.0.0.1:3260 p2=10.0.0.2:3260
export etc=/etc/iscsi class=/sys/class failed=0

# table: rows of EXIT|OUTPUT|COMMAND, with \n between lines of output. Each command is run as the C library's system()
# does, both streams into one file.
table() {
    local want output command
    while IFS='|' read -r want output command; do
        bash -c "$command" </dev/null >/tmp/output 2>&1
        diff <(echo -e "[$want] $output") <(echo "[$?] $(</tmp/output)") >/tmp/difference && continue
        failed=1
        printf 'FAILED %s\n%s\n' "$command" "$(</tmp/difference)"
    done
}
label() { echo "[iface: default, target: $base:$1, portal: ${2/:3/,3}]"; }
update() { iscsiadm -m node -p $p1 -o update -n "node.session.auth.$1" -v "$2"; }
discover() { iscsiadm -m discovery -t st -p "$@"; }
login() { iscsiadm -m node -l -p "${2:-$p1}" -T "$base:$1" 1; }
daemons() { grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l; }
export -f update discover login daemons
logged_in() { echo -n "Logging in to $(label $1 $2)\nLogin to $(label $1 $2) successful."; } # TARGET PORTAL
fails() { # EXIT REASON TARGET [PORTAL]
    local at=$(label $3 ${4:-$p1})
    echo -n "iscsiadm: Could not login to $at.\niscsiadm: initiator reported error ($1 - $2)\n$all\nLogging in to $at"
}
all="iscsiadm: Could not log into all portals"
sed -i '/:empty"/s/$/ "tag": 3,/' $run/network.json

# --- module and daemon
touch $run/modprobe-fails
table <<TABLE
20|2|discover $p1 |& grep -c "iscsiadm: can not connect to iSCSI daemon (111)!"; exit \${PIPESTATUS[0]}
1|modprobe: ERROR: could not insert 'iscsi_tcp': Operation not permitted|modprobe iscsi_tcp
1|4|rm $run/modprobe-fails; modprobe iscsi_tcp; /etc/init.d/iscsid start; wc -l </proc/modules; iscsid
1|2\niscsid: the daemon goes on|touch $run/stubborn-daemon; daemons; /etc/init.d/iscsid stop
1|iscsid: no process found|killall iscsid && rm $run/stubborn-daemon && killall iscsid
21|iscsiadm: No records found|/etc/init.d/open-iscsi stop && /etc/init.d/open-iscsi start && iscsiadm -m node
TABLE

# --- discovery, and updates: every record of the portal, no other
table <<TABLE
11|6|discover 10.0.0.9:3260 |& grep -c "^iscsiadm: .* 10.0.0.9: Connection refused"; exit \${PIPESTATUS[0]}
0|10.0.0.9,3260|ls $etc/send_targets; iscsiadm -m discovery -p 10.0.0.9 -o delete 1
0|$p1,1 $base:disks\n$p2,1 $base:disks\n$p1,1 $base:chap\n$p1,1 $base:mutual\n$p2,3 $base:empty|discover $p1
0|68 node.name = $base:disks node.tpgt = 1 node.startup = manual node.conn[0].address = 10.0.0.2 node.conn[0].port = \
3260|cd $etc/nodes/$base:disks/10.0.0.2,3260,1; { wc -l <default; sed -n '2,4p;52,53p' default; } | xargs
0|3|iscsiadm -m node -p $p1 -o update -n node.startup -v automatic 1; cat $etc/nodes/*/*/* | grep -c '^node.*automatic'
TABLE

# --- login: an attempt that reaches the target uses up a session number, one that cannot connect does not
table <<TABLE
0|$(logged_in disks $p1)|login disks
8|$(fails 8 "connection timed out" gone 10.0.0.9:3260)|\
iscsiadm -m node -o new -T $base:gone -p 10.0.0.9 >/dev/null; login gone 10.0.0.9
24|$(fails 24 "iSCSI login failed due to authorization failure" chap)|update username user1; login chap
0|$(logged_in chap $p1)|update password secretsecret1; login chap
19|$(fails 19 "encountered non-retryable iSCSI login failure" mutual)|\
update username_in user2; update password_in wrong; login mutual
TABLE

# --- logout and removal
table <<TABLE
15|iscsiadm: default: 1 session requested, but 1 already present.\n$all|login disks
0|tcp: [1] $p1,1 $base:disks (non-flash)\ntcp: [3] $p1,1 $base:chap (non-flash)|iscsiadm -m session
0|Logout of [sid: 1, target: $base:disks, portal: ${p1/:/,}] successful.|iscsiadm -m session -r 1 -u | tail -n1
1|rmmod: ERROR: Module iscsi_tcp is in use|rmmod iscsi_tcp
15|1|iscsiadm -m node -p $p1 -o delete |& grep -c "$(label chap $p1 | tr '[]' .), but a session is using it"; \
exit \${PIPESTATUS[0]}
0|chap,10.0.0.1,3260,1,default disks,10.0.0.2,3260,1,default empty,10.0.0.2,3260,3,default st_config chap disks \
empty gone|cd $etc/send_targets/10.0.0.1,3260; ls . $etc/nodes | sed 's/.*://' | xargs
0|libiscsi_tcp 36864 0 - Live 06|iscsiadm -m session -u >/dev/null; rmmod iscsi_tcp; head -c29 /proc/modules; \
ls $class/*transport; ls -d $class/i* | wc -l
0|tcp\n$(logged_in disks $p2)|discover $p1 >/dev/null; ls $class/iscsi_transport; login disks $p2
TABLE

# --- a discovery takes over what another portal told of, and forgets what is no longer told of, unless it is in use
v6=[fd00::1]:3260
cat >$run/network.json <<JSON
{"portals": [{"portal": "$p1"}, {"portal": "$v6", "initiator_address": "fd00::64"}],
 "targets": [{"name": "$base:disks", "portals": ["$v6"], "luns": [{"lun": 0, "size_bytes": 512}]}]}
JSON
table <<TABLE
0|$v6,1 $base:disks|discover $p1 2>/dev/null
0|$base:disks/10.0.0.2,3260,1 $base:disks/fd00::1,3260,1 $base:gone/10.0.0.9,3260|cd $etc/nodes; echo */*
0|$base:disks,fd00::1,3260,1,default $base:disks,10.0.0.2,3260,1,default|\
discover [FD00::1] >/dev/null; for at in FD00::1 10.0.0.1; do cd $etc/send_targets/\$at,3260; echo iqn*; done | xargs
0|$(logged_in disks fd00::1:3260)|login disks $v6
TABLE

# --- a session whose target is away: what needs the connection opens and cannot be read
export sid=$(ls $class/iscsi_session | tr -dc '0-9\n' | sort -n | tail -n1) full=fd00:0000:0000:0000:0000:0000:0000
becomes() { # STATE: what is seen then
    simhost-command session-state "$sid" "$1"
    cd $class/iscsi_session/session$sid/device/connection*/iscsi_connection/connection*
    cat {address,port,persistent_address,persistent_port,state} ../../../../iscsi_host/*/ipaddress \
        $class/iscsi_session/session$sid/{state,device/target*/*/state} 2>&1 | sed 's/.*put.output error/-/' | xargs
}
export -f becomes
table <<TABLE
0|- - fd00::1 3260 failed - FAILED blocked|becomes recovering
0|- - fd00::1 3260 failed - FREE transport-offline|becomes failed
0|$full:0001 3260 fd00::1 3260 up $full:0064 LOGGED_IN running|becomes up
TABLE

# --- the older form of sysfs, the other database root, automatic login
iscsiadm -m session -u >/dev/null
echo older >$run/sysfs-form && mkdir -p /var/lib/iscsi && rm $run/next-session
discover $p1 >/dev/null && iscsiadm -m node -T $base:disks -o update -n node.startup -v automatic
table <<TABLE
0|/var/lib/iscsi/nodes/$base:disks/fd00::1,3260,1|readlink /var/lib/iscsi/send_targets/*/*:disks*
0|1 ../../../devices/platform/host0/session1|/etc/init.d/open-iscsi start; cd $class/*session && test ! -L session1 && \
echo \$(ls | wc -l) \$(readlink session1/device)
0||/etc/init.d/open-iscsi stop && rmmod iscsi_tcp && find /sys/{devices/*,block,bus/scsi/devices} -mindepth 1
TABLE
exit $failed
