# Completion of migr's subcommands, options, paths and snapshot names. Paths are left to the shell itself, which knows
# how to quote them; names from a disk are never handed to anything that would expand them.

# The word as the shell would read it, without running or expanding anything in it but a tilde.
_migr_unquoted()
{
    local left=$1 read= quote= next
    case $left in "~/"*) read=$HOME left=${left#"~"} ;; esac
    while [ -n "$left" ]; do
        next=${left:0:1}
        left=${left:1}
        case $quote$next in
            "''" | '""') quote= ;;
            "'"?) read+=$next ;;
            '"\')
                case ${left:0:1} in [\$\`\"\\]) next=${left:0:1} left=${left:1} ;; esac
                read+=$next
                ;;
            '"'?) read+=$next ;;
            "'" | '"') quote=$next ;;
            "\\") read+=${left:0:1} left=${left:1} ;;
            *) read+=$next ;;
        esac
    done
    printf '%s' "$read"
}

# The snapshots of that root folder which begin with that word; their names need no quotes.
_migr_snapshots()
{
    local root=$1 word=$2 path
    COMPREPLY=()
    for path in "${root%/}"/var/lib/migr/snapshots/"$word"*/; do
        path=${path%/}
        path=${path##*/}
        case $path in *[!0-9A-Za-z.-]*) ;; *) COMPREPLY+=("$path") ;; esac
    done
}

_migr()
{
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="convert explain account blame report plan check upgrade rollback snapshots version ml lint anonymize fleet"
    local of_fleet="upgrade summary compare list one identity"
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "$commands --help --version" -- "$word"))
        return
    fi
    if [ "$command" = fleet ]; then
        if [ "$COMP_CWORD" -eq 2 ]; then
            COMPREPLY=($(compgen -W "$of_fleet --help" -- "$word"))
            return
        fi
        command="fleet ${COMP_WORDS[2]}"
    fi
    if [ "${word:0:1}" = - ]; then
        case $command in
            "fleet upgrade") COMPREPLY=($(compgen -W "--resume --jobs --hosts --image --partial --accept-damage --html --timeout --halt --all --json --help" -- "$word")) ;;
            "fleet summary") COMPREPLY=($(compgen -W "--all --json --help" -- "$word")) ;;
            "fleet compare") COMPREPLY=($(compgen -W "--image --migr --expect --accept --output --jobs --accept-damage --json --help" -- "$word")) ;;
            "fleet list") COMPREPLY=($(compgen -W "--image --partial --accept-damage --html --help" -- "$word")) ;;
            "fleet one") COMPREPLY=($(compgen -W "--image --partial --accept-damage --html --sent --help" -- "$word")) ;;
            "fleet identity") COMPREPLY=($(compgen -W "--image --help" -- "$word")) ;;
            convert) COMPREPLY=($(compgen -W "--output --force --as --domain --image --accept-damage --verbose --json --help" -- "$word")) ;;
            explain) COMPREPLY=($(compgen -W "--dropped --rewritten --added --kind --path --release --by --image --as --domain --show-secrets --json --help" -- "$word")) ;;
            blame) COMPREPLY=($(compgen -W "--image --as --domain --show-secrets --json --help" -- "$word")) ;;
            account) COMPREPLY=($(compgen -W "--dropped --rewritten --added --last --all --kind --path --release --by --image --as --domain --show-secrets --json --help" -- "$word")) ;;
            report) COMPREPLY=($(compgen -W "--output --image --as --domain --show-secrets --json --help" -- "$word")) ;;
            check) COMPREPLY=($(compgen -W "--image --json --help" -- "$word")) ;;
            plan) COMPREPLY=($(compgen -W "--image --as --domain --json --help" -- "$word")) ;;
            upgrade) COMPREPLY=($(compgen -W "--image --dry-run --partial --accept-damage --strict --work --report --verbose --json --timeout --help" -- "$word")) ;;
            rollback) COMPREPLY=($(compgen -W "--yes --json --help" -- "$word")) ;;
            snapshots) COMPREPLY=($(compgen -W "--prune --json --help" -- "$word")) ;;
            version | ml) COMPREPLY=($(compgen -W "--json --help" -- "$word")) ;;
            anonymize) COMPREPLY=($(compgen -W "--output --key --image --as --domain --json --help" -- "$word")) ;;
            lint) COMPREPLY=($(compgen -W "--release --strict --json --help" -- "$word")) ;;
            *) COMPREPLY=($(compgen -W "--help" -- "$word")) ;;
        esac
        return
    fi
    if [ "$before" = --as ]; then
        COMPREPLY=($(compgen -W "global domain" -- "$word"))
    elif [ "$command" = rollback ] && [ "$COMP_CWORD" -ge 3 ] && [ "${before:0:1}" != - ]; then
        _migr_snapshots "$(_migr_unquoted "$before")" "$word"
    fi
}
complete -o default -F _migr migr
