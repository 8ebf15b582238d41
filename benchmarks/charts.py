"""The charts of docs/performance.md."""

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

# The same drawing for the same figures.
matplotlib.rcParams["svg.hashsalt"] = "performance"
ORDERS = {"grid": "#4477aa", "shuffled": "#cc6677", "delaunay": "#228833"}


def save(figure, path):
    figure.savefig(path, bbox_inches="tight", metadata={"Date": None})
    plt.close(figure)


def ratios(scores, path):
    """A bar for each goal: measured over demanded, 1 and more is reached."""
    figure, axes = plt.subplots(figsize=(7, 0.22 * len(scores) + 0.6))
    places = range(len(scores), 0, -1)
    axes.barh(places, [score - 1 for _, score in scores], left=1, height=0.7,
              color=["#228833" if score >= 1 else "#cc6677" for _, score in scores])
    axes.set_xscale("log")
    axes.axvline(1, color="black", linewidth=0.8)
    axes.set_yticks(list(places), [name for name, _ in scores], fontsize=6)
    axes.set_xlabel("measured over demanded")
    axes.set_ylim(0.3, len(scores) + 0.7)
    axes.spines[["top", "right"]].set_visible(False)
    save(figure, path)


def growth(lines, path):
    """A small chart for each call and kind: nanoseconds an element over the number of elements, a line for each order."""
    columns = 5
    rows = max(1, -(-len(lines) // columns))
    figure, grid = plt.subplots(rows, columns, figsize=(11, 1.7 * rows), sharex=True, squeeze=False)
    for axes in grid.flat[len(lines):]:
        axes.set_visible(False)
    for axes, ((call, kind), orders) in zip(grid.flat, sorted(lines.items())):
        for order, points in orders.items():
            axes.loglog([n for n, _ in points], [cost for _, cost in points], marker="o", markersize=3, linewidth=1,
                        color=ORDERS.get(order, "black"), label=order)
        lowest = min(cost for points in orders.values() for _, cost in points)
        highest = max(cost for points in orders.values() for _, cost in points)
        axes.set_ylim(lowest / 2, highest * 2)
        axes.set_title(f"{call}\n{kind}", fontsize=6)
        axes.tick_params(labelsize=5, which="both")
        axes.spines[["top", "right"]].set_visible(False)
    handles = [plt.Line2D([], [], color=colour, marker="o", markersize=3, label=order) for order, colour in ORDERS.items()]
    figure.legend(handles=handles, loc="lower center", ncols=3, fontsize=7, bbox_to_anchor=(0.5, -0.02))
    figure.tight_layout()
    save(figure, path)
