#!/bin/bash
# opinitctl as people and programs use it: exit codes, both forms of output, secrets, hostile names, and what
# doctor finds on broken hosts. Enters the simulated host by itself; one line per check that fails.
#
#     opinitctl_test.sh [OPINITCTL]
set -u
here=$(cd "$(dirname "$0")" && pwd)
[ -e /run/simhost/proc/self ] || exec "$here/../simhost/enter" bash "$here/opinitctl_test.sh" "$@"

run=/run/simhost build=$(dirname "$(dirname "$(readlink -f /run/simhost/bin/iscsiadm)")")
program=${1:-$build/opinitctl/opinitctl} command=$(readlink -f $run/bin/iscsiadm)
array=iqn.2024-01.example.array p1=10.0.0.1 checks=0 failed=0
conf=/etc/iscsi/iscsid.conf names=/etc/iscsi/initiatorname.iscsi
module=/lib/modules/$(uname -r)/kernel/drivers/scsi/iscsi_tcp.ko
[ -x "$program" ] || { echo "there is no $program in the simulated host"; exit 1; }
cd /tmp || exit 1

sanitized=$(grep -c __asan_init "$program")
opinitctl() ( # LeakSanitizer needs its entry in /proc
    [ "$sanitized" = 0 ] || ln -sfn $run/proc/$BASHPID /proc/$BASHPID
    exec "$program" "$@"
)
check() { # NAME CONDITION...
    checks=$((checks + 1))
    "${@:2}" && return
    failed=$((failed + 1))
    printf 'FAILED line %s: %s\n    exit %s\n    out: %s\n    err: %s\n' \
        "${BASH_LINENO[-2]}" "$1" "${code-}" "${out-}" "${err-}"
}
matches() { [[ $1 == $2 ]]; }
is() { [ "$1" = "$2" ]; }
answer() { # ARGUMENTS...: runs it for out, err, code
    opinitctl "$@" >/tmp/out 2>/tmp/err </tmp/in
    code=$? out=$(</tmp/out) err=$(</tmp/err)
}
# gives EXIT OUT ERR ARGUMENTS...: OUT and ERR are patterns, empty for nothing at all.
gives() {
    answer "${@:4}"
    check "opinitctl ${*:4}" matches "exit $code: $out
--$err" "exit $1: $2
--$3"
}
row() { grep -E "^ *$1( |$)" /tmp/out | tr -s ' ' | sed 's/^ //'; } # FIRST_WORD: its row, single-spaced
value() { python3 -c "import json, sys; print(json.load(open('/tmp/out'))$1)"; } # PYTHON_INDEX
calls() { wc -l <$run/calls.log; }
override() { printf '#!/bin/bash\n%s\n' "$1" >$run/override/iscsiadm && chmod +x $run/override/iscsiadm; }
: >/tmp/in

# --- usage: nothing on standard output, nothing done
before=$(calls)
while IFS='|' read -r arguments says; do
    eval "gives 2 '' \"*$says*\" $arguments"
done <<'TABLE'
|subcommand
nosuch|
sessions extra|
sessions targets|
disks|SESSION
disks one|number
disks -1|
logout 256|0 to 255
logout 0x1|number
logout ''|number
connections 300|0 to 255
disks 4294967297|number
message x|number
message 4294967296|number
config set|KEY=VALUE
config set FastAbort|KEY=VALUE
config set NoSuchKey=1|no setting
config set Abort=1|no setting
config set MaxRecvDataSegmentLength=1|may be node.conn*or discovery
config set 'FastAbort=No\nnode.startup'$'\n'=x|control
config set FastAbort=$(printf %0256d 0)|255
config set --secret-file password|KEY=VALUE
config set --secret-file password=- --secret-file password_in=-|one secret only
login t|PORTAL
login "" 10.0.0.1|target name
login $(printf %0224d 0) 10.0.0.1|223
login t 10.0.0.1 --chap-user u|chap-secret-file
login t 10.0.0.1 --chap-secret-file /tmp/in|chap-user
login t 10.0.0.1 --chap-user u --chap-secret-file /tmp/in --chap-user-in v|chap-secret-in-file
login t 10.0.0.1 --chap-user u --chap-secret-file - --chap-user-in v --chap-secret-in-file -|one secret only
login t 10.0.0.1 --chap-user $(printf %064d 0) --chap-secret-file /tmp/in|63
TABLE
for portal in ::1 '[::1]:3260' fe80::1%eth0 1.2.3.4:5:6; do gives 2 '' '*IPv6*' discover "$portal"; done
for portal in '' host 10.0.0 10.0.0.256 010.0.0.1 '10.0.0.1 ' 10.0.0.1,3260 :3260; do
    for verb in discover remove forget; do gives 2 '' '*not a portal*' $verb "$portal"; done
