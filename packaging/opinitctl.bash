# bash completion for opinitctl: commands, options and columns as its help lists them, the rest as the host has it.

# The lines of a section of a command's help.
_opinitctl_help() { # SECTION COMMAND...
    opinitctl "${@:2}" --help 2>/dev/null | sed -n "/^$1:/,/^\$/s/^  \([^ ].*\)/\1/p"
}

_opinitctl() {
    local line=${COMP_LINE:0:COMP_POINT} current='' valued='' options word words command=() arguments=()
    COMPREPLY=()
    read -ra words <<<"$line"
    [[ $line == *' ' ]] || { current=${words[-1]} && unset 'words[-1]'; }
    options=$(_opinitctl_help Options)
    for word in "${words[@]:1}"; do
        if [[ -n $valued ]]; then
            valued=''
        elif [[ $word == -* ]]; then
            [[ $'\n'$options =~ [,$'\n']$word(,--[a-z]+)?' '[A-Z] ]] && valued=$word
        elif [[ -z ${command[*]} || ${command[*]} == config ]]; then
            command+=("$word")
            options=$(_opinitctl_help Options "${command[@]}")
        else
            arguments+=("$word")
        fi
    done

    # Not compgen -W, which would run what stands in the name of a target.
    while read -r word; do
        word=$(printf %q "$word")
        word=${word//\\,/,}
        [[ $word == "$current"* ]] && COMPREPLY+=("$word")
    done < <(
        case ${valued:-$current}:${command[*]}:${#arguments[@]} in
            -o:* | --output:* | --sort:*)
                sed -n 's/.*Columns to show[^:]*: //p' <<<"$options" | tr 'A-Z ' 'a-z\n' | tr -d , |
                    while read -r word; do echo "${current%"${current##*,}"}$word"; done
                ;;
            -*) [[ -n $valued ]] || grep -oE '^(-[a-zA-Z], *)?--[a-z-]+' <<<"$options" | grep -oE -- '--.*' ;;
            *::0 | *:help:*) _opinitctl_help Subcommands | grep -oE '^[a-z]+' ;;
            *:config:0) printf '%s\n' get set ;;
            *:'config get':0) opinitctl config get '' 2>&1 | sed 's/.* settings are //; s/, /\n/g' ;;
            *:'config set':*) opinitctl config get '' 2>&1 | sed 's/.* settings are //; s/, /=\n/g; s/$/=/' ;;
            *:login:0 | *:portals:0 | *:tree:*) opinitctl targets --noheadings -o target 2>/dev/null ;;
            *:login:1) opinitctl portals "${arguments[0]}" --noheadings -o portal 2>/dev/null ;;
            *:logout:* | *:sessions:* | *:connections:* | *:disks:*)
                opinitctl sessions --noheadings -o session 2>/dev/null
                ;;
        esac
    )
    [[ ${COMPREPLY[*]} != *= ]] || compopt -o nospace
    [[ -n ${COMPREPLY[*]} ]] || compopt -o default
    # Readline replaces what stands behind the last of these only.
    [[ $current != *[:=]* ]] || COMPREPLY=("${COMPREPLY[@]#"${current%"${current##*[:=]}"}"}")
} && complete -F _opinitctl opinitctl
