# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A headless browser without a network, for pages that are files."""

import subprocess

_COMMAND = (
    *("chromium-headless-shell", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=20000"),
    "--host-resolver-rules=MAP * ~NOTFOUND",
)


def browse(page, *options, fragment=""):
    """Gives the page's DOM, or what the options ask for."""
    words = [*_COMMAND, *(options or ["--dump-dom"]), f"{page.resolve().as_uri()}{fragment}"]
    run = subprocess.run(words, capture_output=True, encoding="utf-8", timeout=120, check=False)
    assert run.returncode == 0, run.stderr
    return run.stdout
