#!/bin/bash
# opinitctl as people and programs use it: exit codes, both forms of output, secrets, hostile names. One line per check
# that fails.
#
#     opinitctl_test.sh OPINITCTL
. "$(dirname "$0")/../packaging/opinitctl.bash"
. "$(dirname "$0")/support/opinitctl.sh"

# --- usage: nothing on standard output, nothing done
before=$(calls)
while IFS='|' read -r arguments says; do
    eval "gives 2 '' \"*$says*\" $arguments"
done <<'TABLE'
|--help
sesions --json|the commands are*sessions
sessions x|number
connections 010|number
sessions 4294967297|number
logout|--all
logout 1 --all|--all
config set NoSuchKey=1|no setting
config get 999|no setting
config set InitiatorName=iqn.$(printf %0220d 0)|at most 223
config set FastAbort=Yes 27=No|twice
config set 'FastAbort=No\nnode.startup'$'\n'=x|control
config set --secret-file password=- --secret-file password_in=-|one secret only
login --persistent|TARGET
login t 10.0.0.1 -o foo|no column*foo*the columns are SESSION, TARGET, PORTAL
login t 10.0.0.1 --chap-user u|no terminal*u at*file
login t 10.0.0.1 --chap-user u --chap-secret-file - --chap-user-in v --chap-secret-in-file -|one secret only
TABLE
for portal in ::1 '[::1]:3260' fe80::1%eth0 1.2.3.4:5:6; do gives 2 '' '*IPv6*' discover "$portal"; done
for portal in '' host 10.0.0.256 010.0.0.1 '10.0.0.1 '; do gives 2 '' '*not a portal*' discover "$portal"; done
for port in '' 0 65536 +3260 3260x ' 1'; do gives 2 '' '*port*' discover "$p1:$port"; done
is "refused arguments run nothing" "$(calls)" "$before"

# --- help names the exit codes, on every command
commands=$(opinitctl --help | sed -n '/^Subcommands:/,/^[^ S]/s/^  \([a-z]*\) .*/\1/p')
is "every command is listed" "$(echo $commands)" "status start stop version message node config discover remove \
forget targets portals login logout sessions connections disks tree metrics doctor help"
for name in '' ${commands/help} 'config set'; do
    gives 0 '*Exit status: 0 done; 1 *2 wrong usage*' '' $name --help
done

# --- a target's life
gives 0 "TARGET*$array:disks*" '' discover $p1
gives 0 "*$array:disks*10.0.0.2:3260*" "*other targets*10.0.0.2*startup, digests ($array:empty)" \
    login $array:disks 10.0.0.2:3260 --persistent --header-digest
session=$(awk 'NR == 2 { print $1 }' /tmp/out)
gives 0 "*10.0.0.1:3260*" '' login $array:disks $p1
gives 0 '*' '' disks "$session"
is "a disk's row" "$(row "$session +10")" "$session 10 sdc 100G running $array:disks"
gives 0 "*10.0.0.2:3260*10.0.0.100*" '' connections "$session"
gives 1 '' "*167: Session is ACTIVE*$array:chap*gone all the same*" remove $p1
opinitctl discover $p1 >/dev/null
gives 1 '' "*records of $array:chap,*at $p1 all the same: startup*discover*" login $array:chap $p1 --persistent
opinitctl discover $p1 >/dev/null

