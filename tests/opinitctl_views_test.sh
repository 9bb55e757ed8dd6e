#!/bin/bash
# What opinitctl shows beyond the interface's records, the forms it shows it in, and that it believes no operation.
# Enters the simulated host by itself; one line per check that fails.
#
#     opinitctl_views_test.sh [OPINITCTL]
set -u
here=$(cd "$(dirname "$0")" && pwd)
[ -e /run/simhost/proc/self ] || exec "$here/../simhost/enter" bash "$here/opinitctl_views_test.sh" "$@"
. "$here/support/opinitctl.sh"
simulated="$run/bin/simhost-command"
keys() { python3 -c 'import json; a = json.load(open("/tmp/out")); print(",".join((a[0] if isinstance(a, list) else a).keys()))'; }

gives 0 '*' '' discover $p1
gives 0 '*' '' login $array:disks 10.0.0.2
session=$(awk 'NR == 2 { print $1 }' /tmp/out)

# --- columns: chosen, sorted, without headings; a column that is none stops the command before it does anything
gives 0 "10.0.0.2:3260 *$session" '' sessions --noheadings -o portal,Session
gives 0 "*SIZE LUN
* 1073741824 * 0
* 10737418240 * 1
107374182400 * 10" '' disks --bytes -o size_bytes,lun
check "sizes for people" is "$(opinitctl disks --noheadings --sort device -o SIZE | tr -d ' ' | paste -sd,)" 1G,10G,100G
check "sorted as texts" is "$(opinitctl disks --noheadings --sort model -o lun | tr -d ' ' | paste -sd,)" 10,1,0
check "sorted as numbers" is "$(opinitctl config --noheadings --sort id -o id | tr -d ' ' | head -3 | paste -sd,)" 1,2,7
before=$(calls)
gives 2 '' '*no column "foo"; the columns are SESSION, TARGET, PORTAL*' login $array:empty 10.0.0.2 -o foo
check "nothing was done" is "$(calls)" "$before"

# --- keys that programs rely on
while IFS='|' read -r command expected; do
    answer $command --json
    check "keys of $command" is "$(keys)" "$expected"
done <<TABLE
sessions|session,target,portal,group_tag,state,initiator_address,initiator_name,connections
connections|session,portal,initiator_address,state,header_digest,data_digest
disks|session,lun,device,size_bytes,vendor,model,scsi_address,state,target
tree|name,type,lun,portal,group_tag,state,size_bytes,vendor,model,mountpoints,children
targets|target,logged_in,persistent,sessions,portals
portals $array:disks|portal,group_tag
discover $p1|target,portal,group_tag
config|id,key,value
config get FastAbort|id,key,value
config set FastAbort=Yes|change,line,id,key,old_value,value,file
status|installed,running,daemon,distribution,initiator_name,sessions,library
node|initiator_name,valid,running,settings
start|done,changed
TABLE
answer targets --json
check "values keep their kind" matches "$(tr -d ' \n' </tmp/out)" \
    "*\"$array:disks\",\"logged_in\":true,\"persistent\":false,\"sessions\":[[]$session],\"portals\":[[]{\"portal\":\"10.0.0.1:3260\",\"group_tag\":1}*"
gives 3 '' '{"error":"*","exit_status":3,"status":166,"said":*}' logout 99 --json

