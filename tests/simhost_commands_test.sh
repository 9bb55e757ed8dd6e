#!/bin/bash
# The stand-in commands answer as a real host's do: texts, exit codes and what they leave behind. The expected
# texts were taken down on a real host. Enters the simulated host by itself.
set -u
export LC_ALL=C
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" --stopped bash "$0"

run=/run/simhost base=iqn.2024-01.test p1=10.0.0.1:3260 p2=10.0.0.2:3260
etc=/etc/iscsi modules=/lib/modules/$(uname -r) failed=0

same() { # NAME GOT WANT
    [ "$2" = "$3" ] && return
    failed=$((failed + 1))
    printf 'FAILED line %s: %s\n' "${BASH_LINENO[-2]}" "$1"
    diff <(echo "$3") <(echo "$2") | sed 's/^/    /'
}
# answers EXIT OUTPUT COMMAND: run as the C library's system() does, both streams into one file.
answers() {
    local code
    code=$(bash -c "$3" </dev/null >/tmp/output 2>&1; echo $?)
    same "$3" "[$code] $(</tmp/output)" "[$1] $2"
}
# table: rows of EXIT|OUTPUT|COMMAND, with \n between lines of output.
table() { while IFS='|' read -r code output line; do answers "$code" "$(echo -e "$output")" "$line"; done; }
is() { same "$1" "$(eval "$1" 2>&1)" "$2"; } # COMMAND OUTPUT
tree() { find "$@" -mindepth 1 \( -type d -printf '%p/\n' -o -type l -printf '%p -> %l\n' -o -printf '%p\n' \) | sort; }
label() { echo "[iface: default, target: $base:$1, portal: ${2/:/,}]"; }
update() { iscsiadm -m node -p $p1 -o update -n "node.session.auth.$1" -v "$2"; }
discover() { iscsiadm -m discovery -t st -p $p1 >/dev/null; }
login() { echo "iscsiadm -m node -l -p ${2:-$p1} -T $base:$1 1"; }
logs_in() { # TARGET
    answers 0 "$(echo -e "Logging in to $(label $1 $p1)\nLogin to $(label $1 $p1) successful.")" "$(login $1)"
}
login_fails() { # EXIT REASON TARGET [PORTAL]
    answers $1 "iscsiadm: Could not login to $(label $3 ${4:-$p1}).
iscsiadm: initiator reported error ($1 - $2)
iscsiadm: Could not log into all portals
Logging in to $(label $3 ${4:-$p1})" "$(login "${@:3}")"
}

cat >/tmp/network.json <<JSON
{"portals": [{"portal": "$p1", "initiator_address": "10.0.0.100"}, {"portal": "$p2"},
             {"portal": "10.0.0.8:3260", "state": "dead"}],
 "targets": [
  {"name": "$base:disks", "portals": ["$p1", "$p2"],
   "luns": [{"lun": 0, "size_bytes": 8388608}, {"lun": 10, "size_bytes": 25165824}]},
  {"name": "$base:chap", "portals": ["$p1"], "chap": {"user": "user1", "secret": "secretsecret1"}},
  {"name": "$base:mutual", "portals": ["$p1"], "chap": {"user": "user1", "secret": "secretsecret1"},
   "mutual": {"user": "user2", "secret": "secretsecret2"}},
  {"name": "$base:empty", "tag": 3, "portals": ["$p2"]}]}
JSON
cp /tmp/network.json $run

