#!/usr/bin/env bash
# Installs the tree and uses it as others do, then once more after the installed tree was moved.
# usage: installed.sh BUILD SOURCE SCRATCH; CC, CXX, GENERATOR_JAR in the environment
set -euo pipefail
build=$1 source=$2 scratch=$3
here=$(cd "$(dirname "$0")" && pwd)
expected='main:hello, WOLK
0 0
<period>
    <sec>2</sec>
    <nanosec>500000000</nanosec>
</period>'

run_program() { # run_program PROGRAM PREFIX
    local library
    library=$(dirname "$(find "$2" -name 'libwolkcore.*' -print -quit)")
    diff <(LD_LIBRARY_PATH=$library "$1") <(echo "$expected")
}

use_from_cmake() { # use_from_cmake PREFIX LANGUAGE
    rm -rf "$scratch/consumer"
    cmake -S "$here/consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$1" -DLANGUAGE="$2"
    cmake --build "$scratch/consumer"
    run_program "$scratch/consumer/program" "$1"
}

generate_from_cmake() { # generate_from_cmake PREFIX
    rm -rf "$scratch/project"
    cmake -S "$source/examples/project" -B "$scratch/project" -DCMAKE_PREFIX_PATH="$1" \
        -DGENERATOR_JAR="$GENERATOR_JAR" -DGENERATOR_RESOURCE="$source/examples/generator/resource"
    cmake --build "$scratch/project"
    "$scratch/project/weather"
}

use_from_pkg_config() { # use_from_pkg_config PREFIX COMPILER...
    local flags
    flags=$(PKG_CONFIG_PATH=$(dirname "$(find "$1" -name wolkcore.pc)") pkg-config --cflags --libs wolkcore)
    # shellcheck disable=SC2086 # several flags
    "${@:2}" "$here/consumer/program.c" -x none -o "$scratch/program" $flags
    run_program "$scratch/program" "$1"
}

headers_stand_alone() { # headers_stand_alone PREFIX
    cd "$1/include/wolkcore"
    find . -name '*.h' -printf '%P\0' | sort -z >"$scratch/headers"
    [ -s "$scratch/headers" ]
    local as
    for as in "$CC -std=c11 -x c" "$CXX -std=c++17 -x c++"; do
        # shellcheck disable=SC2086 # a command and its arguments
        xargs -0 -a "$scratch/headers" -I HEADER -P 2 sh -c 'echo "#include \"$1\"" | $2 -' \
            header HEADER "$as -Wall -Werror -fsyntax-only -I ."
    done
    cd "$scratch"
}

free_port() {
    local port
    until port=$((20000 + RANDOM % 10000)) && ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
    echo "$port"
}

run_launcher() { # run_launcher PREFIX
    "$1/bin/quillon" -n_version
    "$1/bin/quillon" -n_classpath "$GENERATOR_JAR" -n_wolkresource "$source/examples/generator/resource" \
        -n_serverport "$(free_port)" -n_servertimeout 1000 -d out "$source/examples/idl/shapes.idl"
    "$CXX" -std=c++17 -fsyntax-only -x c++ out/shapes.hpp
}

use() { # use PREFIX
    use_from_cmake "$1" C
    use_from_cmake "$1" CXX
    if command -v pkg-config >/dev/null; then
        use_from_pkg_config "$1" "$CC" -std=c11
        use_from_pkg_config "$1" "$CXX" -std=c++17 -x c++
    fi
    run_launcher "$1"
    generate_from_cmake "$1"
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
cmake --install "$build" --prefix "$scratch/first"
headers_stand_alone "$scratch/first"
use "$scratch/first"
mv first moved
use "$scratch/moved"
if grep -rlI "$scratch/first\|$build" moved; then
    echo "these files name the place of the build or of the installation"
    exit 1
fi
command -v pkg-config >/dev/null || { echo "skipped: no pkg-config; all else is right"; exit 77; }
