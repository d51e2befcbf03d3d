#!/usr/bin/env python3
"""What a cleaning costs: kelvora-cli keeps the oldest copy of one group and removes the others,
to the trash or for good, and this prints the time of the whole run and of its search alone
(the difference is the cleaning).

    bench/clean-copies.py [--cli build/release/src/kelvora-cli] [--copies 10000]
                          [--size 1048576] [--groups 1] [--modes trash,delete]
                          [--no-compare] [--runs 1]

Each run builds its tree afresh in a temporary folder under --where (default /tmp), with a
home of its own whose trash receives the copies, and removes both afterwards. With
--no-compare the user default that switches the byte-for-byte comparison off is set.
"""
import argparse
import os
import shutil
import subprocess
import tempfile
import time


def build_tree(root, copies, size, groups):
    data = os.path.join(root, "data")
    for g in range(groups):
        folder = os.path.join(data, f"g{g}")
        os.makedirs(folder)
        block = (bytes([g % 256]) + os.urandom(63)) * (size // 64) + os.urandom(size % 64)
        per_group = copies // groups + 1  # one stays
        for i in range(per_group):
            with open(os.path.join(folder, f"{i:07d}"), "wb") as f:
                f.write(block)
    return data


def run(cli, data, home, clean, extra_env):
    env = dict(os.environ, HOME=home, XDG_DATA_HOME=os.path.join(home, "share"),
               XDG_CONFIG_HOME=os.path.join(home, "config"), **extra_env)
    env.pop("XDG_RUNTIME_DIR", None)
    args = [cli, "--quiet", "--min-size", "1", "--keep", "oldest"]
    if clean:
        args += ["--clean", clean, "--yes"]
    started = time.perf_counter()
    result = subprocess.run(args + [data], env=env, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE)
    elapsed = time.perf_counter() - started
    if result.returncode != 0:
        raise SystemExit(f"kelvora-cli ended with {result.returncode}: "
                         f"{result.stderr.decode(errors='replace')[-500:]}")
    return elapsed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cli", default="build/release/src/kelvora-cli")
    parser.add_argument("--copies", type=int, default=10000)
    parser.add_argument("--size", type=int, default=1 << 20)
    parser.add_argument("--groups", type=int, default=1)
    parser.add_argument("--modes", default="trash,delete")
    parser.add_argument("--no-compare", action="store_true")
    parser.add_argument("--runs", type=int, default=1)
    parser.add_argument("--where", default=tempfile.gettempdir())
    options = parser.parse_args()
    cli = os.path.abspath(options.cli)
    for mode in options.modes.split(","):
        for _ in range(options.runs):
            root = tempfile.mkdtemp(prefix="kelvora-clean-", dir=options.where)
            try:
                data = build_tree(root, options.copies, options.size, options.groups)
                home = os.path.join(root, "home")
                os.makedirs(os.path.join(home, "config", "kelvora"))
                if options.no_compare:
                    with open(os.path.join(home, "config", "kelvora", "defaults.ini"), "w") as f:
                        f.write("[Kelvora]\nCompareLargeCopies=No\n")
                search = run(cli, data, home, None, {})
                whole = run(cli, data, home, mode, {})
                left = sum(len(files) for _, _, files in os.walk(data))
                print(f"{mode:6} {options.copies} copies of {options.size} B in "
                      f"{options.groups} group(s){' (no comparison)' if options.no_compare else ''}: "
                      f"whole run {whole:.2f} s, search {search:.2f} s, "
                      f"cleaning {whole - search:.2f} s "
                      f"({(whole - search) / options.copies * 1e6:.0f} us a copy); "
                      f"{left} files left")
            finally:
                shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    main()
