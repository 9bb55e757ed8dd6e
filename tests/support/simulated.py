"""For tests of opinitctl: enters the simulated host, and counts checks.

A test begins with `PROGRAM = simulated.enter()` and ends with `simulated.finish()`.
"""
import os
import subprocess
import sys

_checks = _failed = 0
_program = ""


def enter(*options):
    """The path of opinitctl, the test's argument, once the test runs in a simulated host of its own."""
    global _program
    test = os.path.realpath(sys.argv[0])
    if not os.path.exists("/run/simhost/proc/self"):
        host = os.path.join(os.path.dirname(test), "../simhost/enter")
        os.execv(host, ["enter", *options, sys.executable, test, *sys.argv[1:]])
    os.environ["ASAN_OPTIONS"] = "detect_leaks=0"  # needs more of /proc than there is here
    os.chdir("/tmp")
    _program = sys.argv[1]
    return _program


def check(name, holds, seen=""):
    global _checks, _failed
    _checks += 1
    if not holds:
        _failed += 1
        print(f"FAILED {name}\n    {seen!r}")


def finish():
    print(f"{_checks - _failed} of {_checks} checks passed")
    sys.exit(_failed != 0)


def opinitctl(*arguments, **options):
    return subprocess.run([_program, *arguments], capture_output=True, text=True, check=False, **options)


def simhost(*arguments):
    """Runs the program behind the host's stand-in commands by its own name."""
    command = os.path.realpath("/run/simhost/bin/iscsiadm")
    return subprocess.run([command, *arguments], capture_output=True, text=True, check=True).stdout


def replace_command(name, script):
    path = f"/run/simhost/override/{name}"
    with open(path, "w", encoding="utf-8") as file:
        file.write("#!/bin/bash\n" + script)
    os.chmod(path, 0o755)


def restore_commands():
    for name in os.listdir("/run/simhost/override"):
        os.unlink(f"/run/simhost/override/{name}")
