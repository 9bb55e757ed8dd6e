#!/usr/bin/python3
"""What opinitctl doctor finds on broken hosts, what it mends, and whether that can be undone.

    opinitctl_doctor_test.py OPINITCTL     enters simulated hosts by itself
"""
import json
import os
import subprocess
import sys

from support import simulated
from support.simulated import check, opinitctl

if not os.path.exists("/run/simhost/proc/self"):
    # Hosts of today have neither init scripts nor a plain module file, and nothing is wrong with them.
    enter = os.path.join(os.path.dirname(os.path.realpath(__file__)), "../simhost/enter")
    for kind in ("redhat-today", "suse-today"):
        subprocess.run([enter, "--distro", kind, sys.argv[1], "doctor"], check=True, stdout=subprocess.DEVNULL,
                       env=os.environ | {"ASAN_OPTIONS": "detect_leaks=0"})
PROGRAM = simulated.enter()

RELEASE = os.uname().release
MODULES = f"/lib/modules/{RELEASE}"
MODULE = f"{MODULES}/kernel/drivers/scsi/iscsi_tcp.ko"
CONF, NAME, PID = "/etc/iscsi/iscsid.conf", "/etc/iscsi/initiatorname.iscsi", "/run/iscsid.pid"
WITHOUT_RIGHTS = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")
RESTART = f"killall iscsid; rm -f {PID}; {PROGRAM} start"
NEW_SESSION = "$(readlink -f /run/simhost/bin/iscsiadm) add-session --target iqn.t --address"
NO_SESSIONS = "for n in $(ls /sys/class/iscsi_session | tr -dc '0-9\\n'); do " \
    "$(readlink -f /run/simhost/bin/iscsiadm) remove-session $n; done"
NO_SCRIPTS = "mv /etc/init.d/iscsid /etc/init.d/open-iscsi /tmp"
SCRIPTS = "mv /tmp/iscsid /tmp/open-iscsi /etc/init.d"

