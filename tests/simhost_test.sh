#!/bin/bash
# The simulated host keeps its promises: nothing gets out, nothing of the machine's own stack gets in, and what a
# command needs is there. Prints one line per check; fails if one does.
set -u
export LC_ALL=C
enter=$(cd "$(dirname "$0")/.." && pwd)/simhost/enter
work=$(mktemp -d /tmp/simhost-test.XXXXXX) || exit 1
trap 'rm -rf "$work"' EXIT
failed=0

same() { # NAME GOT WANT
    [ "$2" = "$3" ] && echo "ok      $1" && return
    echo "FAILED  $1: got '$2', wanted '$3'"
    failed=1
}
inside() { "$enter" bash -c "$1" 2>&1; }
exit_of() { "$@" >/dev/null 2>&1; echo $?; }

# --- nothing gets out
# Only what the command below writes is looked for: other programs may change the machine meanwhile.
places=({/etc,/etc/iscsi,/etc/init.d,/lib/modules,/var/lib,/var/lib/iscsi,/sys/class,/sbin,/bin,/dev/shm,/tmp}/simhost-test-$$)
files() { cksum </etc/issue; readlink /bin/sh; }
before=$(files)
same "a command writes in the host's own places" "$(inside "mkdir /var/lib/iscsi; echo $$ >>/etc/issue; ln -sf simhost-$$ /bin/sh
    touch ${places[*]} && files=(${places[*]}) && echo \${#files[@]}")" ${#places[@]}
same "none of that is on the machine" "$(ls "${places[@]}" 2>/dev/null; files)" "$before"
for place in /usr /home "$(dirname "$enter")" /run/simhost/host-etc; do
    same "$place is read-only" "$(inside "touch '$place/x' && echo written" | grep -c 'Read-only')" 1
done
inside "sleep $$.4321 & disown" >/dev/null
same "no process stays behind" "$(grep -lsxz "$$[.]4321" /proc/[0-9]*/cmdline)" ""

# --- nothing gets in
same "/sys holds the host's own only" "$(inside 'cd /sys && echo *')" "bus class devices"
same "/sys/class is the stack's" "$(inside 'cd /sys/class && ls | grep -vc ^iscsi_')" 0
same "stopped: no class, no module" "$("$enter" --stopped bash -c 'ls /sys/class; cat /proc/modules; cat /run/simhost/calls.log')" ""
same "/var/lib, /sys/bus and the session class are empty" "$(inside 'ls /var/lib /sys/bus/scsi/devices /sys/class/iscsi_session' | grep -v :)" ""
same "the machine's /tmp is not seen" "$(inside "ls -d $work" | grep -c 'No such file')" 1
same "/proc lists the command and two daemons" "$(inside 'cd /proc; grep -lz . [0-9]*/cmdline | wc -l; head -c4 $$/cmdline; echo
    grep -lsz ^/sbin/iscsid [0-9]*/cmdline | wc -l')" $'3\nbash\n2'
same "its own task directory is there" "$(inside 'ls /proc/$$/task | wc -l')" 1
same "no second host inside the first" "$(inside "'$enter' true; echo \$?" | tail -1)" 125

# --- what a command needs
same "sh is bash, and can be dash" "$(inside 'sh=/bin/sh; $sh -c "echo \${BASH_VERSION:+bash}"; ln -sf dash $sh; $sh -c "echo \${BASH_VERSION:-dash}"')" $'bash\ndash'
same "names, libraries, compilers, python" "$(inside 'getent passwd root | cut -d: -f1; python3 -c "import ssl; print(1)"
    echo "int main() {}" | c++ -x c++ - -o /tmp/a && /tmp/a && echo built')" $'root\n1\nbuilt'
same "module file is an ELF file with its information" "$(inside 'f=/lib/modules/$(uname -r)/kernel/drivers/scsi/iscsi_tcp.ko
    head -c4 $f | tail -c3; tr "\0" "\n" <$f | grep -a ^version=')" $'ELFversion=2.3.1'
while IFS='|' read -r name marker scripts module release; do
    same "kind of host: $name" "$("$enter" --distro "$name" bash -c "grep -cF '$marker' /etc/issue; [ -w /etc/issue ] && ls /etc/init.d
        ls /lib/modules/*/kernel/drivers/scsi; opinitctl version | grep -oF 2.3.1
        [ ! -d /run/systemd/system ]; echo \$?; sed -n 's/^ID.*=//p' /etc/os-release" 2>/dev/null | xargs)" \
        "1 $scripts${scripts:+ }iscsi_tcp.ko$module 2.3.1 $release"
done <<'HOSTS'
redhat|Red Hat|iscsid open-iscsi||0
suse|SUSE|open-iscsi||0
other|Other|iscsid open-iscsi||0 other
redhat-today|\S||.xz|1 rhel fedora
suse-today|\S||.zst|1 sles suse
HOSTS
# Each line is run: what it prints, its exit code, and how many daemon processes there are then.
same "systemd starts and stops the daemon" "$("$enter" --distro redhat-today bash -c 'discovery() { iscsiadm -m discovery -t st -p 10.0.0.1 2>&1 | head -n1; }
    export -f discovery; startup=$(grep ^iscsid.startup /etc/iscsi/iscsid.conf); export startup; sed -i "/^iscsid.startup/d" /etc/iscsi/iscsid.conf
    while read -r line; do echo "$(bash -c "$line" 2>&1) [$?] $(grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l)"; done' <<'LINES'
systemctl is-active iscsid iscsid.socket
systemctl stop iscsid
discovery
systemctl stop iscsid.socket iscsid.service
discovery
systemctl is-active iscsid.socket iscsid
iscsid; systemctl start iscsid
systemctl stop iscsid nosuch
killall iscsid; systemctl start iscsid nosuch
systemctl stop iscsid; echo "$startup" >>/etc/iscsi/iscsid.conf; discovery
tail -n3 /run/simhost/calls.log
ls /run/iscsid.pid; rm /run/iscsid.pid; systemctl restart iscsid; ls /run
systemctl enable iscsid
LINES
)" 'active
active [0] 1
Warning: Stopping iscsid.service, but it can still be activated by:
  iscsid.socket [0] 0
10.0.0.1:3260,1 iqn.2024-01.example.array:disks [0] 1
 [0] 0
iscsiadm: can not connect to iSCSI daemon (111)! [0] 0
inactive
inactive [3] 0
Job for iscsid.service failed because the control process exited with error code.
See "systemctl status iscsid.service" and "journalctl -xeu iscsid.service" for details. [1] 2
Failed to stop nosuch.service: Unit nosuch.service not loaded. [5] 2
Failed to start nosuch.service: Unit nosuch.service not found. [5] 1
10.0.0.1:3260,1 iqn.2024-01.example.array:disks [0] 1
iscsiadm -m discovery -t st -p 10.0.0.1
systemctl start iscsid.socket
iscsid -f [0] 1
/run/iscsid.pid
lock
simhost
systemd [0] 1
systemctl: start, stop, restart, status and is-active of units are simulated [1] 1'
same "the working directory is kept, also below /tmp" "$(cd "$work" && touch here && "$enter" ls)" here
mkdir "$work/open" "$work/shut"
same "--writable opens one directory alone" "$(cd "$work" && "$enter" --writable open bash -c 'touch open/x shut/x' 2>/dev/null; ls open shut | tr '\n' ' ')" "open: x  shut: "
same "standard streams pass through" "$(echo text | "$enter" cat | cat)" text
same "override comes first" "$(inside 'f=/run/simhost/override/iscsiadm; echo "echo mine" >$f; chmod +x $f; /bin/sh -c iscsiadm')" mine

# --- exit status and signals: name, wanted, command
while read -r want command; do
    same "exit status of: $command" "$(eval "exit_of '$enter' $command")" "$want"
done <<'CASES'
0   true
42  bash -c 'exit 42'
143 bash -c 'kill -TERM $$'
126 /etc/passwd
127 /no/such/command
125
125 --distro debian true
125 --state /proc/no true
2   ls --stopped
CASES
coproc "$enter" bash -c 'trap "exit 9" TERM; echo ready; sleep 9 & wait'
read -r _ <&"${COPROC[0]}" && kill -TERM "$COPROC_PID" && wait "$COPROC_PID"
same "a signal reaches the command" $? 9

# --- state
keep() { "$enter" --state "$work/state" bash -c "$1" 2>&1; }
keep 'echo kept >/etc/iscsi/note; echo kept >/var/lib/note; echo line >>/run/simhost/calls.log; mkdir /sys/class/iscsi_session/session1' >/dev/null
same "files, sessions and log come back" "$(keep 'cat /etc/iscsi/note /var/lib/note /run/simhost/calls.log; ls /sys/class/iscsi_session')" $'kept\nkept\nline\nsession1'
daemons='grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l'
same "the daemon comes back" "$(keep "$daemons; killall iscsid")" 2
same "a stopped daemon does not, the module stays" "$(keep "$daemons; grep -c ^iscsi_tcp /proc/modules; rm /etc/issue")" $'0\n1'
same "a removed file does not come back" "$(keep 'cat /etc/issue')" "cat: /etc/issue: No such file or directory"
today() { "$enter" --state "$work/today" "$@" bash -c 'echo $(ls /lib/modules/*/kernel/drivers/scsi; systemctl is-active iscsid.socket iscsid; systemctl stop iscsid.socket)'; }
same "a host of today comes back" "$(today --distro suse-today; today)" $'iscsi_tcp.ko.zst active active\niscsi_tcp.ko.zst inactive active'
mkdir -p "$work/made/run/simhost" && echo '{}' >"$work/made/run/simhost/network.json"
same "what stands in a new state is kept" "$("$enter" --state "$work/made" cat /run/simhost/network.json)" '{}'
side_by_side() { for i in {1..8}; do "$enter" --state "$work/many$i" bash -c "$1" bash $i >"$work/said$i" 2>&1 & done; wait; cat "$work"/said*; }
same "eight hosts side by side" "$(side_by_side 'echo "InitiatorName=iqn.host$1" >/etc/iscsi/initiatorname.iscsi; t=iqn.2024-01.example.array:disks
    iscsiadm -m discovery -t st -p 10.0.0.1 >/dev/null && iscsiadm -m node -l -T $t -p 10.0.0.$((1 + $1 % 2)) >/dev/null; [ $1 != 5 ] || killall iscsid' 2>&1)" ""
