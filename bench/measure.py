"""What script/bench measures, compares and draws. Instructions are callgrind's, of one process: the cost of 2n times less
that of n, so that getting ready drops out. Run by script/bench, which says how."""

import os
import statistics
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

PROGRAM = "build/release/bench/orvel_rival_bench"
GROWTH = "build/release/bench/orvel_growth_bench"
CONFIGURATION = "build/release/bench/orvel_configuration_bench"
RESULTS = Path("docs/performance")

# workload: times to count by callgrind, times for the clock, what one time stands for
WORKLOADS = {
    "insert": (1000, 20000, 1),
    "scan": (1, 20, 10000),
    "scan-names": (1, 20, 10000),
    "lookup": (1000, 20000, 1),
    "one-shot": (500, 5000, 1),
    "connect": (50, 300, 1),
}
SERVER_TIMES = {"insert": (300, 2000), "scan": (1, 5), "scan-names": (1, 5), "lookup": (300, 2000), "one-shot": (300, 2000)}
WORDS = {
    "insert": "insert of 5 values",
    "scan": "scan by index, a row of 5",
    "scan-names": "scan by name, a row of 5",
    "lookup": "lookup by key",
    "one-shot": "one-shot statement",
    "connect": "open, one-shot, close",
}
BY_HAND = {"sqlite": "by-hand", "postgresql": "libpq", "mariadb": "libmariadb"}
# What the library costs by each of its ways at most, as a multiple of the same work by hand. On PostgreSQL the limits stand
# for instructions of one operation against 3,445 for an insert, 2,928 for a row, 5,876 for a lookup, 4,898 for a one-shot.
BUDGETS = {
    ("sqlite", "orvel", "by-hand"): {"insert": 1.02, "scan": 0.80, "scan-names": 0.95, "lookup": 1.03, "one-shot": 1.02, "connect": 1.02},
    ("postgresql", "orvel", "libpq"): {"insert": 3.63, "scan": 1.95, "lookup": 2.64, "one-shot": 2.08},
    ("postgresql", "orvel-no-savepoints", "libpq"): {"insert": 2.00, "scan": 1.95, "lookup": 1.63, "one-shot": 1.63},
    ("postgresql", "orvel-odbc", "odbc"): {"insert": 1.25, "scan": 0.90, "lookup": 1.25, "one-shot": 1.25},
    ("mariadb", "orvel", "libmariadb"): {"insert": 2.44, "scan": 2.51, "lookup": 1.69, "one-shot": 1.27},
    ("mariadb", "orvel-odbc", "odbc"): {"insert": 1.25, "scan": 0.90, "lookup": 1.25, "one-shot": 1.25},
}
OURS = ("orvel", "orvel-no-savepoints", "orvel-odbc")
ALLOCATIONS = {"insert": 2, "scan": 0}  # the most of the library on SQLite, those of SQLite included
SHUFFLED = 3.0  # names in an order that changes, 1,000 columns: the most against reading by index


def run(command, engine):
    environment = dict(os.environ)
    for name in ("CONNECTION", "ODBC_CONNECTION", "PLAIN_CONNECTION", "PORT"):
        environment["ORVEL_BENCH_" + name] = os.environ.get(f"ORVEL_BENCH_{engine.upper()}_{name}", "")
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: {done.stderr[-500:]}")
    return done


def entries():
    listed = run([PROGRAM], "").stdout.split()
    return list(zip(listed[::2], listed[1::2]))


def has(engine, rival, workload):
    """Not every library reads by name, and a server's connections are not this program's work."""
    if workload == "connect" and engine != "sqlite":
        return False
    return workload != "scan-names" or rival in (*OURS, "SQLiteCpp", "Qt", "Poco", "libpqxx")


def times_of(engine, workload, clock=False):
    times = WORKLOADS[workload] if engine == "sqlite" else SERVER_TIMES[workload]
    return times[1 if clock else 0]