# --- module and daemon
# A host of old has no systemctl, which the startup command in iscsid.conf calls.
unreached="iscsiadm: can not connect to iSCSI daemon (111)!"
no_daemon="sh: line 1: /bin/systemctl: No such file or directory\n$unreached"
no_targets="iscsiadm: Cannot perform discovery. Initiatorname required.\niscsiadm: Could not perform SendTargets discovery: could not connect to iscsid"
daemons() { grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l; }
end_worker() { # SIGNAL REMAINING
    kill "$1" "$(</run/iscsid.pid)"
    for _ in {1..300}; do [ "$(daemons)" = "$2" ] && return; sleep 0.01; done
}
export -f daemons end_worker
missing="Module iscsi_tcp not found in directory"
touch $run/modprobe-fails
table <<TABLE
20|$no_daemon\niscsiadm: Could not scan /sys/class/iscsi_transport.\n$no_daemon\n$no_targets|iscsiadm -m discovery -t st -p $p1
1|rmmod: ERROR: Module iscsi_tcp is not currently loaded|rmmod iscsi_tcp
1|modprobe: ERROR: could not insert 'iscsi_tcp': Operation not permitted|modprobe iscsi_tcp
1|modprobe: FATAL: $missing $modules|rm $run/modprobe-fails; mv $modules/kernel/drivers/scsi/iscsi_tcp.ko /tmp; modprobe iscsi_tcp
0||mv /tmp/iscsi_tcp.ko $modules/kernel/drivers/scsi; modprobe iscsi_tcp && modprobe iscsi_tcp
0|iscsi_tcp 28672 0 - Live|sed -n '1s/ 0x.*//p' /proc/modules
1||/etc/init.d/iscsid start && /etc/init.d/iscsid start && iscsid
0|2|touch $run/stubborn-daemon; daemons
1|iscsid: the daemon goes on|/etc/init.d/iscsid stop
0|iscsid is running|/etc/init.d/iscsid status
1|iscsid: no process found|killall iscsid && rm $run/stubborn-daemon && killall iscsid
3|iscsid is stopped|/etc/init.d/iscsid status
0|closed|timeout 5 iscsid | cat; echo closed
0|600 /sbin/iscsid|stat -c %a /run/iscsid.pid | tr '\n' ' '; tr -d '\0' </proc/\$(</run/iscsid.pid)/cmdline
20|$no_daemon\n$no_daemon\n$no_targets|end_worker -9 1; iscsiadm -m discovery -t st -p $p1
0|1 3 1|echo \$(daemons; iscsid; daemons; iscsiadm -k 0; daemons)
0|$unreached\niscsiadm: initiator reported error (20 - could not connect to iscsid)\niscsiadm: Could not stop iscsid. Trying sending iscsid SIGTERM or SIGKILL signals manually|iscsiadm -k 0
0|2 0|killall iscsid; iscsid; echo \$(daemons; end_worker -TERM 0; daemons)
0||/etc/init.d/open-iscsi stop && /etc/init.d/open-iscsi stop && /etc/init.d/open-iscsi start
21|iscsiadm: No active sessions.|iscsiadm -m session
21|iscsiadm: No records found|iscsiadm -m node
TABLE

