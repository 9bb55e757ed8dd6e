#!/bin/bash
# The role on eight simulated hosts side by side, of old and of today, one of them broken: what it says it would do,
# what it does, that it does nothing the second time, and what every host has then.
set -u
export LC_ALL=C.UTF-8 ANSIBLE_PIPELINING=1 ANSIBLE_FORKS=8 ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0
fleet=$(cd "$(dirname "$0")/.." && pwd) enter=$(cd "$(dirname "$0")/../.." && pwd)/simhost/enter
command -v ansible-playbook >/dev/null || { echo "ansible-core is not installed"; exit 77; }
work=$(mktemp -d /tmp/fleet-test.XXXXXX) || exit 1
trap 'rm -rf "$work"' EXIT
export ANSIBLE_CONNECTION_PLUGINS=$fleet/tests/connection_plugins ANSIBLE_HOME=$work/ansible ANSIBLE_LOCAL_TEMP=$work/ansible
failed=0 array=iqn.2024-01.example.array

same() { # NAME GOT WANT
    [ "$2" = "$3" ] && echo "ok      $1" && return
    echo "FAILED  $1"
    diff <(echo "$3") <(echo "$2")
    failed=1
}

cd "$fleet" || exit 1
cat >"$work/inventory.yml" <<INVENTORY
initiators:
  hosts:
$(for i in {1..8}; do echo "    host$i: {initiator_name: \"iqn.2024-01.example.host:host$i\"}"; done)
  vars:
    ansible_connection: simhost
    ansible_python_interpreter: /usr/bin/python3
    simhost_enter: "$enter"
    simhost_state: "$work/{{ inventory_hostname }}"
    initiator_install: false
    initiator_settings: {node.session.timeo.replacement_timeout: 60, node.session.iscsi.FastAbort: "No"}
    initiator_targets:
      - {name: "$array:disks", portal: 10.0.0.1, persistent: true}
      - {name: "$array:mutual", portal: "10.0.0.1:3260", chap_user: user1, chap_secret: secretsecret1, chap_user_in: user2, chap_secret_in: secretsecret2}
INVENTORY

# play OPTION...: the recap as "HOST changed=N failed=N"; the whole is in $work/said.
play() {
    ansible-playbook -i "$work/inventory.yml" "$fleet/initiators.yml" "$@" >"$work/said" 2>&1
    sed -n 's/^\(host[0-9]\) .*\(changed=[0-9]*\).*\(failed=[0-9]*\).*/\1 \2 \3/p' "$work/said"
}
recap() { for i in {1..7}; do echo "host$i changed=$1 failed=0"; done; echo "host8 changed=$2 failed=1"; }
# What a host has, read from its state directory: its name in each session, the session's target and portal, what
# starts by itself, and the settings.
state_of() (
    cd "$work/host$1" || exit
    for session in sys/class/iscsi_session/*; do
        [ ! -e "$session" ] || paste -d' ' "$session"/{initiatorname,targetname,device/connection*/iscsi_connection/*/address}
    done
    grep -hc "^node.startup = automatic" etc/iscsi/nodes/*:disks/10.0.0.1*/default 2>/dev/null
    grep -hE "^node.session.(timeo.replacement_timeout|iscsi.FastAbort)" etc/iscsi/iscsid.conf
)

kinds=(redhat suse redhat-today suse-today)
for i in {1..8}; do "$enter" --state "$work/host$i" --distro "${kinds[i % ${#kinds[@]}]}" --stopped true; done
# The broken one: nobody answers at its portal.
sed -i '/10.0.0.1:3260", "state"/s/"up"/"refusing"/' "$work/host8/run/simhost/network.json"

same "check mode tells what would change" "$(play --check --limit host1,host2)" $'host1 changed=3 failed=0\nhost2 changed=3 failed=0'
same "and changes nothing" "$(state_of 1; diff -r {"$fleet/../simhost","$work/host1"}/etc/iscsi 2>&1; cat "$work/host1/proc/modules")" \
    "$(grep -hE "^node.session.(timeo.replacement_timeout|iscsi.FastAbort)" "$fleet/../simhost/etc/iscsi/iscsid.conf")"
same "the first run; a broken host does not stop the others" "$(play)" "$(recap 3 2)"
same "no secret is shown" "$(grep -c secretsecret "$work/said")" 0
same "the failure has its reason" "$(grep -c "cannot discover targets at 10.0.0.1: 179" "$work/said")" 1
same "the second run changes nothing" "$(play)" "$(recap 0 0)"
settings=$'node.session.timeo.replacement_timeout = 60\nnode.session.iscsi.FastAbort = No'
for i in {1..7}; do
    name=iqn.2024-01.example.host:host$i
    same "state of host$i" "$(state_of "$i")" "$name $array:disks 10.0.0.1
$name $array:mutual 10.0.0.1
1
$settings"
done
same "state of the broken host" "$(state_of 8)" "$settings"
exit $failed
