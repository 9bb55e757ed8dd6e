#!/usr/bin/python3
# What opinitctl doctor finds on broken hosts, what it mends, and whether that can be undone.
#
#     opinitctl_doctor_test.py OPINITCTL     enters simulated hosts by itself
import fnmatch
import json
import os
import pathlib

from support import simulated
from support.simulated import PROGRAM, check, opinitctl, run, shell

if not os.path.exists("/run/simhost/proc/self"):
    # Hosts of today have neither init scripts nor a plain module file, and nothing is wrong with them.
    for kind in ("redhat-today", "suse-today"):
        today = run(simulated.HOST, "--distro", kind, PROGRAM, "doctor")
        assert today.returncode == 0, (kind, today)
simulated.enter()

RELEASE = os.uname().release
os.environ |= {"RELEASE": RELEASE, "MODULES": f"/lib/modules/{RELEASE}", "CONF": "/etc/iscsi/iscsid.conf",
               "MODULE": f"/lib/modules/{RELEASE}/kernel/drivers/scsi/iscsi_tcp.ko", "PID": "/run/iscsid.pid",
               "NAME": "/etc/iscsi/initiatorname.iscsi", "SESSION": "/sys/class/iscsi_session/session",
               "ADD": "simhost-command add-session --target iqn.t --address 10.0.0.1", "TAKEN": "/tmp/opiscsierr",
               "SYSTEMD": "/run/systemd/system", "RECORD": "/var/lib/iscsi/nodes/iqn.it's"}
# The one user that an ordinary user's host has.
ALONE = " 1\n" in pathlib.Path("/proc/self/uid_map").read_text()
WITHOUT_RIGHTS = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")
REPAIR = """umount /tmp /etc/iscsi
rm -rf /etc/iscsi /var/lib/iscsi /etc/os-release /lib/modules /run/systemd /tmp/opi* /tmp/tmp* /run/simhost/override/s*
tar -xPf /run/sound.tar; chmod 1777 /tmp; mkdir -p ${SESSION%/*}; chmod 755 ${SESSION%/*}
for entry in $SESSION[0-9]*; do simhost-command remove-session ${entry#$SESSION}; done
[ $(grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | wc -l) = 2 ] || { killall iscsid; rm -f $PID; iscsid; }"""

