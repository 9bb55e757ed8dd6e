#!/usr/bin/env bash
# The README's program builds against what "cmake --install" leaves and the source tree, and runs: by pkg-config under
# both compilers and standards, by find_package, by add_subdirectory.
#
#     consumer_test.sh BUILD PROJECT SIMHOST_DIR
set -euo pipefail
build=$1 project=$2 simhost=$3
# In the build tree, where the simulated host can see it.
work=$(mktemp -d -p "$build")
trap 'rm -rf "$work"' EXIT
failed=0

cmake --install "$build" --prefix "$work/prefix" >"$work/log"
mkdir "$work/agent"
# shellcheck disable=SC2016 # Markdown's own quotes
sed -n '/^```cpp$/,/^```$/p' "$project/README.md" | sed '1d;$d' >"$work/agent/agent.cpp"
cat >"$work/agent/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.18)
project(agent LANGUAGES CXX)
if(PROJECT)
    add_subdirectory(${PROJECT} kvlinopinitr)
else()
    find_package(kvlinopinitr 2.0 REQUIRED)
endif()
add_executable(agent agent.cpp)
target_link_libraries(agent PRIVATE kvlinopinitr::kvlinopinitr)
CMAKE

fail() { # NAME SAID
    printf 'FAIL %s:\n%s\n' "$@"
    failed=1
}
runs() { # NAME PROGRAM LIBRARY_PATH: it lists the session that there is
    local said
    # shellcheck disable=SC2016 # for the shell inside
    said=$("$simhost/simhost-enter" --project "$project" bash -c '"$1" add-session --target iqn.one --address 10.0.0.1 \
        --sid 7 >/tmp/added; LD_LIBRARY_PATH=$3 "$2"' bash "$simhost/simhost-command" "$2" "$3" 2>&1) || true
    [ "$said" = "session 7: iqn.one" ] || fail "$1" "$said"
}
builds() { # NAME COMMAND...
    "${@:2}" >"$work/log" 2>&1 || { fail "$1" "$(<"$work/log")" && return 1; }
}
project() { # NAME LIBRARY_PATH CMAKE_OPTION...
    builds "$1" cmake -S "$work/agent" -B "$work/$1" "${@:3}" &&
        builds "$1" cmake --build "$work/$1" --parallel 2 && runs "$1" "$work/$1/agent" "$2"
}

pc=$(find "$work/prefix" -name kvlinopinitr.pc)
libraries=$(dirname "$(dirname "$pc")")
# What a machine without the maker's library does at run time.
with_standin=$libraries:$libraries/kvlinopinitr
flags=()
# Blanks in paths come escaped.
eval "flags=($(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs kvlinopinitr))"
for build in g++:17 g++:20 clang++:17 clang++:20; do
    builds "$build" ${build%:*} -std=c++${build#*:} -Wall -Wextra -Wpedantic -Werror \
        "$work/agent/agent.cpp" "${flags[@]}" -o "$work/agent/by-hand" &&
        runs "$build" "$work/agent/by-hand" "$with_standin"
done
project find_package "$with_standin" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_STANDARD=17 || true

# What distributions build from agrees with the version of the sources.
builds papers "$project/packaging/papers" "$work/papers"

# Each header stands on its own in the older standard.
for header in "$project"/include/kvlinopinitr/*.h; do
    builds "${header##*/}" clang++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I "$project/include" -x c++ \
        -fsyntax-only -include "$header" /dev/null || true
done

project add_subdirectory "" -DPROJECT="$project" -DCMAKE_CXX_FLAGS=-O0 -DCMAKE_UNITY_BUILD=ON || true

for shipped in "$work"/prefix/{bin/opinitctl,lib*/libkvlinopinitr.so,lib*/kvlinopinitr/libkvlinhw.so}; do
    ! readelf -d "$shipped" | grep -E "R(UN)?PATH|TEXTREL" || fail "paths or relocations" "$shipped"
    readelf -d "$shipped" | grep -q BIND_NOW || fail "hardening" "$shipped"
done
exit $failed
