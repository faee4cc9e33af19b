#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause-Patent
"""Products include downward only, and only platform/ names what firmware offers."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
ACCESS = {"platform", "report", "net", "pci", "ipmi"}
BELOW = {"platform": set(), "report": {"platform"}, "net": {"platform", "report"}, "pci": {"platform", "report"},
         "ipmi": {"platform", "report"}, "smbios": ACCESS, "guid": ACCESS | {"smbios"},
         "module": ACCESS | {"smbios", "guid"}, "testlib": {"platform"}, "drivers": {"platform"},
         "start": {"platform", "testlib"}, "dump": ACCESS | {"smbios", "guid", "testlib"}}
PROTOCOLS = sorted(ROOT.glob("platform/protocols/*.h"))
OPERATIONS = {name for header in PROTOCOLS if header.stem not in ("test_library", "line_run")
              for name in re.findall(r"EFIAPI\* ?(\w+)\)", header.read_text())}
FIRMWARE = re.compile(r"\b(?:BS|RT|ST|gBS|gRT|gST|uefi_call_wrapper|EFI_\w*PROTOCOL|EFI_SIMPLE_NETWORK)\b|<efi\w*\.h>|"
                      rf"(?<!platform::)\b(?:Allocate|Free)\w*Pool\(|->(?:{'|'.join(OPERATIONS)})\(")
# A driver asks what it has put there itself.
OFFERS = {"drivers/ipmi_kcs/entry.cc": r"\btransport->\w+\("}

wrong = []
for source in sorted(file for folder in BELOW for file in ROOT.glob(f"{folder}/**/*.[ch]*")):
    name = str(source.relative_to(ROOT))
    own = name.split("/")[0]
    for number, line in enumerate(source.read_text().splitlines(), 1):
        code = re.sub(OFFERS.get(name, "$^"), "", line.split("//")[0])
        included = re.match(r'#include "(\w+)/', code)
        if included and included[1] not in BELOW[own] | {own}:
            wrong.append(f"{name}:{number}: {own}/ lies below {included[1]}/ or beside it: {line}")
        if own != "platform" and FIRMWARE.search(code):
            wrong.append(f"{name}:{number}: firmware is called in platform/ only: {line.strip()}")
sys.exit("\n".join(wrong) or 0)
