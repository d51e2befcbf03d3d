#!/usr/bin/env python3
"""Times kelvora-cli and the duplicate finders Linux users know on one tree or several.

Every tool is first run once to check that it reports the same groups as kelvora-cli
(a comparison of timings means nothing otherwise), then timed with hyperfine on a warm
page cache and, with --cold, on a cold one (the page cache dropped before each run, which
needs root: the script says so when it may not), and run once more under /usr/bin/time for
its peak memory. The floor of each tree is what no duplicate finder can beat: listing it,
plus reading and hashing the bytes of its true copies over every core. The peers are
Debian packages run as they come; nothing of theirs is part of Kelvora.
"""
import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

KELVORA = os.path.join(os.path.dirname(__file__), "..", "build", "release", "src", "kelvora-cli")


def peers(folder, work):
    rdfind_out = os.path.join(work, "rdfind-results.txt")
    return {
        "jdupes -Q": ["jdupes", "-r", "-Q", folder],
        "jdupes": ["jdupes", "-r", folder],
        "fdupes": ["fdupes", "-r", folder],
        "rmlint": ["rmlint", "-o", "fdupes:stdout", "-T", "df", "--no-with-color", folder],
        "rdfind": ["rdfind", "-dryrun", "true", "-outputname", rdfind_out, folder],
    }


def blocks(text):
    """Groups as blank-line separated blocks of paths (fdupes' layout, also rmlint's)."""
    groups, current = set(), []
    for line in text.splitlines() + [""]:
        if line.strip() == "":
            if len(current) > 1:
                groups.add(frozenset(current))
            current = []
        elif not re.match(r"^[0-9.]+ [KMGT]?B, \d+ files$", line):
            current.append(line)
    return groups


def rdfind_groups(path):
    groups = {}
    with open(path, errors="surrogateescape") as results:
        for line in results:
            if line.startswith("#"):
                continue
            fields = line.rstrip("\n").split(" ", 7)
            if len(fields) == 8:
                groups.setdefault(abs(int(fields[1])), set()).add(fields[7])
    return {frozenset(g) for g in groups.values() if len(g) > 1}


def groups_of(name, command, work):
    output = subprocess.run(command, capture_output=True, text=True, errors="surrogateescape").stdout
    if name == "rdfind":
        return rdfind_groups(os.path.join(work, "rdfind-results.txt"))
    return blocks(output)


def peak_kib(command, first_search=True):
    if first_search:
        subprocess.run(forget_cache(), shell=True)
    result = subprocess.run(["/usr/bin/time", "-v"] + command, capture_output=True, text=True,
                            errors="surrogateescape")
    found = re.search(r"Maximum resident set size \(kbytes\): (\d+)", result.stderr)
    return int(found.group(1)) if found else 0


DROP_CACHES = "sync; echo 3 > /proc/sys/vm/drop_caches"


def can_drop_caches():
    try:
        with open("/proc/sys/vm/drop_caches", "w") as control:
            control.write("3")
        return True
    except OSError:
        return False


def forget_cache():
    """Empties kelvora-cli's digest cache (XDG_CACHE_HOME points into the work folder)."""
    return "rm -rf '%s'" % os.environ.get("XDG_CACHE_HOME", "/nonexistent")


def median_seconds(commands, runs, work, cold=False):
    export = os.path.join(work, "hyperfine.json")
    arguments = ["hyperfine", "--runs", str(runs), "--style", "none", "--export-json", export]
    # A warm run is one after the tree's pages are in, but the digest cache emptied.
    arguments += ["--prepare", forget_cache() + ("; " + DROP_CACHES if cold else "")]
    if not cold:
        arguments += ["--warmup", "1"]
    for name, command in commands.items():
        arguments += ["-n", name, " ".join("'%s'" % part for part in command) + " > /dev/null 2>&1"]
    subprocess.run(arguments, check=True, stdout=subprocess.DEVNULL)
    with open(export) as data:
        return {r["command"]: r["median"] for r in json.load(data)["results"]}


def copy_files(kelvora, folder):
    """The files that are true copies (heads included), below the size threshold, and their
    bytes: what any duplicate finder must read whole."""
    result = subprocess.run([kelvora, "--min-size", "1", "--quiet", "--json", folder],
                            capture_output=True, text=True, errors="surrogateescape", check=True)
    files, total = [], 0
    for group in json.loads(result.stdout)["groups"]:
        if not group["sizeOnly"]:
            total += group["size"] * len(group["members"])
            files += [member["path"] for member in group["members"]]
    return files, total


def md5_bytes_per_second():
    """One core's MD5 speed on large buffers, as OpenSSL measures it."""
    result = subprocess.run(["openssl", "speed", "-bytes", "262144", "-seconds", "2", "md5"],
                            capture_output=True, text=True, check=True)
    for line in result.stdout.splitlines():
        if line.startswith("md5"):
            return float(line.split()[-1].rstrip("k")) * 1000
    raise RuntimeError("openssl speed printed no md5 line")


def floor_seconds(kelvora, folder, runs, work, cold=False):
    """What no duplicate finder can beat on this tree: a metadata walk, plus reading and MD5
    of the bytes of the true copies spread over every core."""
    walk = median_seconds({"walk": ["find", folder, "-type", "f", "-printf", "%s\\n"]}, runs,
                          work, cold)["walk"]
    files, hashed = copy_files(kelvora, folder)
    speed = md5_bytes_per_second()
    cores = os.cpu_count() or 1
    hashing = hashed / speed / cores
    reading = 0.0
    if cold:
        # The same files read once from a cold cache, by sixteen readers: as many reads in
        # flight as a finder that reads ahead may keep.
        listing = os.path.join(work, "copies.txt")
        with open(listing, "w", errors="surrogateescape") as out:
            out.write("\0".join(files))
        reading = median_seconds({"read": ["sh", "-c", "xargs -0 -P 16 -n 16 cat < %s" %
                                           listing]}, runs, work, True)["read"]
    floor = walk + max(hashing, reading)
    print("%s floor: walk %.3f s + the larger of MD5 of %.1f MiB at %.0f MB/s on %d cores "
          "(%.3f s) and reading it (%.3f s) = %.3f s" %
          ("cold" if cold else "warm", walk, hashed / 2**20, speed / 1e6, cores, hashing, reading,
           floor))
    return floor


