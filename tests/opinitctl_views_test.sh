#!/bin/bash
# What opinitctl shows beyond the interface's records, the forms it shows it in, and that it believes no operation. One
# line per check that fails.
#
#     opinitctl_views_test.sh OPINITCTL
. "$(dirname "$0")/support/opinitctl.sh"

gives 0 '*' '' discover $p1
gives 0 '*' '' login $array:disks 10.0.0.2
session=$(awk 'NR == 2 { print $1 }' /tmp/out)

# --- columns: chosen, sorted, without headings
while IFS='|' read -r want command; do
    is "$command" "$(opinitctl $command | shown)" "$want"
done <<TABLE
10.0.0.2:3260 $session|sessions --noheadings -o portal,Session
SIZE LUN,1073741824 0,10737418240 1,107374182400 10|disks --bytes -o size_bytes,lun
10,1,0|disks --noheadings --sort model -o lun
1,2,7,*|config --noheadings --sort id -o id
$session $array:disks 10.0.0.2:3260 logged_in 1|sessions $session -n -o +group_tag
SESSION TARGET PORTAL GROUP-TAG STATE INITIATOR-ADDRESS INITIATOR-NAME CONNECTIONS,*|sessions -o all
$session 0 sda 1073741824 Virtual?x20Disk|disks --raw -nb sda -o session,lun,device,size,model
$session 0,$session 1,$session 10|disks -n $session -o session,lun
$array:empty target |tree $array:empty -n
{,"key": "*.FastAbort",}|config get FastAbort -J -o key
TABLE
while read -r command; do gives 3 '' '*there is no *' $command; done <<TABLE
sessions 99
disks sdz
tree iqn.none
TABLE

# --- keys that programs rely on
while IFS='|' read -r command expected; do
    gives 0 '*' '*' $command --json
    is "keys of $command" "$(/usr/bin/python3 -c 'import json
a = json.load(open("/tmp/out"))
print(*(a[0] if isinstance(a, list) else a))')" "$expected"
done <<TABLE
sessions|session target portal group_tag state initiator_address initiator_name connections
connections|session portal initiator_address state header_digest data_digest
disks|session lun device size_bytes vendor model scsi_address state target
tree|name type lun portal group_tag state size_bytes vendor model mountpoints children
targets|target logged_in persistent sessions portals
portals $array:disks|portal group_tag
discover $p1|target portal group_tag
config get FastAbort|id key value
config set FastAbort=Yes|change line id key old_value value file
status|installed running daemon distribution initiator_name sessions library
version|library module module_version module_text
message 182|code message
node|initiator_name valid running settings
start|done changed
TABLE
gives 0 '*' '' targets --json
is "values keep their kind" "$(tr -d ' \n' </tmp/out)" "*:disks"'","logged_in":true,"persistent":false,"sessions":[[]'\
$session'],"portals":[[]{"portal":"10.0.0.1:3260","group_tag":1}*'
gives 3 '' '{"error":"*","exit_status":3,"status":166,"said":*}' logout 99 --json