def difference(count, engine, rival, workload):
    """What `count` counts for one operation, and the checksum of n times."""
    times, each = times_of(engine, workload), WORKLOADS[workload][2]
    once, checksum = count(engine, rival, workload, times)
    twice, _ = count(engine, rival, workload, 2 * times)
    return (twice - once) / (times * each), checksum


def instructions(engine, rival, workload, times):
    with tempfile.NamedTemporaryFile() as output:
        tool = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={output.name}"]
        done = run([*tool, PROGRAM, engine, rival, workload, str(times)], engine)
        summary = [line for line in Path(output.name).read_text().splitlines() if line.startswith("summary: ")]
    return int(summary[0].split()[1]), done.stdout.split()[0]


def allocations(engine, rival, workload, times):
    done = run(["valgrind", "--leak-check=no", PROGRAM, engine, rival, workload, str(times)], engine)
    usage = [line for line in done.stderr.splitlines() if "total heap usage" in line][0]
    return int(usage.split("usage: ")[1].split(" allocs")[0].replace(",", "")), done.stdout.split()[0]


def counted(cases):
    """Instructions of many cases, as many at once as there are processors."""
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda case: difference(instructions, *case), cases))
    sums = {}
    for (engine, rival, workload), (_, checksum) in zip(cases, results):
        known = sums.setdefault((engine, workload.replace("-names", "")), checksum)
        if known != checksum:
            sys.exit(f"{engine}: {rival} has not read in '{workload}' what the others have")
    return {case: cost for case, (cost, _) in zip(cases, results)}


def clocked(cases, rounds=5):
    """Nanoseconds of one operation: median, least and most of rounds in which all take turns."""
    spent = {case: [] for case in cases}
    for _ in range(rounds):
        for case in cases:
            engine, rival, workload = case
            times = times_of(engine, workload, clock=True)
            answer = run([PROGRAM, engine, rival, workload, str(times)], engine).stdout.split()
            spent[case].append(float(answer[1]) / WORKLOADS[workload][2])
    return {case: (statistics.median(each), min(each), max(each)) for case, each in spent.items()}


def growth(what, *most):
    return [line.split() for line in run([GROWTH, what, *most], "").stdout.splitlines()]


def ratio(costs, engine, rival, by_hand, workload):
    return costs[engine, rival, workload] / costs[engine, by_hand, workload.replace("-names", "")]


def gate():
    cases = [("sqlite", rival, workload) for workload in WORKLOADS for rival in ("orvel", "by-hand") if has("sqlite", rival, workload)]
    costs = counted(cases)
    over = []

    def judge(name, value, limit, digits=3):
        # An allocation now and then is SQLite's: a page of the table.
        is_over = value > limit + (0.1 if name.startswith("allocations") else 0)
        print(f"{name:28} {value:10.{digits}f} {limit:8.2f}{'  over' if is_over else ''}")
        over.extend([name] if is_over else [])

    for workload, budget in BUDGETS["sqlite", "orvel", "by-hand"].items():
        judge(workload, ratio(costs, "sqlite", "orvel", "by-hand", workload), budget)
    for workload, most in ALLOCATIONS.items():
        judge(f"allocations, {workload}", difference(allocations, "sqlite", "orvel", workload)[0], most)
    lines = {(line[0], line[1]): line for line in growth("columns")}
    judge("names shuffled, 1,000 columns", float(lines["names", "1000"][3]) / float(lines["columns", "1000"][3]), SHUFFLED, 2)
    if over:
        sys.exit("over budget: " + ", ".join(over))


def table(engine, costs, times):
    first = [rival for rival in (*OURS, BY_HAND[engine], "odbc") if any((engine, rival) == case[:2] for case in costs)]
    rivals = list(dict.fromkeys(first + sorted({rival for each, rival, _ in costs if each == engine})))
    ways = [(rival, by_hand, limits) for (each, rival, by_hand), limits in BUDGETS.items() if each == engine]
    heads = [f"{rival} / {by_hand} (budget)" for rival, by_hand, _ in ways]
    lines = ["| | " + " | ".join(rivals + heads) + " |", "|---|" + "---:|" * (len(rivals) + len(heads))]
    for workload in WORKLOADS:
        if (engine, "orvel", workload) not in costs:
            continue
        cells = []
        for rival in rivals:
            case = (engine, rival, workload)
            cells.append(cell(costs[case], times.get(case)) if case in costs else "")
        for rival, by_hand, limits in ways:
            value, budget = ratio(costs, engine, rival, by_hand, workload), limits.get(workload)
            limit = "" if budget is None else f" ({budget:.2f}" + (")" if value <= budget else ", **over**)")
            cells.append(f"{value:.3f}{limit}")
        lines.append(f"| {WORDS[workload]} | {' | '.join(cells)} |")
    return lines


