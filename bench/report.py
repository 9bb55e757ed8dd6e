"""The table of bench/run, on the terminal and in docs/performance.md, and the plots beside it."""
import datetime
import os
import pathlib
import platform
import re
import subprocess

TITLES = {"check": "stack check", "sessions": "QuerySessionList", "disks": "QueryDisks", "targets": "GetTargetList",
          "property": "GetProperty", "globals": "GetInitiatorGlobals", "initiators": "GetInitiatorList",
          "groups": "GetList 40 (portal groups)", "portals": "GetList 41 (portals)",
          "connections": "GetList 42 (connections)", "set": "SetProperty"}
GOALS = {"sessions": 1.2, "disks": 1.2, "opinitctl": float("inf")}
OTHER_GOAL = 1.3

COLUMNS = ["operation", "host", "calls", "floor", "cpu", "floor", "ratio", "wall", "floor", "ratio", "faults",
           "heap", "allocs"]
WIDTHS = [26, 36, 6, 6, 8, 8, 6, 8, 8, 6, 6, 8, 6]

# Listing, what its size is called, which rows: all others of a plot stay as they are.
PLOTS = [("sessions", "sessions", {}),
         ("disks", "luns", {}),
         ("targets", "targets", {"sessions": 64, "portals": 8}),
         ("groups", "targets", {"sessions": 64, "portals": 8})]


def title(row):
    return TITLES.get(row["operation"], f"{row['operation']} {row['argument']}")


def milliseconds(nanoseconds):
    return f"{nanoseconds / 1e6:.3f}"


def ratio(row, key):
    value = row["ours"][key] / max(row["floor"][key], 1)
    return f"{value:.2f}" + ("!" if value > GOALS.get(row["operation"], OTHER_GOAL) else "")


def cells(row):
    ours, floor = row["ours"], row["floor"]
    times = [cell for key in ("cpu", "wall")
             for cell in (milliseconds(ours[key]), milliseconds(floor[key]), ratio(row, key))]
    heap = [str(ours[key]) if key in ours else "" for key in ("faults", "heap", "allocations")]
    return [title(row), row["size"], str(ours["calls"]), str(floor["calls"]), *times, *heap]


def aligned(words):
    return "  ".join([f"{words[0]:{WIDTHS[0]}}", f"{words[1]:{WIDTHS[1]}}",
                      *(f"{word:>{width}}" for word, width in zip(words[2:], WIDTHS[2:]))]).rstrip()


def heading():
    return aligned(COLUMNS)


def line(row):
    return aligned(cells(row))


def summary(rows):
    above = sum(any(ratio(row, key).endswith("!") for key in ("cpu", "wall")) for row in rows)
    return f"{len(rows)} measured, {above} above their goal in time (milliseconds; faults and heap: the first call's)"


def machine():
    text = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"^model name\s*: (.*)$", text, re.M)
    return f"{model[1] if model else platform.machine()}, {os.cpu_count()} cores, Linux {platform.release()}, " \
           f"load {os.getloadavg()[0]:.0f}"


def table(rows):
    lines = ["| " + " | ".join(COLUMNS) + " |", "|---|---|" + "--:|" * (len(COLUMNS) - 2)]
    return lines + ["| " + " | ".join(cells(row)) + " |" for row in rows]


def plot(path, row_title, size_name, points):
    data = "\n".join(f"{size} {ours / 1e6:.4f} {floor / 1e6:.4f}" for size, ours, floor in points)
    sizes = sorted({size for size, _, _ in points})
    script = f"""
        set terminal svg size 480,320 font "sans-serif,12" noenhanced background "white"
        set output "{path}"
        set title "{row_title}"
        set logscale xy
        set xtics ({", ".join(map(str, sizes))})
        set xrange [{sizes[0] / 1.5}:{sizes[-1] * 1.5}]
        unset mytics
        set xlabel "{size_name}"
        set ylabel "wall time, ms"
        set key top left
        set grid
        $data << END
{data}
END
        plot $data using 1:2 with linespoints title "ours", $data using 1:3 with linespoints title "floor"
    """
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def plots(directory, rows):
    """Makes a plot for each listing that was measured at several sizes; their names."""
    directory.mkdir(exist_ok=True)
    names = []
    for operation, size, others in PLOTS:
        fixed = {"processes": 50} | others
        chosen = [row for row in rows if row["operation"] == operation
                  and all(row["host"][key] == value for key, value in fixed.items())]
        points = [(row["host"][size], row["ours"]["wall"], row["floor"]["wall"]) for row in chosen]
        if len({point[0] for point in points}) < 2:
            continue
        names.append(f"{operation}.svg")
        where = "".join(f", {value} {key}" for key, value in others.items())
        plot(directory / names[-1], title(chosen[0]) + where, size, sorted(points))
    return names


def write(docs, rows, command):
    """Replaces what stands between the two marks; the prose around them is written by hand."""
    path = docs / "performance.md"
    begin, end = "<!-- written by bench/run -->\n", "<!-- end of what bench/run writes -->\n"
    before, _, rest = path.read_text().partition(begin)
    _, _, after = rest.partition(end)
    text = [f"Measured on {datetime.date.today()} with `{command}`: {machine()}.", "", *table(rows), "",
            summary(rows).capitalize() + ".", ""]
    text += [f"![{name.removesuffix('.svg')}](performance/{name})" for name in plots(docs / "performance", rows)]
    path.write_text(before + begin + "\n" + "\n".join(text) + "\n\n" + end + after)
