#!/usr/bin/env python3
"""Builds a seeded tree of files for comparing duplicate finders.

The same seed and file count always give the same tree, byte for byte. Sizes follow a
long-tailed spread (most files small, a few large); a share of the files are copies of
another file, and some files share a size but not their contents, so that every stage of
a duplicate finder (size, prefix, full digest) has work to do.
"""
import argparse
import math
import os
import random


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder")
    parser.add_argument("--files", type=int, default=20000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--copy-share", type=float, default=0.15)
    parser.add_argument("--same-size-share", type=float, default=0.05)
    parser.add_argument("--per-folder", type=int, default=40)
    parser.add_argument("--size-range", type=int, nargs=2, metavar=("MIN", "MAX"),
                        help="sizes log-uniform between MIN and MAX bytes instead of the default mix")
    args = parser.parse_args()

    rng = random.Random(args.seed)
    pool = rng.randbytes(32 << 20)
    os.makedirs(args.folder, exist_ok=True)

    def size_of():
        if args.size_range:
            low, high = args.size_range
            return int(2 ** rng.uniform(math.log2(low), math.log2(high)))
        # Log-uniform from 512 B to 32 KiB, with a tail of 3% up to 1 MiB: about 17 KiB on
        # average, like a folder of documents, pictures and songs.
        return int(2 ** rng.uniform(9, 15)) if rng.random() < 0.97 else int(2 ** rng.uniform(15, 20))

    def unique_contents(size, serial):
        start = rng.randrange(0, len(pool) - size - 16)
        stamp = serial.to_bytes(8, "little")
        body = pool[start:start + size]
        # The serial at both ends makes every original distinct in its first and last bytes.
        return (stamp + body[8:-8] + stamp)[:size] if size >= 16 else body

    def place(index):
        folder = index // args.per_folder
        return os.path.join(args.folder, "d%03d" % (folder // 100), "d%05d" % folder)

    originals = []
    extensions = ["jpg", "png", "mp3", "pdf", "txt", "zip", "mov", "docx", "dat"]
    for index in range(args.files):
        roll = rng.random()
        if originals and roll < args.copy_share:
            data, ext = rng.choice(originals)
        elif originals and roll < args.copy_share + args.same_size_share:
            like, ext = rng.choice(originals)
            data = unique_contents(len(like), index)
        else:
            ext = rng.choice(extensions)
            data = unique_contents(size_of(), index)
            originals.append((data, ext))
        folder = place(index)
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "f%07d.%s" % (index, ext)), "wb") as out:
            out.write(data)


if __name__ == "__main__":
    main()
