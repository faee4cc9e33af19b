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


def picture(server, file):
    """Boots the server's stick and keeps what its screen shows in the end."""
    with tempfile.TemporaryDirectory(prefix="mfgtest-picture-") as folder:
        socket = Path(folder, "qmp")

        def see(line):
            if SUMMARY.fullmatch(line):
                time.sleep(_DRAWING)
                take_picture(socket, file)

        options = ("-qmp", f"unix:{socket},server=on,wait=off")
        server.start(bootable(unit_files(b"Delay_Scale = 1\n")), see, options)


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, server in SERVERS.items():
        file = (folder / f"{name}.png").resolve()
        picture(server, file)
        print(f"{file}: {file.stat().st_size} bytes")


if __name__ == "__main__":
    main(Path(sys.argv[1]))
