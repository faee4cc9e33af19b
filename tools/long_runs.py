# SPDX-License-Identifier: BSD-2-Clause-Patent
"""What runs of hours need: several programs at once, progress, an end at any time, and a state to go on from."""
import json
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRESS_SECONDS = 10
INTERRUPTED = 130


def write_whole(path, text):
    """Whatever ends the program: the file is the old one or the new one."""
    beside = path.with_suffix(".new")
    beside.write_text(text)
    os.replace(beside, path)


def load(path, fresh):
    return json.loads(path.read_text()) if path.exists() and not fresh else {}


class Workers:
    """Threads, each with one program at a time. `lock` guards whatever they share."""

    def __init__(self):
        self.lock = threading.RLock()
        self.stopping = False
        self.running = set()
        self.broken = []

    def lines(self, command, **options):
        """Gives the program's lines on stderr, and at the end its exit status; None when it was stopped."""
        with self.lock:
            if self.stopping:
                yield None
                return
            # Of its own, so that a Ctrl-C is ours to hand on.
            process = subprocess.Popen(command, stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True,
                                       errors="replace", start_new_session=True, **options)
            self.running.add(process)
        with process:
            yield from process.stderr
        with self.lock:
            self.running.discard(process)
            yield None if self.stopping else process.returncode

    def _work(self, work):
        try:
            while not self.stopping and work():
                pass
        except BaseException as error:  # a thread's end would go unnoticed
            self.broken.append(error)
            self.stop()

    def stop(self):
        with self.lock:
            self.stopping = True
            for process in self.running:
                process.terminate()

    def run(self, jobs, work, save, progress):
        """Calls `work` in as many threads until it gives False, `save` and `progress` every few seconds.
        Gives False when somebody stopped it."""
        for number in (signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, signal.default_int_handler)
        threads = [threading.Thread(target=self._work, args=(work,), daemon=True) for _ in range(jobs)]
        try:
            for thread in threads:
                thread.start()
            shown = time.monotonic()
            while any(thread.is_alive() for thread in threads):
                time.sleep(0.2)
                if time.monotonic() - shown >= PROGRESS_SECONDS:
                    shown = time.monotonic()
                    with self.lock:
                        save()
                        print(progress(), flush=True)
        except KeyboardInterrupt:
            self.stop()
            for thread in threads:
                thread.join()
        save()
        if self.broken:
            raise self.broken[0]
        return not self.stopping


def end(finished, findings):
    """Ends as the shell and its reader have to know; a finding is the command that repeats it."""
    for command in findings:
        print(f"fails: {command}")
    if not finished:
        print("stopped; the same command goes on from here")
        sys.exit(INTERRUPTED)
    sys.exit(1 if findings else 0)
