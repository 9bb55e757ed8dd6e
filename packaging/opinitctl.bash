# bash completion for opinitctl: commands and options are those that its help lists.

_opinitctl() {
    local current=${COMP_WORDS[COMP_CWORD]} word command='' help
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* || $word == help ]] || { command=$word; break; }
    done
    if [[ $current == -* ]]; then
        help=$(opinitctl ${command:+"$command"} --help 2>/dev/null | grep -oE '^  (-[a-zA-Z], *)?--[a-z-]+' |
            grep -oE -- '--[a-z-]+')
    elif [[ -z $command ]]; then
        help=$(opinitctl --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p')
    else
        compopt -o default
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$help" -- "$current")
} && complete -F _opinitctl opinitctl
