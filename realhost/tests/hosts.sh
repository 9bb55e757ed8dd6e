# Hosts of today, one after the other, under systemd itself: with the units that Debian ships, and with those of
# open-iscsi's own form.
. /test/checks.sh redhat-today

units() { check units "$(systemctl is-active iscsid.socket iscsid.service | paste -sd' ')" "$1"; }
iscsiadm_by_hand() { systemctl reset-failed && iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null; }

# One life on all of them, whatever /bin/sh is: the agent waits for each command and learns what became of it.
life_of_today() {
    local found="0 :chap :disks :empty :mutual"
    answers "0 iscsi_tcp; *; iSCSI/TCP data-path|183|0" GetInitiatorVersion , QuerySessionList , StartInitiator
    units "active active"
    answers "$found|199|199|$found" DiscoverTarget 10.0.0.1 , LoginTarget :unknown 10.0.0.1 , \
        LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=wrongsecret99 , DiscoverTarget 10.0.0.1
    answers "0|0 *set for the other targets*|0" opinitctl discover 10.0.0.1 , \
        opinitctl login :disks 10.0.0.1 --persistent , LoginTarget :disks 10.0.0.1
    answers "0 :chap\* :disks+\* :empty :mutual\*|0 ? :disks 10.0.0.1:3260 from 10.0.0.100 as :guest" GetTargetList , QuerySessionList
    answers "189|0|0|0 :chap :disks+ :empty :mutual|167" StopInitiator , opinitctl doctor , RemovePersistentTarget 10.0.0.1 , \
        GetTargetList , RemoveTarget 10.0.0.1
    answers "0|$found|0|0" LogoutTarget "$(the_session)" , DiscoverTarget 10.0.0.1 , RemoveTarget 10.0.0.1 , opinitctl stop
    units "inactive inactive"
    answers "183|0|0" QuerySessionList , StartInitiator , StopInitiator
    check "processes in the background" "$(pidof iscsiadm)" ""
}
for kind in suse-today ubuntu-today debian-today fedora-today redhat-today; do
    become $kind
    life_of_today
done

section "Hosts of today"
row "Red Hat of today: compressed module, systemd, no init script" "\`systemctl start iscsid\` takes the script's place." StartInitiator
kill -KILL "$(</run/iscsid.pid)"
wait_until systemctl is-failed iscsid.service
row "the daemon died" "systemd ends the log writer, too: there is no half daemon. The count is left alone.|A start is enough." QuerySessionCount , StartInitiator
kill_daemon
row "the daemon was ended" "The socket still stands, but the library asks for the process." DiscoverTarget 10.0.0.1
iscsiadm_by_hand
row "the same; somebody ran iscsiadm" "iscsiadm starts the daemon itself, by the socket or \`iscsid.startup\`. Where there is no session, the count is left alone." QuerySessionCount
row "the stack is stopped" "The socket is ended, too: it would start the daemon again." StopInitiator
units "inactive inactive"
iscsiadm_by_hand
row "the stack was stopped, and somebody ran iscsiadm" "It started the daemon by \`iscsid.startup\`: the stack runs again." QuerySessionCount

become fedora-today
section "Units of open-iscsi's own form"
row "the daemon in the foreground, started again when it fails" "\`systemctl start iscsid\`: one process, and no log writer." StartInitiator , opinitctl doctor
before=$(systemctl show -p MainPID iscsid.service)
came_back() { systemctl is-active iscsid.service && [ "$(systemctl show -p MainPID iscsid.service)" != "$before" ]; }
kill -KILL "${before#*=}"
wait_until came_back
row "the daemon was killed" "It comes back by itself." QuerySessionCount
answers "0*|0" DiscoverTarget 10.0.0.1 , LoginTarget :disks 10.0.0.1 startup=1
answers "0|0" LogoutTarget "$(the_session)" , StopInitiator
row "a target that is to be logged in to by itself; the stack was stopped" "Its unit wants \`iscsi.service\`, which logs in." StartInitiator
wait_until compgen -G '/sys/class/iscsi_session/*'
row "a little later" "The session is there without a login of the agent's.|Log out first." QuerySessionCount , StopInitiator
