#!/usr/bin/python3
"""opinitctl at a terminal: prompts and echo, progress, Ctrl-C and Ctrl-Z, time limits.

    opinitctl_terminal_test.py OPINITCTL     enters the simulated host by itself
"""
import glob
import os
import re
import signal
import subprocess
import termios
import time

import pexpect

from support import simulated
from support.simulated import check

PROGRAM = simulated.enter()
ARRAY = "iqn.2024-01.example.array"


def calls():
    with open("/run/simhost/calls.log", encoding="utf-8") as log:
        return log.readlines()


def processes(argument):
    """Numbers of the processes that were started with it."""
    found = []
    for path in glob.glob("/run/simhost/proc/[0-9]*/cmdline"):
        try:
            with open(path, "rb") as words:
                if argument.encode() in words.read().split(b"\0"):
                    found.append(path)
        except OSError:
            pass
    return found


class Terminal:
    """A program at a terminal of its own."""

    def __init__(self, *command, columns=80):
        self.child = pexpect.spawn(command[0], list(command[1:]), timeout=20, dimensions=(24, columns),
                                   encoding="utf-8", codec_errors="backslashreplace")
        self.shown = ""

    def wait_for(self, text):
        found = self.child.expect_exact([text, pexpect.EOF, pexpect.TIMEOUT]) == 0
        self.shown += self.child.before + (text if found else "")
        check(f"shows {text!r}", found, self.shown)

    def press(self, key, text):
        """Again where the key came between a prompt and the wait for its answer: it then waits for the next key."""
        for _ in range(10):
            self.child.sendcontrol(key)
            if self.child.expect_exact([text, pexpect.TIMEOUT], timeout=3) == 0:
                self.shown += self.child.before + text
                return
        check(f"{key} gives {text!r}", False, self.child.before)

    def end(self):
        """The exit status, negative for a signal."""
        self.child.expect([pexpect.EOF, pexpect.TIMEOUT])
        self.shown += self.child.before
        self.child.close()
        return -self.child.signalstatus if self.child.signalstatus else self.child.exitstatus

    def echoes(self):
        return bool(termios.tcgetattr(self.child.child_fd)[3] & termios.ECHO)

    def screen(self):
        """What stands there after all carriage returns."""
        lines = [[]]
        column = 0
        for character in self.shown:
            if character == "\n":
                lines.append([])
                column = 0
            elif character == "\r":
                column = 0
            else:
                lines[-1][column:column + 1] = character
                column += 1
        return "\n".join("".join(line).rstrip() for line in lines)


def opinitctl(*arguments, **options):
    return Terminal(PROGRAM, *arguments, **options)


def nothing_stays(name):
    left = glob.glob("/tmp/opinitctl.*") + glob.glob("/tmp/opiscsierr*") + processes("1234")
    check(f"{name} leaves nothing behind", not left, left)


def discover():
    """Also takes back what a login with CHAP wrote into every record."""
    subprocess.run(["iscsiadm", "-m", "discovery", "-t", "st", "-p", "10.0.0.1:3260"], check=True,
                   stdout=subprocess.DEVNULL)


def secrets_are_asked_for():
    session = opinitctl("login", f"{ARRAY}:mutual", "10.0.0.1", "--chap-user", "user1", "--chap-user-in", "user2",
                        columns=160)
    for owner, secret in (("user1", "secretsecret1"), ("user2", "secretsecret2")):
        session.wait_for(f"secret of {owner}: ")
        check("echo is off", not session.echoes())
        session.child.sendline(secret)
    check("both secrets are used", session.end() == 0 and f"{ARRAY}:mutual" in session.shown, session.shown)
    check("secrets are not shown", "secretsecret" not in session.shown, session.shown)
    check("echo is on again", session.echoes() if session.child.isalive() else True)

    setting = opinitctl("config", "set", "--secret-file", "password=-")
    setting.wait_for("secret of node.session.auth.password: ")
    setting.child.sendline("Sesame-0pen")
    check("standard input at a terminal asks", setting.end() == 0 and "****" in setting.shown, setting.shown)

    empty = opinitctl("login", f"{ARRAY}:chap", "10.0.0.1", "--chap-user", "user1", "--chap-secret-file", "/dev/tty")
    empty.wait_for("secret of user1: ")
    empty.child.sendeof()
    check("no answer is no secret", empty.end() == 1 and "empty" in empty.shown, empty.shown)


def prompts_put_the_terminal_in_order():
    before = calls()
    job = f"{PROGRAM} login {ARRAY}:chap 10.0.0.1 --chap-user user1"
    shell = Terminal("dash", "-m", "-c", f"{job}; echo exit $?; stty -a; echo next; {job}; stty -a; fg; echo exit $?")
    shell.wait_for("secret of user1: ")
    shell.press("c", "opinitctl: interrupted")
    shell.wait_for("exit 130")
    shell.wait_for(" echo ")
    check("nothing was run", calls() == before)
    shell.wait_for("next")
    shell.wait_for("secret of user1: ")
    shell.press("z", " echo ")
    shell.wait_for("secret of user1: ")
    check("echo is off again after Ctrl-Z", not shell.echoes())
    shell.child.sendline("secretsecret1")
    shell.wait_for("exit 0")
    shell.end()


def waiting_is_shown():
    simulated.replace_command("iscsiadm", "sleep 1.3\n")
    for columns in (100, 40):
        login = opinitctl("login", f"{ARRAY}:empty", "10.0.0.2", columns=columns)
        login.wait_for(": 1 s")
        line = login.shown.replace("\n", "\r").split("\r")[-1]
        check("the line says what for, within the width",
              line.startswith("log in to iqn.") and len(line) < columns, line)
        login.end()
        check("the line is erased", " s\n" not in login.screen() and login.screen().startswith("opinitctl: open-iscsi"),
              login.screen())