def compare(folder, args, work):
    commands = {"kelvora-cli": [args.kelvora, "--min-size", "1", "--quiet", folder]}
    wanted = args.only.split(",") if args.only else None
    for name, command in peers(folder, work).items():
        if shutil.which(command[0]) and (wanted is None or name in wanted):
            commands[name] = command

    print("\n## %s\n" % folder)
    reference = groups_of("kelvora-cli", commands["kelvora-cli"], work)
    print("kelvora-cli: %d groups, %d files in groups" %
          (len(reference), sum(len(g) for g in reference)))
    for name, command in list(commands.items())[1:]:
        theirs = groups_of(name, command, work)
        if theirs != reference:
            print("%s reports different groups (%d): left out of the table" % (name, len(theirs)))
            del commands[name]

    warm = median_seconds(commands, args.runs, work)
    floors = {"warm": floor_seconds(args.kelvora, folder, args.runs, work)}
    cold = {}
    if args.cold:
        cold = median_seconds(commands, args.runs, work, True)
        floors["cold"] = floor_seconds(args.kelvora, folder, args.runs, work, True)
    ours = {"warm": warm["kelvora-cli"], "cold": cold.get("kelvora-cli")}
    for kind, floor in floors.items():
        print("kelvora-cli %s: %.3f s, %.2f times the floor" % (kind, ours[kind], ours[kind] / floor))
    print("\n| tool | warm | ratio to kelvora-cli | cold | ratio to kelvora-cli | peak memory |")
    print("|---|---|---|---|---|---|")
    for name, command in commands.items():
        cold_cells = ("%.3f s | %.2f" % (cold[name], cold[name] / ours["cold"])) if cold else "| "
        print("| %s | %.3f s | %.2f | %s | %.1f MiB |" %
              (name, warm[name], warm[name] / ours["warm"], cold_cells,
               peak_kib(command) / 1024))
    if args.rescan:
        rescan(commands, folder, args.runs, work)


def rescan(commands, folder, runs, work):
    """Each tool's second run of the same tree: its own cache (kelvora-cli's digest cache,
    rmlint's extended attributes with --xattr) filled by a first run, then timed with the
    page cache warm and, as root, with it dropped before each run; beside a metadata walk."""
    again = {name: list(command) for name, command in commands.items()}
    if "rmlint" in again:
        again["rmlint"].insert(1, "--xattr")
    # kelvora-cli's cache is filled last: rmlint writing its attributes changes the files'
    # change times, which would make every entry filled before stale.
    for command in reversed(list(again.values())):
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    again["find (walk)"] = ["find", folder, "-type", "f", "-printf", "%s\\n"]
    drop = "sync; echo 3 > /proc/sys/vm/drop_caches"
    medians = {}
    for kind, prepare in (("warm", None), ("cold", drop)):
        if prepare and os.geteuid() != 0:
            print("cold runs need root to drop the page cache: left out")
            continue
        export = os.path.join(work, "rescan-%s.json" % kind)
        arguments = ["hyperfine", "--runs", str(runs), "--style", "none", "--export-json", export]
        arguments += ["--prepare", prepare] if prepare else ["--warmup", "1"]
        for name, command in again.items():
            arguments += ["-n", name, " ".join("'%s'" % p for p in command) + " > /dev/null 2>&1"]
        subprocess.run(arguments, check=True, stdout=subprocess.DEVNULL)
        with open(export) as data:
            medians[kind] = {r["command"]: r["median"] for r in json.load(data)["results"]}
    walk = medians["warm"]["find (walk)"]
    print("\n| tool, second run | warm | ratio to the walk | cold | ratio to the cold walk "
          "| peak memory |")
    print("|---|---|---|---|---|---|")
    for name, command in again.items():
        cold = medians.get("cold", {})
        print("| %s | %.3f s | %.2f | %s | %s | %.1f MiB |" % (
            name, medians["warm"][name], medians["warm"][name] / walk,
            "%.3f s" % cold[name] if cold else "-",
            "%.2f" % (cold[name] / cold["find (walk)"]) if cold else "-",
            peak_kib(command, first_search=False) / 1024))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folders", nargs="+", help="trees made by make-corpus.py, one or more")
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--cold", action="store_true",
                        help="also time each tool with the page cache dropped before each run")
    parser.add_argument("--kelvora", default=KELVORA)
    parser.add_argument("--only", help="comma-separated peers to run (default: all installed)")
    parser.add_argument("--rescan", action="store_true",
                        help="also time each tool's second run, with its own cache where it has one")
    args = parser.parse_args()
    if args.cold and not can_drop_caches():
        print("cold runs left out: dropping the page cache needs root "
              "(writing /proc/sys/vm/drop_caches was refused)")
        args.cold = False

    with tempfile.TemporaryDirectory() as work:
        # Every first search starts with an empty digest cache of its own: one filled by the
        # run before would make each timed run a second search.
        os.environ["XDG_CACHE_HOME"] = os.path.join(work, "cache")
        for folder in args.folders:
            compare(os.path.abspath(folder), args, work)


if __name__ == "__main__":
    sys.exit(main())
