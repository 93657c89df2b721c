# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Shows that a long step is still running."""

import sys
import threading
import time

QUIET = 2  # seconds before anything is shown
UP = "\033[A\033[K"  # moves a terminal's cursor to the line before and clears it
BETWEEN_LINES = 20  # seconds, where the output is not a terminal


class Step:
    """Use it in a `with` statement. Shows the text and the elapsed seconds, in one line of a
    terminal."""

    def __init__(self, say, text: str):
        self._say = say
        self._text = text
        self._begin = time.monotonic()
        self._done = threading.Event()
        self._thread = threading.Thread(target=self._show, daemon=True)

    def __enter__(self):
        self._thread.start()

    def __exit__(self, *_):
        self._done.set()
        self._thread.join()

    def _show(self):
        if self._done.wait(QUIET):
            return
        self._say(f"{self._text} ...")
        terminal = sys.stdout.isatty()
        while not self._done.wait(1 if terminal else BETWEEN_LINES):
            seconds = time.monotonic() - self._begin
            self._say(f"{UP if terminal else ''}{self._text}: {seconds:.0f} s")
