# Checks and rows; the scripts of checks source it. Names of targets and of the host are written :NAME, for short.
. /guest/targets.sh
shopt -s extglob
passed=0
failed=0

# check NAME GOT WANT, WANT being a pattern
check() {
    # shellcheck disable=SC2053 # a pattern is wanted
    if [[ $2 == $3 ]]; then
        passed=$((passed + 1))
        echo "ok     $1 $(cut -d" " -f1 /proc/uptime)"
    else
        failed=$((failed + 1))
        printf 'FAILED %s\n  got:    %s\n  wanted: %s\n' "$1" "$2" "$3"
        [ ! -s /run/iscsiadm.log ] || sed 's/^/    /' /run/iscsiadm.log
    fi
}

# The agent that is asked; a new one sees the host with fresh eyes.
new_agent() {
    if [ -n "${AGENT_PID-}" ]; then
        eval "exec ${AGENT[1]}>&-"
        wait "$AGENT_PID"
    fi
    coproc AGENT { KVLINHW_LOG=/run/library.log exec realhost_agent libkvlinopinitr.so.2 3<&0 4>&1 </dev/null >>/run/agent.log 2>&1; }
}

# ask OPERATION...: what it answers, in `answer` (and the records alone, in `records`); how many seconds of the guest's it took, in `seconds`.
ask() {
    [[ $1 != QueryDisks ]] || wait_until disks_settled
    local line started words="$*"
    read -r started _ </proc/uptime
    : >/run/iscsiadm.log
    printf '%s\n' "${words// :/ $array:}" >&"${AGENT[1]}"
    records=
    while read -r line <&"${AGENT[0]}" && [[ $line != '= '* ]]; do records+="~${line//iqn.2024-01.example.@(array|host)/}"; done
    answer="${line#= }${records//\~/ }"
    read -r seconds _ </proc/uptime
    seconds=$((${seconds%.*} - ${started%.*}))
}

# answers WANT OPERATION...
answers() {
    ask "${@:2}"
    check "${*:2}" "$answer" "$1"
}

# Disks are looked at in the background: whether each is known by its name.
disks_settled() {
    local device
    for device in /sys/bus/scsi/devices/*:*; do
        [ ! -e "$device/type" ] || [ "$(<"$device/type")" != 0 ] || compgen -G "$device/block/*/size" >/dev/null || return 1
    done
}

# wait_until COMMAND: a minute at most, which fails
wait_until() {
    local tenths=600
    until "$@" >/dev/null 2>&1; do
        [ $((tenths -= 1)) -gt 0 ] || { check "waited for: $*" no yes; return; }
        sleep 0.1
    done
}

kill_daemon() {
    local daemons
    daemons=$(pidof iscsid)
    # shellcheck disable=SC2086 # one word per process
    kill $daemons 2>/dev/null
    for daemon in $daemons; do wait_until test ! -e "/proc/$daemon"; done
}

# section TITLE: begins a table of the document.
section() {
    printf '\n## %s\n\n| Situation | Asked | Answer | open-iscsi printed | What to make of it |\n|---|---|---|---|---|\n' \
        "$1" >/dev/ttyS1
}

# row SITUATION ADVICE OPERATION...: asks, and writes what came of it into the document.
row() {
    local said
    ask "${@:3}"
    said=$(sed -n "s/$array//g; /^iscsiadm: /p; s/^\[\(exit [^0].*\)\]/\1/p" /run/iscsiadm.log | uniq | paste -sd'~')
    [ $seconds -lt 80 ] || records+="~after $(((seconds + 30) / 60)) minutes"
    printf '| %s | `%s` | %s | %s | %s |\n' "$1" "${*:3}" "${answer%% *}${records//\~/<br>}" "${said//\~/<br>}" "$2" >/dev/ttyS1
}

finish() { echo "$passed passed, $failed failed"; }
