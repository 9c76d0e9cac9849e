# Completion of oidcauth for bash.

# The words that can follow: without an argument the subcommands; with "-" or a subcommand its options, each
# with how to complete its value, if it takes one. "-" alone stands for a further argument.
_oidcauth_tree() {
    case $1 in
@TREE@
    esac
}

# Adds the lines of standard input that continue the word to the reply. They may have characters that are
# special in the shell.
_oidcauth_offer() {
    local word=$1 line
    local plain=${word//\\/}
    plain=${plain#[\"\']}
    while IFS= read -r line; do
        if [[ $line == "$plain"* ]]; then
            if [[ $word != [\"\']* ]]; then
                printf -v line %q "$line"
                line=${line//:/\\:}
            fi
            COMPREPLY+=("$line")
        fi
    done
}

# Completes the value of an option, or a further argument: KIND [WORD ...].
_oidcauth_value() {
    local kind=$1
    shift
    case $kind in
        words) _oidcauth_offer "$cur" < <(printf '%s\n' "$@") ;;
        profiles) _oidcauth_offer "$cur" < <(command oidcauth profiles --names 2>/dev/null) ;;
        variables) _oidcauth_offer "$cur" < <(compgen -e) ;;
        files) compopt -o bashdefault -o default ;;
    esac
}

# Completes a program and its arguments, which begin at this word.
_oidcauth_program() {
    if declare -F _comp_command_offset >/dev/null; then
        _comp_command_offset "$1"
    elif declare -F _command_offset >/dev/null; then
        _command_offset "$1"
    elif ((COMP_CWORD == $1)) && [[ ${COMP_WORDS[COMP_CWORD]} != */* ]]; then
        mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[COMP_CWORD]}")
    else
        compopt -o bashdefault -o default
    fi
}

_oidcauth() {
    local cur=${COMP_WORDS[COMP_CWORD]} option='' attached='' command=- i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ $command == - && ${COMP_WORDS[i]} != -* ]]; then
            command=${COMP_WORDS[i]}
        elif [[ ${COMP_WORDS[i]} == -- ]]; then
            if [[ $(_oidcauth_tree "$command") == *$'\n--' ]]; then
                _oidcauth_program $((i + 1))
            fi
            return
        fi
    done
    # An equals sign is a separate word, unless COMP_WORDBREAKS lacks it.
    if [[ $cur == = ]]; then
        option=${COMP_WORDS[COMP_CWORD - 1]} cur=''
    elif [[ ${COMP_WORDS[COMP_CWORD - 1]} == = ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    elif [[ $cur == --*=* ]]; then
        option=${cur%%=*} attached=${cur%%=*}= cur=${cur#*=}
    else
        option=${COMP_WORDS[COMP_CWORD - 1]}
    fi
    local line argument='' names=()
    while IFS= read -r line; do
        # shellcheck disable=SC2086  # the line's words
        set -- $line
        if [[ $1 == "$option" && $1 != - && -n $2 ]]; then
            _oidcauth_value "${@:2}"
            COMPREPLY=("${COMPREPLY[@]/#/$attached}")
            return
        elif [[ $1 == - && $cur != -* ]]; then
            argument=$2
            _oidcauth_value "${@:2}"
        elif [[ $1 == -?* ]]; then
            names+=("$1")
        fi
    done < <(_oidcauth_tree "$command")
    if [[ -n $attached || ${COMP_WORDS[COMP_CWORD]} == = || ${COMP_WORDS[COMP_CWORD - 1]} == = ]]; then
        return
    elif [[ $command == - && $cur != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_oidcauth_tree '')" -- "$cur")
    elif [[ $cur == -* || -z $cur && -z $argument ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${names[*]}" -- "$cur")
    fi
}

complete -F _oidcauth oidcauth
