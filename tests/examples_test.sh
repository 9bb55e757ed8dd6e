#!/usr/bin/env bash
# The example programs do on a simulated host what they say.
#
#     examples_test.sh DIRECTORY LIBRARY
set -uo pipefail
[ -e /run/simhost/proc/self ] || exec "$(dirname "$0")/../simhost/enter" bash "$0" "$@"
examples=$1 library=$2 array=iqn.2024-01.example.array failed=0

# says STATUS PATTERN COMMAND...: the command ends with the status, and a line it prints matches.
says() {
    local said status
    said=$("${@:3}" 2>&1)
    status=$?
    [ $status = "$1" ] && grep -qE "$2" <<<"$said" && return
    printf 'FAIL %s: %s\n%s\n' "${*:3}" $status "$said"
    failed=1
}

says 1 "^login: 199: Login Failure" "$examples/log_in_with_chap" 10.0.0.1 3260 $array:chap user1 <<<wrongwrong12
says 0 "^logged in to $array:chap$" "$examples/log_in_with_chap" 10.0.0.1 3260 $array:chap user1 <<<secretsecret1
says 1 "^longer than 63" "$examples/log_in_with_chap" 10.0.0.1 3260 $array:chap "$(printf %064d 0)" <<<x
says 0 "^target $array:chap, logged in$" "$examples/list_everything"
says 0 "^  portal 10.0.0.1:3260, group 1$" "$examples/list_everything"
says 0 "^session [0-9]+ to $array:chap$" "$examples/list_everything"
says 0 "^  lun 0: sd[a-z], [0-9]{9,} bytes, [A-Z]+ [A-Za-z]+$" "$examples/list_everything"
says 0 "^timeo.replacement_timeout = 60$" "$examples/change_settings"
says 0 "^the stack is installed$" "$examples/load_with_dlopen" "$library"
rm /etc/iscsi/iscsid.conf
says 0 "^the stack is not installed$" "$examples/load_with_dlopen" "$library"
says 1 "^182: iSCSI Stack is not installed" "$examples/change_settings"
exit $failed
