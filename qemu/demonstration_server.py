"""The demonstration server of station/mfgtest.cfg, whole and with faults, and its line run from the stick."""

import struct

from controller import Controller
from machine import EXAMPLE_SERVER, boot, smbios_options
from smbios_structures import event_log, memory_array, memory_device
from station import ROOT, stick_files

TIME_LIMIT = 120

# The display's frame buffer, where the firmware puts it: plain memory behind
# the root bridge. Its last quarter is far behind what the console draws, and
# stands in for the board's event log.
_LOG = 0xC0000000 + 0xC00000
_LOG_START = 0x10

# QEMU writes a UUID's first three fields in little-endian order; read in the
# order of the bytes this is a version 1 GUID of 2010 with the MAC address below.
_UUID = "78563412-bc9a-df11-8abc-001122334455"
_MAC = "00:11:22:33:44:55"

_OPTIONS = (
    *("-machine", "x-oem-table-id=EX-TBL 1"),
    *("-netdev", "user,id=network,restrict=on"),
    *("-device", f"virtio-net-pci,netdev=network,mac={_MAC},romfile="),
)

_STRUCTURES = (
    event_log(0xF00, _LOG, _LOG_START),
    memory_array(0x1000, 3),
    memory_device(0x1100, 4096, 1333, "DIMM_A1", "NODE 1"),
    memory_device(0x1101, 4096, 1333, "DIMM_B1", "NODE 2"),
    memory_device(0x1102, 0, 0, "DIMM_B2", "NODE 2"),
)

_FRUS = (ROOT / "simulation" / "server.machine").read_text(encoding="utf-8")
_ERASED_BACKPLANE = "[fru 5]\n" + "".join(f"byte {offset} = 0xFF\n" for offset in range(256))

_END_OF_LOG = b"\xff" * 16
_MEMORY_EVENT = bytes((1, 16, 0x26, 0x11, 0x21, 0x07, 0x59, 0x01, 1, 2, 0, 3, 0x14, 5, 0, 0))

# The whole line run, with waits cut to a hundredth: the simulated controller
# needs none.
LINE = "line --delay-scale=1"


class Server:
    """One unit of the demonstration server."""

    def __init__(self, serial="SN-0000001", frus=_FRUS, events=b""):
        system = {**EXAMPLE_SERVER[1], "serial": serial, "uuid": _UUID}
        self._identity = {
            0: {"vendor": "Example Firmware", "version": "R01.00 (x64)", "date": "04/01/2014"},
            **EXAMPLE_SERVER,
            1: system,
            11: {"value": "BUILD 7"},
        }
        self._frus = frus
        self._log = events + _END_OF_LOG

    # QEMU's options but for the controller.
    options = _OPTIONS

    @property
    def smbios(self):
        """The structures, for a boot."""
        return [*smbios_options(self._identity), *_STRUCTURES]

    @property
    def log_commands(self):
        """The shell's commands that write the event log."""
        for offset in range(0, len(self._log), 8):
            (value,) = struct.unpack_from("<Q", self._log, offset)
            yield f"mm {_LOG + _LOG_START + offset:X} {value:X} -w 8 -MMIO -n"

    def run_line(self, commands, on_line=lambda line: None, files=None, on_off=lambda drive: None, time_limit=TIME_LIMIT):
        """Boots the stick and types the commands at the shell's prompt; gives what the machine said.

        files: further ones on the stick, by name
        on_off: called with the drive's image when the machine is off
        """
        typed = (*self.log_commands, *commands, "reset -s")
        with Controller(self._frus, time_limit) as controller:
            lines = boot(
                self.smbios,
                {**stick_files(), **(files or {})},
                None,
                time_limit,
                on_line,
                options=(*self.options, *controller.options),
                answers=(("Shell> ", "fs0:\r"), *(("FS0:\\> ", f"{command}\r") for command in typed)),
                on_off=on_off,
            )
        if controller.complaint:
            raise OSError(controller.complaint)
        return lines


SERVERS = {
    "healthy": Server(),
    # A wrong serial number, a backplane that was never programmed, and an event
    # that nobody expects.
    "faulty": Server(serial="SN-0000009", frus=_FRUS + _ERASED_BACKPLANE, events=_MEMORY_EVENT),
}
