# bash completion for kelvora-cli
_kelvora_cli() {
    local cur prev words cword
    _init_completion -s || return

    case $prev in
        --keep) COMPREPLY=($(compgen -W 'none oldest newest all custom' -- "$cur")); return ;;
        --guard) COMPREPLY=($(compgen -W 'oldest newest none' -- "$cur")); return ;;
        --clean) COMPREPLY=($(compgen -W 'trash delete' -- "$cur")); return ;;
        --undo) COMPREPLY=($(compgen -W 'last' -- "$cur")); return ;;
        --profile) _filedir kvr; return ;;
        --rules) _filedir; return ;;
        --reference) _filedir -d; return ;;
        --min-size | --max-size | --ext | --threads) return ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W '--min-size --max-size --ext --include-packages --profile
            --threads --no-cache --keep --rules --guard --clean --yes --dry-run --json --quiet --help
            --version --history --undo --reference' -- "$cur"))
        return
    fi
    _filedir -d
} && complete -F _kelvora_cli kelvora-cli