# --- discovery
refused() { # ADDRESS REASON
    printf "iscsiadm: cannot make connection to $1: $2\\\\n%.0s" 1 2 3 4 5 6
    echo "iscsiadm: connection login retries (reopen_max) 5 exceeded\niscsiadm: Could not perform SendTargets discovery: iSCSI PDU timed out"
}
table <<TABLE
11|$(refused 10.0.0.9 "Connection refused")|iscsiadm -m discovery -t st -p 10.0.0.9:3260
11|$(refused 10.0.0.8 "No route to host")|iscsiadm -m discovery -t st -p 10.0.0.8
11|$(refused 10.0.0.1 "Connection refused")|iscsiadm -m discovery -t st -p 10.0.0.1:
4|iscsiadm: Cannot resolve host array.example. getaddrinfo error: [Name or service not known]\niscsiadm: cannot resolve host name array.example\niscsiadm: cannot resolve host name array.example\niscsiadm: Could not perform SendTargets discovery: encountered connection failure|iscsiadm -m discovery -t st -p array.example
0|10.0.0.1,0/st_config 10.0.0.8,3260/st_config 10.0.0.9,3260/st_config array.example,3260/st_config|cd $etc/send_targets; echo */*
0||for portal in 10.0.0.1:0 10.0.0.8 10.0.0.9:3260 array.example; do iscsiadm -m discovery -p \$portal -o delete 1; done
TABLE
answers 0 "$(printf '%s\n' "$p1,1 $base:"disks "$p2,1 $base:"disks "$p1,1 $base:"{chap,mutual} "$p2,3 $base:empty")" \
    "iscsiadm -m discovery -t st -p $p1"
is "tree $etc/nodes $etc/send_targets" "$(
    printf '%s\n' $etc/send_targets/10.0.0.1,3260/{,st_config} >/tmp/want
    for t in chap/10.0.0.1,3260,1 disks/10.0.0.1,3260,1 disks/10.0.0.2,3260,1 empty/10.0.0.2,3260,3 mutual/10.0.0.1,3260,1; do
        printf '%s\n' $etc/nodes/$base:{${t%/*},$t,$t/default} | sed '/default$/!s,$,/,'
        echo "$etc/send_targets/10.0.0.1,3260/$base:${t/\//,},default -> $etc/nodes/$base:$t"
    done | sort -u - /tmp/want)"
is "find $etc -type d ! -perm 700" "$etc"
is "cd $etc/nodes/$base:disks/10.0.0.2,3260,1; { stat -c %a default; wc -l <default; sed -n '2,4p;52,53p' default; } | xargs" "600 68 node.name = $base:disks \
node.tpgt = 1 node.startup = manual node.conn[0].address = 10.0.0.2 node.conn[0].port = 3260"

# --- updates: every record of the portal, no other; lost by the next discovery
starts() { cat $etc/nodes/*/*/default | sed -n 's/^node.startup = //p' | sort | uniq -c | xargs; }
unknown="iscsiadm: Cannot modify node.no_such_key. Invalid param name."
table <<TABLE
0||iscsiadm -m node -p $p1 -o update -n node.startup -v automatic 1
0||iscsiadm -m node -T $base:chap -p $p1 -o update -n node.startup -v manual
21|iscsiadm: No records found|iscsiadm -m node -p 10.0.0.9:3260 -o update -n node.startup -v manual
7|$unknown\n$unknown\n$unknown\niscsiadm: Could not execute operation on all records: invalid parameter|iscsiadm -m node -p $p1 -o update -n node.no_such_key -v 1
7|iscsiadm: option requires an argument -- 'v'\niscsiadm: node mode: option '-?' is not allowed/supported|iscsiadm -m node -p $p1 -o update -n node.startup -v
TABLE
is "starts; discover; starts" "2 automatic 3 manual
5 manual"