# What breaks the host; what repairs it; the check that tells; its result; words of finding and remedy; whether it is
# mended. A break that ends with % is tried without the rights that root has over files of others.
TABLE = [
    (f"mv {CONF} /tmp/c", f"mv /tmp/c {CONF}", "configuration file", "problem", "No such file*182*install", False),
    (f"mv {CONF} /tmp/c; mkdir {CONF}", f"rmdir {CONF}; mv /tmp/c {CONF}", "configuration file", "problem",
     "Is a directory*cannot be changed*take the directory", False),
    (f"chmod 400 {CONF}%", f"chmod 644 {CONF}", "configuration file", "problem", "Permission denied*cannot be changed", False),
    (f"mv {MODULE} /tmp", f"mv /tmp/iscsi_tcp.ko {MODULE}", "module file", "problem",
     "not there*settings and start answer 182, while*install the package", False),
    (f"mv {MODULE} /tmp", f"mv /tmp/iscsi_tcp.ko {MODULE}", "answer", "problem", "the stack runs, and counts as not installed", False),
    (f"mv {MODULE} /tmp; killall iscsid", f"mv /tmp/iscsi_tcp.ko {MODULE}; {RESTART}", "module file", "problem",
     "not there*: operations answer 182", False),
    (f"mv {MODULE} {MODULE}.zst", f"mv {MODULE}.zst {MODULE}", "module file", "ok", RELEASE, False),
    (f"mv {MODULES} /lib/modules/0", f"mv /lib/modules/0 {MODULES}", "module file", "problem", "*replaced while it runs*reboot", False),
    (f"mkdir {MODULES}/updates; mv {MODULE} {MODULES}/updates; echo updates/iscsi_tcp.ko: x >{MODULES}/modules.dep",
     f"mv {MODULES}/updates/* {MODULE}; rm -r {MODULES}/updates {MODULES}/modules.dep", "module file", "problem",
     "updates/iscsi_tcp.ko: link it", True),
    (f"mv {MODULE} /tmp; echo kernel/drivers/scsi/iscsi_tcp.ko >{MODULES}/modules.builtin",
     f"mv /tmp/iscsi_tcp.ko {MODULE}; rm {MODULES}/modules.builtin", "module file", "problem", "built in", False),
    ("cp /proc/modules /tmp/m; : >/proc/modules", "cp /tmp/m /proc/modules", "module loaded", "problem", "183*opinitctl start", True),
    ("killall iscsid", RESTART, "daemon", "problem", "no iscsid*183*opinitctl start", True),
    (f"p=$(cat {PID}); kill -9 $p; while grep -q iscsid /run/simhost/proc/$p/cmdline; do sleep 0.02; done", RESTART, "daemon", "problem", "alone is half a daemon*start starts nothing*kill*sessions stay", True),
    (f"killall iscsid; rm {PID}; setsid iscsid -f & sleep 0.3", RESTART, "daemon", "ok", "one iscsid", False),
    ("mv /etc/issue /tmp", "mv /tmp/issue /etc", "distribution", "problem", "No such file*98*make an empty", False),
    ("mv /etc/issue /tmp; echo ID=fedora >/etc/os-release", "mv /tmp/issue /etc; rm /etc/os-release", "distribution", "problem",
     "No such file*98*", True),
    ("cp /etc/issue /tmp; echo Other >/etc/issue", "cp /tmp/issue /etc", "distribution", "problem", "neither*answer 1*own means", False),
    ("cp /etc/issue /tmp; echo Other >/etc/issue; mkdir -p /run/systemd/system",
     "cp /tmp/issue /etc; rmdir /run/systemd/system", "distribution", "problem", "systemctl start iscsid and systemctl stop iscsid.socket", False),
    ("chmod -x /etc/init.d/iscsid", "chmod +x /etc/init.d/iscsid", "start and stop", "problem", "Permission denied*executable", True),
    (NO_SCRIPTS, SCRIPTS, "start and stop", "problem", "open-iscsi: No such file*or systemd", False),
    (f"{NO_SCRIPTS}; mkdir -p /run/systemd/system; ln -s /bin/true /run/simhost/override/systemctl",
     f"{SCRIPTS}; rmdir /run/systemd/system; rm /run/simhost/override/systemctl", "start and stop", "ok", "systemctl", False),
    ("mv /sbin/iscsid /tmp", "mv /tmp/iscsid /sbin", "daemon program", "problem", "init script cannot start", False),
    ("mv /sbin/iscsid /tmp; cp /etc/issue /tmp; echo SUSE >/etc/issue", "mv /tmp/iscsid /sbin; cp /tmp/issue /etc",
     "daemon program", "problem", "start answers 313", False),
    (f"mv {NAME} /tmp/n", f"mv /tmp/n {NAME}", "initiator name", "problem", "No such file*191", True),
    (f"mv {NAME} /tmp/n; mkdir {NAME}", f"rmdir {NAME}; mv /tmp/n {NAME}", "initiator name", "problem", "Is a directory*191*take the directory", False),
    (f"chmod 400 {NAME}%", f"chmod 644 {NAME}", "initiator name", "problem", "Permission denied*191*run as root", False),
    (f"cp {NAME} /tmp/n; echo '#' >{NAME}", f"cp /tmp/n {NAME}", "initiator name", "problem", "no line*191*config set", False),
    (f"cp {NAME} /tmp/n; printf 'InitiatorName=iqn.%0230d\\n' 0 >{NAME}", f"cp /tmp/n {NAME}", "initiator name", "problem", "more than 223*198", False),
    (f"cp -p {CONF} /tmp/c; chmod 644 {CONF}; echo node.session.auth.password = Sesame >>{CONF}", f"mv /tmp/c {CONF}", "secrets", "problem",
     "others may open it*chmod 600", True),
    (f"cp -p {CONF} /tmp/c; echo discovery.sendtargets.auth.username = u >>{CONF}", f"mv /tmp/c {CONF}", "discovery settings", "note", "ids 20, 21, 23", False),
    ("ln -sf dash /bin/sh", "ln -sf bash /bin/sh", "shell", "problem", "(/usr/bin/dash)*counts as done*make bash", True),
    ("chmod 777 /tmp", "chmod 1777 /tmp", "temporary directory", "problem", "without the sticky bit*chmod +t", True),
    ("mkdir -p /tmp/opiscsierr/x", "rm -rf /tmp/opiscsierr*", "captured output", "problem", "a directory with something in it*every login counts as done", True),
    ("mkfifo /tmp/opiscsierr", "rm -f /tmp/opiscsierr*", "captured output", "note", "a FIFO, and will be removed", True),
    (f"ln -s {CONF} /tmp/opiscsierr", "rm -f /tmp/opiscsierr*", "captured output", "note", "a link, and will be removed", True),
    ("touch /tmp/x; ln /tmp/x /tmp/opiscsierr", "rm -f /tmp/opiscsierr* /tmp/x", "captured output", "note", "another name elsewhere", True),
    ("mkdir -p /tmp/tmpiscsidconf.txt/x", "rm -rf /tmp/tmpiscsidconf.txt*", "copy of the settings", "problem", "settings cannot be changed", True),
    (f"{NEW_SESSION} 10.0.0.1 --sid 3; echo FAILED >/sys/class/iscsi_session/session3/state", NO_SESSIONS, "sessions", "problem",
     "3 to iqn.t at 10.0.0.1:3260 (failed)*stop answers 189", False),
    (f"{NEW_SESSION} 10.0.0.1 --sid 300", NO_SESSIONS, "session numbers", "note", "300 beyond 255*log out by iscsiadm", False),
    (f"{NEW_SESSION} 10.0.0.1 --sid 300; {NEW_SESSION} 10.0.0.1 --sid 44", NO_SESSIONS, "session numbers", "problem", "300*may end that one", False),
    (f"{NEW_SESSION} 10.0.0.1 --sid 4; echo iqn.old >/sys/class/iscsi_session/session4/initiatorname", NO_SESSIONS, "session names", "note",
     "4 as iqn.old; session records say iqn.2024", False),
    (f"{NEW_SESSION} fd00::1 --sid 5", NO_SESSIONS, "session addresses", "note", "5 over IPv6", False),
    (f"{NEW_SESSION} 10.0.0.1 --sid 6 --lun 3:1024:V:M; "
     "for state in /sys/class/iscsi_session/session6/device/target*/*/state; do echo offline >$state; done", NO_SESSIONS, "disks",
     "problem", "of session 6 (offline)", False),
    ("chmod 555 /tmp%", "chmod 1777 /tmp", "temporary directory", "problem", "Permission denied*nothing is captured*as root", False),
]
# What a start mends; it is taken back by a stop, which leaves neither half a daemon nor the module unloaded.
STARTED = ("module loaded", "daemon")


