#!/bin/bash
# The stand-in commands answer as a real host's do: texts, exit codes and what they leave behind. The expected
# texts were taken down on a real host. Enters the simulated host by itself.
set -u
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" bash "$0"

run=/run/simhost base=iqn.2024-01.test p1=10.0.0.1:3260 p2=10.0.0.2:3260
etc=/etc/iscsi command=$(readlink -f $run/bin/iscsiadm) failed=0

same() { # NAME GOT WANT
    [ "$2" = "$3" ] && return
    failed=$((failed + 1))
    printf 'FAILED line %s: %s\n' "${BASH_LINENO[1]}" "$1"
    diff <(echo "$3") <(echo "$2") | sed 's/^/    /'
}
# answers EXIT OUTPUT COMMAND: run as the C library's system() does, both streams into one file.
answers() {
    local got code
    got=$(bash -c "$3" </dev/null >/tmp/output 2>&1; echo $?)
    code=$got got=$(</tmp/output)
    same "$3" "[$code] $got" "[$1] $2"
}
is() { same "$1" "$(eval "$1" 2>&1)" "$2"; } # COMMAND OUTPUT
tree() { find "$@" -mindepth 1 \( -type d -printf '%p/\n' -o -type l -printf '%p -> %l\n' -o -printf '%p\n' \) | sort; }
label() { echo "[iface: default, target: $base:$1, portal: ${2/:/,}]"; }
update() { iscsiadm -m node -p $p1 -o update -n "$1" -v "$2"; }
discover() { iscsiadm -m discovery -t st -p $p1 >/dev/null; }
login() { echo "iscsiadm -m node -l -p ${2:-$p1} -T $base:$1 1"; }
logs_in() { # TARGET [PORTAL]
    answers 0 "Logging in to $(label $1 ${2:-$p1})
Login to $(label $1 ${2:-$p1}) successful." "$(login "$@")"
}
login_fails() { # EXIT REASON TARGET [PORTAL]
    answers $1 "iscsiadm: Could not login to $(label $3 ${4:-$p1}).
iscsiadm: initiator reported error ($1 - $2)
iscsiadm: Could not log into all portals
Logging in to $(label $3 ${4:-$p1})" "$(login "${@:3}")"
}
daemons() { grep -lsz '^/sbin/iscsid$' /proc/[0-9]*/cmdline | wc -l; }

cat >$run/network.json <<JSON
{"portals": [{"portal": "$p1", "initiator_address": "10.0.0.100"}, {"portal": "$p2"},
             {"portal": "10.0.0.8:3260", "state": "dead"}],
 "targets": [
  {"name": "$base:disks", "portals": ["$p1", "$p2"], "luns": [
    {"lun": 0, "size_bytes": 8388608, "vendor": "LIO-ORG", "model": "Virtual Disk"},
    {"lun": 1, "size_bytes": 16777216}, {"lun": 10, "size_bytes": 25165824}]},
  {"name": "$base:chap", "portals": ["$p1"], "luns": [{"lun": 0, "size_bytes": 8388608}],
   "chap": {"user": "user1", "secret": "secretsecret1"}},
  {"name": "$base:mutual", "portals": ["$p1"], "chap": {"user": "user1", "secret": "secretsecret1"},
   "mutual": {"user": "user2", "secret": "secretsecret2"}},
  {"name": "$base:empty", "tag": 3, "portals": ["$p2"]}]}
JSON
found="$p1,1 $base:disks
$p2,1 $base:disks
$p1,1 $base:chap
$p1,1 $base:mutual
$p2,3 $base:empty"

