# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Checks built UEFI images: check_images.py FOLDER_OF_EFI FOLDER_OF_ELF

Firmware refuses a wrong image, or worse, starts it: each rule here is one that
the loader, gnu-efi's start code or a tool of the line relies on.
"""

import re
import struct
import subprocess
import sys
from pathlib import Path

APPLICATION = 10
BOOT_SERVICE_DRIVER = 11
SUBSYSTEMS = {
    "mfgtest": APPLICATION,
    "start": APPLICATION,
    "dump": APPLICATION,
    **dict.fromkeys(("testlib", "ipmi_kcs", "smbios_entry"), BOOT_SERVICE_DRIVER),
}

# What the module may fill: stations load it over slow links and from small disks.
SIZE_LIMITS = {"mfgtest": 96 * 1024}
# Names at which the link of gnu-efi's library ends; there is nothing behind them.
NEVER_CALLED = {"DevicePathFromHandle", "DevicePathToStr", "CompareGuid", "LibGetSystemConfigurationTable"}

PE32_PLUS = 0x20B
X86_64 = 0x8664
PAGE = 4096
NX_COMPAT = 0x100
EXECUTE = 0x20000000
WRITE = 0x80000000


def pe_faults(data, subsystem):
    """What is wrong with the headers, by the PE/COFF format and the UEFI specification."""
    header = struct.unpack_from("<I", data, 0x3C)[0]
    if data[:2] != b"MZ" or data[header : header + 4] != b"PE\0\0":
        return ["no PE image"]
    machine, sections, _, _, _, optional_size, _ = struct.unpack_from("<HHIIIHH", data, header + 4)
    optional = header + 24
    magic = struct.unpack_from("<H", data, optional)[0]
    entry = struct.unpack_from("<I", data, optional + 16)[0]
    found_subsystem = struct.unpack_from("<H", data, optional + 68)[0]
    characteristics = struct.unpack_from("<H", data, optional + 70)[0]
    relocations = struct.unpack_from("<I", data, optional + 112 + 5 * 8 + 4)[0]

    faults = []
    if machine != X86_64:
        faults.append(f"machine {machine:#x}, not x86-64")
    if magic != PE32_PLUS:
        faults.append(f"optional header {magic:#x}, not PE32+")
    if found_subsystem != subsystem:
        faults.append(f"subsystem {found_subsystem}, not {subsystem}")
    if relocations == 0:
        faults.append("no base relocations: the loader could not move it")

    if not characteristics & NX_COMPAT:
        faults.append("not marked as fit for memory that is not both writable and executable")

    sbat = b""
    entry_is_code = False
    for index in range(sections):
        fields = struct.unpack_from("<8sIIIIIIHHI", data, optional + optional_size + 40 * index)
        name, virtual_size, address, flags = fields[0].rstrip(b"\0").decode(), fields[1], fields[2], fields[9]
        if flags & WRITE and flags & EXECUTE:
            faults.append(f"section {name} is writable and executable")
        if address % PAGE:
            faults.append(f"section {name} begins within a page: its attributes cannot be its own")
        if name == ".sbat":
            sbat = data[fields[4] : fields[4] + virtual_size]
        if flags & EXECUTE and address <= entry < address + virtual_size:
            entry_is_code = True
    if not entry_is_code:
        faults.append("the entry point lies in no executable section")
    if not re.fullmatch(rb"sbat,1,.*\nmfgtest,\d+,.*\n(.+\n)*", sbat):
        faults.append(f"a loader under Secure Boot wants another .sbat: {sbat}")
    return faults


def elf_faults(elf):
    """What the conversion to PE32+ hides: static constructors, missing symbols, relocations of other kinds."""
    faults = []
    sections = _readelf("--section-headers", elf)
    for name, size in re.findall(r"(\.init_array|\.ctors)\S*\s+\S+\s+\S+\s+\S+\s+([0-9a-f]+)", sections):
        if int(size, 16) != 0:
            faults.append(f"{name}: static constructors, which nothing runs")
    for symbol in re.findall(r" UND (\S+)", _readelf("--symbols", elf)):
        faults.append(f"undefined symbol {symbol}")
    for relocation, symbol in re.findall(r"(R_X86_64_\w+)\s+(.*)", _readelf("--relocs", elf)):
        faults.append(f"relocation {relocation} outside the packed table, which is all the start code knows: {symbol}")
    return faults


def object_faults(folder):
    """Our own calls of what is not linked."""
    objects = [str(path) for path in Path(folder).rglob("*.o")]
    undefined = subprocess.run(["nm", "-A", "-u", *objects], check=True, capture_output=True, text=True).stdout
    calls = (line.split() for line in undefined.splitlines())
    return [f"{place} calls {name}, which is not linked" for place, _, name in calls if name in NEVER_CALLED]


def _readelf(option, elf):
    return subprocess.run(["readelf", "--wide", option, elf], check=True, capture_output=True, text=True).stdout


def version_faults(data):
    """The marker tells a tool the version; the library is told it by another text."""
    markers = re.findall(rb"version_number=([0-9.]+)\0", data)
    if markers != [b"3.26.1.0001"]:
        return [f"version markers: {markers}"]
    versions = re.findall(rb"\0(\d+\.\d+\.\d+\.\d{4})\0", data)
    if versions != markers:
        return [f"the marker says {markers}, the texts for the library {versions}"]
    return []


def image_faults(image, elf_folder):
    if image.stem not in SUBSYSTEMS:
        return ["an image whose subsystem is not known here"]
    data = image.read_bytes()
    faults = pe_faults(data, SUBSYSTEMS[image.stem]) + elf_faults(Path(elf_folder, f"{image.stem}.so"))
    if image.stem == "mfgtest":
        faults += version_faults(data)
    limit = SIZE_LIMITS.get(image.stem)
    if limit and len(data) > limit:
        faults.append(f"{len(data)} bytes, more than {limit}")
    return faults


def main(efi_folder, elf_folder):
    images = sorted(Path(efi_folder).glob("*.efi"))
    faults_of = {image.name: image_faults(image, elf_folder) for image in images}
    faults_of["objects"] = object_faults(elf_folder)
    for name in SUBSYSTEMS:
        faults_of.setdefault(f"{name}.efi", ["was not built"])
    for image in images:
        print(f"{image}: {image.stat().st_size} bytes")
    for name, faults in faults_of.items():
        for fault in faults:
            print(f"FAILED {name}: {fault}")
    return 1 if any(faults_of.values()) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
