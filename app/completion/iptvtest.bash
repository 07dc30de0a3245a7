# Bash completion of iptvtest. Source this file, or put it as "iptvtest" into
# ~/.local/share/bash-completion/completions/.
# shellcheck shell=bash

# A word of the command line without its quotes, backslashes and tilde.
_iptvtest_unquote() {
    local word=$1
    [[ $word == \~/* ]] && word=$HOME/${word#\~/}
    word=${word//\\/}
    word=${word//\"/}
    printf '%s' "${word//\'/}"
}

# Files and folders that begin with $1; of the files only those that match one of the further patterns.
_iptvtest_files() {
    local begin path pattern
    begin=$(_iptvtest_unquote "$1")
    shift
    compopt -o filenames 2>/dev/null
    while IFS= read -r path; do
        if [[ -d $path || $# -eq 0 ]]; then
            COMPREPLY+=("$path")
            continue
        fi
        for pattern in "$@"; do
            # shellcheck disable=SC2053 # a pattern it is
            [[ $path == $pattern ]] && COMPREPLY+=("$path") && break
        done
    done < <(compgen -f -- "$begin")
}

# The names of views in database $2 that begin with $1, without regard to case.
_iptvtest_views() {
    local begin name
    begin=$(_iptvtest_unquote "$1")
    # They hold blanks; this has readline quote them.
    compopt -o filenames 2>/dev/null
    while IFS= read -r name; do
        [[ ${name,,} == "${begin,,}"* ]] && COMPREPLY+=("$name")
    done < <("$(_iptvtest_unquote "${COMP_WORDS[0]}")" results "$(_iptvtest_unquote "$2")" --list 2>/dev/null)
}

# Classes of test files that begin with $1, without regard to case: of the lists of `explain` the first words, without
# headers and the last line.
_iptvtest_classes() {
    local name
    while IFS= read -r name; do
        [[ ${name,,} == "${1,,}"* ]] && COMPREPLY+=("$name")
    done < <("$(_iptvtest_unquote "${COMP_WORDS[0]}")" explain 2>/dev/null |
        awk '/^(Objects|Commands|-|iptvtest|$)/ {next} {print $1}')
}

_iptvtest() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} options='' words=() i
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W 'run validate results report agent agents explain schema version help --help --version' -- "$current")
        return
    fi

    case $command:$previous in
        run:--clock) options='real virtual' ;;
        run:--log-level) options='debug info warn error off' ;;
        *:--server | *:--user | *:--nkey | run:--lease | agent:--name | agent:--spool) return ;;
        run:--seed | results:--data-set | report:--data-set | results:--where | results:--limit | results:--columns | *:--set) return ;;
        run:--db) _iptvtest_files "$current" '*.db'; return ;;
        run:--junit) _iptvtest_files "$current" '*.xml'; return ;;
        run:--report | report:--output | report:-o) _iptvtest_files "$current" '*.html'; return ;;
        *:--password-file | *:--token-file | *:--creds | *:--nkey-file | *:--ca | *:--cert | *:--key) _iptvtest_files "$current"; return ;;
        agent:--interface) mapfile -t COMPREPLY < <(compgen -W "$(ls /sys/class/net)" -- "$current"); return ;;
        run:--record | run:--replay) _iptvtest_files "$current"; return ;;
    esac
    local server='--server --user --password-file --token-file --creds --nkey --nkey-file --ca --cert --key'
    if [[ -z $options && $current == -* ]]; then
        case $command in
            run) options='--quiet --json --junit --report --metrics --db --seed --clock --log-level --record --replay --replay-incomplete --set --help'" --lease $server" ;;
            agent) options="--name --interface --simulated --spool --help $server" ;;
            agents) options="--json --help $server" ;;
            validate) options='--json --set --help' ;;
            results) options='--csv --json --columns --where --limit --data-set --list --test-file --help' ;;
            report) options='--output --data-set --help' ;;
            explain | schema | version) options='--help' ;;
        esac
    fi
    if [[ -n $options ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi

    # What has been given without an option so far: the file, and the view.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --server | --user | --password-file | --token-file | --creds | --nkey | --nkey-file | --ca | --cert | --key | --lease | --name | --interface | --spool) ((++i)) ;;
            --junit | --report | --output | -o | --metrics | --db | --seed | --clock | --log-level | --record | --replay | --data-set | --columns | --where | --limit | --set) ((++i)) ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case $command:${#words[@]} in
        run:0 | validate:0) _iptvtest_files "$current" '*.yaml' '*.yml' ;;
        results:0 | report:*) _iptvtest_files "$current" '*.db' ;;
        explain:0) _iptvtest_classes "$current" ;;
        help:0) mapfile -t COMPREPLY < <(compgen -W 'run validate results report agent agents explain schema version' -- "$current") ;;
        results:1) _iptvtest_views "$current" "${words[0]}" ;;
    esac
}

complete -F _iptvtest iptvtest
