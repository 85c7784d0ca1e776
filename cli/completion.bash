# Completion of migr's subcommands, options and paths.
_migr()
{
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
    local commands="convert explain plan check upgrade version rollback snapshots ml lint"
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "$commands --help" -- "$word"))
        return
    fi
    if [ "${word:0:1}" = - ]; then
        case $command in
            convert) COMPREPLY=($(compgen -W "--output --force --as --domain --image --accept-damage --verbose --json --help" -- "$word")) ;;
            explain) COMPREPLY=($(compgen -W "--image --as --domain --show-secrets --json --help" -- "$word")) ;;
            check) COMPREPLY=($(compgen -W "--image --json --help" -- "$word")) ;;
            plan) COMPREPLY=($(compgen -W "--image --json --help" -- "$word")) ;;
            upgrade) COMPREPLY=($(compgen -W "--image --dry-run --partial --accept-damage --strict --work --verbose --json --timeout --help" -- "$word")) ;;
            rollback) COMPREPLY=($(compgen -W "--yes --json --help" -- "$word")) ;;
            snapshots) COMPREPLY=($(compgen -W "--prune --json --help" -- "$word")) ;;
            version | ml) COMPREPLY=($(compgen -W "--json --help" -- "$word")) ;;
            lint) COMPREPLY=($(compgen -W "--release --strict --json --help" -- "$word")) ;;
            *) COMPREPLY=($(compgen -W "--help" -- "$word")) ;;
        esac
        return
    fi
    if [ "${COMP_WORDS[COMP_CWORD-1]}" = --as ]; then
        COMPREPLY=($(compgen -W "global domain" -- "$word"))
        return
    fi
    compopt -o filenames
    COMPREPLY=($(compgen -f -- "$word"))
}
complete -F _migr migr