# --- login: an attempt that reaches the target uses up a session number, one that cannot connect does not
refusal="encountered non-retryable iSCSI login failure" rejected="iSCSI login failed due to authorization failure"
logs_in disks
login_fails 24 "$rejected" chap
update username user1; update password secretsecret
login_fails 24 "$rejected" chap
update password secretsecret1
logs_in chap
login_fails 24 "$rejected" mutual
update username_in user2; update password_in wrong
login_fails 19 "$refusal" mutual
update password_in secretsecret2
logs_in mutual
for away in gone,$p1 gone,10.0.0.9:3260 gone,10.0.0.8:3260 empty,$p1; do
    name=${away%,*} portal=${away#*,}
    answers 0 "New iSCSI node [tcp:[hw=,ip=,net_if=,iscsi_if=default] ${portal/:/,},-1 $base:$name] added" \
        "iscsiadm -m node -o new -T $base:$name -p $portal"
    login_fails 8 "connection timed out" $name $portal
    answers 0 "" "iscsiadm -m node -o delete -T $base:$name -p $portal"
done

# --- logout and removal
present="iscsiadm: default: 1 session requested, but 1 already present." all="iscsiadm: Could not log into all portals"
in_use() { echo -n "iscsiadm: This command will remove the record $(label $1 ${2:-$p1}), but a session is using it. Logout session then rerun command to remove record."; }
session() { echo -n "[sid: $1, target: $base:$2, portal: ${p1/:/,}]"; }
lost() { echo -n "$no_daemon\niscsiadm: Could not logout of $1.\niscsiadm: initiator reported error (20 - could not connect to iscsid)"; }
kept="iscsiadm: Could not execute operation on all records: session exists"
s1=$(session 1 disks) s4=$(session 4 chap) s7=$(session 7 mutual)
table <<TABLE
15|$present\n$all|$(login chap)
15|$present\n$present\n$present\n$all|iscsiadm -m node -l -p $p1 1
21|iscsiadm: No records found|$(login unknown)
0|tcp: [1] $p1,1 $base:disks (non-flash)\ntcp: [4] $p1,1 $base:chap (non-flash)\ntcp: [7] $p1,1 $base:mutual (non-flash)|iscsiadm -m session
15|$(in_use chap)\n$(in_use disks)\n$(in_use mutual)\n$kept|iscsiadm -m node -p $p1 -o delete 1
22|iscsiadm: could not read session targetname: 5\niscsiadm: Could not get session info for sid 99|iscsiadm -m session -r 99 -u
0|Logging out of session $s7\nLogout of $s7 successful.|iscsiadm -m session -r 7 -u
1|rmmod: ERROR: Module iscsi_tcp is in use|rmmod iscsi_tcp
21|$(lost "$s1")\n$(lost "$s4")\niscsiadm: No matching sessions found\nLogging out of session $s1\nLogging out of session $s4|/etc/init.d/iscsid stop; iscsiadm -m session -u
0|Logging out of session $s1\nLogout of $s1 successful.|/etc/init.d/iscsid start && iscsiadm -m session -r 1 -u
15|$(in_use chap)\n$kept|iscsiadm -m node -p $p1 -o delete
0|chap disks empty|ls $etc/nodes | sed s/.*:// | xargs
0|chap,10.0.0.1,3260,1,default disks,10.0.0.2,3260,1,default empty,10.0.0.2,3260,3,default st_config|ls $etc/send_targets/* | sed s/.*:// | xargs
0||iscsiadm -m discovery -p $p1 -o delete 1
7|iscsiadm: Discovery record [10.0.0.1,3260] not found!|iscsiadm -m discovery -p $p1 -o delete
0||iscsiadm -m session -u >/dev/null; find /sys/devices/platform /sys/block /sys/bus/scsi/devices /sys/class/iscsi_session -mindepth 1
0|libiscsi_tcp 36864 0 - Live\n6|rmmod iscsi_tcp && sed -n '1s/ 0x.*//p' /proc/modules; ls /sys/class/iscsi_transport; ls -d /sys/class/iscsi_* | wc -l
TABLE

# --- without the driver a login fails, and a discovery loads it
answers 0 "New iSCSI node [tcp:[hw=,ip=,net_if=,iscsi_if=default] ${p1/:/,},-1 $base:disks] added" "iscsiadm -m node -o new -T $base:disks -p $p1"
login_fails 9 "internal error" disks
answers 0 tcp "iscsiadm -m discovery -t st -p $p1 >/dev/null; ls /sys/class/iscsi_transport"

# --- a discovery takes over what another portal told of, and forgets what is no longer told of, unless it is in use
v6=[fd00::1]:3260 long=2001:db8:1234:5678:9abc:def0:1234:5678
answers 0 "$(echo -e "Logging in to $(label disks $p2)\nLogin to $(label disks $p2) successful.")" "iscsiadm -m node -T $base:disks -p $p2 -l"
cat >$run/network.json <<JSON
{"portals": [{"portal": "$p1"}, {"portal": "$v6", "initiator_address": "fd00::64"}, {"portal": "[$long]:3260"}],
 "targets": [{"name": "$base:disks", "portals": ["$v6", "[$long]:3260"], "luns": [{"lun": 0, "size_bytes": 512}]}]}
JSON
table <<TABLE
11|$(refused 10.0.0.9 "Connection refused")|iscsiadm -m discovery -t st -p 10.0.0.9
0|$(in_use disks $p2)\n$v6,1 $base:disks\n[$long]:3260,1 $base:disks|iscsiadm -m discovery -t st -p $p1
0|disks/10.0.0.2,3260,1/ disks/$long,3260,1/ disks/fd00::1,3260,1/|cd $etc/nodes && ls -d */*/ | sed s/.*:disks/disks/ | xargs
0|FD00::1,3260/$base:disks,$long,3260,1,default FD00::1,3260/$base:disks,fd00::1,3260,1,default|iscsiadm -m discovery -t st -p [FD00::1] >/dev/null; cd $etc/send_targets && echo F*/*disks*
0|10.0.0.1,3260/$base:disks,10.0.0.2,3260,1,default|cd $etc/send_targets && echo 10.0.0.1*/*disks*
21|iscsiadm: No records found|iscsiadm -m node -T $base:disks -p fd00::1:3260 -l
0|[iface: default, target: $base:disks, portal: fd00::1,3260] successful.|iscsiadm -m node -T $base:disks -p $v6 -l | sed -n 's/Login to //p'
15|$present\n$all|iscsiadm -m node -T $base:disks -p fd00::1 -l
TABLE

# --- a session whose target is away: what needs the connection opens and cannot be read
sid=$(ls /sys/class/iscsi_session | sed -n 's/session//;$p') full=fd00:0000:0000:0000:0000:0000:0000
connection=/sys/class/iscsi_connection/connection$sid:0
seen() {
    local host=(/sys/class/iscsi_session/session$sid/device/../iscsi_host/*)
    cat $connection/{address,port,local_port,persistent_address,persistent_port,state} "${host[0]}/ipaddress" \
        /sys/class/iscsi_session/session$sid/{state,device/target*/*/state} 2>&1 | sed 's/.*error/-/' | xargs
    for name in address port; do exec {fd}<$connection/$name && echo opened; done
}
is seen "$full:0001 3260 45440 fd00::1 3260 up $full:0064 LOGGED_IN running"$'\nopened\nopened'
while read -r state want; do
    simhost-command session-state "$sid" "$state"
    is "seen | head -n1" "$want"
