#!/usr/bin/env bash
# What bash offers for a started command line. usage: completion.sh COMPLETION QUILLON
set -euo pipefail
export LC_ALL=C
source "$1"
quillon=$2
cd "$(mktemp -d)"
trap 'rm -r "$PWD"' EXIT
mkdir lib res 'two words'
touch gen.jar lib/other.jar shapes.idl
failures=0

# offers EXPECTED WORD...: the last word is the one that is completed.
offers() {
    local expected=$1
    COMP_WORDS=("${@:2}")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _quillon
    local offered
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd '|')
    if [ "$offered" != "$expected" ]; then
        echo "${COMP_WORDS[*]}: expected [$expected], offered [$offered]"
        failures=$((failures + 1))
    fi
}

options=$("$quillon" -n_help | grep -ao '^ -n_[a-z]*' | tr -d ' ' | sort | paste -sd '|')
offers "$options" quillon -n_
offers '-n_verbosity|-n_version' quillon -d out -n_ver
offers '0|1|2|3' quillon -n_verbosity ''
offers 'gen.jar|lib|res|two words' quillon -n_classpath ''
offers 'gen.jar|lib|res|two words' quillon -n_classpath gen.jar :
offers 'lib/other.jar' quillon -n_classpath gen.jar : lib/o
offers 'lib|res|two words' quillon -n_wolkresource ''
offers 'res' quillon -N_WOLKH r
offers "shapes.idl" quillon -n_v s # means -n_version, the first that fits, which has no value
offers '' quillon -n_serverport ''
offers 'shapes.idl' quillon -n_classpath gen.jar s
offers 'shapes.idl' quillon -n_resolvelo s
exit $failures
