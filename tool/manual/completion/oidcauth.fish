# Completion of oidcauth for fish.

# Whether the word to complete belongs to this subcommand, or with "-" to the command itself.
function __oidcauth_in
    set -l tokens (commandline -opc)
    set -e tokens[1]
    if contains -- -- $tokens
        return 1
    end
    set -l command -
    for token in $tokens
        if not string match -q -- '-*' $token
            set command $token
            break
        end
    end
    test $command = $argv[1]
end

function __oidcauth_profiles
    command oidcauth profiles --names 2>/dev/null
end

# The words after the first "--", if there is one.
function __oidcauth_program
    set -l tokens (commandline -opc)
    set -l mark (contains -i -- -- $tokens)
    and contains -- exec $tokens[1..$mark]
    and string escape -- $tokens[(math $mark + 1)..-1]
end

function __oidcauth_has_program
    set -l tokens (commandline -opc)
    set -l mark (contains -i -- -- $tokens)
    and contains -- exec $tokens[1..$mark]
end

function __oidcauth_complete_program
    set -l words (__oidcauth_program) (commandline -ct)
    complete -C "$words"
end

complete -c oidcauth -f
complete -c oidcauth -n __oidcauth_has_program -x -a '(__oidcauth_complete_program)'
@TREE@