def cell(cost, spent):
    if spent is None:
        return f"{cost:,.0f}"
    median, least, most = (value / 1000 for value in spent)
    return f"{cost:,.0f}<br>{median:.2f} ({least:.2f} to {most:.2f}) us"


def measure(engines, with_times):
    cases = [(engine, rival, workload) for engine, rival in entries() if engine in engines for workload in WORKLOADS if has(engine, rival, workload)]
    costs = counted(cases)
    return costs, clocked(cases) if with_times else {}


# ---- pictures

COLOURS = ["#1b6ca8", "#777777", "#b5b5b5", "#d98c3f", "#7a9e3d", "#a05195", "#c44e52", "#4c9f9f"]


def svg(width, height, parts):
    style = "text{font:12px sans-serif;fill:#222}.a{text-anchor:end}.m{text-anchor:middle}"
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}">', f"<style>{style}</style>",
                      f'<rect width="{width}" height="{height}" fill="white"/>', *parts, "</svg>"]) + "\n"


def bars(engine, costs):
    """Each workload's rivals against the work by hand, which is the line at 1."""
    left, scale, most = 190, 150, 4.0
    rivals = list(dict.fromkeys(rival for each, rival, _ in costs if each == engine))
    parts, y = [], 30
    for workload in WORKLOADS:
        base = costs.get((engine, BY_HAND[engine], workload.replace("-names", "")))
        shown = [rival for rival in rivals if (engine, rival, workload) in costs]
        if base is None or "orvel" not in shown:
            continue
        parts.append(f'<text x="10" y="{y}" font-weight="bold">{WORDS[workload]}</text>')
        for rival in shown:
            y += 17
            value = costs[engine, rival, workload] / base
            length = min(value, most) * scale
            parts.append(f'<text x="{left - 8}" y="{y + 4}" class="a">{rival}</text>')
            parts.append(f'<rect x="{left}" y="{y - 6}" width="{length:.1f}" height="12" fill="{COLOURS[rivals.index(rival) % len(COLOURS)]}"/>')
            parts.append(f'<text x="{left + length + 5:.1f}" y="{y + 4}">{value:.2f}{" (bar cut)" if value > most else ""}</text>')
        y += 30
    parts.append(f'<line x1="{left + scale}" y1="20" x2="{left + scale}" y2="{y - 20}" stroke="#222" stroke-dasharray="3,3"/>')
    parts.append(f'<text x="{left + scale}" y="14" class="m">{BY_HAND[engine]} = 1</text>')
    return svg(left + int(most * scale) + 110, y, parts)


def curve(title, unit, series):
    """Lines over a logarithmic number, from 0 upwards."""
    import math
    width, height, left, bottom = 640, 300, 70, 40
    numbers = sorted({x for line in series.values() for x, _ in line})
    top = max(y for line in series.values() for _, y in line) * 1.15
    low, high = math.log10(numbers[0]), math.log10(numbers[-1]) or 1

    def at(x, y):
        return left + (math.log10(x) - low) / (high - low) * (width - left - 170), height - bottom - y / top * (height - bottom - 40)

    parts = [f'<text x="10" y="18" font-weight="bold">{title}</text>', f'<text x="10" y="36">{unit}</text>']
    for x in numbers:
        parts.append(f'<text x="{at(x, 0)[0]:.1f}" y="{height - bottom + 18}" class="m">{x:,}</text>')
    for step in range(5):
        y = top * step / 4
        parts.append(f'<line x1="{left}" x2="{width - 170}" y1="{at(numbers[0], y)[1]:.1f}" y2="{at(numbers[0], y)[1]:.1f}" stroke="#ddd"/>')
        parts.append(f'<text x="{left - 6}" y="{at(numbers[0], y)[1] + 4:.1f}" class="a">{y:.3g}</text>')
    for index, (name, line) in enumerate(series.items()):
        points = " ".join(f"{at(x, y)[0]:.1f},{at(x, y)[1]:.1f}" for x, y in line)
        parts.append(f'<polyline points="{points}" fill="none" stroke="{COLOURS[index]}" stroke-width="2"/>')
        parts.append(f'<text x="{width - 160}" y="{60 + index * 18}" style="fill:{COLOURS[index]}">{name}</text>')
    return svg(width, height, parts)


