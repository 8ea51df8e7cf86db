# bash completion for velloran-cli and velloran

_velloran_cli_tasks() {
    # Task names come from the program itself, so they follow the installed version.
    velloran-cli tasks 2>/dev/null | cut -f1
    velloran-cli tasks 2>/dev/null | cut -f1 | sed 's/\..*//' | sort -u | sed 's/$/:all/'
}

_velloran_cli() {
    local cur prev words cword
    _init_completion || return

    if [[ $cword -eq 1 ]]; then
        COMPREPLY=($(compgen -W 'tasks clean settings junk erase cookies help --help -h --version -delstart' -- "$cur"))
        return
    fi
    case ${words[1]} in
    clean)
        case $prev in
        --prefix)
            _filedir -d
            return
            ;;
        esac
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '--preview --prefix --yes --no --json' -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$(_velloran_cli_tasks)" -- "$cur"))
            __ltrim_colon_completions "$cur"
        fi
        ;;
    settings)
        COMPREPLY=($(compgen -W '--json recycle-bin= secure-delete= delete-method=zapper delete-method=gutmann delete-method=zero no-notify= exit-when-done= shut-down=' -- "$cur"))
        compopt -o nospace
        ;;
    junk)
        if [[ $cword -eq 2 ]]; then
            COMPREPLY=($(compgen -W 'scan delete' -- "$cur"))
            return
        fi
        case $prev in
        --drive)
            _filedir -d
            return
            ;;
        --filter)
            return
            ;;
        esac
        COMPREPLY=($(compgen -W '--drive --filter' -- "$cur"))
        ;;
    cookies)
        if [[ $cword -eq 2 ]]; then
            COMPREPLY=($(compgen -W 'list delete keep unkeep --prefix' -- "$cur"))
            return
        fi
        case $prev in
        --prefix)
            _filedir -d
            return
            ;;
        esac
        case ${words[2]} in
        delete)
            if [[ $cur == -* ]]; then
                COMPREPLY=($(compgen -W '--preview --prefix --yes --no' -- "$cur"))
            else
                # The rows of the delete list, as the program lists them now.
                local IFS=$'\n'
                COMPREPLY=($(compgen -W "all
$(velloran-cli cookies 2>/dev/null | awk -F'\t' '$1 == "delete" { print $2 }')" -- "$cur"))
            fi
            ;;
        list)
            COMPREPLY=($(compgen -W '--prefix' -- "$cur"))
            ;;
        esac
        ;;
    esac
} && complete -F _velloran_cli velloran-cli

_velloran() {
    local cur prev words cword
    _init_completion || return
    [[ $cword -eq 1 ]] && COMPREPLY=($(compgen -W '-delstart --version' -- "$cur"))
} && complete -F _velloran velloran