# --- the tree, down to what is mounted on a logical volume
disk=$(opinitctl disks --noheadings -o device | head -1)
mkdir -p /sys/block/$disk/$disk"1"/holders/dm-0 /sys/block/dm-0/dm
echo 1 >/sys/block/$disk/$disk"1"/partition
echo 6144 >/sys/block/dm-0/size
echo vg-data >/sys/block/dm-0/dm/name
echo LVM-0123 >/sys/block/dm-0/dm/uuid
awk '$5 == "/" { print $3 }' /proc/self/mountinfo >/sys/block/dm-0/dev
gives 0 "*
$array:disks * target *
\`-$session * session *10.0.0.2:3260 logged_in*
  |-$disk * disk * 0 *running * 1G EXAMPLE Virtual Disk*
  | \`-${disk}1 * part *
  |   \`-vg-data * lvm * 3M* /
  |-*
  \`-*10 *ARCHIVE-DISK*" '' tree
rm -r /sys/block/$disk/$disk"1" /sys/block/dm-0

# --- what the interface cuts short: whole numbers, IPv6, sessions without a peer, a name that was another
$simulated add-session --target iqn.x:one --address 10.1.1.1 --sid 201 --lun 300:1048576:A:B >/dev/null
$simulated add-session --target iqn.x:other --address fd00::7 --sid 457 --lun 0:1048576:A:B >/dev/null
$simulated session-state 201 recovering >/dev/null
answer sessions --noheadings -o session,target,portal,state
check "both" is "$(tail -2 /tmp/out | tr -s ' ')" " 201 iqn.x:one 10.1.1.1:3260 failed
 457 iqn.x:other [fd00::7]:3260 logged_in"
check "LUNs above 255" is "$(opinitctl disks 201 --noheadings -o lun | tr -d ' ')" 300
gives 0 '*457 [[]fd00::7]:3260*' '' connections 457 --noheadings
gives 3 '' '*no session 713*' connections 713
for other in '*would end session 201 instead*' '*carries the low 8 bits of a number only*'; do
    gives 1 '' "${other}iscsiadm -m session -r 457 -u*" logout 457
    $simulated remove-session 201 >/dev/null 2>&1
done
$simulated remove-session 457
echo 5 >$run/next-session
echo iqn.older:name >/sys/class/iscsi_session/session$session/initiatorname
gives 0 '*' '*iqn.older:name, and the initiator is called iqn.2024-01.example.host:initiator now*' sessions

# --- ending sessions
gives 3 '' '*no session to iqn.none*' logout iqn.none
gives 0 "logged out of session $session" '' logout $array:disks
gives 1 '*' '*logged in to 1 of 3 targets*' login --all $p1
gives 3 '' '*no target is recorded*' login --all 10.0.0.7
gives 0 'logged out of session *' '' logout --all
gives 0 '*' '' logout --all

# --- no operation is believed
gives 0 '*' '*other targets*startup*' login $array:disks $p1 --persistent
session=$(awk 'NR == 2 { print $1 }' /tmp/out)
override 'exit 0'
while IFS='|' read -r command says; do
    gives 1 '' "*reported no failure, and yet $says*" $command
done <<TABLE
logout $session|session $session is still there
remove $p1|there are still node records of $array:chap, $array:disks
forget $p1|$array:chap, $array:disks, $array:mutual would still start automatically
TABLE
rm $run/override/iscsiadm
gives 0 '*' '' logout --all
gives 0 '*' '' forget $p1
gives 3 '' '*no node records at 10.0.0.7*' forget 10.0.0.7

# --- starting and stopping what runs and what does not; half a daemon
gives 0 'the stack is running already' '' start
worker=$(</run/iscsid.pid)
kill -9 "$worker"
while [ -e "/proc/$worker" ]; do sleep 0.05; done
gives 0 '*DAEMON * half*' '*only half of the daemon*' status
gives 1 '' '*no session*only half of the daemon*' login $array:empty 10.0.0.2
gives 1 '' '*only half of the daemon*' start
killall iscsid
gives 0 'the stack is running' '' start
gives 0 'the stack is stopped' '' stop
gives 0 'the stack is stopped already' '' stop
gives 4 '' '*183*' sessions
gives 0 '*' '' start

# --- settings: read one, try some, none twice
gives 0 Yes '' config get FastAbort
gives 3 '' '*ERL is not set*' config get ERL
sum=$(sha256sum $conf $names)
gives 0 "--- $names
+++ $names
@@ -1,4 +1,1 @@
-#*
+InitiatorName=bad
--- $conf
+++ $conf
@@ -*
-node.session.iscsi.FastAbort = Yes
+node.session.iscsi.FastAbort = Maybe
@@ -*,0 +* @@
+node.session.iscsi.ERL = x*
+node.session.auth.password = \*\*\*\*\*\*\*\*" \
    '*FastAbort: open-iscsi expects one of Yes, No*ERL: *a number*InitiatorName: *iqn.*3 other lines*' \
    config set --dry-run FastAbort=Maybe ERL=x InitiatorName=bad password=Sesame-0pen
check "a trial changes nothing" is "$(sha256sum $conf $names)" "$sum"
name=$(sed -n 's/^InitiatorName=//p' $names)
gives 0 "unchanged *InitiatorName *" '' config set --noheadings InitiatorName="$name"
check "what stands is not written again" is "$(sha256sum $conf $names)" "$sum"

echo "$((checks - failed)) of $checks checks passed"
[ $failed = 0 ]
