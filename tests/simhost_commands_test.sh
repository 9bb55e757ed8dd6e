#!/bin/bash
# The stand-in commands answer as a real host's do: texts, exit codes and what they leave behind. The expected
# texts were taken down on a real host. Enters the simulated host by itself.
set -u
export LC_ALL=C
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" --stopped bash "$0"

export run=/run/simhost base=iqn.2024-01.example.array p1=10.0.0.1:3260 p2=10.0.0.2:3260
export etc=/etc/iscsi class=/sys/class modules=/lib/modules/$(uname -r)/kernel/drivers/scsi
devices="/sys/devices/platform /sys/block /sys/bus/scsi/devices" failed=0

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
label() { echo "[iface: default, target: $base:$1, portal: ${2/:/,}]"; }
update() { iscsiadm -m node -p $p1 -o update -n "node.session.auth.$1" -v "$2"; }
discover() { iscsiadm -m discovery -t st -p "$@"; }
login() { iscsiadm -m node -l -p "${2:-$p1}" -T "$base:$1" 1; }
new() { iscsiadm -m node -o new -T "$base:$1" -p "$2"; }
daemons() { grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l; }
end_worker() { # SIGNAL REMAINING
    kill "$1" "$(</run/iscsid.pid)"
    for _ in {1..300}; do [ "$(daemons)" = "$2" ] && return; sleep 0.01; done
}
export -f update discover login new daemons end_worker
logged_in() { echo -n "Logging in to $(label $1 $2)\nLogin to $(label $1 $2) successful."; } # TARGET PORTAL
fails() { # EXIT REASON TARGET [PORTAL]
    local at=$(label $3 ${4:-$p1})
    echo -n "iscsiadm: Could not login to $at.\niscsiadm: initiator reported error ($1 - $2)\n$all\nLogging in to $at"
}
all="iscsiadm: Could not log into all portals" no_records="iscsiadm: No records found"
sed -i '/:empty"/s/$/ "tag": 3,/' $run/network.json && cp $run/network.json /tmp

