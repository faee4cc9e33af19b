# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Pictures of the last screen of a line, one a demonstration server: pictures.py FOLDER"""

import sys
import tempfile
import time
from pathlib import Path

from demonstration_server import SERVERS, unit_files
from monitor import take_picture
from session import SUMMARY
from station import bootable

# The screen is drawn when its text has gone out of the serial port.
_DRAWING = 3
# With all waits of a line.
_TIME_LIMIT = 600


def picture(server, file):
    """Boots the server's stick and keeps what its screen shows in the end."""
    with tempfile.TemporaryDirectory(prefix="mfgtest-picture-") as folder:
        socket = Path(folder, "qmp")

        def see(line):
            if SUMMARY.fullmatch(line):
                time.sleep(_DRAWING)
                take_picture(socket, file)

        # A screen of little more than the text.
        options = ("-qmp", f"unix:{socket},server=on,wait=off", "-global", "VGA.xres=640", "-global", "VGA.yres=480")
        server.start(bootable(unit_files()), see, options, time_limit=_TIME_LIMIT)


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, server in SERVERS.items():
        file = (folder / f"{name}.png").resolve()
        picture(server, file)
        print(f"{file}: {file.stat().st_size} bytes")


if __name__ == "__main__":
    main(Path(sys.argv[1]))
