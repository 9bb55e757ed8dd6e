#!/usr/bin/env bash
# The README's program builds against what "cmake --install" leaves and against the source tree, and runs: by
# pkg-config under both compilers and standards, by find_package, by add_subdirectory.
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

# runs NAME PROGRAM LIBRARY_PATH: it lists the session that there is.
runs() {
    local said
    printf '%q ' "$simhost/simhost-command" add-session --target iqn.one --address 10.0.0.1 --port 3260 --sid 7 >"$work/steps"
    printf '>/tmp/added\nLD_LIBRARY_PATH=%q %q\n' "$3" "$2" >>"$work/steps"
    said=$("$simhost/simhost-enter" --project "$project" bash "$work/steps" 2>&1) || true
    [ "$said" = "session 7: iqn.one" ] && return
    echo "FAIL $1: it said: $said"
    failed=1
}
# builds NAME COMMAND...
builds() {
    "${@:2}" >"$work/log" 2>&1 && return
    echo "FAIL $1:"
    cat "$work/log"
    failed=1
    return 1
}

pc=$(find "$work/prefix" -name kvlinopinitr.pc)
libraries=$(dirname "$(dirname "$pc")")
# What a machine without the maker's library does at run time.
with_standin=$libraries:$libraries/kvlinopinitr
flags=()
# Blanks in paths come escaped.
eval "flags=($(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs kvlinopinitr))"
for compiler in g++ clang++; do
    for standard in 17 20; do
        name="pkg-config, $compiler, C++$standard"
        builds "$name" $compiler -std=c++$standard -Wall -Wextra -Wpedantic -Werror "$work/agent/agent.cpp" \
            "${flags[@]}" -o "$work/agent/by-hand" && runs "$name" "$work/agent/by-hand" "$with_standin"
    done
done

# Each header stands on its own in the older standard.
for header in "$project"/include/kvlinopinitr/*.h; do
    builds "${header##*/}" clang++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -I "$project/include" -x c++ \
        -fsyntax-only -include "$header" /dev/null || true
done

builds find_package cmake -S "$work/agent" -B "$work/found" -DCMAKE_PREFIX_PATH="$work/prefix" \
    -DCMAKE_CXX_STANDARD=17 && builds find_package cmake --build "$work/found" &&
    runs find_package "$work/found/agent" "$with_standin"
builds add_subdirectory cmake -S "$work/agent" -B "$work/embedded" -DPROJECT="$project" \
    -DCMAKE_CXX_FLAGS=-O0 -DCMAKE_UNITY_BUILD=ON && builds add_subdirectory cmake --build "$work/embedded" --parallel 2 &&
    runs add_subdirectory "$work/embedded/agent" ""

for shipped in "$work"/prefix/bin/opinitctl "$libraries"/libkvlinopinitr.so "$libraries"/kvlinopinitr/libkvlinhw.so; do
    if readelf -d "$shipped" | grep -E "R(UN)?PATH|TEXTREL" || ! readelf -d "$shipped" | grep -q BIND_NOW; then
        echo "FAIL hardening of $shipped"
        failed=1
    fi
done
exit $failed
