# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console at a terminal: an editable line with history and completion, below the status lines
that other threads print meanwhile."""

import contextlib
import glob
import os
import re
import readline
import signal
import sys
import threading
import time
from pathlib import Path

PROMPT = "> "
MOST_LINES = 1000  # of the history
DESCRIPTION = re.compile("  .*")  # after a usage, and on a separate line


class DeviceEnded(Exception):
    """Raised in the main thread while it waits for a line."""


class Terminal:
    """Use it in the main thread only, and create only one."""

    def __init__(self, history: Path, usages: dict[str, str]):
        """`usages`: the usage of each command by its name."""
        self._history = history
        self._usages = usages
        self._reading = False
        self._reads = 0
        self._lock = threading.Lock()
        self._matches = []
        with contextlib.suppress(OSError):  # the first start has none
            readline.read_history_file(history)
        readline.set_history_length(MOST_LINES)
        readline.set_completer_delims(" |")
        readline.set_completer(self._complete)
        readline.parse_and_bind("tab: complete")
        signal.signal(signal.SIGUSR1, self._end)

    def read(self) -> str:
        """The next line. Raises DeviceEnded, EOFError, KeyboardInterrupt."""
        self._reads += 1
        self._reading = True
        try:
            line = input(PROMPT)
        finally:
            self._reading = False
        with contextlib.suppress(OSError):  # without space for it the line is still a command
            readline.write_history_file(self._history)
        return line

    def say(self, text: str):
        """Prints above the line that is being edited."""
        with self._lock:
            if self._reading:
                rest = f"{PROMPT}{readline.get_line_buffer()}"
                sys.stdout.write(f"\r\033[K{text}\n{rest}")
            else:
                sys.stdout.write(f"{text}\n")
            sys.stdout.flush()

    def interrupt(self):
        """Ends read(), from any thread but the main one."""
        read = self._reads
        while self._reading and self._reads == read:
            os.kill(os.getpid(), signal.SIGUSR1)
            time.sleep(0.1)  # again: a signal just before readline waits does not end that wait

    def _end(self, *_):
        if self._reading:
            raise DeviceEnded

    def _complete(self, text: str, number: int):
        if number == 0:
            before = readline.get_line_buffer()[:readline.get_begidx()].split()
            self._matches = self.complete(before, text)
            if len(self._matches) == 1 and not self._matches[0].endswith("/"):
                self._matches[0] += " "
        return self._matches[number] if number < len(self._matches) else None

    def complete(self, before: list, text: str) -> list:
        """Returns the possible completions of `text` after the words `before`."""
        if not before or before == ["help"]:
            words = self._usages
        elif before[0] in self._usages:
            usage = " ".join(DESCRIPTION.sub("", line)
                             for line in self._usages[before[0]].splitlines())
            words = [word for word in re.split(r"[][| ]", usage)[1:]
                     if word.islower() and word.isalpha()]
            if "FILE" in usage or "PNG" in usage:
                words += [name + "/" if os.path.isdir(name) else name
                          for name in glob.glob(glob.escape(text) + "*")]
        else:
            words = []
        return sorted({word for word in words if word.startswith(text)} - set(before))
