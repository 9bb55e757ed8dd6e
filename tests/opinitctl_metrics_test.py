#!/usr/bin/python3
"""opinitctl metrics, read by a parser of others: as OpenMetrics and as the older text that node_exporter reads.

    opinitctl_metrics_test.py OPINITCTL     enters the simulated host by itself
"""
import glob
import os
import subprocess

from prometheus_client import parser
from prometheus_client.openmetrics import parser as openmetrics

from support import simulated
from support.simulated import check, opinitctl

simulated.enter()


def add_session(*options):
    return int(simulated.simhost("add-session", *options))


def metrics():
    """The samples, the same to both parsers, and the families by name."""
    text = opinitctl("metrics").stdout
    families = list(openmetrics.text_string_to_metric_families(text))
    samples = {(sample.name, tuple(sample.labels.items())): sample.value
               for family in families for sample in family.samples}
    older = {(sample.name, tuple(sample.labels.items())): sample.value
             for family in parser.text_string_to_metric_families(text) for sample in family.samples}
    check("both parsers read the same", older == samples, (older, samples))
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
check("all is counted", seen == sessions | luns | stack, seen)
check("a size has its unit", known["opinit_lun_size_bytes"].unit == "bytes")
check("each is explained", all(family.type == "gauge" and family.documentation for family in known.values()), known)

# A file is replaced in one step, or stays.
file = "/tmp/opinit.prom"
with open(file, "w", encoding="utf-8") as old:
    old.write("old")
os.link(file, "/tmp/old")
check("a file is written", opinitctl("metrics", file).returncode == 0)
with open(file, encoding="utf-8") as new, open("/tmp/old", encoding="utf-8") as old:
    check("in the place of the old one", new.read() == opinitctl("metrics").stdout and old.read() == "old")
check("for all to read, and nothing else stays", os.stat(file).st_mode & 0o777 == 0o644 and not glob.glob("/tmp/.opinit*"))
refused = opinitctl("metrics", "/usr/opinit.prom")
check("a file that cannot be written is a failure",
      refused.returncode == 1 and "cannot write /usr/opinit.prom" in refused.stderr, refused)
check("there is no JSON", opinitctl("metrics", "--json").returncode == 2)

# Without the daemon the interface does not tell of LUNs; the sessions live on.
subprocess.run(["killall", "iscsid"], check=True)
seen, _ = metrics()
stack |= {("opinit_stack_running", ()): 0, ("opinit_daemon_processes", ()): 0}
check("what is known is counted", seen == sessions | stack, seen)
simulated.finish()
