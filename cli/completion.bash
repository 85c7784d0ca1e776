# Completion of migr's subcommands, options and paths.
_migr()
{
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
    local commands="upgrade version rollback ml lint"
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "$commands --help" -- "$word"))
        return
    fi
    if [ "${word:0:1}" = - ]; then
        case $command in
            upgrade) COMPREPLY=($(compgen -W "--image --dry-run --json --timeout --help" -- "$word")) ;;
            rollback) COMPREPLY=($(compgen -W "--list --help" -- "$word")) ;;
            *) COMPREPLY=($(compgen -W "--help" -- "$word")) ;;
        esac
        return
    fi
    compopt -o filenames
    COMPREPLY=($(compgen -f -- "$word"))
}
complete -F _migr migr
