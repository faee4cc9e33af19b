# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Serial text of the firmware as plain lines."""

import codecs
import re

# What the firmware's terminal driver sends beside the text: colours, cursor
# positions, screen modes.
_ESCAPE = re.compile(r"\x1b\[[=?]?[0-9;]*[A-Za-z]")


class Console:
    """Collects serial bytes; `lines` holds the finished lines, cleaned."""

    def __init__(self):
        self.lines = []
        self._decoder = codecs.getincrementaldecoder("utf-8")("replace")
        self._pending = ""

    def feed(self, data):
        """Takes in the next bytes and gives the lines that they finished."""
        self._pending += self._decoder.decode(data)
        *finished, self._pending = self._pending.split("\n")
        cleaned = [_clean(line) for line in finished]
        self.lines += cleaned
        return cleaned

    @property
    def pending(self):
        """The text after the last line end, cleaned."""
        return _clean(self._pending)

    def tail(self, count=25):
        """The last lines, for a message about a run that went wrong."""
        return "\n".join([*self.lines, self.pending][-count:])


def _clean(line):
    return _ESCAPE.sub("", line).replace("\r", "")
