#!/bin/sh
# One generation of quillon_generate, run by the build. usage:
#   sh quillon_generate.sh -l LAUNCHER -c CLASSPATH -r RESOURCE [-m HOME] [-s FILE]... [-p PORT]
#       [-t TIMEOUT] -o OUTPUT [-o OUTPUT]... -- [ARGUMENT]...
#
# Runs the launcher and passes on its output and its exit status. Whatever is no success leaves no
# output behind. The paths are absolute, and none holds a line feed.
set -uf
IFS='
'
home='' port='' timeout='' parts='' outputs=''
while getopts l:c:r:m:s:p:t:o: option; do
    case $option in
        l) launcher=$OPTARG ;;
        c) classpath=$OPTARG ;;
        r) resource=$OPTARG ;;
        m) home=$OPTARG ;;
        s) parts=$parts$OPTARG$IFS ;;
        p) port=$OPTARG ;;
        t) timeout=$OPTARG ;;
        o) outputs=$outputs$OPTARG$IFS ;;
        *) exit 2 ;;
    esac
done
shift $((OPTIND - 1))

# A server serves whoever comes to its port, whatever it was started with. So all that it is made
# of, and what it keeps of the run that started it, decides the port. The status change time gives
# a file away that was replaced by one of the same size and date.
port_of_server() {
    set -- "$launcher" "$resource" $parts $(printf '%s' "$classpath" | tr : '\n')
    hash=$({
        printf '%s\n' "$classpath" "$resource" "$home" "$(id -u)" "$(umask)" \
            "${LC_ALL:-${LC_CTYPE:-${LANG:-}}}" "${JAVA_HOME:-}" "${JAVA_TOOL_OPTIONS:-}"
        find -L "$@" -type f -exec stat -L -c '%n %i %s %z' {} + | LC_ALL=C sort
    } | cksum | cut -d ' ' -f 1)
    # Below the ports that the platform gives to clients, above most services and our default.
    echo $((16384 + hash % 16384))
}

somebody_listens() {
    grep -qs "$(printf ':%04X 0*:0000 0A' "$port")" /proc/net/tcp /proc/net/tcp6
}

[ -n "$port" ] || port=$(port_of_server)

# Many cold runs at once would start a Java VM each, to keep one. The first one holds the lock until
# it is through, and the others find its server. Where there are no locks, they start one each.
if ! somebody_listens; then
    exec 9<"$resource"
    flock -w 10 9 2>/dev/null
    ! somebody_listens || exec 9<&-
fi

trap 'rm -f -- $outputs' EXIT
trap 'exit 1' HUP INT TERM
rm -f -- $outputs # what is there afterwards is new
for output in $outputs; do
    mkdir -p -- "${output%/*}" || exit
done

[ -z "$home" ] || set -- -n_wolkhome "$home" "$@"
[ -z "$timeout" ] || set -- -n_servertimeout "$timeout" "$@"
"$launcher" -n_classpath "$classpath" -n_wolkresource "$resource" -n_serverport "$port" \
    -n_connectiontimeout 10000 "$@" || exit

for output in $outputs; do
    if [ ! -f "$output" ]; then
        echo "quillon_generate: the generator reports success, but has not written $output" >&2
        exit 1
    fi
done
trap - EXIT