def wait_until_reached():
    while not os.path.exists("/tmp/reached"):
        time.sleep(0.02)
    os.unlink("/tmp/reached")


def every_way_out_is_clean():
    stubborn = "trap '' TERM\nsleep 1234 &\nwhile :; do sleep 1234; done\n"
    # what iscsiadm does, signal or key, exit status
    table = [("sleep 1234\n", "key", 130), ("sleep 1234\n", signal.SIGTERM, 143), ("sleep 1234\n", signal.SIGHUP, 129),
             ("sleep 1234\n", signal.SIGQUIT, 131), (stubborn, "key", 130)]
    for script, request, status in table:
        simulated.replace_command("iscsiadm", "echo reached >/tmp/reached\n" + script)
        login = opinitctl("login", f"{ARRAY}:empty", "10.0.0.2", "--persistent")
        wait_until_reached()
        login.press("c", "opinitctl: interrupted") if request == "key" else login.child.kill(request)
        check(f"{request} ends a login with {status}", login.end() == status and "opinitctl: interrupted" in login.shown,
              login.shown)
        nothing_stays(f"{request}")

    subprocess.run(["killall", "iscsid"], check=True)
    simulated.replace_command("modprobe", "echo reached >/tmp/reached\nsleep 1234\n")
    before = calls()
    start = opinitctl("start")
    wait_until_reached()
    start.press("c", "opinitctl: interrupted")
    check("no further command is run", calls() == before, calls()[-1])
    simulated.restore_commands()
    check("the stack can be started then", simulated.opinitctl("start").returncode == 0)


def time_limits_end_it():
    simulated.replace_command("iscsiadm", "sleep 1234\n")
    for command in (["discover", "10.0.0.2"], ["login", f"{ARRAY}:empty", "10.0.0.2"]):
        begin = time.monotonic()
        done = simulated.opinitctl(*command, "--timeout", "1")
        took = time.monotonic() - begin
        check(f"{command[0]} gives up in time", done.returncode == 1 and 1 <= took < 2.5, (done, took))
        check("one line says so where no terminal is", done.stdout == "" and "gave up after 1 s" in done.stderr
              and done.stderr.startswith("opinitctl: cannot ") and done.stderr.count("\n") == 1, done)
        nothing_stays(f"the time limit of {command[0]}")
    check("the limit is a number of seconds",
          simulated.opinitctl("discover", "10.0.0.1", "--timeout", "0").returncode == 2)


def tables_suit_the_terminal():
    name = f"{ARRAY}:disks"
    opinitctl("login", name, "10.0.0.1").end()
    for columns in (60, 120):
        table = opinitctl("sessions", columns=columns)
        check("shown", table.end() == 0)
        plain = table.shown.replace("\x1b[32m", "").replace("\x1b[0m", "").split("\r\n")
        check("the width is kept to", max(map(len, plain)) <= columns, plain)
        check("nothing of the name is lost", name in "".join(line[8:].split(" ")[0] for line in plain), plain)
    for variable, value, coloured in (("TERM", "xterm", True), ("NO_COLOR", "1", False), ("NO_COLOR", "", True),
                                      ("TERM", "dumb", False)):
        table = Terminal("env", "TERM=xterm", f"{variable}={value}", PROGRAM, "sessions")
        table.end()
        check(f"{variable}={value}", ("\x1b[32mlogged_in" in table.shown) == coloured, table.shown)
    opinitctl("logout", "--all").end()


def doctor_keeps_to_the_width_and_asks():
    os.rename("/etc/issue", "/tmp/issue")
    os.symlink("/tmp/issue", "/tmp/opiscsierr")
    wide = simulated.opinitctl("doctor").stdout
    doctor = opinitctl("doctor", columns=50)
    check("problems are a failure", doctor.end() == 1)
    lines = re.sub("\033\\[[0-9]*m", "", doctor.shown).split("\r\n")
    check("no line is longer than the terminal", max(map(len, lines)) < 50 < max(map(len, wide.split("\n"))), lines)
    check("words stay whole", " ".join(" ".join(lines).split()).startswith(" ".join(wide.split())), lines)
    check("states are coloured", "\033[31mproblem" in doctor.shown, doctor.shown)
    open("/etc/os-release", "w", encoding="utf-8").close()

    for answers in (("n", "n"), ("n", "y")):
        doctor = opinitctl("doctor", "--fix", columns=160)
        for question, answer in zip(("make an empty /etc/issue? [y/N] ", "move /tmp/opiscsierr to /tmp/opiscsierr.aside? [y/N] "),
                                    answers):
            doctor.wait_for(question)
            doctor.child.sendline(answer)
        check("what was refused stays", doctor.end() == 1 and not os.path.exists("/etc/issue"), doctor.shown)
        check("what was granted is done", os.path.lexists("/tmp/opiscsierr") == (answers[1] == "n"), doctor.shown)
    check("and told", "done: move /tmp/opiscsierr" in doctor.shown and "mv /tmp/opiscsierr.aside" in doctor.shown, doctor.shown)
    os.rename("/tmp/issue", "/etc/issue")
    os.unlink("/tmp/opiscsierr.aside")


for group in (doctor_keeps_to_the_width_and_asks, tables_suit_the_terminal, secrets_are_asked_for,
              prompts_put_the_terminal_in_order, waiting_is_shown, every_way_out_is_clean, time_limits_end_it):
    discover()
    group()
    simulated.restore_commands()
simulated.finish()