# The check that tells; its result, with a + where --fix mends it; words of finding and remedy; what breaks the host,
# with a % where it is tried without the rights that root has over files of others.
TABLE = r"""
configuration file|problem|No such file*182*install|rm $CONF
configuration file|problem|Is a directory*cannot be changed*take the directory|rm $CONF; mkdir $CONF
configuration file|problem|Permission denied*cannot be changed|chmod 400 $CONF%
module file|problem|not there*settings and start answer 182, while*install the package|rm $MODULE
answer|problem|the stack runs, and counts as not installed|rm $MODULE
module file|problem|not there*: operations answer 182|rm $MODULE; killall iscsid
module file|ok|$RELEASE|mv $MODULE $MODULE.zst
module file|problem|replaced while it runs*reboot|mv $MODULES /lib/modules/0
module file|problem+|n/iscsi_tcp.ko: link it|cd $MODULES; mkdir n; mv $MODULE n; echo n/iscsi_tcp.ko: >modules.dep
module file|problem|built in|rm $MODULE; echo kernel/drivers/scsi/iscsi_tcp.ko >$MODULES/modules.builtin
module loaded|problem+|183*opinitctl start|: >/proc/modules
daemon|problem+|no iscsid*183*opinitctl start|killall iscsid
daemon|problem+|alone is half a daemon*start starts nothing*kill*sessions stay|p=$(cat $PID); kill -9 $p; \
timeout 20 tail --pid=$p -f /dev/null; kill -STOP $(grep -lsz ^/sbin/iscsid /proc/[0-9]*/cmdline | cut -d/ -f3)
module loaded|problem|No such file*loadable modules|rm /proc/modules
daemon|ok|one iscsid|killall iscsid; rm $PID; setsid iscsid -f &>/dev/null & \
timeout 20 sh -c 'until pgrep -x iscsid; do :; done'
distribution|problem|No such file*98*make an empty|rm /etc/issue
distribution|problem+|No such file*98*|rm /etc/issue; echo ID=fedora >/etc/os-release
distribution|problem|neither*answer 1*own means|echo Other >/etc/issue
distribution|ok|run by systemd|echo Other >/etc/issue; mkdir -p $SYSTEMD
start and stop|note|known|echo Other >/etc/issue
start and stop|note|known|rm /etc/issue; mkdir -p $SYSTEMD
start and stop|ok|systemctl|echo Other >/etc/issue; mkdir -p $SYSTEMD; cp /bin/true /run/simhost/override/systemctl
daemon|problem|no iscsid*opinitctl start|rm $MODULE; killall iscsid
daemon|problem|no iscsid*modprobe|killall iscsid; echo Other >/etc/issue
start and stop|problem+|Permission denied*executable|chmod a-x /etc/init.d/iscsid
start and stop|problem|open-iscsi: No such file*or systemd|rm /etc/init.d/*
start and stop|ok|systemctl|rm /etc/init.d/*; mkdir -p $SYSTEMD; cp /bin/true /run/simhost/override/systemctl
daemon program|problem|init script cannot start|rm /sbin/iscsid
daemon program|problem|start answers 313|rm /sbin/iscsid; echo SUSE >/etc/issue
initiator name|problem+|No such file*191|rm $NAME
initiator name|problem|no line*191*config set|echo '#' >$NAME
initiator name|problem|more than 223*198|printf 'InitiatorName=iqn.%0230d\n' 0 >$NAME
configuration file|problem|Read-only file system*mount the file system|mount --bind /etc/iscsi /etc/iscsi; \
mount -o remount,ro,bind /etc/iscsi
secrets|problem+|in it: /etc/iscsi/iscsid.conf*chmod 600|chmod 644 $CONF; \
echo node.session.auth.password = Sesame >>$CONF
secrets|problem+|in it: /var/lib/iscsi/nodes/iqn.it's|mkdir -p "${RECORD%/*}"; \
echo node.session.auth.password_in = x >"$RECORD"; chmod 640 "$RECORD"
secrets|ok|*|chmod 644 $CONF; printf '%s\n' '#node.session.auth.password = x' node.session.auth.password_in= >>$CONF
writers|ok|*|ln -s / /etc/iscsi/link
files|note|iscsid.conf*as root|chmod 040 $CONF%
owners|problem|own /etc/iscsi/iscsid.conf*chown root|chown 1 $CONF
writers|problem+|may change /etc/iscsi, /etc/iscsi/iscsid.conf*go-w|chmod 777 /etc/iscsi; chmod 620 $CONF
discovery settings|note|ids 20, 21, 23|echo discovery.sendtargets.auth.username = u >>$CONF
temporary directory|problem+|without the sticky bit*chmod +t|chmod 777 /tmp
temporary directory|problem|Permission denied*nothing is captured*as root|chmod 555 /tmp%
temporary directory|problem|full*nothing is captured|mount -t tmpfs -o size=4k none /tmp; yes >/tmp/full
captured output|note|a directory, and*find out|mkdir -p $TAKEN/x
captured output|note|a FIFO, and will|mkfifo $TAKEN
captured output|note|another name elsewhere|touch $TAKEN; ln $TAKEN /tmp/tmp.x
captured output|note|a file that others may write|touch $TAKEN; chmod 620 $TAKEN
captured output|note|another user's|touch $TAKEN; chown 1 $TAKEN
captured output|note|a device: nothing is captured|mknod $TAKEN c 1 3
copy of the settings|note|a directory|mkdir -p /tmp/tmpiscsidconf.txt/x
sessions|problem|stop answers 189*3 to iqn.t at 10.0.0.1:3260 (failed)|$ADD --sid 3; echo FAILED >${SESSION}3/state
sessions|ok|0 live|rmdir ${SESSION%/*}
sessions|problem|Permission denied*not known*as root|$ADD --sid 3; chmod 0 /sys/class/iscsi_session%
session numbers|note|low 8 bits: 300*log out by iscsiadm|$ADD --sid 300
session numbers|problem|may end that one*300|$ADD --sid 300; $ADD --sid 44
session names|note|say, iqn.2024*: 4 as iqn.old|$ADD --sid 4; echo iqn.old >${SESSION}4/initiatorname
session addresses|note|over IPv6*: 5|$ADD --address fd00::1 --sid 5
disks|problem|of session 6 (offline)|$ADD --sid 6 --lun 3:1024:V:M; \
for state in ${SESSION}6/device/target*/*/state; do echo offline >$state; done
"""
# What a start mends; it is taken back by a stop, which leaves neither half a daemon nor the module unloaded.
STARTED = ("module loaded", "daemon")


