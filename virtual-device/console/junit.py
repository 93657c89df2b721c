# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Results of a script's commands or of test programs, as JUnit XML for a product's own CI."""

import re
import time
import xml.etree.ElementTree as XML
from pathlib import Path

NOT_IN_XML = re.compile(r"[^\t\n\r\x20-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]")


def _text(text: str) -> str:
    return NOT_IN_XML.sub("\N{REPLACEMENT CHARACTER}", text)


class Results:
    def __init__(self, suite: str):
        self._suite = suite
        self._cases = []
        self._failures = 0
        self._begin = self._last = time.monotonic()

    def add(self, name: str, failure: str = "", output: str = ""):
        """Adds a case that ends now. It began at the end of the case before it, or with the
        suite."""
        now = time.monotonic()
        case = XML.Element("testcase", classname=self._suite, name=_text(name),
                           time=f"{now - self._last:.3f}")
        if failure:
            self._failures += 1
            XML.SubElement(case, "failure", message=_text(failure)).text = _text(output)
        elif output:
            XML.SubElement(case, "system-out").text = _text(output)
        self._cases.append(case)
        self._last = now

    def write(self, path: Path):
        suite = XML.Element("testsuite", name=self._suite, tests=str(len(self._cases)),
                            failures=str(self._failures), errors="0", skipped="0",
                            time=f"{self._last - self._begin:.3f}")
        suite.extend(self._cases)
        root = XML.Element("testsuites")
        root.append(suite)
        XML.ElementTree(root).write(path, encoding="utf-8", xml_declaration=True)
