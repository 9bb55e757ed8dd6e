# Hosts of today, one after the other, under systemd itself and with the units that open-iscsi ships.
. /test/checks.sh redhat-today

units() { check units "$(systemctl is-active iscsid.socket iscsid.service | paste -sd' ')" "$1"; }

for next in suse-today redhat-today; do
    answers "0 iscsi_tcp; *; iSCSI/TCP data-path|183|0" GetInitiatorVersion , QuerySessionList , StartInitiator
    units "active active"
    answers "0|0 *set for the other targets*" opinitctl discover 10.0.0.1 , opinitctl login :disks 10.0.0.1 --persistent
    answers "0 :chap\* :disks+\* :empty :mutual\*|0 ? :disks 10.0.0.1:3260 from 10.0.0.100 as :guest" GetTargetList , QuerySessionList
    answers "189|0" StopInitiator , opinitctl doctor , opinitctl logout "$(the_session)" , opinitctl remove 10.0.0.1 , opinitctl stop
    units "inactive inactive"
    answers 183 QuerySessionList
    become $next
done

section "Hosts of today"
row "Red Hat of today: compressed module, systemd, no init script" "\`systemctl start iscsid\` takes the script's place." StartInitiator
kill -KILL "$(</run/iscsid.pid)"
wait_until systemctl is-failed iscsid.service
row "the daemon died" "systemd ends the log writer, too: no half daemon. A start is enough." QuerySessionCount , StartInitiator
kill_daemon
row "the daemon was ended" "The socket still stands, but the library asks for the process." DiscoverTarget 10.0.0.1
iscsiadm_by_hand() { systemctl reset-failed && iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null; }
iscsiadm_by_hand
row "the same; somebody ran iscsiadm" "iscsiadm starts the daemon itself, by the socket or \`iscsid.startup\`." QuerySessionCount
row "Red Hat of today" "Ends the socket, too, which would start the daemon again." StopInitiator
units "inactive inactive"
iscsiadm_by_hand
row "the stack was stopped, and somebody ran iscsiadm" "It started the daemon by \`iscsid.startup\`: the stack runs again." QuerySessionCount

become debian
section "A distribution that is neither"
row "Debian, systemd" "Neither Red Hat nor SUSE nor their kin: start and stop the daemon by the host's own means." StartInitiator , opinitctl doctor
systemctl start iscsid
row "the daemon was started so" "All else works." QuerySessionCount , StopInitiator

section "dash as /bin/sh"
ask DiscoverTarget 10.0.0.1
row "logins that fail" "dash runs a captured command in the background and reads nothing: all seems done. Look at the sessions, or have bash as /bin/sh." \
    LoginTarget :unknown 10.0.0.1 , LoginTarget :chap 10.0.0.1
ask LoginTarget :disks 10.0.0.1
wait_until compgen -G '/sys/class/iscsi_connection/*/address'
row "a login" "This one is done." QuerySessionList
row "a portal in use is removed" "Nor does 0 mean that records are gone." RemoveTarget 10.0.0.1 , opinitctl doctor
