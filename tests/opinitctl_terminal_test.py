#!/usr/bin/python3
# opinitctl at a terminal: prompts and echo, progress, Ctrl-C and Ctrl-Z, time limits.
#
#     opinitctl_terminal_test.py OPINITCTL     enters the simulated host by itself
import io
import os
import pathlib
import re
import signal
import subprocess
import time

import pexpect

from support import simulated
from support.simulated import PROGRAM, check, replace_command, shell

simulated.enter()
signal.signal(signal.SIGHUP, signal.SIG_DFL)  # nohup ignores it for all that it runs
ARRAY = "iqn.2024-01.example.array"
LOGIN = (PROGRAM, "login", f"{ARRAY}:empty", "10.0.0.2")
CTRL_C, CTRL_Z = "\x03", "\x1a"
CALLS = pathlib.Path("/run/simhost/calls.log")


class Terminal(pexpect.spawn):
    # A program at a terminal of its own.

    def __init__(self, program, *arguments, columns=80):
        super().__init__(program, list(arguments), timeout=20, dimensions=(24, columns), encoding="utf-8",
                         codec_errors="backslashreplace")
        self.logfile_read = io.StringIO()

    def shown(self):
        return self.logfile_read.getvalue()

    def wait_for(self, text, answer=None):
        check(f"shows {text!r}", self.expect_exact([text, pexpect.EOF, pexpect.TIMEOUT]) == 0, self.shown())
        if answer is not None:
            self.sendline(answer)

    def end(self):
        # The exit status, none for a signal.
        self.expect([pexpect.EOF, pexpect.TIMEOUT])
        self.close()
        return self.exitstatus


def wait_until(holds):
    end = time.monotonic() + 20
    while not holds() and time.monotonic() < end:
        time.sleep(0.01)


def nothing_stays(name):
    left = shell("ls -d /tmp/opinitctl.* /tmp/opiscsierr*; grep -lsxz 123[4] /run/simhost/proc/[0-9]*/cmdline").stdout
    check(f"{name} leaves nothing behind", left == "", left)


def secrets_are_asked_for():
    mutual, chap = (f"login {ARRAY}:{name} 10.0.0.1 --chap-user user1" for name in ("mutual", "chap"))
    both = (("user1", "secretsecret1"), ("user2", "secretsecret2"))
    for command, asked, status, says in (
            (f"{mutual} --chap-user-in user2", both, 0, f"{ARRAY}:mutual"),
            ("config set --secret-file password=-", (("node.session.auth.password", "secret-of-mine"),), 0, "****"),
            (f"{chap} --chap-secret-file /dev/tty", (("user1", ""),), 1, "empty")):
        session = Terminal(PROGRAM, *command.split(), columns=160)
        for owner, secret in asked:
            session.wait_for(f"secret of {owner}: ")
            check("echo is off", not session.getecho())
            session.sendline(secret)
        check(command, session.end() == status and says in session.shown(), session.shown())
        check("secrets are not shown", not re.search("secret(secret|-of)", session.shown()), session.shown())


def prompts_put_the_terminal_in_order():
    before = CALLS.read_text()
    job = f"{PROGRAM} login {ARRAY}:chap 10.0.0.1 --chap-user user1"
    session = Terminal("bash", "-c", f"trap 'stty -a' EXIT; for round in 1 2; do {job}; done")
    session.wait_for("secret of user1: ")
    session.send(CTRL_C)
    session.wait_for("opinitctl: interrupted")
    session.wait_for(" echo ")
    check("the loop ends", session.end() != 0 and session.shown().count("secret of") == 1, session.shown())
    check("nothing was run", CALLS.read_text() == before)
    session = Terminal("dash", "-m", "-c", f"{job}; stty -a; fg; echo exit $?")
    session.wait_for("secret of user1: ")
    session.send(CTRL_Z)
    session.wait_for(" echo ")
    session.wait_for("secret of user1: ")
    check("echo is off again after Ctrl-Z", not session.getecho())
    session.sendline("secretsecret1")
    session.wait_for("exit 0")
    session.end()


