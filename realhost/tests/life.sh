# A target's whole life through the raw table on a Red Hat of old; then start and stop on a SUSE of old.
. /test/checks.sh
/guest/host redhat-old
new_agent

answers "0 libkvlinopinitr 0x20002" GetLibVersion
answers "0 iscsi_tcp; *; iSCSI/TCP data-path" GetInitiatorVersion
answers 183 QuerySessionList
answers 0 StartInitiator
answers 0 StartInitiator
check "daemons" "$(pidof iscsid | wc -w)" 2
answers 1 IsServiceAvailable

# Settings, and that node records of later discoveries have them
answers 0 SetProperty 16=7 19=90
answers "0 *19=90*16=7*" GetInitiatorGlobals
answers "0 :guest running=1 1=:guest *19=90*" GetInitiatorList
answers 0 SetProperty 1=iqn.2024-01.example.host:other
check "the name's file" "$(cat /etc/iscsi/initiatorname.iscsi)" "*InitiatorName=iqn.2024-01.example.host:other*"

answers 179 GetTargetList
answers 179 DiscoverTarget 10.0.0.9
answers "0 :chap :disks :empty :mutual" DiscoverTarget 10.0.0.1
record=/var/lib/iscsi/nodes/$array:disks/10.0.0.1,3260,1/default
check "timeouts of the node record" "$(grep -E 'login_timeout|replacement' $record | paste -sd' ')" \
    "node.session.timeo.replacement_timeout = 90 node.conn\[0].timeo.login_timeout = 7"
answers "0 10.0.0.1:3260,1 10.0.0.2:3260,1" GetList 40 :disks
answers "0 10.0.0.2:3260,1" GetList 41 :empty
answers "1" GetList 40 :unknown

# Logins that fail, and that do not
answers 199 LoginTarget :unknown 10.0.0.1
answers 199 LoginTarget :chap 10.0.0.1
answers 199 LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=wrongsecret99
answers "0 Login Failure*" message
answers 205 LoginTarget :disks 10.0.0.9 startup=1
answers "0 0" QuerySessionCount
answers 0 LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=secretsecret1
answers 199 LoginTarget :mutual 10.0.0.1 chap=2 user=user1 secret=secretsecret1 user_in=user2 secret_in=wrongsecret99
answers 0 LoginTarget :mutual 10.0.0.1 chap=2 user=user1 secret=secretsecret1 user_in=user2 \
    secret_in=secretsecret2 header_digest=1 data_digest=1 startup=1
answers "0 :chap+\* :disks\* :empty :mutual+\*" GetTargetList
mutual=$(basename "$(dirname "$(grep -l mutual /sys/class/iscsi_session/*/targetname)")")
check "digests in use" "$(cat /sys/class/iscsi_connection/connection"${mutual#session}":0/{header,data}_digest | paste -sd' ')" "1 1"
check "startup in the record" "$(grep -c 'node.startup = automatic' $record)" 1

answers "0 :chap :disks :empty :mutual" DiscoverTarget 10.0.0.1
answers 0 LoginTarget :disks 10.0.0.1
answers "0 :chap+ :disks+ :empty :mutual+" GetTargetList
answers "0 3" QuerySessionCount
ask QuerySessionList
number=${answer% :disks*}
number=${number##* }
check "sessions" "$answer" \
    "0 * :chap 10.0.0.1:3260 from 10.0.0.100 as :other * :mutual 10.0.0.1:3260 from * $number :disks 10.0.0.1:3260 from *"
answers "0 10.0.0.1:3260 from 10.0.0.100" GetList 42 "$number"

# Disks as lsblk knows them
disks_of() {
    local host address name size vendor model
    host=$(readlink -f "/sys/class/iscsi_session/session$1/device" | sed 's/.*host\([0-9]*\).*/\1/')
    lsblk -nrbdo HCTL,NAME,SIZE,VENDOR,MODEL | sort -V | while read -r address name size vendor model; do
        [[ $address != "$host:"* ]] || echo "$address $name $size ${vendor%%\\x20*} ${model%%\\x20*}"
    done | paste -sd' '
}
disks=$(disks_of "$number")
answers "0 $disks" QueryDisks "$number"
check "disks" "$disks" "*:0:0:0 sd? 8388608 LIO-ORG Virtual *:0:0:1 sd? 16777216 LIO-ORG VIRTUAL-DISK *:0:0:10 sd? 25165824 LIO-ORG ARCHIVE-DISK"
answers "0 3" QueryDiskCount "$number"
answers "0 $disks" QueryDisks "text:$number"
answers 166 QueryDisks 99

# What is in use stays; then everything goes
answers 189 StopInitiator
answers 167 RemoveTarget 10.0.0.1
answers 0 RemovePersistentTarget 10.0.0.1
for session in /sys/class/iscsi_session/session*; do answers 0 LogoutTarget "${session##*session}"; done
answers 166 LogoutTarget "$number"
answers "0 :chap :disks :empty :mutual" GetTargetList
answers 0 RemoveTarget 10.0.0.1
answers 179 RemoveTarget 10.0.0.1
answers 0 RemoveTarget 10.0.0.2
check "node records" "$(find /var/lib/iscsi/nodes -type f)" ""
answers 179 GetTargetList
check "discovery records" "$(ls /var/lib/iscsi/send_targets)" ""
answers 0 StopInitiator
check "daemons" "$(pidof iscsid)" ""
answers 183 StopInitiator
check "files left behind" "$(ls /tmp)" opiscsierr
check "secrets in the log" "$(grep -c secret /run/library.log)" 0

# Automatic startup, there and on a SUSE
section "Automatic startup"
start_with_automatic_record() {
    ask DiscoverTarget 10.0.0.1
    ask LoginTarget :disks 10.0.0.1 startup=1
    answers 0 LogoutTarget "$(ls /sys/class/iscsi_session | tr -dc 0-9)"
    answers 0 StopInitiator
    answers 0 StartInitiator
}
answers 0 StartInitiator
start_with_automatic_record
row "the stack was started on a Red Hat of old" "Its script starts the daemon alone." QuerySessionCount
answers 0 StopInitiator
/guest/host suse-old
new_agent
mv /sbin/iscsid /run/
answers 313 StartInitiator
mv /run/iscsid /sbin/
answers 0 StartInitiator
start_with_automatic_record
row "the same on a SUSE of old" "Its script logs in." QuerySessionCount
answers 189 StopInitiator
answers 0 LogoutTarget "$(ls /sys/class/iscsi_session | tr -dc 0-9)"
sed -i '/killall/d; /pidof/d' /etc/init.d/open-iscsi
answers 0 StopInitiator
check "a daemon that survives its script, and the module" "$(pidof iscsid)$(grep ^iscsi_tcp /proc/modules)" ""
finish
