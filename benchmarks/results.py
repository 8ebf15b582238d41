"""Runs benchmark programs and reads what they print; shared by `report` and `compare`."""

import json
import pathlib
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]


def say(text):
    print(text, file=sys.stderr, flush=True)


def build(source, folder, targets=("benchmarks",)):
    """Configures and builds the benchmarks of a source tree as they are released."""
    configure = ["cmake", "-S", source, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DMELDRA3D_BENCHMARKS=ON"]
    if not (folder / "CMakeCache.txt").exists():
        configure += [f"-DMELDRA3D_{part}=OFF" for part in ("TESTS", "PYTHON", "EXAMPLES")]
    for command in (configure, ["cmake", "--build", folder, "-j", "2", "--target", *targets]):
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(done.stdout[-5000:] + done.stderr[-5000:])


def programs(folder):
    """The benchmark programs of a build by name."""
    found = [*(folder / "benchmarks").glob("*_bench"), *(folder / "benchmarks/peers").glob("*_peer")]
    return {path.name: path for path in sorted(found)}


def names(program, pattern="."):
    listed = subprocess.run([program, "--benchmark_list_tests", f"--benchmark_filter={pattern}"], capture_output=True, text=True)
    return [line for line in listed.stdout.splitlines() if line.startswith("BM_")]


def exactly(wanted):
    """A regular expression for some names, which have no character that means more than itself."""
    return "^(" + "|".join(sorted(wanted)) + ")$"


def measure(program, pattern, repetitions=1, seconds=0.05):
    """Runs the benchmarks that match, repetitions in random order, and gives for each name: `times` (CPU seconds of
    one iteration, one for each repetition), `time` (their median), `items` (items of one iteration) and the counters.
    A benchmark that says its result is wrong ends the run.
    """
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        done = subprocess.run(
            [program, f"--benchmark_filter={pattern}", f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={seconds}",
             "--benchmark_enable_random_interleaving=true", f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
            capture_output=True, text=True)
        if done.returncode != 0:
            raise SystemExit(f"{program} failed:\n{done.stdout[-2000:]}{done.stderr[-2000:]}")
        text = pathlib.Path(out.name).read_text()
    results = {}
    for run in json.loads(text)["benchmarks"] if text.strip() else []:
        if run.get("error_occurred"):
            raise SystemExit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] != "iteration":
            continue
        seconds_each = run["cpu_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}[run["time_unit"]]
        known = results.setdefault(run["run_name"], {**run, "times": []})
        known["times"].append(seconds_each)
        if "items_per_second" in run:
            known["items"] = run["items_per_second"] * seconds_each
    for known in results.values():
        known["time"] = statistics.median(known["times"])
    return results
