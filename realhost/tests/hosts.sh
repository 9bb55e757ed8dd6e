# Hosts of today, one after the other, under systemd itself and with the units that open-iscsi ships.
. /test/checks.sh

# tool STATUS COMMAND...
tool() {
    opinitctl "${@:2}" >/run/opinitctl.out 2>&1
    check "$kind: opinitctl ${*:2}" "$? $(cat /run/opinitctl.out)" "$1 *"
}
units() { systemctl is-active iscsid.socket iscsid.service | paste -sd' '; }

for kind in redhat-today suse-today; do
    /guest/host $kind
    systemctl start iscsid.socket
    new_agent
    answers "0 iscsi_tcp; *; iSCSI/TCP data-path" GetInitiatorVersion
    answers 183 QuerySessionList
    answers 0 StartInitiator
    check "$kind: units" "$(units)" "active active"
    tool 0 discover 10.0.0.1
    tool 0 login $array:disks 10.0.0.1 --persistent
    answers "0 :chap\* :disks+\* :empty :mutual\*" GetTargetList
    answers "0 ? :disks 10.0.0.1:3260 from 10.0.0.100 as :guest" QuerySessionList
    tool 0 doctor
    answers 189 StopInitiator
    tool 0 logout "$(ls /sys/class/iscsi_session | tr -dc 0-9)"
    tool 0 remove 10.0.0.1
    tool 0 stop
    check "$kind: units" "$(units)" "inactive inactive"
    iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null
    check "$kind: nothing starts the daemon again" "$(pidof iscsid)" ""
    rmmod iscsi_tcp
done

kind=debian
/guest/host debian
new_agent
section "A distribution that is neither"
row "Debian, systemd" "Neither Red Hat nor SUSE nor their kin: start the daemon by the host's own means." StartInitiator
systemctl start iscsid
row "the daemon was started so" "All else works." QuerySessionCount
row "the same" "Stop it by the same means." StopInitiator

section "dash as /bin/sh"
ask DiscoverTarget 10.0.0.1
row "a target that was not discovered" "dash runs a captured command in the background and reads nothing: every login seems done. Look at the sessions, or have bash as /bin/sh." LoginTarget :unknown 10.0.0.1
row "CHAP is missing" "As before." LoginTarget :chap 10.0.0.1
ask LoginTarget :disks 10.0.0.1
wait_until test -e /sys/class/iscsi_session/session2/targetname
row "a target" "This one is." QuerySessionList
row "a portal in use is removed" "And so does every removal: 0 does not mean that records are gone." RemoveTarget 10.0.0.1
tool 1 doctor
check "doctor and the shell" "$(grep -c 'does not understand' /run/opinitctl.out)" 1
finish