def examine(*options, rights=()):
    # The findings by check, and those of what was mended.
    done = run(*rights, PROGRAM, "doctor", "--json", *options)
    rows = json.loads(done.stdout)
    problems = sum(row["result"] == "problem" and row["done"] is None for row in rows)
    check(f"doctor {options} tells of problems", done.returncode == (problems != 0), done)
    return {row["check"]: row for row in rows if row["done"] is None}, [row for row in rows if row["done"]]


def try_fix(cause, name):
    # Mends what was broken, and takes that back as the doctor said.
    after, mended = examine("--fix", "--yes")
    check(f"{cause}: is mended", after[name]["result"] == "ok" and name in [row["check"] for row in mended], after)
    for row in reversed(mended):
        undo = row["done"].split("; undone by: ")[1].replace("opinitctl", PROGRAM)
        check(f"{cause}: {undo}", shell(undo).returncode == 0)
    return examine()[0][name]["finding"]


simulated.replace_command("iscsi-iname", "echo iqn.2024-01.test:new")
shell("tar -cPf /run/sound.tar /etc/iscsi /etc/init.d /etc/issue /lib/modules /sbin/iscsid /bin/sh /proc/modules")
sound, _ = examine()
check("a sound host", all(row["result"] == "ok" for row in sound.values()), sound)
for name, result, words, cause in (row.split("|", 3) for row in TABLE.replace("\\\n", "").strip().split("\n")):
    if ALONE and ("chown" in cause or "mknod" in cause):
        continue
    shell(cause.rstrip("%"))
    broken = examine(rights=WITHOUT_RIGHTS if cause.endswith("%") else ())[0][name]
    check(f"{cause}: {name}", broken["result"] == result.rstrip("+") and fnmatch.fnmatchcase(
        f"{broken['finding']} {broken['remedy']}", f"*{words.replace('$RELEASE', RELEASE)}*"), broken)
    check(f"{cause}: a fix", (broken["fix"] is not None) == result.endswith("+"), broken)
    if result.endswith("+"):
        again = try_fix(cause, name)
        check(f"{cause}: can be undone", again == broken["finding"] or name in STARTED, again)
    shell(REPAIR)

shell("chmod 622 $CONF; mount --bind /etc/iscsi /etc/iscsi; mount -o remount,ro,bind /etc/iscsi")
failed = run(PROGRAM, "doctor", "--fix", "--yes")
check("a fix that fails is not done", "cannot chmod" in failed.stderr and "done:" not in failed.stdout, failed)
shell(REPAIR)
os.chmod("/tmp", 0o555)
elsewhere = run(*WITHOUT_RIGHTS, PROGRAM, "discover", "10.0.0.1")
check("a closed /tmp stops nothing", elsewhere.returncode == 0 and not shell("ls -d /run/opi*").stdout, elsewhere)
shell("rm /etc/init.d/*; mkdir -p $SYSTEMD")
lost = run(PROGRAM, "doctor", env={"PATH": "/nowhere"})
check("programs are looked for", lost.returncode == 1 and "problem  iscsiadm: not on PATH" in lost.stdout and
      "systemctl is not on PATH" in lost.stdout, lost)
check("nothing is changed unasked", opinitctl("doctor", "--fix").returncode == 2)
simulated.finish()
