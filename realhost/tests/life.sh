# A target's whole life through the raw table on a Red Hat of old; then start and stop on a SUSE of old.
. /test/checks.sh redhat-old

answers "0 libkvlinopinitr 131074|0 iscsi_tcp; *; iSCSI/TCP data-path" GetLibVersion , GetInitiatorVersion
answers "183|0|0|1" QuerySessionList , StartInitiator , StartInitiator , IsServiceAvailable
answers 0 opinitctl doctor
check "daemons" "$(pidof iscsid | wc -w)" 2

# Settings, and that node records of later discoveries have them
answers "0|0 *19=90*16=7*" SetProperty 16=7 19=90 , GetInitiatorGlobals
answers "0 :guest running=1 1=:guest *19=90*|0" GetInitiatorList , SetProperty 1=$host_name:other
check "the name's file" "$(cat /etc/iscsi/initiatorname.iscsi)" "*InitiatorName=$host_name:other*"

answers "179|179|0 :chap :disks :empty :mutual" GetTargetList , DiscoverTarget 10.0.0.9 , DiscoverTarget 10.0.0.1
record=/var/lib/iscsi/nodes/$array:disks/10.0.0.1,3260,1/default
check "timeouts of the node record" "$(grep -E 'login_timeout|replacement' $record | paste -sd' ')" \
    "node.session.timeo.replacement_timeout = 90 node.conn\[0].timeo.login_timeout = 7"
answers "0 10.0.0.1:3260,1 10.0.0.2:3260,1|0 10.0.0.2:3260,1|1" GetList 40 :disks , GetList 41 :empty , GetList 40 :none

# Logins; more of those that are refused are rows elsewhere.
answers "205|0 -" LoginTarget :disks 10.0.0.9 startup=1 , QuerySessionCount
answers 0 LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=secretsecret1
mutual="LoginTarget :mutual 10.0.0.1 chap=2 user=user1 secret=secretsecret1 user_in=user2"
answers "199|0 Login Failure*" $mutual secret_in=wrongsecret99 , message
answers "0|0 :chap+\* :disks\* :empty :mutual+\*" \
    $mutual secret_in=secretsecret2 header_digest=1 data_digest=1 startup=1 , GetTargetList
session=$(grep -l mutual /sys/class/iscsi_session/*/targetname | tr -dc 0-9)
check "digests in use" "$(cat /sys/class/iscsi_connection/connection"$session":0/{header,data}_digest | paste -sd' ')" "1 1"
check "startup in the record" "$(grep -c 'node.startup = automatic' $record)" 1

answers "0 :chap :disks :empty :mutual|0" DiscoverTarget 10.0.0.1 , LoginTarget :disks 10.0.0.1
answers "0 :chap+ :disks+ :empty :mutual+|0 3" GetTargetList , QuerySessionCount
number=$((session + 1))
answers "0 * :chap 10.0.0.1:3260 from 10.0.0.100 as :other * :mutual 10.0.0.1:3260 from * $number :disks 10.0.0.1:3260 from *" QuerySessionList
answers "0 10.0.0.1:3260 from 10.0.0.100" GetList 42 $number

# Disks as lsblk knows them
wait_until disks_settled
host=$(readlink -f "/sys/class/iscsi_session/session$number/device" | sed 's/.*host\([0-9]*\).*/\1/')
disks=$(lsblk -nrbdo HCTL,NAME,SIZE,VENDOR,MODEL | grep "^$host:" | sort -V | sed 's/\\x20[^ ]*//g' | paste -sd' ')
check "disks" "$disks" "*:0:0:0 sd? 8388608 LIO-ORG Virtual *:0:0:1 sd? 16777216 LIO-ORG VIRTUAL-DISK *:0:0:10 sd? 25165824 LIO-ORG ARCHIVE-DISK"
answers "0 $disks|0 $disks|0 3|166" QueryDisks $number , QueryDisks text:$number , QueryDiskCount $number , QueryDisks 99

# What is in use stays; then everything goes
answers "189|167|0" StopInitiator , RemoveTarget 10.0.0.1 , RemovePersistentTarget 10.0.0.1
for session in /sys/class/iscsi_session/session*; do answers 0 LogoutTarget "${session##*session}"; done
answers "166|0 :chap :disks :empty :mutual" LogoutTarget $number , GetTargetList
answers "0|179|0|179" RemoveTarget 10.0.0.1 , RemoveTarget 10.0.0.1 , RemoveTarget 10.0.0.2 , GetTargetList
check "records" "$(find /var/lib/iscsi/nodes /var/lib/iscsi/send_targets -type f)" ""
answers "0|183" StopInitiator , StopInitiator
check "daemons" "$(pidof iscsid)" ""
check "files left behind" "$(ls /tmp)" opiscsierr
check "secrets in the log" "$(grep -c secret /run/library.log)" 0

# Automatic startup, there and on a SUSE
section "Automatic startup"
start_with_automatic_record() {
    answers "0|0*|0" StartInitiator , DiscoverTarget 10.0.0.1 , LoginTarget :disks 10.0.0.1 startup=1
    answers 0 LogoutTarget "$(the_session)" , StopInitiator , StartInitiator
}
start_with_automatic_record
row "the stack was started on a Red Hat of old" "Its script starts the daemon alone." QuerySessionCount
answers 0 StopInitiator
become suse-old
mv /sbin/iscsid /run/
answers 313 StartInitiator
mv /run/iscsid /sbin/
start_with_automatic_record
row "the same on a SUSE of old" "Its script logs in." QuerySessionCount
answers "189|0" StopInitiator , LogoutTarget "$(the_session)"
sed -i '/killall/d; /pidof/d' /etc/init.d/open-iscsi
answers 0 StopInitiator
check "a daemon that survives its script, and the module" "$(pidof iscsid)$(grep ^iscsi_tcp /proc/modules)" ""
