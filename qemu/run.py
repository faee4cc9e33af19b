# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Runs one test, or the whole line run, on OVMF for a person to watch.

Exit status: 0 for PASS and nothing else, 1 for FAIL, 2 when there is no verdict
on the machine.
"""

import argparse
import re
import shlex
import sys

from demonstration_server import LINE, SERVERS
from machine import EXAMPLE_SERVER, BootFailed, boot, smbios_options
from session import SUMMARY
from shell import quote
from station import station_files

TIME_LIMIT = 120

BEGIN = "<<begin>>"
VERDICT = "<<verdict "
PROMPT = "FS0:\\> "

_PLAIN = re.compile(r"[\w.,:=/\\-]+")
# Tests that talk to a management controller; the demonstration server has one.
_IPMI_TESTS = {"0", "34", "38", "39", "41", "42", "43"}
_SERVERS_BY_WORD = {"1": "healthy", "healthy": "healthy", "faulty": "faulty"}


class Display:
    """Shows the run line by line; leaves out what the shell says about itself."""

    def __init__(self, begin):
        self.verdict = ""
        self._begin = begin
        self._running = False

    def show(self, line):
        if line.startswith("BdsDxe: starting"):
            print("    the firmware is up, its shell starts", flush=True)
        elif line == self._begin:
            self._running = True
        elif line.startswith(VERDICT):
            self._running = False
            self.verdict = line.removeprefix(VERDICT).removesuffix(">>")
        elif self._running and not line.startswith(PROMPT):
            print("  | " + line, flush=True)
            if summary := SUMMARY.fullmatch(line):
                self._running = False
                self.verdict = summary["verdict"]


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--test", default="1", help="test number, 1 when not given")
    parser.add_argument(
        "--parameters",
        default="",
        help="NAME=VALUE words and options, quoted as for a Unix shell; they win over station/mfgtest.cfg",
    )
    parser.add_argument("--line", default="", help="the whole line run instead, of the server 1 (healthy) or faulty")
    options = parser.parse_args()
    if options.line and options.line not in _SERVERS_BY_WORD:
        parser.error(f"--line: expected 1 or faulty, found {options.line}")
    try:
        options.words = shlex.split(options.parameters)
    except ValueError as fault:
        parser.error(f"--parameters: {fault}")
    return options


def command_line(options):
    """The module's command line, with the progress messages that show the firmware's table."""
    words = [options.test, "--debug=1", *options.words]
    return " ".join(["mfgtest.efi", *(word if _PLAIN.fullmatch(word) else quote(word) for word in words)])


def run_test(options, show):
    command = command_line(options)
    print(f"==> load testlib.efi, then {command}", flush=True)
    commands = [f'echo "{BEGIN}"', "load testlib.efi", command, f'echo "{VERDICT}%MfgVerdict%>>"']
    boot(smbios_options(EXAMPLE_SERVER), station_files(), commands, TIME_LIMIT, show)


def run_ipmi_test(options, show):
    command = command_line(options)
    print(f"==> load testlib.efi and ipmi_kcs.efi, then {command}, on the demonstration server", flush=True)
    verdict = f'echo "{VERDICT}%MfgVerdict%>>"'
    SERVERS["healthy"].run_line(["load testlib.efi", "load ipmi_kcs.efi", command, verdict], show)


def run_line(options, show):
    name = _SERVERS_BY_WORD[options.line]
    print(f"==> {LINE}, from the stick, on the {name} demonstration server", flush=True)
    SERVERS[name].run_line([LINE], show)


def main():
    options = arguments()
    if options.line:
        run, begin = run_line, PROMPT + LINE
    elif options.test in _IPMI_TESTS:
        run, begin = run_ipmi_test, PROMPT + "load testlib.efi"
    else:
        run, begin = run_test, BEGIN
    display = Display(begin)
    print("==> Booting OVMF in QEMU (software emulation, about 5 s to the shell)", flush=True)
    try:
        run(options, display.show)
    except BootFailed as failure:
        print(f"==> No verdict: {failure}")
        return 2
    print(f"==> Verdict: {display.verdict or 'none'}")
    return {"PASS": 0, "FAIL": 1}.get(display.verdict, 2)


if __name__ == "__main__":
    sys.exit(main())
