#!/usr/bin/env python3
"""Prints what bench/run.py has measured as a table: each ratio with its bar, and whether the bar is reached.

    bench/report.py [--markdown] [--all] [--compare BEFORE.json] [--into FILE.md] RESULTS.json
"""

import argparse
import fnmatch
import json
import pathlib


def matches(bar, figures):
    """Pairs of the figures that a bar is about and what they are compared with, if anything."""
    for name in figures:
        if not fnmatch.fnmatch(name, bar["figure"]) or ("#" in name) != ("#" in bar["figure"]):
            continue
        beside = bar.get("beside")
        if beside is None:
            yield name, None
            continue
        subject, slash, condition = name.partition("/")
        other = beside if "/" in beside else f"{subject}_{beside}{slash}{condition}"
        if other in figures:
            yield name, other


def number(value):
    return f"{value:,.0f}" if abs(value) >= 100 else f"{value:#.3g}"


def quantity(figures, name):
    if name not in figures:
        return ""
    figure = figures[name]
    return f"{number(figure['median'])} {figure['unit']}"


def spread(ratio):
    return "" if ratio["spread"] is None or ratio["runs"] < 2 else f"±{50 * ratio['spread']:.0f} %"


def earlier(before, comparison):
    """The figure and the ratio of before, where there are."""
    if before is None:
        return []
    same = [each for each in before["comparisons"]
            if (each["figure"], each["beside"]) == (comparison["figure"], comparison["beside"])]
    ratio = number(same[0]["ratio"]["median"]) if same and comparison["beside"] else ""
    return [quantity(before["figures"], comparison["figure"]), ratio]


def row(results, before, comparison):
    figures, ratio = results["figures"], comparison["ratio"]
    if ratio is None:
        return [comparison["figure"]] + [""] * (len(head(before)) - 1)
    cells = [comparison["figure"], *earlier(before, comparison), quantity(figures, comparison["figure"])]
    if comparison["beside"]:
        cells += [f"{comparison['beside'].split('/')[0].partition('_')[2] or comparison['beside']} "
                  f"{quantity(figures, comparison['beside'])}", number(ratio["median"])]
    else:
        cells += ["", ""]
    return cells + [spread(ratio)]


def head(before):
    return ["figure", *(["before", "ratio"] if before else []), "now", "beside", "ratio", "spread"]


def aligned(rows):
    widths = [max(len(cells[i]) for cells in rows) for i in range(len(rows[0]))]
    return ["  " + "  ".join(cell.ljust(width) for cell, width in zip(cells, widths)).rstrip() for cells in rows]


def table(title, rows, markdown):
    if markdown:
        lines = ["| " + " | ".join(cells) + " |" for cells in rows]
        return [f"### {title}", "", lines[0], "|" + "---|" * len(rows[0]), *lines[1:], ""]
    return [title, *aligned(rows), ""]


def with_bars(results, before, markdown):
    compared = [each for each in results["comparisons"] if "bar" in each]
    if not compared:
        return []
    titles = [f"{each['work']}: {each['bar']}" for each in compared]
    missed = {title for title, each in zip(titles, compared) if not each["reached"]}
    summary = f"{len(set(titles)) - len(missed)} of {len(set(titles))} bars reached"
    rows = [row(results, before, each) for each in compared]
    outcome = [("yes" if each["reached"] else "no") if each["ratio"] else "not measured" for each in compared]
    rows = [[*head(before), "reached"]] + [[*cells, word] for cells, word in zip(rows, outcome)]
    if markdown:
        names = [["work and bar"]] + [[title if title not in titles[:i] else ""] for i, title in enumerate(titles)]
        return table(summary, [name + cells for name, cells in zip(names, rows)], True)
    lines = aligned(rows)
    shown = [summary, "", lines[0]]
    for i, (title, line) in enumerate(zip(titles, lines[1:])):
        shown += ([title] if title not in titles[:i] else []) + [line]
    return shown + [""]


def without_bars(results, before, markdown):
    compared = [each for each in results["comparisons"] if "bar" not in each]
    rows = [head(before)] + [row(results, before, each) for each in compared]
    return table("Compared without a bar", rows, markdown) if compared else []


def alone(results, before, markdown):
    """Figures that nothing is compared with."""
    compared = {each[key] for each in results["comparisons"] for key in ("figure", "beside")}
    rows = [["figure", *(["before"] if before else []), "now", "spread"]]
    for name, figure in results["figures"].items():
        if name not in compared:
            was = [quantity(before["figures"], name)] if before else []
            rows.append([name, *was, quantity(results["figures"], name), spread(figure)])
    return table("By themselves", rows, markdown) if len(rows) > 1 else []


def introduction(results):
    machine = results["machine"]
    changed = " with changes" if results["changed"] else ""
    changed += ", fast paths off (RKSIGNAL_PLAIN=1)" if results["plain_paths"] else ""
    return [f"{machine['processor']}, {machine['processors']} processors, {machine['memory_MiB']:,} MiB; "
            f"{results['compiler']}; commit {results['commit']}{changed}; {results['started']}",
            f"Medians of {results['runs']} processes each; load {results['load_before'][0]} before, "
            f"{results['load_after'][0]} after; {results['seconds']} s", ""]


def text(results, before=None, markdown=False, everything=False):
    lines = introduction(results) + with_bars(results, before, markdown) + without_bars(results, before, markdown)
    if everything:
        lines += alone(results, before, markdown)
    return "\n".join(lines).rstrip()


def put_into(path, tables):
    """Replaces what stands between the two marks of a Markdown file."""
    start, end = "<!-- results: begin -->", "<!-- results: end -->"
    head, found, rest = path.read_text().partition(start)
    _, found_end, tail = rest.partition(end)
    if not found or not found_end:
        raise SystemExit(f"{path} has no lines {start} and {end}")
    path.write_text(f"{head}{start}\n\n{tables}\n\n{end}{tail}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results", metavar="RESULTS.json", type=pathlib.Path)
    parser.add_argument("--markdown", action="store_true")
    parser.add_argument("--all", action="store_true", help="also figures that nothing is compared with")
    parser.add_argument("--compare", metavar="BEFORE.json", type=pathlib.Path, help="show these, too")
    parser.add_argument("--into", metavar="FILE.md", type=pathlib.Path, help="put the tables between its two marks")
    arguments = parser.parse_args()
    before = json.loads(arguments.compare.read_text()) if arguments.compare else None
    results = json.loads(arguments.results.read_text())
    if arguments.into:
        put_into(arguments.into, text(results, before, True, arguments.all))
    else:
        print(text(results, before, arguments.markdown, arguments.all))


if __name__ == "__main__":
    main()
