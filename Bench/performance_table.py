#!/usr/bin/env python3
"""Writes the tables of Docs/performance.md from what the benchmark programs leave behind.

Each table replaces what stands between its two markers in the page. The time of a benchmark is the best of its
repetitions, in processor time.
"""
import argparse
import json
import pathlib

# Section of the page, and what it is made from.
PARTS = {
    "results": "nimb_bench --benchmark_out=FILE (JSON)",
    "sizes": "nimb_sizes",
    "player": "nimb_player_bench",
}

# (what, ours, theirs, least factor: their time over ours)
GOALS = [
    ("Key frame, EdgeBreaker indices", "Frame/{}/Key/EdgeBreaker/float", "Peer/{}/DracoDecode/default", 10),
    ("Delta frame, Golomb", "Frame/{}/Delta/Golomb/float", "Peer/{}/DracoDecode/default", 25),
    ("Delta frame, Huffman", "Frame/{}/Delta/Huffman/float", "Peer/{}/DracoDecode/default", 25),
    ("Key frame, list deltas", "Frame/{}/Key/List2/float", "Peer/{}/Memcpy/float/frame", 1 / 3),
    ("Encoding, mean of a clip", "Encode/Body/Clip/automatic", "Peer/Body/DracoEncode/default", 1),
    ("Mark: delta frame, plain", "Frame/{}/Delta/Plain/float", "Peer/{}/MeshoptimizerDecode/vertices+indices", 1),
    ("Mark: delta frame, Golomb", "Frame/{}/Delta/Golomb/float", "Peer/{}/MeshoptimizerDecode/vertices+indices", 1),
    ("Mark: delta frame, transforms", "Frame/{}/Delta/Transform/float", "Peer/{}/MeshoptimizerDecode/vertices+indices", 1),
    ("Mark: delta frame, Huffman", "Frame/{}/Delta/Huffman/float", "Peer/{}/MeshoptimizerDecode/vertices+indices", 1),
]


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


def goal_table(best):
    yield "| Goal | Figure | Time | Against | Time | Times as fast | Wanted | Met |"
    yield "|---|---|--:|---|--:|--:|--:|---|"
    for subject in subjects(best):
        for what, ours, theirs, least in GOALS:
            if f"/{subject}/" not in ours.format(subject):
                continue  # a goal for one figure alone
            a, b = best.get(ours.format(subject)), best.get(theirs.format(subject))
            if a is None or b is None:
                yield f"| {what} | {subject} | not measured | {theirs.format(subject)} | | | {least:.2g} | no |"
                continue
            ratio = microseconds(b) / microseconds(a)
            against = theirs.split("/", 2)[2]
            yield (f"| {what} | {subject} | {microseconds(a):.1f} µs | {against} | {microseconds(b):.1f} µs "
                   f"| {factor(ratio)} | {least:.2g} | {'yes' if ratio >= least else '**no**'} |")


def full_table(best, subject):
    draco = best.get(f"Peer/{subject}/DracoDecode/default")
    meshoptimizer = best.get(f"Peer/{subject}/MeshoptimizerDecode/vertices+indices")
    memcpy = best.get(f"Peer/{subject}/Memcpy/float/frame")
    yield "| Benchmark | Time | Elements/s | Output | Encoded | Error | × Draco default | × meshoptimizer | × memcpy rate |"
    yield "|---|--:|--:|--:|--:|--:|--:|--:|--:|"
    for name, run in best.items():
        group, of, rest = name.split("/", 2)
        if of != subject:
            continue
        whole = group == "Frame" or rest.startswith("DracoDecode/") or rest.endswith("/vertices+indices")
        time = microseconds(run)
        # Only what yields the same thing, a decoded frame, is comparable in time; output rates are always comparable.
        against_draco = factor(microseconds(draco) / time) if whole and draco else ""
        against_meshoptimizer = factor(microseconds(meshoptimizer) / time) if whole and meshoptimizer else ""
        error = f"{run['error']:.2f}" if "error" in run else ""
        against_memcpy = f"{run['bytes_per_second'] / memcpy['bytes_per_second']:.3f}" if memcpy else ""
        yield (f"| {group}/{rest} | {time:.1f} µs | {run['items_per_second'] / 1e6:.1f} M "
               f"| {run['bytes_per_second'] / 1e9:.2f} GB/s | {run['encoded']:,.0f} B "
               f"| {error} "
               f"| {against_draco} | {against_meshoptimizer} | {against_memcpy} |")


def tables(results):
    best = best_runs(results)
    context = results["context"]
    repetitions = max(run.get("repetitions", 1) for run in results["benchmarks"])
    yield (f"{context['machine']}, {context['num_cpus']} cores of {context['mhz_per_cpu'] / 1000:.1f} GHz, "
           f"{context['compiler']}, one core used, best of {repetitions}.")
    yield ""
    yield from goal_table(best)
    for subject in subjects(best):
        yield ""
        yield f"### {subject}: {context[subject]}"
        yield ""
        yield from full_table(best, subject)


def replace_between(page, begin, end, text):
    before, rest = page.split(begin)
    return f"{before}{begin}\n{text.strip()}\n{end}{rest.split(end)[1]}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("page", help="the page to rewrite, or - to print the tables")
    for section, program in PARTS.items():
        parser.add_argument(f"--{section}", metavar="FILE", help=f"output of {program}")
    arguments = parser.parse_args()
    page = "" if arguments.page == "-" else pathlib.Path(arguments.page).read_text(encoding="utf-8")
    for section in PARTS:
        path = getattr(arguments, section)
        if path is None:
            continue
        text = pathlib.Path(path).read_text(encoding="utf-8")
        if section == "results":
            text = "\n".join(tables(json.loads(text)))
        if page:
            page = replace_between(page, f"<!-- {section} -->", f"<!-- end of {section} -->", text)
        else:
            print(text)
    if page:
        pathlib.Path(arguments.page).write_text(page, encoding="utf-8")


if __name__ == "__main__":
    main()