done
for port in '' 0 65536 +3260 3260x -1 ' 1'; do gives 2 '' '*port*' discover "$p1:$port"; done
check "refused arguments run nothing" is "$(calls)" "$before"

# --- help names the exit codes, on every command
commands=$(opinitctl --help | sed -n '/^Subcommands:/,/^[^ S]/s/^  \([a-z]*\) .*/\1/p')
check "every command is listed" is "$(echo $commands)" "status start stop version message node config discover targets \
portals login logout remove forget sessions connections disks doctor"
for name in '' $commands 'config set'; do
    gives 0 '*Exit status: 0 done; 1 *2 wrong usage*' '' $name --help
done

# --- a target's life, in both forms
gives 0 'TARGET*PERSISTENT' '' targets
gives 0 "TARGET*$array:disks*" '' discover $p1
gives 0 "*$array:disks*no*no*" '' targets
gives 1 '' '*179*not reached*' discover 10.0.0.9:3260
gives 1 '' '*199: Login Failure*' login $array:chap $p1
gives 1 '' "*199: Login Failure*" login iqn.nosuch $p1
gives 0 '*' '' login $array:disks 10.0.0.2:3260 --persistent --header-digest
check "the session to this portal is shown" matches "$out" "*$array:disks*10.0.0.2:3260*"
session=$(awk 'NR == 2 { print $1 }' /tmp/out)
gives 0 '*' "*already logged in: session $session existed*" login $array:disks 10.0.0.2
gives 0 "*10.0.0.1:3260*" '' login $array:disks $p1
gives 0 '*' '' disks "$session"
check "columns are aligned" is "$(sed -n '1s/SIZE BYTES.*/SIZE BYTES/p' /tmp/out | wc -c)" \
    "$(sed -n '4s/\([0-9]\) [ ]*EXAMPLE.*/\1/p' /tmp/out | wc -c)"
check "a disk's row" is "$(row 10)" "10 sdc 107374182400 EXAMPLE ARCHIVE-DISK $(row 10 | grep -o '[0-9]*:0:0:10') $array:disks"
gives 0 "*10.0.0.2:3260*10.0.0.100*" '' connections "$session"
gives 0 "*10.0.0.1:3260*10.0.0.2:3260*" '' portals $array:disks
gives 1 '' '*1: Failure*no such target*' portals iqn.nosuch
gives 1 '' '*189: Cannot stop*' stop
gives 1 '' '*167: Session is ACTIVE*may be gone*' remove 10.0.0.1
for listing in status version node config sessions targets doctor "disks $session" "connections $session" \
    "portals $array:disks" "discover $p1" "message 182" "config set FastAbort=No"; do
    answer --json $listing
    check "--json $listing is JSON" python3 -m json.tool /tmp/out /tmp/pretty
    answer $listing --json
    check "$listing --json is JSON" python3 -m json.tool /tmp/out /tmp/pretty
done
answer --json disks "$session"
check "numbers are numbers" is "$(value '[2]["size_bytes"]')" 107374182400
answer status --json
check "truth is truth" is "$(value '["running"]')" True
gives 0 'iSCSI Stack is not installed.' '' message 182
gives 1 '' '*no message*' message 416

# --- a login that open-iscsi did not call failed
override 'exit 0'
gives 1 '' "*not logged in: open-iscsi reported no failure*$array:empty*doctor*" login $array:empty 10.0.0.2
gives 0 '*' '*already logged in*' login $array:disks 10.0.0.2
gives 1 '' '*not logged in*' login $array:disks 10.0.0.2:3261

# --- what commands print cannot reach the terminal raw, nor the results
override 'printf "\e[2Jraw\n"; printf "\e[2Jraw\n" >&2; exit 1'
gives 1 '' '\\x1b[[]2Jraw*179*' discover $p1
check "a parent that ignores SIGCHLD does not make it a success" \
    eval '! program=env opinitctl --ignore-signal=CHLD "$program" logout "$session" >/tmp/out 2>/tmp/err'