# --- module and daemon
release=$(uname -r)
{ killall iscsid; rmmod iscsi_tcp; } >/dev/null 2>&1
answers 20 "iscsiadm: can not connect to iSCSI daemon (111)!
iscsiadm: Could not scan /sys/class/iscsi_transport.
iscsiadm: can not connect to iSCSI daemon (111)!
iscsiadm: Cannot perform discovery. Initiatorname required.
iscsiadm: Could not perform SendTargets discovery: could not connect to iscsid" "iscsiadm -m discovery -t st -p $p1"
answers 1 "rmmod: ERROR: Module iscsi_tcp is not currently loaded" "rmmod iscsi_tcp"
answers 1 "modprobe: FATAL: Module no_such not found in directory /lib/modules/$release" "modprobe no_such"
touch $run/modprobe-fails
answers 1 "modprobe: ERROR: could not insert 'iscsi_tcp': Operation not permitted" "modprobe iscsi_tcp"
rm $run/modprobe-fails
is "ls -d /sys/class/iscsi_* | wc -l" "ls: cannot access '/sys/class/iscsi_*': No such file or directory
0"
mv /lib/modules/$release/kernel/drivers/scsi/iscsi_tcp.ko /tmp
answers 1 "modprobe: FATAL: Module iscsi_tcp not found in directory /lib/modules/$release" "modprobe iscsi_tcp"
mv /tmp/iscsi_tcp.ko /lib/modules/$release/kernel/drivers/scsi
echo "scsi_mod 274432 4 sd_mod, Live 0x0" >/proc/modules
for again in 1 2; do answers 0 "" "modprobe iscsi_tcp"; done
is "cut -d' ' -f1-5 /proc/modules" "iscsi_tcp 28672 0 - Live
libiscsi_tcp 36864 1 iscsi_tcp, Live
libiscsi 77824 2 iscsi_tcp,libiscsi_tcp, Live
scsi_transport_iscsi 151552 3 iscsi_tcp,libiscsi_tcp,libiscsi, Live
scsi_mod 274432 4 sd_mod, Live"
is "tree /sys/class/iscsi_session" ""
is "daemons" 0
for again in 1 2; do answers 0 "" "/etc/init.d/iscsid start"; done
is "daemons" 2
is "cat \$(grep -lsz '^/sbin/iscsid\$' /proc/[0-9]*/cmdline | sed s/cmdline/comm/)" "iscsid
iscsid"
answers 1 "iscsid: an iscsid is running already" "iscsid"
answers 0 "iscsid is running" "/etc/init.d/iscsid status"
touch $run/stubborn-daemon
answers 1 "iscsid: the daemon goes on" "/etc/init.d/iscsid stop"
is "daemons" 2
answers 0 "" "killall iscsid"
is "daemons; ls -d /proc/[0-9]* | wc -l" "0
1"
rm $run/stubborn-daemon
answers 1 "iscsid: no process found" "killall iscsid"
answers 3 "iscsid is stopped" "/etc/init.d/iscsid status"
answers 0 "closed" "timeout 5 iscsid | cat; echo closed"
answers 0 "" "/etc/init.d/open-iscsi stop; /etc/init.d/open-iscsi stop"
is "daemons" 0
answers 0 "" "/etc/init.d/open-iscsi start"
answers 21 "iscsiadm: No active sessions." "iscsiadm -m session"
answers 21 "iscsiadm: No records found" "iscsiadm -m node"

# --- discovery
refused() { # ADDRESS REASON
    for i in 1 2 3 4 5 6; do echo "iscsiadm: cannot make connection to $1: $2"; done
    echo "iscsiadm: connection login retries (reopen_max) 5 exceeded
iscsiadm: Could not perform SendTargets discovery: iSCSI PDU timed out"
}
answers 11 "$(refused 10.0.0.9 "Connection refused")" "iscsiadm -m discovery -t st -p 10.0.0.9:3260"
answers 11 "$(refused 10.0.0.8 "No route to host")" "iscsiadm -m discovery -t st -p 10.0.0.8"
is "ls $etc/send_targets/*" "$etc/send_targets/10.0.0.8,3260:
st_config

$etc/send_targets/10.0.0.9,3260:
st_config"
for portal in 10.0.0.8 10.0.0.9; do answers 0 "" "iscsiadm -m discovery -p $portal:3260 -o delete 1"; done
answers 0 "$found" "iscsiadm -m discovery -t st -p $p1"
is "tree $etc/nodes $etc/send_targets" "$(
    for t in chap,1,1 disks,1,1 disks,2,1 empty,2,3 mutual,1,1; do
        IFS=, read -r name host tag <<<"$t"
        node=$etc/nodes/$base:$name/10.0.0.$host,3260,$tag
        echo "${node%/*}/
