# Completion of kel for bash: commands, then options of the command and files. Asks the program itself, so it has what that has.
_kel() {
    # shellcheck disable=SC2034  # what _init_completion sets
    local cur prev words cword
    _init_completion || return
    if ((cword == 1)); then
        local commands
        commands=$("$1" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z]\{1,\}\) .*/\1/p')
        mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$cur")
    elif [[ $cur == -* ]]; then
        local options
        options=$("$1" "${words[1]}" --help 2>/dev/null | grep -oE -- '(^|[ ,])--?[a-z][a-z0-9-]*' | tr -d ' ,' | sort -u)
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    else
        _filedir
    fi
}
complete -F _kel kel