def waiting_is_shown():
    replace_command("iscsiadm", "until [ -e /tmp/seen ]; do sleep 0.01; done; rm /tmp/seen")
    login = Terminal(*LOGIN, columns=40)
    login.wait_for(": 1 s")
    line = re.split("[\r\n]", login.before)[-1] + ": 1 s"
    check("says what for, within the width", line.startswith("log in to iqn.") and len(line) < 40, line)
    shell("touch /tmp/seen")
    login.end()
    check("is erased", f"\r{' ' * len(line)}\ropinitctl: open-iscsi" in login.shown(), login.shown())


def every_way_out_is_clean():
    stubborn = "trap '' TERM; sleep 1234 & while :; do sleep 1234; done"
    for script, number in (("sleep 1234", signal.SIGINT), ("sleep 1234", signal.SIGTERM), ("sleep 1234", signal.SIGHUP),
                           ("sleep 1234", signal.SIGQUIT), (stubborn, signal.SIGINT)):
        replace_command("iscsiadm", f"echo said; echo >/tmp/reached; {script}")
        login = Terminal(*LOGIN, "--persistent")
        wait_until(lambda: os.path.exists("/tmp/reached"))
        os.remove("/tmp/reached")
        login.send(CTRL_C) if number == signal.SIGINT else login.kill(number)
        login.end()
        check(f"{number} ends a login", login.signalstatus == number and "opinitctl: interrupted" in login.shown(), login.shown())
        check("no further command is run", not os.path.exists("/tmp/reached"))
        nothing_stays(number)


def signals_that_were_ignored_stay_so():
    replace_command("iscsiadm", "kill -HUP $(ps -o ppid= $PPID); echo >/tmp/reached; exit 1")
    done = shell(f"trap '' HUP; exec {' '.join(LOGIN)}")
    check("nohup", done.returncode == 1 and os.path.exists("/tmp/reached"), done)
    os.remove("/tmp/reached")


def time_limits_end_it():
    replace_command("iscsiadm", "echo said; sleep 1234")
    for command in (LOGIN, (PROGRAM, "discover", "10.0.0.2"), (PROGRAM, "login", "--all", "10.0.0.1", "--persistent")):
        begin = time.monotonic()
        done = simulated.run(*command, "--timeout", "1")
        check("gives up in time, for all of it", done.returncode == 1 and 1 <= time.monotonic() - begin < 20, done)
        check("tells so once, and what was said", done.stdout.strip() in ("", "SESSION TARGET PORTAL STATE")
              and re.match("said\nopinitctl: cannot .*gave up after 1 s.*\n", done.stderr)
              and done.stderr.count("gave up") == 1, done)
        nothing_stays("a time limit")
    check("the limit is a number of seconds", simulated.run(*LOGIN, "--timeout", "0").returncode == 2)


def tables_suit_the_terminal():
    name = f"{ARRAY}:disks"
    simulated.opinitctl("login", name, "10.0.0.1")
    for command, whole in (("sessions", "10.0.0.1:3260"), ("disks", "sda "), ("tree", "10.0.0.1:3260"),
                           ("targets", "10.0.0.1:3260,1")):
        rows = {}
        for columns in (40, 80, 200):
            table = Terminal(PROGRAM, command, columns=columns)
            table.end()
            rows[columns] = re.sub("\x1b\\[[0-9]*m", "", table.shown()).split("\r\n")
            check("the width is kept to", columns == 40 or max(map(len, rows[columns])) <= columns, rows)
            check("no name is cut but on the narrowest, and no address at all", whole in table.shown() and
                  (columns == 40) != (name in table.shown()), rows)
        check("a row for each", len(rows[40]) == len(rows[80]) == len(rows[200]), rows)
    for variable, coloured in (("TERM=xterm", True), ("NO_COLOR=1", False), ("NO_COLOR=", True), ("TERM=dumb", False)):
        table = Terminal("env", "TERM=xterm", variable, PROGRAM, "sessions")
        table.end()
        check(variable, ("\x1b[32mlogged_in" in table.shown()) == coloured, table.shown())
    shell("printf 'node.session.auth.username = a\\eb\n' >>/etc/iscsi/iscsid.conf")
    setting = Terminal(PROGRAM, "config", "get", "auth.username")
    setting.end()
    check("a value cannot play with the terminal", setting.shown() == "a\\x1bb\r\n", setting.shown())


