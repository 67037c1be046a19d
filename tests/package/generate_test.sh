#!/usr/bin/env bash
# Builds with quillon_generate.
# usage: generate_test.sh CMAKE_GENERATOR QUILLON JAR TREE JAVAC JAR_TOOL
set -euo pipefail
tool=$1 quillon=$2 jar=$3 tree=$4 javac=$5 jar_tool=$6
module=$tree/packaging/quillon_generate.cmake
top=$(mktemp -d)
work="$top/a b"
trap 'rm -rf "$top"' EXIT
mkdir "$work"

fail() {
    tail -n 40 "$work/log" || true
    echo "generate_test: $1" >&2
    exit 1
}

configure() { # configure PROJECT [OPTION...]: into PROJECT/build
    cmake -G "$tool" -S "$1" -B "$1/build" -DQUILLON_GENERATE="$module" "${@:2}" \
        >"$work/log" 2>&1 || fail "$1 is not configured"
}

build() { cmake --build "$1/build" -j8 >"$work/log" 2>&1; } # build PROJECT

expect() { # expect NAME...: a build generates just these
    build "$work/project" || fail "the build fails"
    local generated
    generated=$(sed -n 's|.*/\(.*\)\.idl -> .*|\1|p' "$work/log" | sort | xargs)
    [ "$generated" = "$*" ] || fail "generated: '$generated' and not '$*'"
}

# Bad calls are told apart when CMake configures.
while IFS='|' read -r call text; do
    printf 'include("%s")\nquillon_generate(%s)\n' "$module" "$call" >"$top/bad.cmake"
    ! cmake -P "$top/bad.cmake" >"$work/log" 2>&1 || fail "no error: $call"
    tr -s ' \n' '  ' <"$work/log" | grep -qF -- "quillon_generate: $text" ||
        fail "not '$text': $call"
done <<TABLE
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $top VERBOSE|unknown: VERBOSE
FILES $jar CLASSPATH $jar RESOURCE $top|OUTPUTS is missing
OUTPUTS a FILES CLASSPATH $jar RESOURCE $top|FILES has no value
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $top PORT 0|PORT is a number from 1 to 65535, not 0
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $top TIMEOUT 2s|TIMEOUT is a number
OUTPUTS a FILES /no.idl CLASSPATH $jar RESOURCE $top|FILES does not exist: /no.idl
OUTPUTS a FILES $jar CLASSPATH $jar /no.jar RESOURCE $top|CLASSPATH does not exist: /no.jar
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $jar|RESOURCE is no directory
OUTPUTS $jar FILES $jar CLASSPATH $jar RESOURCE $top|among the FILES and the OUTPUTS: $jar
OUTPUTS a FILES $jar CLASSPATH $(printf "/.$jar %.0s" {1..99}) RESOURCE $top|CLASSPATH has
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $top ARGS -d .|the launcher would take the argument '.'
OUTPUTS a FILES $jar CLASSPATH $jar RESOURCE $top ARGS -N_ServerP 1|the launcher would take
TABLE