def grown():
    """Series of every growth, by the file they are drawn in."""
    def pick(lines, what, column):
        return [(int(line[1]), float(line[column])) for line in lines if line[0] == what]

    rows, columns, threads = growth("rows", "10000000"), growth("columns"), growth("threads")
    templates = [line.split() for line in run([CONFIGURATION], "").stdout.splitlines() if not line.startswith("#")]
    return {
        "rows": ("Scan by rows of the table", "ns a row of 3", {"by hand": pick(rows, "rows", 2), "orvel": pick(rows, "rows", 3)}),
        "columns": ("Scan by columns of the result", "ns a field",
                    {"by hand": pick(columns, "columns", 2), "orvel by index": pick(columns, "columns", 3),
                     "by name, in order": pick(columns, "names", 2), "by name, shuffled": pick(columns, "names", 3)}),
        "threads": ("Scan by threads, all together", "ns a row of 3", {"by hand": pick(threads, "threads", 2), "orvel": pick(threads, "threads", 3)}),
        "templates": ("Lookup of a template by their number", "us a lookup",
                      {"first": [(int(line[0]), float(line[1])) for line in templates], "last": [(int(line[0]), float(line[2])) for line in templates]}),
    }


def document():
    costs, times = measure(BY_HAND, with_times=True)
    RESULTS.mkdir(exist_ok=True)
    lines = ["engine\trival\tworkload\tinstructions\tmedian ns\tleast ns\tmost ns"]
    lines += ["\t".join([*case, f"{cost:.1f}", *(f"{value:.1f}" for value in times[case])]) for case, cost in costs.items()]
    page = Path("docs/performance.md").read_text()
    for engine in BY_HAND:
        (RESULTS / f"{engine}.svg").write_text(bars(engine, costs))
        page = replaced(page, engine, table(engine, costs, times))
    for name, (title, unit, series) in grown().items():
        (RESULTS / f"{name}.svg").write_text(curve(title, unit, series))
        lines += [f"growth\t{series_name}\t{name} {x}\t\t{y}\t\t" for series_name, line in series.items() for x, y in line]
        header = ["| | " + " | ".join(f"{x:,}" for x, _ in next(iter(series.values()))) + " |"]
        header += ["|---|" + "---:|" * len(next(iter(series.values())))]
        page = replaced(page, name, header + [f"| {series_name} | " + " | ".join(f"{y:.3g}" for _, y in line) + " |" for series_name, line in series.items()])
    (RESULTS / "results.tsv").write_text("\n".join(lines) + "\n")
    Path("docs/performance.md").write_text(page)


def replaced(page, name, lines):
    """The page with another table between the two marks of that name."""
    begin, end = f"<!-- {name} -->\n", f"<!-- end of {name} -->"
    head, rest = page.split(begin)
    return head + begin + "\n".join(lines) + "\n" + end + rest.split(end)[1]


def show(engines):
    costs, _ = measure(engines, with_times=False)
    for engine in engines:
        print(f"\n{engine}: instructions of one operation\n" + "\n".join(table(engine, costs, {})))


if __name__ == "__main__":
    {"gate": gate, "document": document}.get(sys.argv[1], lambda: show(sys.argv[1:]))()