def logging_out_of_what_is_in_use_asks():
    shell("mkdir /tmp/mnt; mount -t tmpfs /dev/sda /tmp/mnt")
    session = simulated.opinitctl("sessions", "-n", "-o", "session").stdout.split()[0]
    for answer, status in (("n", 1), ("yes", 0)):
        logout = Terminal(PROGRAM, "logout", session, columns=160)
        logout.wait_for("sda is mounted at /tmp/mnt. Log out all the same? [y/N] ", answer)
        check(f"logout at {answer}", logout.end() == status, logout.shown())


def doctor_keeps_to_the_width_and_asks():
    shell("mv /etc/issue /tmp; chmod 777 /tmp")
    wide = simulated.opinitctl("doctor").stdout
    doctor = Terminal(PROGRAM, "doctor", columns=50)
    doctor.end()
    lines = re.sub("\x1b\\[[0-9]*m", "", doctor.shown()).split("\r\n")
    check("no line is longer than the terminal", max(map(len, lines)) < 50 < max(map(len, wide.split("\n"))), lines)
    check("words stay whole", " ".join(lines).split()[:len(wide.split())] == wide.split(), lines)
    shell(": >/etc/os-release")
    for answer, agrees in (("", False), ("nay", False), ("Yes", True), ("y", True)):
        os.chmod("/tmp", 0o777)
        doctor = Terminal(PROGRAM, "doctor", "--fix", columns=160)
        doctor.wait_for("make an empty /etc/issue? [y/N] ", "n")
        doctor.wait_for("chmod 1777 /tmp? [y/N] ", answer)
        check("what was refused stays", doctor.end() == 1 and not os.path.exists("/etc/issue"), doctor.shown())
        check(f"done at {answer!r}", (os.stat("/tmp").st_mode == 0o41777) == agrees, doctor.shown())


def no_secret_is_left_in_memory():
    # Looked at when all is done but the last write, which a full pipe holds up.
    shell("echo Sesame >/tmp/secret; echo node.session.auth.password = Sesame-old >>/etc/iscsi/iscsid.conf; mkfifo /tmp/f")
    pipe = os.open("/tmp/f", os.O_RDWR)
    os.write(pipe, bytes(65536))
    held = subprocess.Popen([PROGRAM, "config", "set", "--secret-file", "password=/tmp/secret"], stdout=pipe)
    process, end = pathlib.Path(f"/run/simhost/proc/{held.pid}"), time.monotonic() + 20
    while not (process / "syscall").read_text().startswith("1 0x1 ") and time.monotonic() < end:
        time.sleep(0.01)
    with open(process / "mem", "rb", 0) as memory:
        for begin, end, name in re.findall(r"(\w+)-(\w+) rw.*\[(heap|stack)\]", (process / "maps").read_text()):
            memory.seek(int(begin, 16))
            seen = memory.read(int(end, 16) - int(begin, 16)).count(b"Sesame")
            check(f"no secret is in the {name}", seen == 0, seen)
    held.kill()


for group in (doctor_keeps_to_the_width_and_asks, no_secret_is_left_in_memory, tables_suit_the_terminal, logging_out_of_what_is_in_use_asks, secrets_are_asked_for,
              prompts_put_the_terminal_in_order, waiting_is_shown, every_way_out_is_clean,
              signals_that_were_ignored_stay_so, time_limits_end_it):
    # A discovery takes back what a login with CHAP wrote into every record.
    shell("rm -f /run/simhost/override/* /tmp/opiscsierr*; iscsiadm -m discovery -t st -p 10.0.0.1:3260")
    group()
simulated.finish()
