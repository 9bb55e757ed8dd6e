#!/bin/bash
# The role on eight simulated hosts side by side, of old and of today, one of them broken: what it says it would do,
# what it does, that it does nothing the second time, and what every host has then.
set -u
export LC_ALL=C.UTF-8 ANSIBLE_PIPELINING=1 ANSIBLE_FORKS=8 ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0
cd "$(dirname "$0")/.." || exit 1
fleet=$PWD enter=${PWD%/*}/simhost/enter failed=0 array=iqn.2024-01.example.array
command -v ansible-playbook >/dev/null || { echo "ansible-core is not installed"; exit 77; }
work=$(mktemp -d /tmp/fleet-test.XXXXXX) || exit 1
trap 'rm -rf "$work"' EXIT
export ANSIBLE_CONNECTION_PLUGINS=$fleet/tests/connection_plugins ANSIBLE_HOME=$work ANSIBLE_LOCAL_TEMP=$work/ansible

same() { # NAME GOT WANT
    diff <(echo "$3") <(echo "$2") >"$work/difference" && return
    printf 'FAILED %s\n%s\n' "$1" "$(<"$work/difference")"
    failed=1
}

cat >"$work/inventory.yml" <<INVENTORY
initiators:
  hosts: {$(for i in {1..8}; do echo "host$i: {initiator_name: \"iqn.2024-01.example.host:host$i\"},"; done)}
  vars:
    ansible_connection: simhost
    ansible_python_interpreter: /usr/bin/python3
    simhost_enter: "$enter"
    simhost_state: "$work/{{ inventory_hostname }}"
    initiator_install: false
    initiator_settings: {node.session.timeo.replacement_timeout: 60, node.session.iscsi.FastAbort: "No"}
    initiator_targets:
      - {name: "$array:disks", portal: 10.0.0.1, persistent: true}
      - {name: "$array:mutual", portal: "10.0.0.1:3260", chap_user: user1, chap_secret: secretsecret1,
         chap_user_in: user2, chap_secret_in: secretsecret2}
INVENTORY

# play OPTION...: the recap as "HOST changed=N failed=N"; the whole is in $work/said.
play() {
    ansible-playbook -i "$work/inventory.yml" initiators.yml "$@" >"$work/said" 2>&1
    sed -n 's/^\(host[0-9]\) .*\(changed=[0-9]*\).*\(failed=[0-9]*\).*/\1 \2 \3/p' "$work/said"
}
recap() { printf "host%s changed=$1 failed=0\n" $2; echo "host8 changed=$3 failed=1"; } # CHANGES HOSTS THOSE_OF_HOST8
# What a host has, read from its state directory: its name in each session, the session's target and portal, what
# starts by itself, and the settings.
state_of() (
    cd "$work/host$1/sys/class/iscsi_session" && for session in *; do
        paste -d' ' "$session"/{initiatorname,targetname,device/connection*/iscsi_connection/*/address} 2>/dev/null
    done
    grep -hc "^node.startup = automatic" "$work/host$1"/etc/iscsi/nodes/*:disks/10.0.0.1*/default 2>/dev/null
    grep -hE "^node.session.(timeo.replacement_timeout|iscsi.FastAbort)" "$work/host$1/etc/iscsi/iscsid.conf"
)

kinds=(redhat suse redhat-today suse-today)
for i in {1..8}; do "$enter" --state "$work/host$i" --distro "${kinds[i % 4]}" --stopped true & done
wait
# The broken one: nobody answers at its portal.
sed -i '/10.0.0.1:3260", "state"/s/"up"/"refusing"/' "$work/host8/run/simhost/network.json"

same "check mode tells what would change" "$(play --check --limit host1)" 'host1 changed=3 failed=0'
same "and changes nothing" "$(diff -r {../simhost,"$work/host1"}/etc/iscsi; cat "$work/host1/proc/modules")" ""
same "the first run; a broken host does not stop the others" "$(play)" "$(recap 3 "$(echo {1..7})" 2)"
same "no secret is shown" "$(grep -c secretsecret "$work/said")" 0
same "the failure has its reason" "$(grep -c "^fatal: .*cannot discover targets at 10.0.0.1: 179" "$work/said")" 1
# One of each kind is enough for that.
same "the second run changes nothing" "$(play --limit 'initiators[0:3],host8')" "$(recap 0 "$(echo {1..4})" 0)"
settings=$'node.session.timeo.replacement_timeout = 60\nnode.session.iscsi.FastAbort = No'
for i in {1..7}; do
    sessions=$(printf "iqn.2024-01.example.host:host$i $array:%s 10.0.0.1\n" disks mutual)
    same "state of host$i" "$(state_of $i)" "$sessions"$'\n1\n'"$settings"
done
same "state of the broken host" "$(state_of 8)" "$settings"
exit $failed