$node/
$node/default
$etc/send_targets/10.0.0.1,3260/$base:$name,10.0.0.$host,3260,$tag,default -> $node"
    done | cat - <(echo "$etc/send_targets/10.0.0.1,3260/
$etc/send_targets/10.0.0.1,3260/st_config") | sort -u)"
record=$etc/nodes/$base:disks/10.0.0.2,3260,1/default
is "stat -c %a $record $etc/send_targets/*/st_config; wc -l <$record; sed -n '2,4p;24,26p;52,54p' $record; wc -l <$etc/send_targets/*/st_config" "600
600
68
node.name = $base:disks
node.tpgt = 1
node.startup = manual
node.discovery_address = 10.0.0.1
node.discovery_port = 3260
node.discovery_type = send_targets
node.conn[0].address = 10.0.0.2
node.conn[0].port = 3260
node.conn[0].startup = manual
15"

# --- updates: every record of the portal, no other; lost by the next discovery
starts() { cat $etc/nodes/*/*/default | sed -n 's/^node.startup = //p' | sort | uniq -c | xargs; }
answers 0 "" "iscsiadm -m node -p $p1 -o update 			-n node.startup -v automatic 1"
is "starts" "3 automatic 2 manual"
answers 0 "" "iscsiadm -m node -T $base:chap -p $p1 -o update -n node.startup -v manual"
is "starts" "2 automatic 3 manual"
discover
is "starts" "5 manual"
sed -i.kept 's/^#* *node.startup = .*/node.startup = automatic/' $etc/iscsid.conf
discover
is "starts" "5 automatic"
mv $etc/iscsid.conf.kept $etc/iscsid.conf
discover
answers 21 "iscsiadm: No records found" "iscsiadm -m node -p 10.0.0.9:3260 -o update -n node.startup -v manual"
unknown="iscsiadm: Cannot modify node.no_such_key. Invalid param name."
answers 7 "$unknown
$unknown
$unknown
iscsiadm: Could not execute operation on all records: invalid parameter" \
    "iscsiadm -m node -p $p1 -o update -n node.no_such_key -v 1"
answers 7 "iscsiadm: option requires an argument -- 'v'
iscsiadm: node mode: option '-?' is not allowed/supported" "iscsiadm -m node -p $p1 -o update -n node.startup -v "

# --- login: an attempt that reaches the target uses up a session number, one that cannot connect does not
refusal="encountered non-retryable iSCSI login failure"
rejected="iSCSI login failed due to authorization failure"
login_fails 24 "$rejected" chap
update node.session.auth.username user1
update node.session.auth.password secretsecret
login_fails 24 "$rejected" chap
login_fails 19 "$refusal" disks
iscsiadm -m node -p $p1 -T $base:disks -o update -n node.session.auth.authmethod -v None
login_fails 19 "$refusal" disks
discover
logs_in disks
update node.session.auth.username user1
update node.session.auth.password secretsecret1
logs_in chap
login_fails 24 "$rejected" mutual
update node.session.auth.username_in user2
update node.session.auth.password_in wrong
login_fails 19 "$refusal" mutual
update node.session.auth.password_in secretsecret2
logs_in mutual
present="iscsiadm: default: 1 session requested, but 1 already present."
answers 15 "$present
iscsiadm: Could not log into all portals" "$(login chap)"
answers 15 "$present
$present
$present
iscsiadm: Could not log into all portals" "iscsiadm -m node -l -p $p1 1"
answers 21 "iscsiadm: No records found" "$(login unknown)"
for away in gone,$p1 gone,10.0.0.9:3260 gone,10.0.0.8:3260 empty,$p1; do
    name=${away%,*} portal=${away#*,}
    answers 0 "New iSCSI node [tcp:[hw=,ip=,net_if=,iscsi_if=default] ${portal/:/,},-1 $base:$name] added" \
        "iscsiadm -m node -o new -T $base:$name -p $portal"
    is "stat -c '%F %a' $etc/nodes/$base:$name/${portal/:/,}" "regular file 600"
    login_fails 8 "connection timed out" $name $portal
    answers 0 "" "iscsiadm -m node -o delete -T $base:$name -p $portal"
done
is "cat $run/next-session" 12
is "ls $etc/nodes" "$base:chap
$base:disks
$base:empty
$base:mutual"
answers 0 "tcp: [5] $p1,1 $base:disks (non-flash)
tcp: [6] $p1,1 $base:chap (non-flash)
tcp: [9] $p1,1 $base:mutual (non-flash)" "iscsiadm -m session"

# --- sysfs
check_disks() { # SIZES of the LUNs, found as an agent finds them
    is "cd /sys/class/iscsi_session/session5/device/target0:0:0 && echo 0:*" "0:0:0:0 0:0:0:1 0:0:0:10"
    is "cat /sys/bus/scsi/devices/0:0:0:*/block*/$2size" "16384
32768
49152"
    is "cat /sys/bus/scsi/devices/0:0:0:0/{vendor,model}" "LIO-ORG 
Virtual Disk    "
    is "cd /sys/class; cat iscsi_session/session5/{targetname,tpgt,username} iscsi_host/host0/{ipaddress,netdev}" \
        "$base:disks
1
(null)
10.0.0.100
(null)"
    is "cat /sys/class/iscsi_connection/connection5:0/{address,port,persistent_address,header_digest,state}" \
        "10.0.0.1
3260
10.0.0.1
$1
up"
}
check_disks 0 '*/'
is "readlink /sys/class/iscsi_{session/session5,connection/connection5:0,host/host0,session/session5/device}" \
    "../../devices/platform/host0/session5/iscsi_session/session5
../../devices/platform/host0/session5/connection5:0/iscsi_connection/connection5:0
../../devices/platform/host0/iscsi_host/host0
../../../session5"
is "readlink /sys/bus/scsi/devices/{0:0:0:10,host1,target1:0:0}; ls /sys/block | xargs" \
    "../../../devices/platform/host0/session5/target0:0:0/0:0:0:10
../../../devices/platform/host1
../../../devices/platform/host1/session6/target1:0:0
sda sdb sdc sdd"
is "ls /sys/class/iscsi_session/session5/device/ | xargs" "connection5:0 iscsi_session power target0:0:0 uevent"
is "find -L /sys/class/iscsi_session/session6/{subsystem,device/target1:0:0/subsystem} -maxdepth 0" \
    "/sys/class/iscsi_session/session6/subsystem
/sys/class/iscsi_session/session6/device/target1:0:0/subsystem"

# --- removal
in_use() { echo "iscsiadm: This command will remove the record $(label $1 $p1), but a session is using it. Logout session then rerun command to remove record."; }
answers 15 "$(in_use chap)
$(in_use disks)
$(in_use mutual)
iscsiadm: Could not execute operation on all records: session exists" "iscsiadm -m node -p $p1 -o delete 1"
answers 22 "iscsiadm: could not read session targetname: 5
iscsiadm: Could not get session info for sid 99" "iscsiadm -m session -r 99 -u"
out() { for s in "$@"; do echo "[sid: ${s%:*}, target: $base:${s#*:}, portal: ${p1/:/,}]"; done; }
answers 0 "Logging out of session $(out 9:mutual)
Logout of $(out 9:mutual) successful." "iscsiadm -m session -r 9 -u"
answers 1 "rmmod: ERROR: Module iscsi_tcp is in use" "rmmod iscsi_tcp"
answers 0 "" "/etc/init.d/iscsid stop"
answers 21 "$(out 5:disks 6:chap | sed 's/.*/iscsiadm: can not connect to iSCSI daemon (111)!\niscsiadm: Could not logout of &.\niscsiadm: initiator reported error (20 - could not connect to iscsid)/')
iscsiadm: No matching sessions found
$(out 5:disks 6:chap | sed 's/^/Logging out of session /')" "iscsiadm -m session -u"
answers 0 "" "/etc/init.d/iscsid start"
answers 0 "$(out 5:disks | sed 's/^/Logging out of session /')
$(out 5:disks | sed 's/.*/Logout of & successful./')" "iscsiadm -m session -r 5 -u"
answers 15 "$(in_use chap)
iscsiadm: Could not execute operation on all records: session exists" "iscsiadm -m node -p $p1 -o delete"
is "ls $etc/nodes $etc/send_targets/*" "$etc/nodes:
$base:chap
$base:disks
$base:empty

$etc/send_targets/10.0.0.1,3260:
$base:chap,10.0.0.1,3260,1,default
$base:disks,10.0.0.2,3260,1,default
$base:empty,10.0.0.2,3260,3,default
st_config"
for portal in $p2 $p2; do iscsiadm -m node -p $portal -o delete 2>/dev/null; done
is "echo $?" 21
answers 0 "" "iscsiadm -m discovery -p $p1 -o delete 1"
is "tree $etc/nodes $etc/send_targets" ""
answers 7 "iscsiadm: Discovery record [10.0.0.1,3260] not found!" "iscsiadm -m discovery -p $p1 -o delete"
iscsiadm -m session -u >/dev/null
is "tree /sys/devices/platform /sys/block /sys/bus/scsi/devices; tree /sys/class/iscsi_*; ls /sys/class/scsi_*/" \
    "/sys/class/iscsi_transport/tcp/
/sys/class/scsi_device/:

/sys/class/scsi_disk/:

/sys/class/scsi_host/:"
answers 0 "" "killall iscsid && rmmod iscsi_tcp && cat /proc/modules | grep iscsi; ls -d /sys/class/iscsi* 2>/dev/null; true"

# --- the older form of sysfs, the other database root, automatic login, numbers that start again
echo older >$run/sysfs-form
mkdir -p /var/lib/iscsi
/etc/init.d/iscsid start
discover
is "ls /var/lib/iscsi $etc" "$etc:
initiatorname.iscsi
iscsid.conf
nodes
send_targets

/var/lib/iscsi:
nodes
send_targets"
is "readlink /var/lib/iscsi/send_targets/*/*:chap*" "/var/lib/iscsi/nodes/$base:chap/10.0.0.1,3260,1"
iscsiadm -m node -T $base:disks -p $p1 -o update -n node.startup -v automatic
iscsiadm -m node -T $base:disks -p $p1 -o update -n "node.conn[0].iscsi.HeaderDigest" -v CRC32C
echo 5 >$run/next-session
answers 0 "" "/etc/init.d/open-iscsi start"
check_disks 1 ''
is "readlink /sys/class/iscsi_session/session5/device; test ! -L /sys/class/iscsi_session/session5 && echo directory" \
    "../../../devices/platform/host0/session5
directory"
answers 0 "" "/etc/init.d/open-iscsi stop && rmmod iscsi_tcp"
is "tree /sys/devices/platform /sys/block /sys/bus/scsi/devices" ""
is "cat $run/next-session" "cat: $run/next-session: No such file or directory"
echo today >$run/sysfs-form

# --- sessions without a login
modprobe iscsi_tcp
add="$command add-session --address 10.9.9.9 --port 860 --lun 255:1048576:VENDOR:A:B --lun 256:0:X:Y"
answers 0 "$(seq 1 30)" "$add --target iqn.many:t%d --count 30"
answers 0 300 "$add --target iqn.one --sid 300 --host 77 --initiator-address 10.1.1.1"
answers 1 "add-session: session 300 exists" "$add --target iqn.one --sid 300"
answers 1 "add-session: host 77 exists" "$add --target iqn.one --host 77"
answers 2 "add-session: not a size in bytes: big" "$add --target iqn.one --lun 1:big:A:B"
is "iscsiadm -m session | sed -n '2p;\$p'" "tcp: [2] 10.9.9.9:860,1 iqn.many:t2 (non-flash)
tcp: [300] 10.9.9.9:860,1 iqn.one (non-flash)"
is "ls /sys/bus/scsi/devices/77:0:0:255/block /sys/bus/scsi/devices/{25,29}:0:0:255/block" \
    "/sys/bus/scsi/devices/25:0:0:255/block:
sdz

/sys/bus/scsi/devices/29:0:0:255/block:
sdad

/sys/bus/scsi/devices/77:0:0:255/block:
sdae"
is "cat /sys/bus/scsi/devices/77:0:0:*/{model,type}; ls -d /sys/bus/scsi/devices/77:0:0:256/block" "A:B             
Y               
0
12
ls: cannot access '/sys/bus/scsi/devices/77:0:0:256/block': No such file or directory"
answers 0 "" "$command remove-session 300"
answers 1 "remove-session: there is no session 300" "$command remove-session 300"
is "$add --target iqn.one" 302

# --- bad input
for refused in "" "-m" "-m fw" "-m node -o update" "-m node -p nonsense" "-m node -p 10.0.0.1:0" "-m node -T ../x -p $p1 -o new" \
    "-m session -r x -u" "-m discovery" "-m discovery -t isns -p $p1" "-m node -P 1" "-m session -r 1" "-m node -T ''"; do
    is "iscsiadm $refused >/tmp/output 2>&1; echo \$? \$(grep -c . /tmp/output | sed s/[12]/told/)" "7 told"
done
iscsid
echo '{"portals": [' >$run/network.json
is "iscsiadm -m discovery -t st -p $p1 2>&1 | cut -c1-42" "iscsiadm: $run/network.json: [json"

# --- the call log
: >$run/calls.log
iscsiadm -m node -n 'node.conn[0].x' -v "a b" '' "it's" $'tab\tline\n\\' 'a;b$(c)' 'ü' >/dev/null 2>&1
$command add-session --target x --address y >/dev/null
killall nobody 2>/dev/null
/etc/init.d/iscsid status >/dev/null
is "cat $run/calls.log" "iscsiadm -m node -n node.conn[0].x -v 'a b' '' 'it'\\''s' \$'tab\\x09line\\x0a\\\\' 'a;b\$(c)' 'ü'
killall nobody
/etc/init.d/iscsid status"

[ $failed = 0 ] || { echo "$failed checks failed"; exit 1; }
