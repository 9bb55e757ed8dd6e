#!/bin/bash
# The simulated host keeps its promises: nothing gets out, nothing of the machine's own stack gets in, and what a
# command needs is there. Prints what fails.
set -u
export LC_ALL=C
enter=$(cd "$(dirname "$0")/.." && pwd)/simhost/enter failed=0
work=$(mktemp -d /tmp/simhost-test.XXXXXX) || exit 1
trap 'rm -rf "$work"' EXIT
export enter work

same() { # NAME GOT WANT
    [ "$2" = "$3" ] && return
    printf 'FAILED %s: got\n%s\n  wanted\n%s\n' "$@"
    failed=1
}
# table OPTION...: rows of OUTPUT|COMMAND, all run in one host; lines of output with blanks between them.
table() { "$enter" "$@" bash -c "$functions; rows" || failed=1; }
rows() {
    local failed=0
    while IFS='|' read -r want line; do
        same "$line" "$(eval "$line" 2>&1 </dev/null | xargs -d '\n')" "$want"
    done
    return $failed
}
daemons() { grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l; }
discover() { iscsiadm -m discovery -t st -p 10.0.0.1 2>&1 | head -n1; }
functions=$(declare -f same rows daemons discover)

# --- nothing gets out
# Only what the command below writes is looked for: other programs may change the machine meanwhile.
places=(/{etc,etc/iscsi,etc/init.d,lib/modules,var/lib,var/lib/iscsi,sys/class,sbin,bin,dev/shm,tmp}/simhost-test-$$)
files() { cksum </etc/issue; readlink /bin/sh; }
before=$(files)
same "a command writes in the host's own places" "$("$enter" bash -c "mkdir /var/lib/iscsi; echo $$ >>/etc/issue
    ln -sf simhost-$$ /bin/sh; touch ${places[*]} && files=(${places[*]}) && echo \${#files[@]}")" ${#places[@]}
same "none of that is on the machine" "$(ls "${places[@]}" 2>/dev/null; files)" "$before"
"$enter" bash -c "sleep $$.4321 & disown"
same "no process stays behind" "$(grep -lsxz "$$[.]4321" /proc/[0-9]*/cmdline)" ""
mkdir "$work/open" "$work/shut"
(cd "$work" && "$enter" --writable open touch open/x shut/x 2>/dev/null)
same "the working directory is kept, --writable opens one directory alone" "$(ls "$work"/*/*)" "$work/open/x"

# --- nothing gets in, and what a command needs is there
TMPDIR=$work table <<'TABLE'
3 bash 2|cd /proc; ls [0-9]*/cmdline | wc -l; tr '\0' '\n' <$$/cmdline | head -n1; daemons
bus class devices 0|ls /sys; ls /sys/class | grep -vc ^iscsi_
|ls /var/lib; ls /sys/bus/scsi/devices; ls /sys/class/iscsi_session; ls -d $work 2>/dev/null; echo -n ${TMPDIR-}
4|for place in /usr /home ${enter%/*} /run/simhost/host-etc; do touch $place/x; done 2>&1 | grep -c Read-only
simhost/enter: this is the simulated host already 125|$enter true; echo $?
TABLE
table --distro other <<<'0 other|grep -cE "Red Hat|SUSE" /etc/issue; sed -n s/^ID=//p /etc/os-release'
table --distro debian-today <<<'debian dash iscsi_tcp.ko.xz active|sed -n s/^ID=//p /etc/os-release; readlink /bin/sh; ls /lib/modules/*/*/*/*; systemctl is-active iscsid'
disks=iqn.2024-01.example.array:disks
table --distro redhat-today <<TABLE
active active 0|systemctl is-active iscsid iscsid.socket; echo \$?
0 inactive 3|systemctl stop iscsid.socket iscsid.service; daemons; systemctl is-active iscsid.socket; echo \$?
10.0.0.1:3260,1 $disks 1|discover; daemons
iscsiadm -m discovery -t st -p 10.0.0.1 systemctl start iscsid.socket iscsid -f|tail -n3 /run/simhost/calls.log
|sed -i /^iscsid.startup/d /etc/iscsi/iscsid.conf
Warning: Stopping iscsid.service, but it can still be activated by:   iscsid.socket 0|systemctl stop iscsid; daemons
10.0.0.1:3260,1 $disks 1|discover; daemons
iscsiadm: can not connect to iSCSI daemon (111)! 0|systemctl stop iscsid.socket iscsid; discover; daemons
TABLE

# --- a build tree where the host has a directory of its own
mkdir -p "$work/build/simhost" "$work/build/opinitctl"
cp "$SIMHOST_BUILD"/simhost/{simhost-*,iscsi_tcp.ko*} "$work/build/simhost/"
ln -s /bin/echo "$work/build/opinitctl/opinitctl"
same "all of it is seen" "$(SIMHOST_BUILD=$work/build "$enter" opinitctl seen 2>&1)" seen

# --- exit status and signals
status() { "$enter" "$@" >/dev/null 2>&1; echo $?; }
same "exit status" "$(status bash -c 'kill -TERM $$'; status /etc/passwd; status /no/such/command
    status --distro debian true; status ls --stopped)" $'143\n126\n127\n125\n2'
coproc "$enter" bash -c 'trap "exit 9" TERM; echo ready; sleep 9 & wait'
read -r _ <&"${COPROC[0]}" && kill -TERM "$COPROC_PID" && wait "$COPROC_PID"
same "a signal reaches the command" $? 9

# --- state
state() { # NAME WANT COMMAND [OPTION...]
    same "$1: $3" "$("$enter" --state "$work/$1" "${@:4}" bash -c "$functions; $3" 2>&1 | xargs)" "$2"
}
files="/etc/iscsi/note /var/lib/note /run/simhost/calls.log"
state host "" "tee -a $files <<<kept >/sys/class/kept"
state host "kept kept kept kept 2" "cat $files /sys/class/kept; daemons; killall iscsid"
state host "0 1" 'daemons; grep -c ^iscsi_tcp /proc/modules; rm /etc/issue'
state host "cat: /etc/issue: No such file or directory" 'cat /etc/issue'
state today "active" "systemctl is-active iscsid.socket; systemctl stop iscsid.socket" --distro suse-today
state today "iscsi_tcp.ko.zst inactive active" "ls /lib/modules/*/*/*/*; systemctl is-active iscsid.socket iscsid"
mkdir -p "$work/made/run/simhost" && echo '{}' >"$work/made/run/simhost/network.json"
state made '{}' 'cat /run/simhost/network.json'
exec {lock}<"$work/host" && flock $lock
"$enter" --state "$work/host" true 2>/dev/null
same "one command at a time" $? 125

# --- an ordinary user
cd /
ordinary="setpriv --reuid 65534 --regid 65534 --clear-groups"
if [ "$(id -u)" -eq 0 ] && $ordinary unshare -Ur "$enter" --help >/dev/null 2>&1; then
    same "an ordinary user is root inside" "$($ordinary "$enter" bash -c 'id -u; echo >>/etc/issue &&
        iscsiadm -m session' 2>&1)" $'0\niscsiadm: No active sessions.'
fi
exit $failed
