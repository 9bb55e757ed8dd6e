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
    answers 183 QuerySessionList
done

kind=redhat-today
/guest/host $kind
systemctl start iscsid.socket
new_agent
section "Hosts of today"
row "Red Hat of today: compressed module, systemd, no init script" "\`systemctl start iscsid\` takes the script's place." StartInitiator
kill -KILL "$(</run/iscsid.pid)"
wait_until systemctl is-failed iscsid.service
row "the daemon died" "systemd ends the log writer, too: no half daemon." QuerySessionCount
row "the same" "Starts it again." StartInitiator
kill_daemon
row "the daemon was ended" "The socket still stands, but the library asks for the process." DiscoverTarget 10.0.0.1
systemctl reset-failed
iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null
row "the same; somebody ran iscsiadm" "iscsiadm starts the daemon itself, by the socket or \`iscsid.startup\`." QuerySessionCount
row "Red Hat of today" "Ends the socket, too, which would start the daemon again." StopInitiator
check "units" "$(units)" "inactive inactive"
systemctl reset-failed
iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null
row "the stack was stopped, and somebody ran iscsiadm" "It started the daemon by \`iscsid.startup\`: the stack runs again." QuerySessionCount

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
wait_until compgen -G '/sys/class/iscsi_connection/*/address'
row "a target" "This one is." QuerySessionList
row "a portal in use is removed" "And so does every removal: 0 does not mean that records are gone." RemoveTarget 10.0.0.1
tool 1 doctor
check "doctor and the shell" "$(grep -c 'does not understand' /run/opinitctl.out)" 1
finish