def shell(script):
    return subprocess.run(["bash", "-c", script], check=False, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode == 0


def examine(*options, without_rights=False):
    """The findings by check, those of what was mended first."""
    command = [PROGRAM, "doctor", "--json", *options]
    if without_rights:
        command = [*WITHOUT_RIGHTS, *command]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    try:
        rows = json.loads(done.stdout)
    except ValueError:
        check(f"{command} answers JSON", False, done)
        rows = []
    problems = sum(row["result"] == "problem" and row["done"] is None for row in rows)
    check(f"{command} tells of problems", done.returncode == (problems != 0), done)
    return {row["check"]: row for row in rows if row["done"] is None}, [row for row in rows if row["done"]]


def says(row, words):
    text = f"{row['finding']} {row['remedy']}"
    place = 0
    for word in words.split("*"):
        place = text.find(word, place)
        if place < 0:
            return False
    return True


def try_fix(cause, name):
    """Mends what was broken, and takes that back as the doctor said."""
    after, mended = examine("--fix", "--yes")
    check(f"{cause}: is mended", after[name]["result"] == "ok" and name in [row["check"] for row in mended], (after[name], mended))
    for row in reversed(mended):
        check(f"{cause}: {row['done']}", shell(row["done"].split("; undone by: ")[1].replace("opinitctl", PROGRAM)))
    return examine()[0][name]["result"]


simulated.replace_command("iscsi-iname", "echo iqn.2024-01.test:new\n")
sound, _ = examine()
check("a sound host", all(row["result"] == "ok" for row in sound.values()), sound)
for cause, repair, name, result, words, can_be_mended in TABLE:
    shell(cause.rstrip("%"))
    broken = examine(without_rights=cause.endswith("%"))[0][name]
    check(f"{cause}: {name}", broken["result"] == result and says(broken, words), broken)
    check(f"{cause}: a fix", (broken["fix"] is not None) == can_be_mended, broken)
    if can_be_mended:
        again = try_fix(cause, name)
        check(f"{cause}: can be undone", again == result or name in STARTED, again)
    shell(repair)
after, _ = examine()
check("all is repaired", all(row["result"] == "ok" for row in after.values()), after)

os.chmod("/tmp", 0o555)
elsewhere = subprocess.run([*WITHOUT_RIGHTS, PROGRAM, "discover", "10.0.0.1"], capture_output=True, text=True, check=False)
os.chmod("/tmp", 0o1777)
check("a closed /tmp does not stop opinitctl", elsewhere.returncode == 0 and os.listdir("/run").count("opinitctl") == 0, elsewhere)
lost = subprocess.run([PROGRAM, "doctor"], capture_output=True, text=True, check=False, env={"PATH": "/nowhere"})
check("iscsiadm is looked for", "problem  iscsiadm: not on PATH" in lost.stdout and lost.returncode == 1, lost)
check("nothing is changed unasked", opinitctl("doctor", "--fix", stdin=subprocess.DEVNULL).returncode == 2)
simulated.finish()
