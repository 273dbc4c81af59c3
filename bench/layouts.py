#!/usr/bin/env python3
"""Compares our own figures of two versions, without what the place of the code does to them.

  bench/layouts.py TREE OTHER [NAME...]   each has build/bench, built with `cmake --preset bench`

The same instructions take up to 1.5 times as long elsewhere, and each change moves the code behind it. So
both versions are linked six times, with more or less in front of their code, and measured in turn in random
order: the benchmarks named, or all that BENCHMARKS lists. Prints, for each figure that both have, the median
of TREE over that of OTHER, and how many times as long OTHER takes in its slowest layout as in its fastest.
"""
import collections
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile

BENCHMARKS = ["check", "dispatch", "log", "lookup", "reflection"]
ROUNDS = 2
# In bytes: all places in a cache line, and two that are further away.
SHIFTS = [0, 16, 32, 48, 1040, 2096]


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def filler(folder, size):
    """An object file that has so many bytes of code."""
    source = folder / f"fill{size}.s"
    source.write_text(
        f'.text\n.balign 64\n.rept {size}\nint3\n.endr\n.section .note.GNU-stack,"",@progbits\n'
    )
    output("cc", "-c", source, "-o", source.with_suffix(".o"))
    return source.with_suffix(".o")


def link(build, names, target, first):
    """Links the benchmarks and the libraries once more, into `target`, with the object `first` in front."""
    (target / "bin").mkdir(parents=True)
    (target / "lib").mkdir()
    programs = [f"bench_{name}" for name in names]
    for line in output("ninja", "-t", "commands", *programs, cwd=build).splitlines():
        made = re.search(r" -o ((?:bin/bench_\w+|lib/lib\w+\.so)[.0-9]*) ", line)
        if not made:
            continue
        command = line.split("&&")[1].replace(f" -o {made[1]} ", f" -o {target / made[1]} ")
        output("sh", "-c", re.sub(r" \S+\.o ", lambda at: f" {first}{at[0]}", command, count=1), cwd=build)
        for soname in re.findall(r"-soname,(\S+)", command):
            if not (target / "lib" / soname).exists():
                os.symlink(os.path.basename(made[1]), target / "lib" / soname)


def measure(program, layout, figures):
    results = output(program, "--benchmark_filter=^ours/", "--benchmark_format=json",
                     "--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true",
                     "--benchmark_min_time=0.03", stderr=subprocess.DEVNULL)
    for result in json.loads(results)["benchmarks"]:
        if result.get("aggregate_name") == "median":
            name = f"{program.name[len('bench_'):]} {result['run_name'][len('ours/'):]}"
            figures[name][layout].append(result["real_time"])


def median(layouts):
    return statistics.median(time for times in layouts for time in times)


def main(trees, names):
    # By tree, name, and layout.
    figures = [collections.defaultdict(lambda: collections.defaultdict(list)) for _ in trees]
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        runs = []
        for of, tree in zip(figures, trees):
            for size in SHIFTS:
                layout = folder / f"{len(runs)}"
                link(pathlib.Path(tree) / "build/bench", names, layout, filler(folder, size))
                runs += [(layout / "bin" / f"bench_{name}", size, of) for name in names]
        for _ in range(ROUNDS):
            random.shuffle(runs)
            for run in runs:
                measure(*run)
    both = figures[0].keys() & figures[1].keys()
    ratios = {name: median(figures[0][name].values()) / median(figures[1][name].values())
              for name in both}
    for name, ratio in sorted(ratios.items(), key=lambda item: -item[1]):
        layouts = [statistics.median(times) for times in figures[1][name].values()]
        print(f"{ratio:.3f}  {name:28} layouts {max(layouts) / min(layouts):.2f}")
    print(f"median {statistics.median(ratios.values()):.3f} of {len(ratios)} figures; "
          f"{sum(ratio > 1.05 for ratio in ratios.values())} are worse by more than 5 %")


if __name__ == "__main__":
    if len(sys.argv) < 3 or not set(sys.argv[3:]) <= set(BENCHMARKS):
        sys.exit(__doc__)
    main(sys.argv[1:3], sys.argv[3:] or BENCHMARKS)