# --- what the Tab key offers
while IFS='|' read -r COMP_LINE want; do
    COMP_POINT=${#COMP_LINE} && _opinitctl 2>/dev/null
    is "completion of $COMP_LINE" "${COMPREPLY[*]}" "$want"
done <<TABLE
opinitctl se|sessions
opinitctl --json st|status start stop
opinitctl config |get set
opinitctl config get FastA|
opinitctl config get node.session.iscsi.F|node.session.iscsi.FirstBurstLength node.session.iscsi.FastAbort
opinitctl config set FastAbort=No node.st|node.startup=
opinitctl config set --dry|--dry-run
opinitctl disks --bytes -o lun,sc|lun,scsi-address
opinitctl config set --sort old|old-value
opinitctl login iqn.2024-01.example.array:d|disks
opinitctl login $array:disks |10.0.0.1:3260 10.0.0.2:3260
opinitctl login --chap-user u $array:disks 10.0.0.2:|3260
opinitctl logout |*$session*
opinitctl login --chap-user |
TABLE

# --- a login that open-iscsi did not call failed, and one that it did
override 'exit 0'
gives 1 '' "*open-iscsi reported no failure*no session to $array:empty*doctor*" login $array:empty 10.0.0.2
override 'echo "error: it already exists"; exit 15'
gives 0 '*' '*already logged in*' login $array:disks 10.0.0.2

# --- what commands print cannot reach the terminal raw, nor the results
override 'printf "\e[2Jraw\n"; printf "\e[2Jraw\n" >&2; exit 1'
gives 1 '' "*recorded of $array:empty at $p1 is gone*"'\x1b[[]2Jraw*179*no target was found' discover $p1
is "a parent that ignores SIGCHLD does not make it a success" \
    "$(env --ignore-signal=CHLD "$program" logout "$session" 2>&1; echo " $?")" '* 1'
rm $run/override/iscsiadm
simhost-command add-session --target $'iqn.\e]0;x\a\\q\x9b\xff\xe2\x80\xae' --address 10.9.9.9 --sid 77 >/dev/null
gives 0 '*' '' sessions
is "control characters are escaped" "$(row 77)" '77 iqn.\\x1b]0;x\\x07\\\\q\\x9b\\xff\\xe2\\x80\\xae *'
gives 0 '*' '' sessions --json
is "JSON is valid and plain" "$(/usr/bin/python3 -m json.tool /tmp/out /tmp/pretty; grep -c '[^ -~]' /tmp/out)" 0
simhost-command remove-session 77
for command in status help --version 'message 1'; do
    is "$command cannot be written" "$(opinitctl $command 2>&1 >/dev/full; echo " $?")" '*standard output* 1'
done

# --- settings: what was replaced and what was appended
gives 0 '*' '*whole of*3 other lines*sessions that are up*' config set FastAbort=No ERL=1 InitiatorName=iqn.x:me
fast=$(grep -nxF 'node.session.iscsi.FastAbort = No' $conf | cut -d: -f1) last=$(($(wc -l <$conf) - 1))
is "changes" "$(grep -hE 'replaced|appended' /tmp/out | shown)" \
    "replaced $fast 27 *.FastAbort No $conf,appended $last 14 *.ERL 1 $conf,replaced 1 1 InitiatorName iqn.x:me $names"
gives 0 "unchanged *InitiatorName *" '' config set --noheadings InitiatorName=iqn.x:me
gives 0 '*' '' config set timeo.replacement_timeout=-1 auth.username='DOM\user-é'
gives 0 'DOM\\user-é' '' config get 21
gives 3 '' '*username_in is not set*' config get username_in

# --- lines as people write them: a trial tells what is then done, writes nothing, and shows no secret
printf '%s\n' '  iscsi.FastAbort   =   No' 'discovery.sendtargets.auth.password = Sesame' node.startup=onboot ERL= \
    '  node.session.auth.password  =  Sesame' '#node.session.queue_depth = 3' 'queue_depth = 3 ' 'X.ERL = 2' >$conf
wish="FastAbort=Maybe ERL=x InitiatorName=bad queue_depth=3 startup=onboot 38=None password=0pen password_in=0pen"
echo InitiatorName=iqn.second >>$names
: >/tmp/trial; before=$(stat -c %y $conf $names /tmp)
gives 0 "-iscsi.FastAbort = No
+iscsi.FastAbort = Maybe
-ERL = 
+ERL = x
-InitiatorName=iqn.x:me
+InitiatorName=bad
-queue_depth = 3 
+queue_depth = 3
+node.session.auth.authmethod = None
-node.session.auth.password = \*\*\*\*\*\*\*\*
+node.session.auth.password = \*\*\*\*\*\*\*\*
+node.session.auth.password_in = \*\*\*\*\*\*\*\*" '*FastAbort: open-iscsi expects one of Yes, No*ERL: *InitiatorName: *iqn.*1 other*' \
    config set --dry-run $wish
opinitctl --json config set --dry-run $wish 2>/dev/null | grep -v '"line"' >/tmp/trial
is "a trial writes nothing" "$(stat -c %y $conf $names /tmp)" "$before"
is "it tells what is then done" \
    "$(opinitctl --json config set $wish 2>/dev/null | grep -v '"line"' | diff /tmp/trial -)" ''
: >$conf && rm $names
gives 0 '*appended *InitiatorName *' '*' config set InitiatorName=iqn.x:me
gives 0 "+node.session.iscsi.ERL = 1" '' config set --dry-run ERL=1
chmod 400 $conf
for command in config 'config get ERL' node 'config set --dry-run ERL=1'; do
    is "$command of an ordinary user" \
        "$(setpriv --bounding-set=-dac_override,-dac_read_search "$program" $command 2>&1; echo " $?")" \
        "*$conf: Permission denied; run it as root* 1"
done

# --- secrets
secret=Sesame-0pen-5esame
tee /tmp/secret >/tmp/in <<<$secret
for source in /tmp/secret -; do
    gives 0 '*auth.password \*\*\*\*\*\*\*\* *' '' config set --secret-file auth.password=$source ERL=0
    gives 1 '' '*199*' login $array:chap $p1 --chap-user user1 --chap-secret-file $source
    is "$source is used" "$(grep -cx "node.session.auth.password = $secret" $conf
        grep -co -- "auth.password -v $secret" $run/calls.log)" $'1\n1'
    sed -i '/auth.password/d' $conf $run/calls.log
