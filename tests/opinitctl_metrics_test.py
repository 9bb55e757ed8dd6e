#!/usr/bin/python3
# opinitctl metrics, read by a parser of others: as OpenMetrics and as the older text that node_exporter reads.
#
#     opinitctl_metrics_test.py OPINITCTL     enters the simulated host by itself
import os
import pathlib

from prometheus_client import parser
from prometheus_client.openmetrics import parser as openmetrics

from support import simulated
from support.simulated import check, opinitctl, shell

simulated.enter()


def samples(families):
    return {(sample.name, *sample.labels.values()): sample.value for family in families for sample in family.samples}


def metrics():
    # The samples, the same to both parsers, and the families by name.
    text = opinitctl("metrics").stdout
    families = list(openmetrics.text_string_to_metric_families(text))
    older = samples(parser.text_string_to_metric_families(text))
    check("both parsers read the same", older == samples(families), older)
    return older, {family.name: family for family in families}


ODD = 'iqn."\\\\\\x09\\xc3\\xbe,}'
shell("""add() { simhost-command add-session --target "$@"; }
add iqn.a --address 10.0.0.1 --sid 1 --lun 0:1024:V:M --lun 7:512:V:M
add iqn.a --address 10.0.0.1 --lun 0:1024:V:M
add iqn.a --address 10.0.0.2 --sid 300
add $'iqn."\\\\\\t\\xc3\\xbe,}' --address fd00::1
echo FAILED >/sys/class/iscsi_session/session1/state""")
sessions = {("opinit_sessions", "iqn.a", "10.0.0.1:3260", "failed"): 1,
            ("opinit_sessions", "iqn.a", "10.0.0.1:3260", "logged_in"): 1,
            ("opinit_sessions", "iqn.a", "10.0.0.2:3260", "logged_in"): 1,
            ("opinit_sessions", ODD, "[fd00::1]:3260", "logged_in"): 1}
luns = {("opinit_luns", "iqn.a", "10.0.0.1:3260"): 3, ("opinit_lun_size_bytes", "iqn.a", "10.0.0.1:3260"): 2560}
for place in (("iqn.a", "10.0.0.2:3260"), (ODD, "[fd00::1]:3260")):
    luns |= {("opinit_luns", *place): 0, ("opinit_lun_size_bytes", *place): 0}
stack = {("opinit_stack_installed",): 1, ("opinit_stack_running",): 1, ("opinit_module_loaded",): 1,
         ("opinit_daemon_processes",): 2}
seen, known = metrics()
check("all is counted", seen == sessions | luns | stack, seen)
check("a size has its unit", known["opinit_lun_size_bytes"].unit == "bytes")
check("each is explained", all(family.type == "gauge" and family.documentation for family in known.values()), known)

# A file is replaced in one step, or stays.
file, old = pathlib.Path("/tmp/opinit.prom"), pathlib.Path("/tmp/old")
file.write_text("old", encoding="utf-8")
old.hardlink_to(file)
check("a file is written in the place of the old one, for all to read",
      opinitctl("metrics", str(file)).returncode == 0 and file.read_text() == opinitctl("metrics").stdout
      and old.read_text() == "old" and file.stat().st_mode & 0o777 == 0o644 and not list(file.parent.glob(".opinit*")))
refused = opinitctl("metrics", "/usr/opinit.prom")
check("a file that cannot be written is a failure",
      refused.returncode == 1 and "cannot write /usr/opinit.prom" in refused.stderr, refused)
shell("mkdir /run/full; mount -t tmpfs -o size=4k none /run/full; echo old >/run/full/prom")
full = opinitctl("metrics", "/run/full/prom")
check("of a full disk nothing is left", full.returncode == 1 and os.listdir("/run/full") == ["prom"], full)
check("there is no JSON", opinitctl("metrics", "--json").returncode == 2)

# What is no plain file is written to.
shell("touch /run/plain; ln -s plain /run/link; mkfifo /run/pipe")
pipe = os.open("/run/pipe", os.O_RDWR | os.O_NONBLOCK)
written = {"/run/link": lambda: pathlib.Path("/run/plain").read_text(),
           "/run/pipe": lambda: os.path.isfile("/run/pipe") or os.read(pipe, 65536).decode(), "-": lambda: done.stdout}
for place, text in written.items():
    done = opinitctl("metrics", place)
    check(place, done.returncode == 0 and text().endswith("# EOF\n") and os.path.islink("/run/link"), done)

# Without the daemon sessions and LUNs live on. Targets that should be logged in to are named.
shell("""iscsiadm -m discovery -t st -p 10.0.0.1; iscsiadm -m node -p 10.0.0.2:3260 -o update -n node.startup -v automatic
mv /etc/iscsi/nodes/*:empty /etc/iscsi/nodes/iqn.a; killall iscsid""")
seen, _ = metrics()
stack |= {("opinit_stack_running",): 0, ("opinit_daemon_processes",): 0,
          ("opinit_missing_sessions", "iqn.2024-01.example.array:disks", "10.0.0.2:3260"): 1}
check("what is known is counted", seen == sessions | luns | stack, seen)
shell("chmod 0 /sys/class/iscsi_session")
unread = simulated.run("setpriv", "--bounding-set=-all", simulated.PROGRAM, "metrics", str(file))
check("what cannot be read is no metric", unread.returncode == 1 and "cannot read /sys/class/iscsi_session: Permission" in
      unread.stderr and file.read_text().endswith("EOF\n"), unread)
simulated.finish()
