"""Tables, ratios and goals, from the runs."""
import math
import statistics

import cases
import variants

# case, variant, what is asked for, and a function of the medians that returns what came and its limit.
GOALS = [
    ("carrier", "ufdd", "at most 10", lambda m: (m["ufdd"], 10)),
    ("carrier", "ufdd", "at most networkd, tuned, and 5", lambda m: (m["ufdd"], m["networkd-tuned"] + 5)),
    ("row", "ufdd", "at most 20", lambda m: (m["ufdd"], 20)),
    ("silent", "ufdd-bfd", "at most 1.1 times BGP with BFD", lambda m: (m["ufdd-bfd"], 1.1 * m["bgp-bfd"])),
    ("silent", "ufdd-neighbour", "at most 2000", lambda m: (m["ufdd-neighbour"], 2000)),
    ("late", "ufdd", "0", lambda m: (m["ufdd"], 0)),
    ("killed", "ufdd", "0", lambda m: (m["ufdd"], 0)),
]


def lost(record):
    """Returns how many packets a run counts as lost: those that were sent since the case's mark."""
    # The mark is taken just before the act, so that the first packets that it costs count.
    since = record["marks"][cases.ALL[record["case"]].since] * 1e6
    total = 0
    for stream, begin, end, count in record["lost"]:
        if stream == "control" or end < since:
            continue
        part = 1.0 if begin >= since else (end - since) / (end - begin)
        total += round(count * part)
    return total


def percentile(values, part):
    return sorted(values)[max(math.ceil(part * len(values)), 1) - 1]


def by_cell(records):
    """Returns the runs of each cell, by case and variant, in the order of the tables."""
    found = {}
    for name in cases.ALL:
        for variant in variants.ALL:
            runs = [r for r in records if r["kind"] == "run" and (r["case"], r["variant"]) == (name, variant)]
            if runs:
                found.setdefault(name, {})[variant] = runs
    return found


def medians(row):
    return {variant: statistics.median(map(lost, runs)) for variant, runs in row.items()}


def ratio(ours, theirs):
    if theirs:
        return f"{ours / theirs:.4f}"
    return "1" if ours == 0 else "inf"


def print_table(found):
    for name, row in found.items():
        about = cases.ALL[name]
        print(f"{name}: {about.title}")
        print(f"  {'packets lost':24} {'runs':>5} {'median':>8} {'p95':>8} {'worst':>8} {'left shut':>10}")
        for variant, runs in row.items():
            counts = [lost(r) for r in runs]
            print(
                f"  {variants.ALL[variant].title:24} {len(counts):5} {statistics.median(counts):8g}"
                f" {percentile(counts, 0.95):8} {max(counts):8}"
                f" {sum(r['left_shut'] for r in runs):10}"
            )
        print()


def print_ratios(found):
    """Prints ratios of medians. Ours is ufdd, and with a check as well where only a check can see the failure."""
    for name, row in found.items():
        middle = medians(row)
        for ours in variants.OURS:
            if ours not in middle or (ours != "ufdd" and name != "silent"):
                continue
            case = name + ours.removeprefix("ufdd")
            for peer, value in middle.items():
                if peer not in variants.OURS:
                    print(f"ratio fabric {peer} {case} {ratio(middle[ours], value)}")


def print_goals(found):
    """Prints which goals are met, by the medians."""
    for name, variant, words, judge in GOALS:
        about = f"goal {name}, {variants.ALL[variant].title}: {words}"
        try:
            value, limit = judge(medians(found.get(name, {})))
        except KeyError:
            print(f"{about}: not measured")
            continue
        print(f"{about}: {'met' if value <= limit else 'MISSED'}, {value:g} (limit {limit:g})")


def print_bench(records):
    """Prints what the bench itself did."""
    runs = [r for r in records if r["kind"] == "run"]
    spoiled = [r for r in records if r["kind"] == "spoiled"]
    print(f"{len(runs)} runs; {len(spoiled)} more were repeated, since the bench itself lost packets")
    for record in spoiled:
        print(f"  {record['variant']}, {record['case']}: {record['why']}")
    for record in (r for r in records if r["kind"] == "absent"):
        print(f"NOT TRIED: {record['variant']}: {record['why']}")
    late = percentile([r["late_us"] for r in runs], 0.95) / 1000 if runs else 0
    print(f"in 95 of 100 runs, no packet was sent more than {late:.1f} ms late")
    for name in cases.ALL:
        seconds = [r["seconds"] for r in runs if r["case"] == name]
        if seconds:
            print(f"  a run of {name} takes {statistics.median(seconds):.1f} s")
