#!/usr/bin/python3
"""opinitctl metrics, read by a parser of others: as OpenMetrics and as the older text that node_exporter reads.

    opinitctl_metrics_test.py OPINITCTL     enters the simulated host by itself
"""
import glob
import os
import subprocess
import sys

from prometheus_client import parser
from prometheus_client.openmetrics import parser as openmetrics

HERE = os.path.dirname(os.path.realpath(__file__))
if not os.path.exists("/run/simhost/proc/self"):
    os.execv(f"{HERE}/../simhost/enter", ["enter", sys.executable, os.path.realpath(__file__), *sys.argv[1:]])

PROGRAM = sys.argv[1]
os.environ["ASAN_OPTIONS"] = "detect_leaks=0"  # needs more of /proc than there is here


def opinitctl(*arguments):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, check=False)


def add_session(*options):
    command = os.path.realpath("/run/simhost/bin/iscsiadm")
    return int(subprocess.run([command, "add-session", *options], capture_output=True, check=True).stdout)


def metrics():
    """The samples, the same to both parsers, and the families by name."""
    text = opinitctl("metrics").stdout
    families = list(openmetrics.text_string_to_metric_families(text))
    samples = {(sample.name, tuple(sample.labels.items())): sample.value
               for family in families for sample in family.samples}
    older = {(sample.name, tuple(sample.labels.items())): sample.value
             for family in parser.text_string_to_metric_families(text) for sample in family.samples}
    assert older == samples, (older, samples)
    return samples, {family.name: family for family in families}


DISK = "EXAMPLE:DISK"
one = add_session("--target", "iqn.a", "--address", "10.0.0.1", "--lun", f"0:1024:{DISK}", "--lun", f"7:512:{DISK}")
add_session("--target", "iqn.a", "--address", "10.0.0.1", "--lun", f"0:1024:{DISK}")
add_session("--target", "iqn.a", "--address", "10.0.0.2", "--sid", "300")
add_session("--target", 'iqn."\\\t\xfe,}', "--address", "fd00::1")
with open(f"/sys/class/iscsi_session/session{one}/state", "w", encoding="utf-8") as state:
    state.write("FAILED\n")

sessions = {("opinit_sessions", (("target", "iqn.a"), ("state", "failed"))): 1,
            ("opinit_sessions", (("target", "iqn.a"), ("state", "logged_in"))): 2,
            ("opinit_sessions", (("target", 'iqn."\\\\\\x09\\xc3\\xbe,}'), ("state", "logged_in"))): 1}
luns = {}
for target, portal, count, size in (("iqn.a", "10.0.0.1:3260", 3, 2560), ("iqn.a", "10.0.0.2:3260", 0, 0),
                                    ('iqn."\\\\\\x09\\xc3\\xbe,}', "[fd00::1]:3260", 0, 0)):
    labels = (("target", target), ("portal", portal))
    luns |= {("opinit_luns", labels): count, ("opinit_lun_size_bytes", labels): size}
stack = {("opinit_stack_installed", ()): 1, ("opinit_stack_running", ()): 1, ("opinit_module_loaded", ()): 1,
         ("opinit_daemon_processes", ()): 2}
seen, known = metrics()
assert seen == sessions | luns | stack, seen
assert known["opinit_lun_size_bytes"].unit == "bytes"
assert all(family.type == "gauge" and family.documentation for family in known.values()), known

# A file is replaced in one step, or stays.
file = "/tmp/opinit.prom"
with open(file, "w", encoding="utf-8") as old:
    old.write("old")
os.link(file, "/tmp/old")
assert opinitctl("metrics", file).returncode == 0
with open(file, encoding="utf-8") as new, open("/tmp/old", encoding="utf-8") as old:
    assert new.read() == opinitctl("metrics").stdout and old.read() == "old"
assert os.stat(file).st_mode & 0o777 == 0o644 and glob.glob("/tmp/.opinit*") == []
refused = opinitctl("metrics", "/usr/opinit.prom")
assert refused.returncode == 1 and "cannot write /usr/opinit.prom" in refused.stderr, refused
assert opinitctl("metrics", "--json").returncode == 2

# Without the daemon the interface does not tell of LUNs; the sessions live on.
subprocess.run(["killall", "iscsid"], check=True)
seen, _ = metrics()
stack |= {("opinit_stack_running", ()): 0, ("opinit_daemon_processes", ()): 0}
assert seen == sessions | stack, seen
print("all is as two parsers expect it")
