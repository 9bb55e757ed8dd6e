# Checks and rows; the scripts of checks source it and name the kind of host that they want. Names of targets and of
# the host are written :NAME, for short. Where an OPERATION is taken, others may follow behind commas that stand alone.
. /guest/targets.sh
shopt -s extglob
host_name=iqn.2024-01.example.host
passed=0 failed=0
trap 'echo "$passed passed, $failed failed"' EXIT

# check NAME GOT WANT, WANT being a pattern
check() {
    # shellcheck disable=SC2053 # a pattern is wanted
    if [[ $2 == $3 ]]; then passed=$((passed + 1)) && return; fi
    failed=$((failed + 1))
    printf 'FAILED %s\n  got:    %s\n  wanted: %s\n' "$1" "$2" "$3"
    [ ! -s /run/iscsiadm.log ] || sed 's/^/    /' /run/iscsiadm.log
}

# become KIND: another host, and another agent, since the old one has seen the old host.
become() {
    /guest/host "$1"
    [[ $1 != *-today ]] || { systemctl daemon-reload; systemctl start iscsid.socket; }
    [ -z "${AGENT_PID-}" ] || { eval "exec ${AGENT[1]}>&-"; wait "$AGENT_PID"; }
    coproc AGENT { KVLINHW_LOG=/run/library.log exec realhost_agent libkvlinopinitr.so.2 3<&0 4>&1 </dev/null >>/run/agent.log 2>&1; }
}

# What opinitctl answers: of what it says, the warnings, and what the doctor finds wrong.
ask_tool() {
    local said line
    said=$("${@/#:/$array:}" 2>&1)
    answer=$?
    said=${said//process +([0-9])/process N}
    while read -r line; do
        [[ $line != @(problem |note |opinitctl: )* || $line == *"problems found"* ]] || answer+="~${line//$(uname -r)/RELEASE}"
    done <<<"$said"
}

ask_agent() {
    local line shown='' words="$*"
    printf '%s\n' "${words// :/ $array:}" >&"${AGENT[1]}"
    while read -r line <&"${AGENT[0]}" && [[ $line != '= '* ]]; do shown+="~$line"; done
    answer=${line#= }$shown
}

# ask OPERATION...: what the agent or opinitctl answers, in `answer`: the status and, behind a ~ each, the records.
ask() {
    local began ended
    [[ $* != *Disks* ]] || wait_until disks_settled
    : >/run/iscsiadm.log
    read -r began _ </proc/uptime
    if [ "$1" = opinitctl ]; then ask_tool "$@"; else ask_agent "$@"; fi
    read -r ended _ </proc/uptime
    answer=${answer//@($array|$host_name)/}
    minutes=$(((${ended%.*} - ${began%.*} + 30) / 60))
}

# for_each FUNCTION OPERATION...
for_each() {
    local word operation=()
    for word in "${@:2}" ,; do
        [ "$word" = , ] || { operation+=("$word"); continue; }
        ask "${operation[@]}"
        $1 "${operation[@]}"
        operation=()
    done
}

# answers WANT[|WANT...] OPERATION...: the last WANT goes for all that follow.
answers() { local wants=$1; for_each answered "${@:2}"; }
answered() { check "$*" "${answer//\~/ }" "${wants%%|*}"; wants=${wants#*|}; }

# section TITLE: begins a table of the document.
section() {
    printf '\n## %s\n\n| Situation | Asked | Answer | open-iscsi printed | What to make of it |\n|---|---|---|---|---|\n' \
        "$1" >/dev/ttyS1
}

# row SITUATION ADVICE[|ADVICE...] OPERATION...: asks, and writes what came of it into the document. An operation without
# advice of its own has none.
row() { local situation=$1 advices=$2\|; for_each write_row "${@:3}"; }
write_row() {
    local said
    said=$(sed -n "s/$array//g; /^iscsiadm: /p; s/^\[\(exit [^0].*\)\]/\1/p" /run/iscsiadm.log | uniq | paste -sd'~')
    [ $minutes -lt 2 ] || answer+="~after $minutes minutes"
    printf '| %s | `%s` | %s | %s | %s |\n' "$situation" "$*" "${answer//\~/<br>}" "${said//\~/<br>}" "${advices%%|*}" >/dev/ttyS1
    situation="the same" advices=${advices#*|}
}

# wait_until COMMAND: a minute at most, which fails
wait_until() {
    local tries=120
    until "$@" >/dev/null 2>&1; do
        [ $((tries -= 1)) -gt 0 ] || { check "waited for: $*" no yes; return; }
        sleep 0.5
    done
}

# Disks are looked at in the background: whether each is known by its name.
disks_settled() {
    local device
    for device in /sys/bus/scsi/devices/*:*; do
        [ "$(<"$device/type")" != 0 ] || compgen -G "$device/block/*/size" || return 1
    done
}

kill_daemon() { killall -q iscsid; wait_until eval '! pidof iscsid'; }

the_session() { ls /sys/class/iscsi_session | tr -dc 0-9; }

become "$1"
