# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Scripts for the UEFI shell."""

# The shell acts on these even inside double quotes; its escape is the caret.
_SPECIAL = '"^%#|<>'


def quote(text):
    """One argument of a command line, whatever characters it holds."""
    return '"' + "".join("^" + c if c in _SPECIAL else c for c in text) + '"'


def script_files(commands):
    """The files of a drive that make the shell run `commands`, then power off.

    The commands stand in a script of their own: the shell abandons a script at
    a line that it cannot parse, and the machine has to power off all the same.
    The scripts are UCS-2, the one encoding in which the shell takes every
    character.
    """
    return {
        "startup.nsh": _script(["@echo -off", "fs0:", "commands.nsh", "reset -s"]),
        "commands.nsh": _script(commands),
    }


def _script(lines):
    return "".join(line + "\r\n" for line in lines).encode("utf-16")
