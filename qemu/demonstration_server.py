# SPDX-License-Identifier: BSD-2-Clause-Patent
"""The demonstration server, whole and with faults, and its line run from the stick."""

import subprocess
import tempfile
from pathlib import Path

from controller import Controller
from drive import make_drive
from machine import EXAMPLE_SERVER, boot, smbios_options
from smbios_structures import event_log, memory_array, memory_device
from station import ROOT, signed, stick_files
from web import web_server

TIME_LIMIT = 120

_SNAKEOIL = "/usr/share/ovmf/PkKek-1-snakeoil"

# What its tests expect, in the place of the sample on a stick.
CONFIGURATION = {"mfgtest.cfg": (ROOT / "qemu" / "demonstration" / "mfgtest.cfg").read_bytes()}

# For a machine that nobody watches, and whose controller needs no waits.
UNATTENDED = b"Delay_Scale = 1\nAfter_Line = off\n"

# The display's frame buffer, where the firmware puts it: plain memory behind
# the root bridge. Its last quarter is far behind what the console draws, and
# stands in for the board's event log.
_LOG = 0xC0000000 + 0xC00000
_LOG_START = 0x10

# QEMU writes a UUID's first three fields in little-endian order; read in the
# order of the bytes this is a version 1 GUID of 2010 with the MAC address below.
_UUID = "78563412-bc9a-df11-8abc-001122334455"
_MAC = "00:11:22:33:44:55"

# Without them the firmware tries the older protocol first, over IPv6 for a minute.
_NO_PXE = tuple(
    word for version in (4, 6) for word in ("-fw_cfg", f"name=opt/org.tianocore/IPv{version}PXESupport,string=n")
)


def _options(network, controller=""):
    return (
        # GUIDs that are made in 2010 are in the factory's range of dates.
        *("-rtc", "base=2010-05-06T07:08:00"),
        *("-machine", "x-oem-table-id=EX-TBL 1"),
        *("-netdev", f"user,id=network,{network}"),
        *("-device", f"virtio-net-pci,netdev=network,mac={_MAC},romfile={controller}"),
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

# A line that writes: the board's firmware takes GUIDs, and the factory left an
# EUI-64 in a variable of the old shell's.
WRITING_LINE = (
    "load manufacturing_interface.efi",
    'setvar Mfg1394Uuid -guid 47C7B224-C42A-11D2-8E57-00A0C969723B -bs -nv =L"0011223344556677"',
    f"{LINE} write READ_GUID_METHOD=FLASH",
)


def unit_files(more=b""):
    """The stick with the server's own parameters and some more, and its board's firmware that takes GUIDs."""
    interface = ROOT / "build" / "qemu" / "manufacturing_interface.efi"
    parameters = {name: content + more for name, content in CONFIGURATION.items()}
    return {**stick_files(), **parameters, interface.name: interface.read_bytes()}


def trusted(files):
    """The files, with every image signed by the key that a machine with machine.SECURE trusts."""
    with tempfile.TemporaryDirectory(prefix="mfgtest-key-") as folder:
        key = Path(folder, "key.pem")
        command = ("openssl", "pkey", "-in", f"{_SNAKEOIL}.key", "-passin", "pass:snakeoil", "-out", key)
        subprocess.run(command, check=True)
        return signed(files, key, f"{_SNAKEOIL}.pem")


class Server:
    """One unit of the demonstration server."""

    def __init__(self, serial="SN-0000001", frus=_FRUS, events=b"", options=(), drivers=()):
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
        self.options = (*_options("restrict=on"), *options)
        # Beside the stick's files, what stands for other firmware.
        self._drivers = [ROOT / "build" / "qemu" / name for name in drivers]

    @property
    def smbios(self):
        """The structures, for a boot."""
        return [*smbios_options(self._identity), *_STRUCTURES]

    @property
    def memory(self):
        """The event log, for a boot."""
        return ((_LOG + _LOG_START, self._log),)

    def run_line(self, commands, on_line=lambda line: None, files=None, options=(), **machine):
        """Boots to the shell and types the commands at its prompt; gives what the machine said.

        files: further ones on the stick, by name
        """
        typed = (("FS0:\\> ", f"{command}\r") for command in (*commands, "reset -s"))
        files = {**unit_files(), **{driver.name: driver.read_bytes() for driver in self._drivers}, **(files or {})}
        return self._boot(files, on_line, (*self.options, *options), answers=(("Shell> ", "fs0:\r"), *typed), **machine)

    def start(self, files, on_line=lambda line: None, options=(), **machine):
        """Boots a stick that starts by itself, with no shell; gives what the machine said."""
        return self._boot(files, on_line, (*self.options, *options), **machine)

    def start_from_network(self, files, on_line=lambda line: None, **machine):
        """The same from a web server: the firmware makes a drive in memory of the stick's image."""
        with tempfile.TemporaryDirectory(prefix="mfgtest-http-") as folder:
            make_drive(Path(folder, "usb.img"), files)
            with web_server(folder) as address:
                options = (*_NO_PXE, *_options(f"bootfile={address}/usb.img", ",bootindex=1"))
                return self._boot(None, on_line, options, **machine)

    def _boot(self, files, on_line, options, time_limit=TIME_LIMIT, **machine):
        with Controller(self._frus, time_limit) as controller:
            options = (*options, *controller.options)
            lines = boot(self.smbios, files, None, time_limit, on_line, options, memory=self.memory, **machine)
        if controller.complaint:
            raise OSError(controller.complaint)
        return lines


SERVERS = {
    "healthy": Server(),
    # A wrong serial number, a backplane that was never programmed, and an event
    # that nobody expects.
    "faulty": Server(serial="SN-0000009", frus=_FRUS + _ERASED_BACKPLANE, events=_MEMORY_EVENT),
    # Firmware of today: load these, and the older entries are gone.
    "newer": Server(
        options=("-machine", "smbios-entry-point-type=64"), drivers=("newer_firmware.efi", "firmware_ipmi.efi")
    ),
}
