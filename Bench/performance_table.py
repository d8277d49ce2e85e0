#!/usr/bin/env python3
"""Writes the tables of Bench/results.md, Docs/performance.md and Docs/encoding.md from what the benchmarks leave behind.

Each table replaces what stands between its two markers. Bench/results.md has everything; Docs/performance.md has the few
figures that people look for. The time of a benchmark is the best of its repetitions, in processor time.
"""
import argparse
import json
import pathlib

BENCH = pathlib.Path(__file__).resolve().parent
RESULTS = BENCH / "results.md"
SUMMARY = BENCH.parent / "Docs" / "performance.md"
ENCODING = BENCH.parent / "Docs" / "encoding.md"

# Rows of the summary: what is said, and the benchmark with its figure left open.
SUMMARY_ROWS = [
    ("Key frame, EdgeBreaker indices", "Frame/{}/Key/EdgeBreaker/float"),
    ("Key frame, list deltas", "Frame/{}/Key/List2/float"),
    ("Delta frame, plain", "Frame/{}/Delta/Plain/float"),
    ("Delta frame, Golomb", "Frame/{}/Delta/Golomb/float"),
    ("Delta frame, transforms", "Frame/{}/Delta/Transform/float"),
    ("Delta frame, Huffman", "Frame/{}/Delta/Huffman/float"),
    ("Draco", "Peer/{}/DracoDecode/default"),
    ("meshoptimizer", "Peer/{}/MeshoptimizerDecode/vertices+indices"),
    ("memcpy of a decoded frame", "Peer/{}/Memcpy/float/frame"),
]


CAPTURES = "### Captures of "


def best_runs(results):
    best = {}
    # Interleaved runs are written in the order in which they happened to be made.
    for run in sorted(results["benchmarks"], key=lambda r: r["family_index"]):
        if run.get("run_type") != "iteration" or run.get("error_occurred"):
            continue
        name = run["run_name"]
        if name not in best or run["cpu_time"] < best[name]["cpu_time"]:
            best[name] = run
    return best


def microseconds(run):
    return run["cpu_time"] * {"ns": 1e-3, "us": 1, "ms": 1e3, "s": 1e6}[run["time_unit"]]


