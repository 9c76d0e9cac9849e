#compdef oidcauth
# Completion of oidcauth for zsh.

_oidcauth_profiles() {
    local expl
    local -a names=("${(@f)$(command oidcauth profiles --names 2>/dev/null)}")
    _wanted profiles expl profile compadd -a - names
}

_oidcauth_variables() {
    _parameters -g '*export*'
}

# The options and arguments of a subcommand; "-" is the command itself.
_oidcauth_arguments() {
@TREE@
}

_oidcauth() {
    local -i place mark
    for ((place = 2; place < CURRENT; ++place)); do
        if [[ $words[place] == -- ]]; then
            return 1
        elif [[ $words[place] != -* ]]; then
            break
        fi
    done
    if ((place >= CURRENT)); then
        _oidcauth_arguments -
        return
    fi
    # From here on the subcommand is treated as the command.
    shift $((place - 1)) words
    ((CURRENT -= place - 1))
    mark=${words[(i)--]}
    if ((mark < CURRENT)); then
        [[ $words[1] == exec ]] || return 1
        shift $mark words
        ((CURRENT -= mark))
        _normal
        return
    fi
    local curcontext=${curcontext%:*:*}:oidcauth-$words[1]:
    _oidcauth_arguments $words[1]
}

_oidcauth "$@"