done
gives 0 '*\*\*\**' '*--secret-file*' config set password_in=$secret
for listing in config '--json config' "--json config set --secret-file password=-" node; do
    gives 0 '*' '*' $listing
    is "$listing keeps the secret" "$(grep -F Sesame /tmp/out /tmp/err)" ''
done
printf 'secretsecret1\r\n' >/tmp/in && echo secretsecret2 >/tmp/in2
gives 0 "*$array:mutual*" "*CHAP ($array:chap*" login $array:mutual $p1 --chap-user user1 --chap-secret-file - \
    --chap-user-in user2 --chap-secret-in-file /tmp/in2
for bad in '|empty' 'Ses\nSesame\n|one line' 'Ses\0ame|one line' 'Ses%0600d|longer'; do
    printf "${bad%|*}" >/tmp/bad
    gives 1 '' "*${bad#*|}*" config set --secret-file password=/tmp/bad
    is "no piece of it is shown" "$(grep Ses /tmp/out /tmp/err)" ''
done

# --- commands: why one failed, each as it runs, and a shell that does not wait for them
sed -i '/auth.password/d' $conf
opinitctl logout --all >/dev/null && opinitctl discover $p1 >/dev/null
gives 1 '' '*(24 - iSCSI login failed due to authorization failure)*199*' login $array:chap $p1
gives 0 '*' "+ iscsiadm -m node -p $p1:3260 -o update -n node.session.auth.authmethod -v CHAP
*-n node.session.auth.password -v \*\*\*\*\*\*\*\*
+ iscsiadm -m node -l -p $p1:3260 -T $array:chap 1&>/tmp/opinitctl.*/output
*successful.*" -v login $array:chap $p1 --chap-user user1 --chap-secret-file <(echo secretsecret1)
opinitctl discover $p1 >/dev/null
ln -sf dash /bin/sh
gives 1 '' "*(24 - *authorization failure)*199*" login $array:mutual $p1
gives 0 "*$array:empty*" '' login $array:empty 10.0.0.2
is "no file stays" "$(compgen -G "/tmp/opi*")" ''

# --- portals by name, all portals of a target, several sessions, disks that are in use, a dead daemon
opinitctl logout --all >/dev/null
cp /etc/hosts /tmp/hosts && echo "10.0.0.1 array" >>/tmp/hosts && ln -sf /tmp/hosts /etc/hosts
gives 0 "*$array:disks*" '' discover array
gives 0 "*10.0.0.1:3260*
*10.0.0.2:3260*" '' login $array:disks
gives 3 '' '*no IPv4 portal of iqn.none is recorded*' login iqn.none
gives 3 '' '*199*' login iqn.none $p1
read -r one other <<<"$(opinitctl sessions -n -o session | paste -sd' ')"
mkdir /tmp/mnt && mount -t tmpfs "/dev/$(opinitctl disks $one -n -o device | head -1)" /tmp/mnt
gives 1 "logged out of session $other" "*session $one is in use: sd? is mounted at /tmp/mnt (--force*1 of 2*" logout $one $other
gives 1 '' '*sd? is mounted at /tmp/mnt*' logout $array:disks
gives 0 "logged out of session $one" '' logout $one --force
killall iscsid
gives 4 '' "*cannot log in to $array:empty at 10.0.0.2: 183*" login $array:empty 10.0.0.2
gives 4 '' '*cannot discover*183*' discover $p1
[ $failed = 0 ]
