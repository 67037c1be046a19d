# bash completion of quillon: its own options and their values. Every other word is the generator's.

_quillon() {
    # In the launcher's order: the first one that an abbreviation fits is meant.
    local options=(-n_help -n_version -n_verbosity -n_classpath -n_wolkresource -n_wolkhome
        -n_serverport -n_servertimeout -n_resolvelo -n_jprocess -n_connectiontimeout)

    # readline takes the colons of a class path for words of their own.
    local first=$COMP_CWORD word=${COMP_WORDS[COMP_CWORD]}
    while ((first > 1)) && [[ ${COMP_WORDS[first]} == : || ${COMP_WORDS[first - 1]} == : ]]; do
        ((first--))
    done
    [[ $word != : ]] || word=

    local option='' candidate typed=${COMP_WORDS[first - 1],,}
    if ((first > 1)) && [[ $typed == -* ]]; then
        for candidate in "${options[@]}"; do
            if [[ $candidate == "$typed"* ]]; then
                option=$candidate
                break
            fi
        done
    fi

    case $option in
        -n_classpath) mapfile -t COMPREPLY < <(compgen -f -X '!*.jar' -- "$word"; compgen -d -- "$word") ;;
        -n_wolkresource | -n_wolkhome) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        -n_verbosity) mapfile -t COMPREPLY < <(compgen -W '0 1 2 3' -- "$word") ;;
        -n_serverport | -n_servertimeout | -n_connectiontimeout) COMPREPLY=() ;;
        *)
            if [[ $word == -* ]]; then
                mapfile -t COMPREPLY < <(compgen -W "${options[*]}" -- "$word")
            else
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
            fi
            ;;
    esac
}

complete -o filenames -F _quillon quillon