rm $run/override/iscsiadm
gives 0 "TARGET*$array*" '' discover $p1
gives 1 '' '*199*' login $array:chap $p1 --chap-user a --chap-secret-file /etc/hostname
hostile=$'iqn.\e]0;x\a\\q\x9b\xff\u202e'
$command add-session --target "$hostile" --address 10.9.9.9 --sid 77 >/dev/null
answer sessions
check "control characters are escaped" matches "$(row 77)" '77 iqn.\\x1b]0;x\\x07\\\\q\\x9b\\xff\\xe2\\x80\\xae *'
answer sessions --json
check "JSON is valid and plain" eval 'python3 -m json.tool /tmp/out /tmp/pretty && ! LC_ALL=C grep -q "[^ -~]" /tmp/out'
gives 1 '' '*cannot list the portals of iqn.\\x1b*' portals "$hostile"
$command remove-session 77

check "results that cannot be written are a failure" eval '! opinitctl status >/dev/full 2>&1'

# --- settings: what was replaced and what was appended
lines=$(wc -l <$conf)
gives 0 '*' '' config set FastAbort=Yes 16=31 node.startup=automatic ERL=1 InitiatorName=iqn.2024-01.test:me
for change in "27 node.session.iscsi.FastAbort Yes" "16 node.conn[0].timeo.login_timeout 31" \
    "15 node.startup automatic" "14 node.session.iscsi.ERL 1"; do
    read -r id key new <<<"$change"
    line=$(grep -nxF "$key = $new" $conf | cut -d: -f1)
    what=$([ "$line" -le "$lines" ] && echo replaced || echo appended)
    check "$key" is "$(row "(replaced|appended) +$line")" "$what $line $id $key $new $conf"
done
check "only the missing key is appended" is "$(grep -c ^appended /tmp/out)" 1
check "the name" is "$(row "replaced +1")" "replaced 1 1 InitiatorName iqn.2024-01.test:me $names"
echo "login_timeout = 9
timeo.login_timeout=8" >>$conf
gives 0 '*' '' config set login_timeout=32
check "every line of a key is told" is "$(grep -c ^replaced /tmp/out)" 2
for refused in 40=1 4=CRC32C 'FastAbort=No 27=Yes' "InitiatorName=$(printf %0224d 0)"; do
    gives 1 '' 'opinitctl: cannot set the settings: 1*: *' config set $refused
done
mv $conf /tmp/conf && mkdir $conf
gives 1 '' '*4294967295*cannot be opened*' config set FastAbort=No
rmdir $conf && mv /tmp/conf $conf

# --- secrets
secret=Sesame-0pen-5esame
echo $secret >/tmp/secret
for source in /tmp/secret -; do
    cp /tmp/secret /tmp/in
    gives 0 '*auth.password * \*\*\*\*\*\*\*\* *' '' config set --secret-file auth.password=$source ERL=0
    check "$source is read" grep -qx "node.session.auth.password = $secret" $conf
    sed -i '/auth.password =/d' $conf
    gives 1 '' '*199*' login $array:chap $p1 --chap-user user1 --chap-secret-file $source
    check "$source is used" grep -q -- "auth.password.* $secret" $run/calls.log
    : >$run/calls.log
done
gives 0 '*\*\*\**' '*--secret-file*' config set password_in=$secret
for listing in config '--json config' "--json config set --secret-file password=-" node; do
    answer $listing
    check "$listing keeps the secret" eval '[ $code = 0 ] && ! grep -qF Sesame /tmp/out /tmp/err'
done
printf secretsecret1 >/tmp/in
gives 0 "*$array:chap*" '' login $array:chap $p1 --chap-user user1 --chap-secret-file -
printf 'secretsecret1\r\n' >/tmp/in
echo secretsecret2 >/tmp/in2
gives 0 "*$array:mutual*" '' login $array:mutual $p1 --chap-user user1 --chap-secret-file - \
    --chap-user-in user2 --chap-secret-in-file /tmp/in2
while IFS='|' read -r content says; do
    printf "$content" >/tmp/bad
    for use in "config set --secret-file password=/tmp/bad" "login t $p1 --chap-user u --chap-secret-file /tmp/bad"; do
        answer $use
        check "secret '$content': $use" matches "$code $err" "1 *$says*"
        check "no piece of it is shown" eval '! grep -q Ses /tmp/out /tmp/err'
    done
