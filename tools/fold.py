# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Folds what `make fuzz` learned into the stored corpora: fold.py [TARGET]...

Of build/fuzz/corpus and fuzz/corpus together it keeps at most 30 files a target, those that reach most edges. What has
a name of its own, and not one made from its content, tells of a finding or of a case and stays.
"""
import hashlib
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from long_runs import ROOT

BUILD = ROOT / "build/fuzz"
STORED = ROOT / "fuzz/corpus"
MOST = 30
MADE_NAME = re.compile(r"[0-9a-f]{12}")


def edges_of(target, folders):
    """The edges that each file reaches: without counters, the features in libFuzzer's record of a merge."""
    with tempfile.TemporaryDirectory() as scratch:
        record = Path(scratch) / "record"
        (Path(scratch) / "merged").mkdir()
        subprocess.run([BUILD / "fuzz_targets", "-set_cover_merge=1", "-use_counters=0",
                        f"-merge_control_file={record}", f"{scratch}/merged", *folders],
                       env={**os.environ, "TARGET": target}, check=True, capture_output=True)
        lines = record.read_text().splitlines()
    files = [Path(line) for line in lines[2:2 + int(lines[0])]]
    covered = {int(words[1]): set(words[2:]) for words in map(str.split, lines) if words and words[0] == "FT"}
    return {file: covered.get(i, set()) for i, file in enumerate(files)}


def choose(edges):
    chosen = [file for file in edges if file.parent.parent == STORED and not MADE_NAME.fullmatch(file.name)]
    reached = set().union(*(edges[file] for file in chosen))
    while len(chosen) < MOST:
        best = max(edges, key=lambda file: (len(edges[file] - reached), -file.stat().st_size))
        if edges[best] <= reached:
            break
        chosen.append(best)
        reached |= edges[best]
    return chosen, len(reached)


def fold(target):
    stored = STORED / target
    chosen, reached = choose(edges_of(target, [stored, BUILD / "corpus" / target]))
    contents = {file.name if file.parent == stored and not MADE_NAME.fullmatch(file.name)
                else hashlib.sha1(file.read_bytes()).hexdigest()[:12]: file.read_bytes() for file in chosen}
    shutil.rmtree(stored)
    stored.mkdir()
    for name, content in contents.items():
        (stored / name).write_bytes(content)
    print(f"{target:16} {len(contents):3} files, {sum(map(len, contents.values())):6} bytes, {reached} edges")


for folder in sorted(STORED.iterdir()):
    if (BUILD / "corpus" / folder.name).is_dir() and folder.name in (sys.argv[1:] or [folder.name]):
        fold(folder.name)