# A launcher that notes its arguments and does as it is told.
mkdir "$work/odd" "$work/odd/resource"
cat >"$work/launcher" <<'LAUNCHER'
#!/bin/sh
cd "${0%/*}" && printf '%s\n' "$@" >arguments && echo "status $STATUS" || exit
[ -z "$TEXT" ] || echo "$TEXT" >'odd/build/new dir/out put.txt'
exit "$STATUS"
LAUNCHER
chmod +x "$work/launcher"
touch "$work/odd/part" "$work/odd/resource/page"
cat >"$work/odd/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.20)
project(odd LANGUAGES NONE)
include("${QUILLON_GENERATE}")
quillon_generate(OUTPUTS "new dir/out put.txt" FILES CMakeLists.txt CLASSPATH ../launcher resource
    RESOURCE resource HOME resource TIMEOUT 1234 SERVER_DEPENDS part
    ARGS -n_verbosity 20 "a b" "c;d" "" "\$HOME" [['"\x]] "**" "x y;")
add_custom_target(all_of_it ALL DEPENDS "new dir/out put.txt")
PROJECT
configure "$work/odd" -DQUILLON_EXECUTABLE="$work/launcher"
output="$work/odd/build/new dir/out put.txt"
run_odd() { STATUS=$1 TEXT=$2 build "$work/odd"; }
port() { sed -n '/^-n_serverport$/{n;p}' "$work/arguments"; }

! run_odd 255 half || fail "a failure passes"
grep -q 'status 255' "$work/log" || fail "the launcher's message is lost"
[ ! -e "$output" ] || fail "a failed run leaves its output"
! run_odd 0 '' || fail "a missing output passes"
grep -q 'has not written .*out put.txt' "$work/log" || fail "no word of the missing output"
run_odd 0 whole || fail "a good run fails"
[ "$(cat "$output")" = whole ] || fail "the output is not as it was written"
diff - <(sed '/^-n_serverport$/,+1d' "$work/arguments") <<ARGUMENTS || fail "other arguments"
-n_classpath
$work/launcher:$work/odd/resource
-n_wolkresource
$work/odd/resource
-n_connectiontimeout
10000
-n_servertimeout
1234
-n_wolkhome
$work/odd/resource
-n_verbosity
20
a b
c;d

\$HOME
'"\\x
**
x y;
$work/odd/CMakeLists.txt
ARGUMENTS

again() { # again WHY: the next build generates, and asks another server
    local before
    before=$(port)
    run_odd 0 "$1" || fail "the build fails: $1"
    [ "$(cat "$output")" = "$1" ] || fail "not generated again: $1"
    [ "$(port)" != "$before" ] || fail "the same server: $1"
}
touch "$work/odd/part"
again "a part is another one"
rm "$work/odd/resource/page"
again "a resource has gone"
before=$(port)
rm "$output"
(umask 0027 && again "the file mask is another one")
rm "$output"
run_odd 0 whole || fail "the build fails with the first mask"
[ "$(port)" = "$before" ] || fail "another server for nothing"

# The example with the real launcher and generator, and six files more.
cp -r "$tree/examples/project" "$work/project"
cp -r "$tree/examples/generator" "$work/generator"
cp "$jar" "$work/generator.jar"
for i in {1..6}; do
    cp "$work/project/idl/reading.idl" "$work/project/more_$i.idl"
done
sed -i 's/    ARGS/    TIMEOUT 2000 ARGS/' "$work/project/CMakeLists.txt"
cat >>"$work/project/CMakeLists.txt" <<'PROJECT'
foreach(i RANGE 1 6)
    list(APPEND files more_${i}.idl)
    list(APPEND outputs "more/more_${i}.hpp")
endforeach()
quillon_generate(OUTPUTS ${outputs} FILES ${files} CLASSPATH "${GENERATOR_JAR}"
    RESOURCE "${GENERATOR_RESOURCE}" TIMEOUT 2000 ARGS -d more)
list(TRANSFORM files PREPEND "${CMAKE_SOURCE_DIR}/")
quillon_generate(OUTPUTS once/more_1.hpp once/more_2.hpp FILES ${files} CLASSPATH "${GENERATOR_JAR}"
    RESOURCE "${GENERATOR_RESOURCE}" TIMEOUT 2000 ARGS -d once)
add_custom_target(more ALL DEPENDS ${outputs} once/more_1.hpp)
PROJECT
classes="$work/classes"
sed -i 's/"GENERATED_"/"NEW_GENERATED_"/' "$work"/generator/src/com/zov/wolk/wolkgen/Main.java
"$javac" --release 11 -d "$classes" "$work"/generator/src/com/zov/wolk/wolkgen/*.java
"$jar_tool" --create --file "$work/new.jar" -C "$classes" .

each=(more_{1..6})
all=(more_{1..6}{,} reading station)
headers="$work/project/build/generated"
configure "$work/project" -DQUILLON_EXECUTABLE="$quillon" -DGENERATOR_JAR="$work/generator.jar" \
    -DGENERATOR_RESOURCE="$work/generator/resource"
expect "${all[@]}"
"$work/project/build/weather" | grep -q '9.25 degrees' || fail "the program does not run"
expect
touch "$work/project/idl/station.idl"
expect station
touch "$work/project/more_3.idl"
expect more_1 more_2 more_3 more_3 more_4 more_5 more_6
cp "$work/new.jar" "$work/generator.jar"
expect "${all[@]}"
grep -q NEW_GENERATED "$headers/station.hpp" || fail "the old generator's server is still asked"
echo '// changed' >>"$work/generator/resource/header.template"
expect "${all[@]}"
sed -i 's/TIMEOUT 2000 ARGS -d more/& -verbose/' "$work/project/CMakeLists.txt"
expect "${each[@]}"
sed -i 's/struct/strict/' "$work/project/idl/reading.idl"
! build "$work/project" || fail "a broken file passes"
grep -q 'reading.idl:3:' "$work/log" || fail "the generator's message is lost"
[ ! -e "$headers/reading.hpp" ] && [ -e "$headers/station.hpp" ] || fail "what is left is wrong"
sed -i 's/strict/struct/' "$work/project/idl/reading.idl"
expect reading

# The servers, which have the jar's path in their command line, leave by themselves.
for ((left = 300; left > 0; --left)); do
    grep -qs "${work/\/tmp/\/[t]mp}" /proc/[0-9]*/cmdline || exit 0
    sleep 0.1
done
fail "a server stays behind"