done <<'TABLE'
|empty
\n|empty
Ses\nSesame\n|one line
Ses\0ame|one line
Ses\033[2J|one line
Ses%0600d|longer
TABLE
gives 1 '' '*No such file*' config set --secret-file password=/tmp/nosuch
printf %020d 0 >/tmp/bad
gives 1 '' '*longer than 19*' login t $p1 --chap-user u --chap-secret-file /tmp/bad
gives 0 '*' '' config set --secret-file password=/tmp/bad

# --- doctor: BREAK | UNDO | CHECK | what its row says
for session in $(opinitctl sessions | awk 'NR > 1 { print $1 }'); do opinitctl logout "$session" >/dev/null; done
gives 0 '*the stack is installed and runs*' '' doctor
check "a sound host has no problem" eval '! grep -Eq " (problem|note) " /tmp/out'
while IFS='|' read -r break undo name says; do
    eval "$break"
    answer doctor
    eval "$undo"
    check "doctor after: $break" matches "$code $(row "$name") $err" "1 $name problem $says*problems found: *"
done <<TABLE
mv $conf /tmp/conf|mv /tmp/conf $conf|configuration file|*No such file*182*install open-iscsi
mv $conf /tmp/conf|mv /tmp/conf $conf|answer|182:
mv $module $module.xz|mv $module.xz $module|module file|$module.xz is compressed*182*xz -dk $module.xz
mv $module $module.zst|mv $module.zst $module|module file|*compressed*zstd -dk
mv $module $module.gz|mv $module.gz $module|module file|*compressed*gzip -dk
mv $module /tmp|mv /tmp/iscsi_tcp.ko $module|module file|*is not there*182
cp /proc/modules /tmp/modules; : >/proc/modules|cat /tmp/modules >/proc/modules|module loaded|*183*opinitctl start
killall iscsid|opinitctl start >/tmp/started|daemon|no iscsid process*183
killall iscsid|opinitctl start >/tmp/started|answer|183:
mv /etc/issue /tmp/issue|mv /tmp/issue /etc/issue|distribution|*No such file*98
mv /etc/issue /tmp/issue; mkdir /etc/issue|rmdir /etc/issue; mv /tmp/issue /etc/issue|distribution|*Is a directory*98
cp /etc/issue /tmp/issue; echo Some Other Linux >/etc/issue|cp /tmp/issue /etc/issue|distribution|*neither*answer 1
mv /etc/init.d /tmp/init.d|mv /tmp/init.d /etc/init.d|init script|/etc/init.d/open-iscsi: No such file
chmod -x /etc/init.d/iscsid|chmod +x /etc/init.d/iscsid|init script|*Permission denied
cp /etc/issue /tmp/issue; echo SUSE >/etc/issue; mv /sbin/iscsid /tmp|cp /tmp/issue /etc/issue; mv /tmp/iscsid /sbin|init script|*313*cp
mv $names /tmp/names|mv /tmp/names $names|initiator name|*No such file*191
cp $names /tmp/names; echo >$names|cp /tmp/names $names|initiator name|*no line*191
cp $names /tmp/names; printf InitiatorName=%0224d 0 >$names|cp /tmp/names $names|initiator name|*223*198
ln -sf dash /bin/sh|ln -sf bash /bin/sh|shell|/bin/sh (/usr/bin/dash)*not captured*ln -sf bash /bin/sh
path=\$PATH; PATH=/usr/bin|PATH=\$path|iscsiadm|not on PATH
TABLE

# --- session numbers that the interface cannot carry, or could take for text
for sid in 49 300; do
    $command add-session --target iqn.s$sid --address 10.9.9.9 --sid $sid --lun $sid:512:V:M >/dev/null
    gives 0 "*iqn.s$sid*" '' disks $sid
done
$command add-session --target iqn.bare --address 10.9.9.9 --sid 60 >/dev/null
gives 0 'LUN*TARGET' '' disks 60
$command remove-session 60
gives 1 '' '*166*' logout 44
gives 0 'logged out of session 49' '' logout 049
$command remove-session 300
gives 1 '' '*166*' disks 300
gives 1 '' '*166*' logout 49

# --- start and stop
killall iscsid
touch $run/modprobe-fails && rmmod iscsi_tcp
gives 1 '' '*183*doctor*' sessions
gives 1 '' '*416 (the kernel module iscsi_tcp does not load)' start
rm $run/modprobe-fails
gives 0 'the stack is running' '' start
printf '#!/bin/sh\nexit 3\n' >/etc/init.d/iscsid
gives 1 '' '*768 (the init script ended with exit status 3)' stop

echo "$((checks - failed)) of $checks checks passed"
[ $failed = 0 ]
