#!/usr/bin/env python3
"""What keeping the digest cache costs a first search: kelvora-cli with and without it.

A first search with the cache pays for the signature of every file it reads, for gathering
what it learned and for writing it; this compares it with `--no-cache` on the same tree. The
two are run in turns, each run with the cache emptied (or, with --seed, copied anew from a
cache folder another search left: a cache that holds other files), so that the slow drift of
a shared machine falls on both alike; the medians of wall and CPU time are given, with the
difference, and the median of the differences within each round: this machine changes speed by
a tenth within minutes, which moves the medians apart far more than it moves two runs made one
right after the other. Every run's output is checked against the first one's.

  bench/cache-cost.py /tmp/k-mixed-200k --runs 40
  bench/cache-cost.py /tmp/k-mixed-20k --seed /tmp/other-cache/kelvora
"""
import argparse
import os
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

KELVORA = os.path.join(os.path.dirname(__file__), "..", "build", "release", "src", "kelvora-cli")


def run(command, env, work):
    # The report goes to a file, not a pipe: reading a pipe here would take a core from it.
    with open(os.path.join(work, "out"), "w+b") as out, open(os.path.join(work, "err"), "w+b") as err:
        start = time.perf_counter()
        subprocess.run(command, env=env, stdout=out, stderr=err)
        wall = time.perf_counter() - start
        out.seek(0)
        err.seek(0)
        return wall, out.read(), err.read()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tree")
    parser.add_argument("--runs", type=int, default=30)
    parser.add_argument("--seed", help="a kelvora cache folder to start each run from")
    parser.add_argument("--binary", default=KELVORA)
    args = parser.parse_args()

    work = tempfile.mkdtemp(prefix="kelvora-cache-cost-")
    env = dict(os.environ, XDG_CACHE_HOME=work)
    folder = os.path.join(work, "kelvora")
    commands = {
        "--no-cache": [args.binary, "--no-cache", "--min-size", "1", args.tree],
        "cache": [args.binary, "--min-size", "1", args.tree],
    }
    walls = {name: [] for name in commands}
    cpus = {name: [] for name in commands}
    expected = None
    try:
        # Two rounds to warm the page cache, then the runs, in turns that swap every round.
        for round_ in range(args.runs + 2):
            names = list(commands) if round_ % 2 == 0 else list(reversed(commands))
            for name in names:
                shutil.rmtree(folder, ignore_errors=True)
                if args.seed:
                    shutil.copytree(args.seed, folder)
                # What the last run wrote, and the copy, reach the disk before the next run
                # starts, as a cache written days ago has, rather than while it runs.
                os.sync()
                # The children's CPU time grows by the run's once it has been waited for.
                before = resource.getrusage(resource.RUSAGE_CHILDREN)
                wall, out, err = run(commands[name], env, work)
                after = resource.getrusage(resource.RUSAGE_CHILDREN)
                if expected is None:
                    expected = out
                if out != expected or err:
                    sys.exit(f"{name}: the output differs or something was said:\n"
                             f"{err.decode(errors='replace')[:500]}")
                if round_ >= 2:
                    walls[name].append(wall * 1000)
                    cpus[name].append((after.ru_utime + after.ru_stime -
                                       before.ru_utime - before.ru_stime) * 1000)
    finally:
        shutil.rmtree(work, ignore_errors=True)

    base_wall = statistics.median(walls["--no-cache"])
    base_cpu = statistics.median(cpus["--no-cache"])
    for name in commands:
        wall = statistics.median(walls[name])
        cpu = statistics.median(cpus[name])
        print(f"{name:11s} wall {wall:8.1f} ms ({wall - base_wall:+6.1f}, "
              f"{100 * (wall / base_wall - 1):+5.1f}%)  cpu {cpu:8.1f} ms ({cpu - base_cpu:+6.1f})"
              f"  [{args.runs} runs]")
    # The runs of a round were made one right after the other.
    wall = statistics.median(c - n for c, n in zip(walls["cache"], walls["--no-cache"]))
    cpu = statistics.median(c - n for c, n in zip(cpus["cache"], cpus["--no-cache"]))
    print(f"{'paired':11s} wall {wall:+8.1f} ms ({100 * wall / base_wall:+5.1f}%)"
          f"           cpu {cpu:+8.1f} ms")


if __name__ == "__main__":
    main()
