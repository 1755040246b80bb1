#!/usr/bin/env python3
"""usage: bench_report.py TIMES.json [COPY]

Turns the times of Google Benchmark into Markdown: for each group of rows a table of medians, in
nanoseconds an element at each array size, and ratios to the group's fastest peer and its limit.
With COPY, fails unless that copy of the library was measured.
"""
import collections
import json
import re
import statistics
import sys

UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
PEER, LIMIT = "peer ", "limit: "
RATIO_SIZES = (4096, 10_000_000)


def read_medians(runs):
    """{group: {row: {n: nanoseconds an element}}}; n is None for rows without a size."""
    samples = collections.defaultdict(list)
    # Interleaved runs come in random order; families are numbered as they were registered.
    for run in sorted(runs, key=lambda run: run["family_index"]):
        if run.get("run_type") == "aggregate" or run.get("error_occurred"):
            continue
        # A row's own name may hold slashes; the size, if any, is the last part.
        group, row, size = re.fullmatch(r"([^/]+)/(.*?)(?:/(\d+))?", run["run_name"]).groups()
        n = int(size) if size else None
        samples[group, row, n].append(run["cpu_time"] * UNITS[run["time_unit"]] / (n or 1))
    groups = collections.defaultdict(lambda: collections.defaultdict(dict))
    for (group, row, n), times in samples.items():
        groups[group][row][n] = statistics.median(times)
    return groups


def format_size(n):
    return f"{n:,}" if n < 1_000_000 else f"{n / 1e6:g} million"


def format_time(nanoseconds):
    if nanoseconds is None:
        return ""
    return f"{nanoseconds:.3g}" if nanoseconds < 100 else f"{nanoseconds:,.0f}"


def format_ratio(numerator, denominator):
    return f"{numerator / denominator:.2f}" if numerator and denominator else ""


def print_table(header, rows):
    print("| " + " | ".join(header) + " |")
    print("|---|" + "---:|" * (len(header) - 1))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def print_sized_group(rows):
    sizes = sorted({n for times in rows.values() for n in times})
    ratio_sizes = [n for n in RATIO_SIZES if n in sizes]
    ours = [r for r in rows if not r.startswith((PEER, LIMIT))]
    peers = [r for r in rows if r.startswith(PEER)]
    limits = [r for r in rows if r.startswith(LIMIT)]
    fastest = {n: min((rows[p][n] for p in peers if n in rows[p]), default=None) for n in sizes}
    limit = {n: min((rows[r][n] for r in limits if n in rows[r]), default=None) for n in sizes}

    header = ["n"] + [format_size(n) for n in sizes]
    for n in ratio_sizes:
        header += ([f"peer/this, {format_size(n)}"] if peers else [])
        header += ([f"this/limit, {format_size(n)}"] if limits else [])
    table = []
    for row in ours + peers + limits:
        times = rows[row]
        cells = [row] + [format_time(times.get(n)) for n in sizes]
        for n in ratio_sizes:
            cells += [format_ratio(fastest[n], times.get(n))] if peers else []
            cells += [format_ratio(times.get(n), limit[n])] if limits else []
        table.append(cells)
    print_table(header, table)


def print_report(data):
    context = data["context"]
    print(f"Copy `{context['copy']}`, {context['num_cpus']} processors of "
          f"{context['mhz_per_cpu'] / 1000:.1f} GHz, {context['date'][:10]}. "
          "Medians in nanoseconds an element.")
    print("'peer/this' is the time of the group's fastest peer over this row's: above 1 this row "
          "is faster.")
    print("'this/limit' is this row's time over that of a plain store of the array.\n")
    unsized = {}
    for group, rows in read_medians(data["benchmarks"]).items():
        if all(None in times for times in rows.values()):
            unsized[group] = rows
        else:
            print(f"### {group}\n")
            print_sized_group(rows)
    if unsized:  # groups side by side, since they have the same rows
        print("### Services, nanoseconds a call\n")
        names = list(dict.fromkeys(row for rows in unsized.values() for row in rows))
        print_table([""] + list(unsized), [
            [name] + [format_time(rows.get(name, {}).get(None)) for rows in unsized.values()]
            for name in names])


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        data = json.load(file)
    measured = data["context"]["copy"]
    if len(sys.argv) == 3 and measured != sys.argv[2]:
        sys.exit(f"bench_report.py: this processor ran the copy {measured}, not {sys.argv[2]}")
    print_report(data)


if __name__ == "__main__":
    main()
