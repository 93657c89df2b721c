# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The file with the application's status lines."""

from pathlib import Path


class StatusLog:
    """Without space for it the device goes on; one notice reports that lines are missing."""

    def __init__(self, path: Path, notify):
        self._path = path
        self._notify = notify
        self._complete = True

    def add(self, line: str):
        try:
            with open(self._path, "a", encoding="utf-8") as log:
                print(line, file=log)
        except OSError as error:
            if self._complete:
                self._notify(f"{self._path} lacks lines: {error.strerror}")
            self._complete = False
