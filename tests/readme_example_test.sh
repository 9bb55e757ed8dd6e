#!/usr/bin/env bash
# The README's program compiles as it stands and runs.
#
#     readme_example_test.sh PROJECT LIBRARY_DIR RUNTIME_DIR SIMHOST_DIR COMPILER [COMPILER_OPTION...]
set -euo pipefail
project=$1 library=$2 runtime=$3 simhost=$4
shift 4
# In the build tree, where the simulated host can see it.
work=$(mktemp -d -p "$library")
trap 'rm -rf "$work"' EXIT
sed -n '/^```cpp$/,/^```$/p' "$project/README.md" | sed '1d;$d' >"$work/agent.cpp"
"$@" -std=c++20 -Wall -Wextra -Werror -I "$project/include" "$work/agent.cpp" -o "$work/agent" \
    -L "$library" -L "$runtime" -lkvlinopinitr -lkvlinhw -Wl,-rpath,"$library:$runtime"
cat >"$work/steps" <<STEPS
"$simhost/simhost-command" add-session --target iqn.one --address 10.0.0.1 --port 3260 --sid 7 >/tmp/added
"$work/agent"
STEPS
said=$("$simhost/simhost-enter" --project "$project" bash "$work/steps")
[ "$said" = "session 7: iqn.one" ] || { echo "it said: $said"; exit 1; }
