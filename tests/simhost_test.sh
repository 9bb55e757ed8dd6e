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
same "--writable opens one directory alone" "$(ls "$work"/*/*)" "$work/open/x"
same "the working directory is kept, also below /tmp" "$(cd "$work" && "$enter" ls | xargs)" "open shut"
same "standard streams pass through" "$(echo text | "$enter" cat | cat)" text

# --- nothing gets in, and what a command needs is there
table --stopped <<<'|ls /sys/class; cat /proc/modules /run/simhost/calls.log'
TMPDIR=$work table <<'TABLE'
3 bash 2|cd /proc; ls [0-9]*/cmdline | wc -l; tr '\0' '\n' <$$/cmdline | head -n1; daemons
1|ls /proc/$$/task | wc -l
bus class devices|ls /sys
0|ls /sys/class | grep -vc ^iscsi_
|ls /var/lib; ls /sys/bus/scsi/devices; ls /sys/class/iscsi_session; ls -d $work 2>/dev/null; echo -n ${TMPDIR-}
4|for place in /usr /home ${enter%/*} /run/simhost/host-etc; do touch $place/x; done 2>&1 | grep -c Read-only
simhost/enter: this is the simulated host already 125|$enter true; echo $?
bash dash|sh=/bin/sh; $sh -c 'echo ${BASH_VERSION:+bash}'; ln -sf dash $sh; $sh -c 'echo ${BASH_VERSION:-dash}'
root 1|getent passwd root | cut -d: -f1; /usr/bin/python3 -c 'import ssl; print(1)'
built|echo 'int main() {}' | c++ -x c++ - -o /tmp/a && /tmp/a && echo built
ELFversion=2.3.1|f=$(ls /lib/modules/$(uname -r)/k*/*/*/*); head -c4 $f | tail -c3; tr '\0' '\n' <$f | grep -a ^version
mine|f=/run/simhost/override/iscsiadm; echo 'echo mine' >$f; chmod +x $f; /bin/sh -c iscsiadm
TABLE
while IFS='|' read -r name marker want; do
    same "kind of host: $name" "$("$enter" --distro "$name" bash -c "grep -cF '$marker' /etc/issue
        [ -w /etc/issue ] && ls /etc/init.d; ls /lib/modules/*/kernel/drivers/scsi; opinitctl version | grep -oF 2.3.1
        [ ! -d /run/systemd/system ]; echo \$?; sed -n 's/^ID.*=//p' /etc/os-release" 2>/dev/null | xargs)" "$want"
done <<'HOSTS'
redhat|Red Hat|1 iscsid open-iscsi iscsi_tcp.ko 2.3.1 0
suse|SUSE|1 open-iscsi iscsi_tcp.ko 2.3.1 0
other|Other|1 iscsid open-iscsi iscsi_tcp.ko 2.3.1 0 other
redhat-today|\S|1 iscsi_tcp.ko.xz 2.3.1 1 rhel fedora
suse-today|\S|1 iscsi_tcp.ko.zst 2.3.1 1 sles suse
HOSTS
job='Job for iscsid.service failed because the control process exited with error code. See "systemctl status'
job+=' iscsid.service" and "journalctl -xeu iscsid.service" for details.'
disks=iqn.2024-01.example.array:disks
table --distro redhat-today <<TABLE
active active 0|systemctl is-active iscsid iscsid.socket; echo \$?
|conf=/etc/iscsi/iscsid.conf; grep ^iscsid.startup \$conf >/tmp/startup; sed -i /^iscsid.startup/d \$conf
Warning: Stopping iscsid.service, but it can still be activated by:   iscsid.socket 0|systemctl stop iscsid; daemons
10.0.0.1:3260,1 $disks 1|discover; daemons
0|systemctl stop iscsid.socket iscsid.service; daemons
iscsiadm: can not connect to iSCSI daemon (111)! 0|discover; daemons
inactive inactive 3|systemctl is-active iscsid.socket iscsid; echo \$?
$job 1 2|iscsid; systemctl start iscsid; echo \$?; daemons
Failed to stop nosuch.service: Unit nosuch.service not loaded. 5 2|systemctl stop iscsid nosuch; echo \$?; daemons
Failed to start nosuch.service: Unit nosuch.service not found. 1|killall iscsid; systemctl start iscsid nosuch; daemons
10.0.0.1:3260,1 $disks|systemctl stop iscsid; cat /tmp/startup >>/etc/iscsi/iscsid.conf; discover
iscsiadm -m discovery -t st -p 10.0.0.1 systemctl start iscsid.socket iscsid -f|tail -n3 /run/simhost/calls.log
1 /run/iscsid.pid lock simhost systemd|daemons; ls /run/*.pid; rm /run/*.pid; systemctl restart iscsid; ls /run
systemctl: start, stop, restart, status and is-active of units are simulated 1|systemctl enable iscsid; daemons
TABLE

# --- exit status and signals
while read -r want command; do
    eval "'$enter' $command" >/dev/null 2>&1
    same "exit status of: $command" $? "$want"
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
state() { # NAME WANT COMMAND [OPTION...]
    same "$1: $3" "$("$enter" --state "$work/$1" "${@:4}" bash -c "$functions; $3" 2>&1 | xargs)" "$2"
}
files="/etc/iscsi/note /var/lib/note /run/simhost/calls.log"
state host "" "tee -a $files <<<kept >/sys/class/kept"
state host "kept kept kept kept" "cat $files /sys/class/kept"
state host 2 'daemons; killall iscsid'
state host "0 1" 'daemons; grep -c ^iscsi_tcp /proc/modules; rm /etc/issue'
state host "cat: /etc/issue: No such file or directory" 'cat /etc/issue'
units='ls /lib/modules/*/kernel/drivers/scsi; systemctl is-active iscsid.socket iscsid; systemctl stop iscsid.socket'
state today "iscsi_tcp.ko.zst active active" "$units" --distro suse-today
state today "iscsi_tcp.ko.zst inactive active" "$units"
mkdir -p "$work/made/run/simhost" && echo '{}' >"$work/made/run/simhost/network.json"
state made '{}' 'cat /run/simhost/network.json'
side_by_side() { # COMMAND, which is told the host's number
    for i in {1..8}; do "$enter" --state "$work/many$i" bash -c "$functions; $1" bash $i >"$work/said$i" 2>&1 & done
    wait
    cat "$work"/said*
}
same "eight hosts side by side" "$(side_by_side 'echo "InitiatorName=iqn.host$1" >/etc/iscsi/initiatorname.iscsi
    discover >/tmp/log && iscsiadm -m node -l -T '$disks' -p 10.0.0.$((1 + $1 % 2)) >/tmp/log
    [ $1 != 5 ] || killall iscsid' 2>&1)" ""
same "each keeps its own" "$(side_by_side 'cat /sys/class/iscsi_session/*/initiatorname
    iscsiadm -m session | cut -d" " -f3; daemons' | xargs -n3)" \
    "$(for i in {1..8}; do echo "iqn.host$i 10.0.0.$((1 + i % 2)):3260,1 $((i == 5 ? 0 : 2))"; done)"
exec {lock}<"$work/host" && flock $lock
"$enter" --state "$work/host" true 2>/dev/null
same "one command at a time" $? 125

# --- an ordinary user
cd /
ordinary="setpriv --reuid 65534 --regid 65534 --clear-groups"
if [ "$(id -u)" -eq 0 ] && $ordinary unshare -Ur "$enter" --help >/dev/null 2>&1; then
    same "an ordinary user is root inside" \
        "$($ordinary "$enter" bash -c 'id -u; echo >>/etc/issue && iscsiadm -m session' 2>&1)" \
        $'0\niscsiadm: No active sessions.'
    same "where namespaces are refused, one line says so" "$(unshare -Ur bash -c "
        echo 0 >/proc/sys/user/max_user_namespaces
        setpriv --bounding-set -all '$enter' true; echo \$?" 2>&1 | sed 's/.*\(allows no private namespaces\).*/\1/')" \
        $'allows no private namespaces\n125'
fi
exit $failed
