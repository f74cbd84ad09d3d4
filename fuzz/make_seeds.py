#!/usr/bin/env python3
"""Writes the fuzzer's seeds: every non-empty line of the given files of statements becomes
one seed file, named by a hash of its text (so a statement found in two files is one seed).
Files that do not exist are passed over, so that the seeds of the benchmark corpus are left
out where its generator is not at hand.

  make_seeds.py --out DIR FILE...
"""
import argparse
import hashlib
import os
import sys


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--out", required=True)
    ap.add_argument("files", nargs="+")
    args = ap.parse_args()
    os.makedirs(args.out, exist_ok=True)
    written = 0
    for name in args.files:
        if not os.path.exists(name):
            continue
        with open(name, "rb") as f:
            for line in f.read().split(b"\n"):
                line = line.rstrip(b"\r")
                if not line.strip():
                    continue
                seed = os.path.join(args.out, hashlib.sha1(line).hexdigest()[:16])
                with open(seed, "wb") as out:
                    out.write(line)
                written += 1
    if written == 0:
        sys.exit("make_seeds.py: no statements found")


if __name__ == "__main__":
    main()