same "each keeps its own" "$(side_by_side 'echo "$(cat /sys/class/iscsi_session/*/initiatorname) $(iscsiadm -m session | cut -d" " -f3) $(grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l)"')" \
    "$(for i in {1..8}; do echo "iqn.host$i 10.0.0.$((1 + i % 2)):3260,1 $((i == 5 ? 0 : 2))"; done)"
exec {lock}<"$work/state" && flock $lock
same "one command at a time" "$(exit_of "$enter" --state "$work/state" true)" 125

# --- an ordinary user
cd /
ordinary="setpriv --reuid 65534 --regid 65534 --clear-groups"
if [ "$(id -u)" -eq 0 ] && $ordinary unshare -Ur "$enter" --help >/dev/null 2>&1; then
    same "an ordinary user is root inside" "$($ordinary "$enter" bash -c 'id -u; echo >>/etc/issue && iscsiadm -m session' 2>&1)" $'0\niscsiadm: No active sessions.'
    same "where namespaces are refused, one line says so" "$(unshare -Ur bash -c "echo 0 >/proc/sys/user/max_user_namespaces
        setpriv --bounding-set -all '$enter' true; echo \$?" 2>&1 | sed 's/.*allows no private namespaces.*/refused/')" $'refused\n125'
fi
exit $failed