# --- the tree, down to what is mounted on a logical volume
disk=$(opinitctl disks --noheadings -o device | head -1)
mkdir -p /sys/block/$disk/$disk"2"/holders/dm-0 /sys/block/$disk/$disk"10" /sys/block/dm-0/dm
for part in 2 10; do echo $part >/sys/block/$disk/$disk$part/partition; done
# Behind more mounts than one read of the kernel's table gives.
for n in {1..60}; do mkdir -p /run/m/$n && mount -t tmpfs none /run/m/$n; done
mkdir /run/late && mount -t tmpfs /dev/mapper/vg-data /run/late
echo 6144 >/sys/block/dm-0/size
echo vg-data >/sys/block/dm-0/dm/name
echo LVM-0123 >/sys/block/dm-0/dm/uuid
awk '$5 == "/" { print $3 }' /proc/self/mountinfo >/sys/block/dm-0/dev
gives 0 "*
$array:disks * target *
\`-$session * session *10.0.0.2:3260 logged_in*
  |-$disk * disk *running * 1G*
  | |-${disk}2 * part *
  | | \`-vg-data * lvm * 3M / /run/late
  | \`-${disk}10 * part *
  |-*
  \`-*100G*" '' tree
rm -r /sys/block/$disk/$disk*[0-9] /sys/block/dm-0

# --- what the interface cuts short: whole numbers, IPv6, sessions without a peer, a name that was another
add() { simhost-command add-session --target "$@" >/tmp/added; }
add iqn.x:one --address 10.1.1.1 --sid 201 --lun 300:1048576:A:B
add iqn.x:other --address fd00::7 --sid 457 --lun 0:1048576:A:B
simhost-command session-state 201 recovering
is "both" "$(opinitctl sessions --noheadings -o session,target,portal,state | shown)" \
    "*,201 iqn.x:one 10.1.1.1:3260 failed,457 iqn.x:other [[]fd00::7]:3260 logged_in"
is "LUNs above 255" "$(opinitctl disks 201 --noheadings -o lun | shown)" 300
gives 0 '*457 [[]fd00::7]:3260*' '' connections 457 --noheadings
gives 3 '' '*no session 713*' connections 713
echo $'iqn.x:\xc3\xa9\xe2\x80\xae' >/sys/class/iscsi_session/session201/targetname
is "what can be printed is" "$(LC_ALL=C.UTF-8 opinitctl sessions 201 -n -o target)" $'iqn.x:\xc3\xa9\\\\xe2\\\\x80\\\\xae'
is "and in ASCII" "$(opinitctl sessions 201 -n -o target)" 'iqn.x:\\xc3\\xa9\\xe2\\x80\\xae'
for other in '*would end session 201 instead*' '*carries the low 8 bits of a number only*'; do
    gives 1 '' "${other}iscsiadm -m session -r 457 -u*" logout 457
    simhost-command remove-session 201 >/dev/null 2>&1
done
simhost-command remove-session 457
add iqn.x:rows --address 10.2.1.1 --initiator-address 10.2.1.9 --sid 9 --count 2
add iqn.x:rows --address 10.2.1.1 --initiator-address 10.2.1.9 --sid 256
echo '<NULL>' >/sys/class/iscsi_session/session9/state
echo older >$run/sysfs-form
add iqn.x:rows --address 10.2.1.1 --initiator-address 10.2.1.9 --sid 11
echo today >$run/sysfs-form
is "in the order of numbers, of both forms" "$(opinitctl sessions -n --raw -o session,state,initiator_address |
    grep -v "^$session " | shown)" '9 - 10.2.1.9,10 logged_in 10.2.1.9,11 logged_in 10.2.1.9,256 *'
gives 1 '' '*low 8 bits of a number only*' logout 256
for number in 9 10 11 256; do simhost-command remove-session $number; done
echo 5 >$run/next-session
echo iqn.older:name >/sys/class/iscsi_session/session$session/initiatorname
gives 0 '*' '*iqn.older:name, and the initiator is called iqn.2024-01.example.host:initiator now*' sessions

# --- ending sessions
gives 3 '' '*no session to iqn.none*' logout iqn.none
gives 0 "logged out of session $session" '' logout $array:disks
gives 1 '*' '*logged in to 1 of 3 targets*' login --all $p1
gives 3 '' '*no target is recorded*' login --all 10.0.0.7
gives 0 'logged out of session *' '' logout --all

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
worker=$(</run/iscsid.pid)
kill -9 "$worker"
while [ -e "/proc/$worker" ]; do sleep 0.05; done
gives 0 '*DAEMON * half*' '*only half of the daemon*' status
gives 1 '' '*no session*only half of the daemon*' login $array:empty 10.0.0.2
gives 1 '' '*only half of the daemon*' start
killall iscsid
add iqn.x:live --address 10.1.1.1 --sid 7 --lun 0:1024:A:B
while read -r command wanted; do gives 0 "$wanted" '*the stack does not run*live on*' $command; done <<'TABLE'
sessions *7 iqn.x:live*logged_in
connections *7 10.1.1.1:3260*
disks *7*1K*iqn.x:live
tree *-7 *10.1.1.1:3260*disk*
targets *iqn.2024-01.example.array:disks*
TABLE
gives 1 '' '*sessions are live in the kernel: 7*' stop
simhost-command remove-session 7
while IFS='|' read -r code out err command; do gives $code "$out" "$err" $command; done <<'TABLE'
0|the stack is running||start
0|the stack is running already||start
0|the stack is stopped||stop
0|the stack is stopped already||stop
4||*183*|sessions
0|*||start
TABLE

# --- what cannot be read is not shown as empty
add iqn.x:live --address 10.1.1.1 --sid 8 --lun 0:1024:A:B
program=$run/override/limited
printf '#!/bin/sh\nexec setpriv --bounding-set=-all %s "$@"\n' "$1" >$program && chmod +x $program
while IFS='|' read -r path commands; do
    mode=$(stat -c %a $path) && chmod 0 $path
    for command in $commands; do gives 1 '' "*cannot read $path*: Permission denied*" ${command/_/ }; done
    chmod $mode $path
done <<TABLE
/sys/class/iscsi_session|sessions connections disks tree targets logout_--all
/etc/iscsi/nodes|targets portals_iqn.x forget_$p1 tree
/etc/iscsi/nodes/$array:chap/$p1,3260,1|targets
TABLE

[ $failed = 0 ]