done <<STATES
recovering - - - fd00::1 3260 failed - FAILED blocked
failed - - - fd00::1 3260 failed - FREE transport-offline
recovering - - - fd00::1 3260 failed - FAILED blocked
STATES
is "seen | tail -n2" $'opened\nopened'
table <<TABLE
0|tcp: [$sid] $v6,1 $base:disks (non-flash)|iscsiadm -m session | tail -n1
15|1|iscsiadm -m node -p $v6 -o delete 2>&1 | grep -c "session is using it"; exit \${PIPESTATUS[0]}
1|session-state: there is no session 99|simhost-command session-state 99 up
TABLE
simhost-command session-state "$sid" up
is "seen | head -n1" "$full:0001 3260 45442 fd00::1 3260 up $full:0064 LOGGED_IN running"
table <<TABLE
0|[sid: $sid, target: $base:disks, portal: fd00::1,3260] successful.|iscsiadm -m node -T $base:disks -p $v6 -u | sed -n 's/Logout of //p'
21|iscsiadm: No matching sessions found|iscsiadm -m node -T $base:disks -p $v6 -u
TABLE

# --- the older form of sysfs, the other database root, automatic login
iscsiadm -m session -u >/dev/null
cp /tmp/network.json $run && rm $run/next-session && killall iscsid
echo older >$run/sysfs-form && mkdir -p /var/lib/iscsi
/etc/init.d/iscsid start && discover
iscsiadm -m node -T $base:disks -p $p1 -o update -n node.startup -v automatic
session1=/sys/class/iscsi_session/session1
table <<TABLE
0|/var/lib/iscsi/nodes/$base:chap/10.0.0.1,3260,1|readlink /var/lib/iscsi/send_targets/*/*:chap*
0|../../../devices/platform/host0/session1|/etc/init.d/open-iscsi start && test ! -L $session1 && readlink $session1/device
0|0:0:0:0 0:0:0:10|cd $session1/device/target0:0:0 && echo 0:*
0|16384\n49152|cat /sys/bus/scsi/devices/0:0:0:*/block*/size
0||/etc/init.d/open-iscsi stop && rmmod iscsi_tcp && find /sys/devices/platform /sys/block /sys/bus/scsi/devices -mindepth 1
TABLE
[ $failed = 0 ] || { echo "$failed checks failed"; exit 1; }