# --- module and daemon
# A host of old has no systemctl, which the startup command in iscsid.conf calls.
unreached="iscsiadm: can not connect to iSCSI daemon (111)!"
no_daemon="sh: line 1: /bin/systemctl: No such file or directory\n$unreached" lost="(20 - could not connect to iscsid)"
no_targets="iscsiadm: Cannot perform discovery. Initiatorname required."
no_targets+="\niscsiadm: Could not perform SendTargets discovery: could not connect to iscsid"
touch $run/modprobe-fails
table <<TABLE
20|$no_daemon\niscsiadm: Could not scan $class/iscsi_transport.\n$no_daemon\n$no_targets|discover $p1
1|rmmod: ERROR: Module iscsi_tcp is not currently loaded|rmmod iscsi_tcp
1|modprobe: ERROR: could not insert 'iscsi_tcp': Operation not permitted|modprobe iscsi_tcp
1|modprobe: FATAL: Module iscsi_tcp not found in directory ${modules%/k*}|rm $run/m*fails $modules/*; modprobe iscsi_tcp
0|iscsi_tcp 28672 0 - Live|: >$modules/iscsi_tcp.ko; modprobe iscsi_tcp && modprobe iscsi_tcp; head -c24 /proc/modules
1||/etc/init.d/iscsid start && /etc/init.d/iscsid start && iscsid
1|2\niscsid: the daemon goes on|touch $run/stubborn-daemon; daemons; /etc/init.d/iscsid stop
1|iscsid: no process found|killall iscsid && rm $run/stubborn-daemon && killall iscsid
3|iscsid is stopped|/etc/init.d/iscsid status
0|closed|timeout 5 iscsid | cat; echo closed
0|600 /sbin/iscsid|stat -c %a /run/iscsid.pid | tr '\n' ' '; tr -d '\0' </proc/\$(</run/iscsid.pid)/cmdline
20|$no_daemon\n$no_daemon\n$no_targets|end_worker -9 1; discover $p1
0|1 3 1|echo \$(daemons; iscsid; daemons; iscsiadm -k 0; daemons)
0|2 0|killall iscsid; iscsid; echo \$(daemons; end_worker -TERM 0; daemons)
0||/etc/init.d/open-iscsi stop && /etc/init.d/open-iscsi stop && /etc/init.d/open-iscsi start
21|iscsiadm: No active sessions.|iscsiadm -m session
21|$no_records|iscsiadm -m node
TABLE

# --- discovery, and updates: every record of the portal, no other; lost by the next discovery
refused() { # ADDRESS REASON
    printf "iscsiadm: cannot make connection to $1: $2\\\\n%.0s" 1 2 3 4 5 6
    echo -n "iscsiadm: connection login retries (reopen_max) 5 exceeded\n"
    echo "iscsiadm: Could not perform SendTargets discovery: iSCSI PDU timed out"
}
unresolved="iscsiadm: cannot resolve host name array.example"
linked() { # each entry of the discovery, the modes of what it leads to, and where that is
    for entry in "$etc"/send_targets/*/*,default; do
        echo "${entry##*:}" $(stat -Lc %a "$entry/default" "$entry") "$(readlink "$entry")"
    done
}
starts() { cat $etc/nodes/*/*/default | sed -n 's/^node.startup = //p' | sort | uniq -c | xargs; }
export -f linked starts
unknown="iscsiadm: Cannot modify node.no_such_key. Invalid param name."
table <<TABLE
11|$(refused 10.0.0.9 "Connection refused")|discover 10.0.0.9:3260
11|$(refused 10.0.0.8 "No route to host")|discover 10.0.0.8
4|iscsiadm: Cannot resolve host ${unresolved##* }. getaddrinfo error: [Name or service not known]\n$unresolved\n\
$unresolved\niscsiadm: Could not perform SendTargets discovery: encountered connection failure|discover array.example
11|$(refused 10.0.0.1 "Connection refused")|discover 10.0.0.1:
0|10.0.0.1,0 10.0.0.8,3260 10.0.0.9,3260 array.example,3260|ls $etc/send_targets | xargs
0||for portal in 10.0.0.1:0 10.0.0.8 10.0.0.9:3260 array.example; do iscsiadm -m discovery -p \$portal -o delete 1; done
0|$p1,1 $base:disks\n$p2,1 $base:disks\n$p1,1 $base:chap\n$p1,1 $base:mutual\n$p2,3 $base:empty|discover $p1
0|$(for at in chap/10.0.0.1,3260,1 disks/10.0.0.{1,2},3260,1 empty/10.0.0.2,3260,3 mutual/10.0.0.1,3260,1; do
    echo -n "${at/\//,},default 600 700 $etc/nodes/$base:$at "
done)|echo \$(linked)' '
0|68 node.name = $base:disks node.tpgt = 1 node.startup = manual node.conn[0].address = 10.0.0.2 node.conn[0].port = \
3260|cd $etc/nodes/$base:disks/10.0.0.2,3260,1; { wc -l <default; sed -n '2,4p;52,53p' default; } | xargs
0||iscsiadm -m node -p $p1 -o update -n node.startup -v automatic 1
0||iscsiadm -m node -T $base:chap -p $p1 -o update -n node.startup -v manual
7|$unknown\n$unknown\n$unknown\niscsiadm: Could not execute operation on all records: invalid parameter|\
iscsiadm -m node -p $p1 -o update -n node.no_such_key -v 1
7|iscsiadm: option requires an argument -- 'v'\niscsiadm: node mode: option '-?' is not allowed/supported|\
iscsiadm -m node -p $p1 -o update -n node.startup -v
0|2 automatic 3 manual\n5 manual|starts; discover $p1 >/dev/null; starts
TABLE

# --- login: an attempt that reaches the target uses up a session number, one that cannot connect does not
refusal="encountered non-retryable iSCSI login failure" rejected="iSCSI login failed due to authorization failure"
table <<TABLE
0|$(logged_in disks $p1)|login disks
24|$(fails 24 "$rejected" chap)|update username user1; update password secretsecret; login chap
0|$(logged_in chap $p1)|update password secretsecret1; login chap
24|$(fails 24 "$rejected" mutual)|login mutual
19|$(fails 19 "$refusal" mutual)|update username_in user2; update password_in wrong; login mutual
0|$(logged_in mutual $p1)|update password_in secretsecret2; login mutual
TABLE
for away in "gone $p1" "gone 10.0.0.9:3260" "gone 10.0.0.8:3260" "empty $p1"; do
    name=${away% *} portal=${away#* }
    table <<TABLE
0|New iSCSI node [tcp:[hw=,ip=,net_if=,iscsi_if=default] ${portal/:/,},-1 $base:$name] added|new $away
8|$(fails 8 "connection timed out" $away)|login $away
0||iscsiadm -m node -o delete -T $base:$name -p $portal
TABLE
done

# --- logout and removal
present="iscsiadm: default: 1 session requested, but 1 already present."
in_use() {
    echo -n "iscsiadm: This command will remove the record $(label $1 ${2:-$p1}), but a session is using it."
    echo -n " Logout session then rerun command to remove record."
}
unended() { echo -n "$no_daemon\niscsiadm: Could not logout of $1.\niscsiadm: initiator reported error $lost\n"; }
kept="iscsiadm: Could not execute operation on all records: session exists"
no_info="iscsiadm: could not read session targetname: 5"
s1="[sid: 1, target: $base:disks, portal: ${p1/:/,}]" s3=${s1/1, target: $base:disks/3, target: $base:chap}
table <<TABLE
15|$present\n$present\n$present\n$all|iscsiadm -m node -l -p $p1 1
0|[1] $p1,1 $base:disks [3] $p1,1 $base:chap [6] $p1,1 $base:mutual|iscsiadm -m session | cut -d' ' -f2-4 | xargs
15|$(in_use chap)\n$(in_use disks)\n$(in_use mutual)\n$kept|iscsiadm -m node -p $p1 -o delete 1
22|$no_info\niscsiadm: Could not get session info for sid 99|iscsiadm -m session -r 99 -u
0|Logout of [sid: 6, target: $base:mutual, portal: ${p1/:/,}] successful.|iscsiadm -m session -r 6 -u | tail -n1
1|rmmod: ERROR: Module iscsi_tcp is in use|rmmod iscsi_tcp
0|$unreached\niscsiadm: initiator reported error $lost\niscsiadm: Could not stop iscsid. \
Trying sending iscsid SIGTERM or SIGKILL signals manually|/etc/init.d/iscsid stop; iscsiadm -k 0
21|$(unended "$s1")$(unended "$s3")iscsiadm: No matching sessions found\nLogging out of session $s1\n\
Logging out of session $s3|iscsiadm -m session -u
0|Logging out of session $s1\nLogout of $s1 successful.|/etc/init.d/iscsid start && iscsiadm -m session -r 1 -u
15|$(in_use chap)\n$kept|iscsiadm -m node -p $p1 -o delete
0|chap disks empty|ls $etc/nodes | sed s/.*:// | xargs
0|chap,10.0.0.1,3260,1,default disks,10.0.0.2,3260,1,default empty,10.0.0.2,3260,3,default st_config|\
ls $etc/send_targets/* | sed s/.*:// | xargs
0||iscsiadm -m discovery -p $p1 -o delete 1
7|iscsiadm: Discovery record [10.0.0.1,3260] not found!|iscsiadm -m discovery -p $p1 -o delete
0||iscsiadm -m session -u >/dev/null; find $devices $class/iscsi_session -mindepth 1
0|libiscsi_tcp 36864 0 - Live 06|rmmod iscsi_tcp; head -c29 /proc/modules; ls $class/*transport; ls -d $class/i* | wc -l
TABLE

# --- without the driver a login fails, and a discovery loads it. It takes over what another portal told of, and
# forgets what is no longer told of, unless it is in use
v6=[fd00::1]:3260 long=2001:db8:1234:5678:9abc:def0:1234:5678
at_v6="[iface: default, target: $base:disks, portal: fd00::1,3260]"
table <<TABLE
9|$(fails 9 "internal error" disks)|new disks $p1 >/dev/null; login disks
0|tcp\n$(logged_in disks $p2)|discover $p1 >/dev/null; ls $class/iscsi_transport; login disks $p2
TABLE
cat >$run/network.json <<JSON
{"portals": [{"portal": "$p1"}, {"portal": "$v6", "initiator_address": "fd00::64"}, {"portal": "[$long]:3260"}],
 "targets": [{"name": "$base:disks", "portals": ["$v6", "[$long]:3260"], "luns": [{"lun": 0, "size_bytes": 512}]}]}
JSON
table <<TABLE
11|$(refused 10.0.0.9 "Connection refused")|discover 10.0.0.9
0|$(in_use disks $p2)\n$v6,1 $base:disks\n[$long]:3260,1 $base:disks|discover $p1
0|10.0.0.2,3260,1 $long,3260,1 fd00::1,3260,1|cd $etc/nodes/*; echo *,1
0|$base:disks,$long,3260,1,default $base:disks,fd00::1,3260,1,default $base:disks,10.0.0.2,3260,1,default|\
discover [FD00::1] >/dev/null; for at in FD00::1 10.0.0.1; do cd $etc/send_targets/\$at,3260; echo *disks*; done | xargs
21|$no_records|iscsiadm -m node -T $base:disks -p fd00::1:3260 -l
0|Logging in to $at_v6\nLogin to $at_v6 successful.|login disks $v6
15|$present\n$all|iscsiadm -m node -T $base:disks -p fd00::1 -l
TABLE

# --- a session whose target is away: what needs the connection opens and cannot be read
export sid=$(ls $class/iscsi_session | tr -dc '0-9\n' | sort -n | tail -n1) full=fd00:0000:0000:0000:0000:0000:0000
becomes() { # STATE: what is seen then
    simhost-command session-state "$sid" "$1"
    cd $class/iscsi_session/session$sid/device/connection*/iscsi_connection/connection*
    cat {address,port,local_port,persistent_address,persistent_port,state} ../../../../iscsi_host/*/ipaddress \
        $class/iscsi_session/session$sid/{state,device/target*/*/state} 2>&1 | sed 's/.*put.output error/-/' | xargs
}
export -f becomes
table <<TABLE
0|$full:0001 3260 45440 fd00::1 3260 up $full:0064 LOGGED_IN running|becomes up
0|- - - fd00::1 3260 failed - FAILED blocked|becomes recovering
0|- - - fd00::1 3260 failed - FREE transport-offline|becomes failed
0|- - - fd00::1 3260 failed - FAILED blocked|becomes recovering
0|tcp: [$sid] $v6,1 $base:disks (non-flash)|iscsiadm -m session | tail -n1
15|1|iscsiadm -m node -p $v6 -o delete 2>&1 | grep -c "session is using it"; exit \${PIPESTATUS[0]}
1|session-state: there is no session 99|simhost-command session-state 99 up
0|$full:0001 3260 45442 fd00::1 3260 up $full:0064 LOGGED_IN running|becomes up
0|Logout of [sid: $sid, ${at_v6#*default, } successful.|iscsiadm -m node -T $base:disks -p $v6 -u | tail -n1
21|iscsiadm: No matching sessions found|iscsiadm -m node -T $base:disks -p $v6 -u
TABLE

# --- the older form of sysfs, the other database root, automatic login
iscsiadm -m session -u >/dev/null
cp /tmp/network.json $run && rm $run/next-session && killall iscsid
echo older >$run/sysfs-form && mkdir -p /var/lib/iscsi
/etc/init.d/iscsid start && discover $p1 >/dev/null
iscsiadm -m node -T $base:disks -p $p1 -o update -n node.startup -v automatic
table <<TABLE
0|/var/lib/iscsi/nodes/$base:chap/10.0.0.1,3260,1|readlink /var/lib/iscsi/send_targets/*/*:chap*
0|1 ../../../devices/platform/host0/session1|/etc/init.d/open-iscsi start; cd $class/*session && test ! -L session1 && \
echo \$(ls | wc -l) \$(readlink session1/device)
0|0:0:0:0 0:0:0:1 0:0:0:10|cd $class/iscsi_session/session1/device/target0:0:0 && echo 0:*
0|2097152\n20971520\n209715200|cat /sys/bus/scsi/devices/0:0:0:*/block*/size
0||/etc/init.d/open-iscsi stop && rmmod iscsi_tcp && find $devices -mindepth 1
TABLE
exit $failed