def factor(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def subjects(best):
    return list(dict.fromkeys(name.split("/")[1] for name in best))


def times_as_fast(run, other):
    return factor(microseconds(other) / microseconds(run)) if run and other else ""


def machine(results):
    context = results["context"]
    repetitions = max(run.get("repetitions", 1) for run in results["benchmarks"])
    return (f"{context['machine']}, {context['num_cpus']} cores of {context['mhz_per_cpu'] / 1000:.1f} GHz, "
            f"{context['compiler']}, one core used, best of {repetitions}.")


def speed_summary(results):
    best = best_runs(results)
    yield machine(results)
    yield ""
    yield "| | " + " | ".join(f"{subject}, µs a frame | Bytes | × Draco" for subject in subjects(best)) + " |"
    yield "|---|" + "--:|--:|--:|" * len(subjects(best))
    for what, name in SUMMARY_ROWS:
        cells = [what]
        for subject in subjects(best):
            run = best.get(name.format(subject))
            draco = best.get(f"Peer/{subject}/DracoDecode/default")
            cells += [f"{microseconds(run):.1f}", f"{run['encoded']:,.0f}"] if run else ["", ""]
            cells.append("" if "/Memcpy/" in name else times_as_fast(run, draco))
        yield "| " + " | ".join(cells) + " |"


def speed_of(best, subject):
    meshoptimizer = best.get(f"Peer/{subject}/MeshoptimizerDecode/vertices+indices")
    memcpy = best.get(f"Peer/{subject}/Memcpy/float/frame")
    yield "| Benchmark | Time | Elements/s | Output | Encoded | Error | × Draco default | × meshoptimizer | × memcpy rate |"
    yield "|---|--:|--:|--:|--:|--:|--:|--:|--:|"
    for name, run in best.items():
        group, of, rest = name.split("/", 2)
        if of != subject:
            continue
        # Only what yields the same thing, a decoded frame or an encoded one, is comparable in time; output rates are
        # always comparable.
        encodes = group == "Encode" or rest.startswith("DracoEncode/")
        decodes = group == "Frame" or rest.startswith("DracoDecode/") or rest.endswith("/vertices+indices")
        draco = best.get(f"Peer/{subject}/Draco{'Encode' if encodes else 'Decode'}/default")
        against_draco = times_as_fast(run, draco) if encodes or decodes else ""
        against_meshoptimizer = times_as_fast(run, meshoptimizer) if decodes else ""
        against_memcpy = f"{run['bytes_per_second'] / memcpy['bytes_per_second']:.3f}" if memcpy else ""
        error = f"{run['error']:.2f}" if "error" in run else ""
        yield (f"| {group}/{rest} | {microseconds(run):.1f} µs | {run['items_per_second'] / 1e6:.1f} M "
               f"| {run['bytes_per_second'] / 1e9:.2f} GB/s | {run['encoded']:,.0f} B "
               f"| {error} | {against_draco} | {against_meshoptimizer} | {against_memcpy} |")


def speed(results):
    best = best_runs(results)
    yield machine(results)
    for subject in subjects(best):
        yield ""
        yield f"### {subject}: {results['context'][subject]}"
        yield ""
        yield from speed_of(best, subject)


def sizes_summary(text):
    """The second table of each figure that nimb_sizes prints, side by side."""
    names, rows = [], {}
    for line in text.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("### ") and not line.startswith(CAPTURES):
            names.append(line[4:].split(":")[0])
        elif cells[0] in ("Automatic", "Draco", "meshoptimizer"):
            rows.setdefault(cells[0], []).extend(cells[1:])
    yield "| | " + " | ".join(f"{name}, bytes a frame | Share of Draco's | Encoding, ms a frame" for name in names) + " |"
    yield "|---|" + "--:|--:|--:|" * len(names)
    for what, cells in rows.items():
        yield "| " + " | ".join([what, *cells]) + " |"


def captures(text):
    """The tables of captures that nimb_sizes prints, below each other."""
    yield "| | | Key frames | Bytes a frame | Draco's | Share | Matching, ms | Encoding, ms |"
    yield "|---|---|--:|--:|--:|--:|--:|--:|"
    for name, cells in capture_rows(text):
        yield "| " + " | ".join([name, *cells[:7]]) + " |"


def captures_summary(text):
    """What a content engineer wants to know of them."""
    rows, names = {}, []
    for name, cells in capture_rows(text):
        names += [] if name in names else [name]
        rows.setdefault(cells[0], []).extend([cells[1], cells[2], cells[4]])
    yield "| Frames are | " + " | ".join(f"{name}: key frames | Bytes a frame | Share of Draco's" for name in names) + " |"
    yield "|---|" + "--:|--:|--:|" * len(names)
    for how, cells in rows.items():
        yield "| " + " | ".join([how, *cells]) + " |"


def capture_rows(text):
    name = None
    for line in text.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("### "):
            name = line[len(CAPTURES):] if line.startswith(CAPTURES) else None
        elif name and len(cells) > 1 and cells[0] and not cells[0].startswith("---"):
            yield name, cells


def replace_table(path, name, text):
    begin, end = f"<!-- {name} -->", f"<!-- end of {name} -->"
    before, rest = path.read_text(encoding="utf-8").split(begin)
    path.write_text(f"{before}{begin}\n{text.strip()}\n{end}{rest.split(end)[1]}", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--speed", metavar="FILE", help="output of nimb_bench --benchmark_out=FILE (JSON)")
    parser.add_argument("--sizes", metavar="FILE", help="output of nimb_sizes")
    parser.add_argument("--player", metavar="FILE", help="output of nimb_player_bench")
    arguments = parser.parse_args()
    if arguments.speed:
        results = json.loads(pathlib.Path(arguments.speed).read_text(encoding="utf-8"))
        replace_table(RESULTS, "speed", "\n".join(speed(results)))
        replace_table(SUMMARY, "speed", "\n".join(speed_summary(results)))
    if arguments.sizes:
        text = pathlib.Path(arguments.sizes).read_text(encoding="utf-8")
        replace_table(RESULTS, "sizes", text)
        replace_table(SUMMARY, "sizes", "\n".join(sizes_summary(text)))
        replace_table(SUMMARY, "captures", "\n".join(captures(text)))
        replace_table(ENCODING, "captures", "\n".join(captures_summary(text)))
    if arguments.player:
        replace_table(SUMMARY, "player", pathlib.Path(arguments.player).read_text(encoding="utf-8"))


if __name__ == "__main__":
    main()
