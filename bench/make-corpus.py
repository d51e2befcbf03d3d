#!/usr/bin/env python3
"""Builds a seeded tree of files for comparing duplicate finders.

The same kind, seed and file count always give the same tree, byte for byte. Kinds:

  mixed      sizes spread long-tailed (most files small, a few up to 1 MiB); 15% of the
             files are copies of another, 5% share a size but not their contents, so that
             every stage of a duplicate finder (size, prefix, full digest) has work to do.
  same-size  three quarters of the files share their size with another: sizes are drawn
             from a small set, and a third of the bytes are in true copies; the prefix and
             the digest do most of the work.
  small      files of 64 B to 8 KiB, 15% copies: a million of them is a test of the walk.
  deep       folders 16 to 64 levels deep with few files each, a tail of large files (1 to
             16 MiB) in pairs of equal size that differ only near their end, and copies of
             them: the walk's depth and long reads of whole files are the work.
"""
import argparse
import math
import os
import random


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder")
    parser.add_argument("--files", type=int, default=20000)
    parser.add_argument("--kind", choices=["mixed", "same-size", "small", "deep"], default="mixed")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--copy-share", type=float, default=0.15)
    parser.add_argument("--same-size-share", type=float, default=0.05)
    parser.add_argument("--per-folder", type=int, default=40)
    parser.add_argument("--size-range", type=int, nargs=2, metavar=("MIN", "MAX"),
                        help="sizes log-uniform between MIN and MAX bytes instead of the default mix")
    args = parser.parse_args()
    if args.kind == "small" and not args.size_range:
        args.size_range = (64, 8192)
    if args.kind == "same-size":
        args.copy_share, args.same_size_share = 0.2, 0.3
    if args.kind == "deep":
        args.copy_share, args.same_size_share, args.per_folder = 0.15, 0.1, 3

    rng = random.Random(args.seed)
    pool = rng.randbytes(32 << 20)
    os.makedirs(args.folder, exist_ok=True)

    same_sizes = [int(2 ** rng.uniform(9, 16)) for _ in range(max(1, args.files // 40))]

    def size_of():
        if args.kind == "same-size" and rng.random() < 0.5:
            return rng.choice(same_sizes)
        if args.kind == "deep" and rng.random() < 0.004:
            return int(2 ** rng.uniform(20, 24))
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
        if args.kind == "deep":
            # Twenty roots, each a chain of 8 to 65 levels, below which the folders branch
            # four ways: paths of 16 to 80 levels.
            root = folder % 20
            digits = []
            rest = folder // 20
            while True:
                digits.append("b%d" % (rest % 4))
                rest //= 4
                if rest == 0:
                    break
            parts = ["r%02d" % root] + ["level%02d" % k for k in range(8 + 3 * root)] + digits
            return os.path.join(args.folder, *parts, "d%05d" % folder)
        return os.path.join(args.folder, "d%03d" % (folder // 100), "d%05d" % folder)

    originals = []
    extensions = ["jpg", "png", "mp3", "pdf", "txt", "zip", "mov", "docx", "dat"]
    for index in range(args.files):
        roll = rng.random()
        if originals and roll < args.copy_share:
            data, ext = rng.choice(originals)
        elif originals and roll < args.copy_share + args.same_size_share:
            like, ext = rng.choice(originals)
            if args.kind == "deep" and len(like) >= 64:
                # The same bytes but for the last eight: only a whole read tells them apart.
                data = like[:-8] + index.to_bytes(8, "little")
            else:
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
