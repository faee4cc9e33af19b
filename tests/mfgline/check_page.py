# SPDX-License-Identifier: BSD-2-Clause-Patent
"""mfgline's pages in a real browser: check_page.py PROGRAM"""

import sys
import tempfile
from html.parser import HTMLParser
from pathlib import Path

from browser import browse
from mfgline import HOSTILE, Mfgline, failing, record, text_of

# Those of an element that has no end.
_EMPTY = {"meta", "link", "input", "br"}


class Page(HTMLParser):
    """What a reader sees of the table of units, and what the page consists of."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.tags, self.links, self._hidden, self._within = [], [], {}, False, []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.tags.append((tag, dict(attrs)))
        if tag not in _EMPTY:
            self._within.append(tag)
        if tag == "tr":
            self._hidden = "hidden" in dict(attrs)
            self.rows.append([])
        if tag == "a":
            self.links[dict(attrs)["href"]] = ""

    def handle_endtag(self, tag):
        if tag in self._within:
            while self._within.pop() != tag:
                pass

    def handle_data(self, data):
        if "a" in self._within and self.links:
            self.links[list(self.links)[-1]] += data
        if "td" in self._within and not self._hidden:
            self.rows[-1].append(data)

    def units(self):
        return [row[0] for row in self.rows if len(row) > 1 and row[1] in ("PASS", "FAIL", "ERROR", "WAIVED")]


# fragment: the units shown, in their order
_FILTERS = {
    "": ["HOSTILE", "SN-1", "SN-10", "SN-2", "SN-3"],
    "#q=sn-1": ["SN-1", "SN-10"],
    "#verdict=ERROR": ["SN-3"],
    "#q=string-mismatch&verdict=FAIL": ["HOSTILE", "SN-2"],
    "#q=SN&sort=0&down=1": ["SN-10", "SN-3", "SN-2", "SN-1"],
    "#sort=2": ["SN-1", "SN-2", "SN-3", "SN-10", "HOSTILE"],
    "#q=%3Cscript%3E": ["HOSTILE"],
}


def _check_is_inert(page):
    scripts = [attributes for tag, attributes in page.tags if tag == "script"]
    assert scripts in ([], [{"src": "page.js", "defer": ""}]), scripts
    for tag, attributes in page.tags:
        assert not any(name.startswith("on") for name in attributes), (tag, attributes)
        outside = [value for value in attributes.values() if value and "://" in value]
        assert not outside, (tag, outside)


def main():
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        mfgline = Mfgline(sys.argv[1], folder / "lines.db")
        units = [record("SN-1"), failing("SN-2", 1), record("SN-3", 2)[:-1], record("SN-10", 3), failing(HOSTILE, 4)]
        mfgline("add", "-", text=text_of(*units))
        mfgline("page", folder / "out")
        hostile = next(unit for unit in mfgline.verdicts() if "script" in unit)
        for fragment, expected in _FILTERS.items():
            page = Page(browse(folder / "out" / "index.html", fragment=fragment))
            _check_is_inert(page)
            shown = ["HOSTILE" if unit == hostile else unit for unit in page.units()]
            assert shown == expected, f"{fragment}: {shown}"
        link = next(link for link, text in page.links.items() if text == hostile)
        unit = Page(browse(folder / "out" / link))
        _check_is_inert(unit)
        assert ["Name", "b", "a"] in unit.rows, unit.rows
    print(f"{len(_FILTERS)} filters and a hostile serial number in a browser")


if __name__ == "__main__":
    main()
