"""Pictures of the packets that arrive over time, with all variants one above the other."""
import statistics

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

import cases  # noqa: E402
import variants  # noqa: E402
from bed import RATE  # noqa: E402
from report import lost, percentile  # noqa: E402

DRAWN = {
    "carrier": "An uplink loses its carrier",
    "silent": "An uplink fails silently: its far side is dead, the carrier stays",
    "late": "An uplink is back, and the leaf's route 1 s later",
}
BIN = 0.005  # Seconds of a count in the results.
JOINED = 2  # Counts of the results that are drawn as one.
OURS, OTHERS, LOST, INK = "#3f73c8", "#9aa3af", "#e5606b", "#222"
STYLE = {
    "svg.fonttype": "none",
    "svg.hashsalt": "fabric",
    "font.family": "sans-serif",
    "font.size": 10,
    "text.color": INK,
    "axes.edgecolor": "#d0d4da",
    "xtick.color": "#555",
    "path.simplify_threshold": 0.5,
}


def typical(runs):
    """Returns the run with the median of lost packets."""
    middle = statistics.median_low(map(lost, runs))
    return next(r for r in runs if lost(r) == middle)


def lost_in_bins(record):
    """Returns how many packets were lost that were sent in each bin."""
    bins = [0] * (len(record["arrived"]) // JOINED)
    for stream, begin, end, count in record["lost"]:
        if stream != "control":
            # Packets in a row were sent at equal distances.
            for n in range(count):
                at = begin + (end - begin) * n / max(count - 1, 1)
                bins[min(int(at / 1e6 / (BIN * JOINED)), len(bins) - 1)] += 1
    return bins


def stairs(counts, begin, end):
    """Returns when a count changes, since the failure, and to what share of the packets sent, in a hundred."""
    full = 2 * RATE * BIN * JOINED
    times, shares = [], []
    for i, count in enumerate(counts):
        at = i * BIN * JOINED - begin
        # Coarse, so that the picture has few points.
        share = min(5 * round(20 * count / full), 100)
        if at < end and (not shares or share != shares[-1]):
            times.append(at)
            shares.append(share)
    return times + [end], shares + shares[-1:]


def draw_strip(axes, variant, runs, end):
    """Draws a typical run. Returns when its marks were, in seconds since the failure."""
    record = typical(runs)
    begin = record["marks"]["fails"]
    times, shares = stairs(lost_in_bins(record), begin, end)
    arrived = [100 - share for share in shares]
    axes.fill_between(times, arrived, 0, step="post", color=OURS if variant in variants.OURS else OTHERS, linewidth=0)
    axes.fill_between(times, arrived, 100, step="post", color=LOST, linewidth=0)
    axes.set_ylim(0, 104)
    axes.set_yticks([])
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
    axes.text(-0.015, 0.5, variants.ALL[variant].title, transform=axes.transAxes, ha="right", va="center",
              fontweight="bold" if variant in variants.OURS else "normal")  # fmt: skip
    counted = [lost(r) for r in runs]
    axes.text(1.015, 0.62, f"{statistics.median(counted):,g} lost", transform=axes.transAxes, ha="left", va="center",
              fontweight="bold")  # fmt: skip
    axes.text(1.015, 0.2, f"worst {max(counted):,}", transform=axes.transAxes, ha="left", va="center", fontsize=8, color="#555")
    return {mark: at - begin for mark, at in record["marks"].items()}


def picture(name, row, path):
    about = cases.ALL[name]
    end = about.seconds - about.acts[0][0]
    figure, strips = plt.subplots(len(row), 1, sharex=True, figsize=(9.2, 1.3 + 0.52 * len(row)), squeeze=False)
    figure.subplots_adjust(left=0.225, right=0.88, top=1 - 0.85 / figure.get_figheight(), bottom=0.42 / figure.get_figheight(), hspace=0.28)
    marks = {}
    for axes, (variant, runs) in zip(strips[:, 0], row.items()):
        marks = draw_strip(axes, variant, runs, end)
    for axes in strips[:, 0]:
        for at in marks.values():
            axes.axvline(at, color=INK, linewidth=0.8, linestyle=(0, (2, 2)))
    for mark, at in marks.items():
        strips[0, 0].annotate(mark, (at, 104), xytext=(0, 3), textcoords="offset points", ha="center", fontsize=9)
    strips[-1, 0].set_xlim(-about.acts[0][0] * 0.6, end)
    strips[-1, 0].xaxis.set_major_formatter(lambda at, _: f"{at:g} s")
    least = min(len(runs) for runs in row.values())
    figure.text(0.02, 1 - 0.24 / figure.get_figheight(), DRAWN[name], fontsize=13, fontweight="bold", va="center")
    figure.text(
        0.02,
        1 - 0.46 / figure.get_figheight(),
        f"Packets of a host that arrive, {2 * RATE:,} sent a second, half of them over this leaf; red: lost. "
        f"The median of {least} runs" + (", counted since it is back." if about.since == "is back" else "."),
        fontsize=9,
        color="#555",
        va="center",
    )
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def pictures(found, folder):
    """Draws the pictures whose cases were measured. Returns their paths."""
    folder.mkdir(parents=True, exist_ok=True)
    paths = []
    with plt.rc_context(STYLE):
        for name in DRAWN:
            if name in found:
                paths.append(folder / f"packets-{name}.svg")
                picture(name, found[name], paths[-1])
    return paths
