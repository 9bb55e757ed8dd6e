# For tests of opinitctl: enters the simulated host, runs programs there, and says which checks fail.
#
# A test begins with simulated.enter() and ends with simulated.finish().
import os
import subprocess
import sys

PROGRAM = sys.argv[1]
HOST = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../../simhost/enter")
os.environ["ASAN_OPTIONS"] = "detect_leaks=0"  # needs more of /proc than there is in the host
os.umask(0o022)  # what a host has, whoever tests
for _name in ("NO_COLOR", "COLUMNS", "LINES", "LANG", "LANGUAGE", "TZ"):
    os.environ.pop(_name, None)
os.environ["TERM"] = "xterm"
_failed = []


def enter():
    # Comes back in a simulated host of its own.
    if not os.path.exists("/run/simhost/proc/self"):
        os.execv(HOST, ["enter", sys.executable, os.path.realpath(sys.argv[0]), *sys.argv[1:]])
    os.chdir("/tmp")


def check(name, holds, seen=""):
    if not holds:
        _failed.append(name)
        print(f"FAILED {name}\n    {seen!r}")


def finish():
    sys.exit(f"{len(_failed)} checks failed" if _failed else 0)


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL, **options)


def opinitctl(*arguments):
    return run(PROGRAM, *arguments)


def shell(script):
    return run("bash", "-c", script)


def replace_command(name, script):
    shell(f"cd /run/simhost/override; cat >{name} <<'END'; chmod +x {name}\n#!/bin/bash\n{script}\nEND")
