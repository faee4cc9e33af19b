# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Runs one test, or the whole line run, on OVMF for a person to watch.

Exit status: 0 for PASS, and for --help, --list, --show and --summary, which run no
test; 1 for FAIL; 2 for ERROR, SKIP, or no verdict.
"""

import argparse
import re
import shlex
import shutil
import sys

import test_table
from demonstration_server import CONFIGURATION, SERVERS, UNATTENDED, WRITING_LINE, trusted, unit_files
from machine import BOOTS, EXAMPLE_SERVER, PLAIN, RECORDS, SECURE, BootFailed, boot, smbios_options
from session import RECORDED, SUMMARY
from shell import quote
from station import ROOT, bootable, image_files

TIME_LIMIT = 120
# With a debugger the machine stands still for as long as somebody thinks.
DEBUGGING = {"time_limit": 24 * 60 * 60, "options": ("-gdb", "tcp:127.0.0.1:1234")}

BEGIN = "<<begin>>"
VERDICT = "<<verdict "
SHOW_VERDICT = f'echo "{VERDICT}%MfgVerdict% %lasterror%>>"'
PROMPT = "FS0:\\> "

_PLAIN = re.compile(r"[\w.,:=/\\-]+")
# Options that show something and run no test.
_SHOWING = {"-h", "--help", "-l", "--list", "-n", "--show", "--summary"}
_SERVERS_BY_LINE = {"1": "healthy", "faulty": "faulty", "write": "healthy"}


class Display:
    """Shows the run line by line, from `begin` on; leaves out what firmware and shell say about themselves."""

    def __init__(self, begin):
        self.verdict = ""
        self.status = ""
        self._begin = begin
        self._running = False

    def show(self, line):
        if line.startswith(BOOTS):
            print("    the firmware is up", flush=True)
        if line.startswith(self._begin):
            self._running = True
        elif line.startswith(VERDICT):
            self._running = False
            self.verdict, self.status = line.removeprefix(VERDICT).removesuffix(">>").split(" ")
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
        help="NAME=VALUE words and options, quoted as for a Unix shell; they win over qemu/demonstration/mfgtest.cfg",
    )
    parser.add_argument("--line", default="", help="the whole line run instead: 1, faulty, or write")
    parser.add_argument("--secure", action="store_true", help="with Secure Boot on, and the line's images signed")
    parser.add_argument("--gdb", action="store_true", help="with QEMU's gdb server, and a minute before the test")
    options = parser.parse_args()
    if options.line and options.line not in _SERVERS_BY_LINE:
        parser.error(f"--line: expected 1, faulty or write, found {options.line}")
    if options.gdb and options.line:
        parser.error("--gdb: it takes one test, --test=4")
    if options.secure and options.line not in ("1", "faulty"):
        parser.error("--secure: there is no shell under Secure Boot; it takes --line=1 or --line=faulty")
    try:
        options.words = shlex.split(options.parameters)
    except ValueError as fault:
        parser.error(f"--parameters: {fault}")
    return options


def command_line(options):
    """The module's command line, with the progress messages that show the firmware's table."""
    words = [options.test, "--debug=1", RECORDED, *(["--gdb"] if options.gdb else []), *options.words]
    return " ".join(["mfgtest.efi", *(word if _PLAIN.fullmatch(word) else quote(word) for word in words)])


def run_test(options, show):
    command = command_line(options)
    print(f"==> load testlib.efi, then {command}", flush=True)
    commands = [f'echo "{BEGIN}"', "load testlib.efi", command, SHOW_VERDICT]
    machine = DEBUGGING if options.gdb else {"time_limit": TIME_LIMIT}
    boot(smbios_options(EXAMPLE_SERVER), {**image_files(), **CONFIGURATION}, commands, on_line=show, **machine)


def run_ipmi_test(options, show):
    command = command_line(options)
    print(f"==> load testlib.efi and ipmi_kcs.efi, then {command}, on the demonstration server", flush=True)
    machine = DEBUGGING if options.gdb else {}
    SERVERS["healthy"].run_line(["load testlib.efi", "load ipmi_kcs.efi", command, SHOW_VERDICT], show, **machine)


def run_writing_line(options, show):
    print("==> " + "\n    ".join(WRITING_LINE), flush=True)
    SERVERS["healthy"].run_line(WRITING_LINE, show)


def run_line(options, show):
    name = _SERVERS_BY_LINE[options.line]
    print(f"==> the {name} demonstration server boots from the stick, with no shell", flush=True)
    files = unit_files(UNATTENDED)
    SERVERS[name].start(
        bootable(trusted(files) if options.secure else files), show, firmware=SECURE if options.secure else PLAIN
    )


def keep_records():
    """Leaves what the machine recorded where a person finds it, and nothing of earlier runs."""
    folder = ROOT / "build" / "run" / "results"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name, content in RECORDS:
        (folder / name).write_bytes(content)
        print(f"==> Record: {(folder / name).relative_to(ROOT)}")


def main():
    options = arguments()
    if options.line == "write":
        run, begin = run_writing_line, PROMPT + WRITING_LINE[-1]
    elif options.line:
        run, begin = run_line, BOOTS
    elif options.test in map(str, test_table.IPMI):
        run, begin = run_ipmi_test, PROMPT + "load testlib.efi"
    else:
        run, begin = run_test, BEGIN
    display = Display(begin)
    print("==> Booting OVMF in QEMU (software emulation, about 5 s)", flush=True)
    try:
        run(options, display.show)
    except BootFailed as failure:
        print(f"==> No verdict: {failure}")
        return 2
    finally:
        keep_records()
    if _SHOWING & {options.test, *options.words} and (display.verdict, display.status) == ("", "0x0"):
        print("==> Shown, as asked; no test ran")
        return 0
    print(f"==> Verdict: {display.verdict or 'none'}")
    return {"PASS": 0, "FAIL": 1}.get(display.verdict, 2)


if __name__ == "__main__":
    sys.exit(main())
