# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The display as numbered JPEG pictures, made only while a client requests them."""

import threading
import time

from machine import Failure
from picture import encode
from watch import Watch

RATE = 30  # maximum pictures per second
LINGER = 2  # seconds without a request after which it stops
PATIENCE = 1  # seconds that a request waits for a new picture
QUALITY = 88


def jpeg(picture) -> bytes:
    """Returns an empty result for no picture."""
    # Subsampled colours would blur coloured text.
    return encode(picture, "JPEG", quality=QUALITY, subsampling=0) if picture else b""


class Gallery:
    def __init__(self, watch: Watch):
        self._watch = watch
        self._changed = threading.Condition()
        self._number = 0
        self._latest = b""
        self._requested = 0.0  # time of the last request
        threading.Thread(target=self._work, daemon=True).start()

    def newer(self, number: int) -> tuple[int, bytes]:
        """Waits a little for a picture with another number; returns the latest number and picture,
        which is empty while the display is dark."""
        with self._changed:
            self._requested = time.monotonic()
            self._changed.notify_all()
            self._changed.wait_for(lambda: self._number != number, PATIENCE)
            self._requested = time.monotonic()
            return self._number, self._latest

    def _work(self):
        before = ()  # no picture compares equal to it
        while True:
            with self._changed:
                self._changed.wait_for(lambda: time.monotonic() - self._requested < LINGER)
            begin = time.monotonic()
            try:
                picture = self._watch.picture()
            except Failure:
                picture = None
            if picture != before:
                before = picture
                self._publish(jpeg(picture))
            time.sleep(max(0.002, begin + 1 / RATE - time.monotonic()))

    def _publish(self, encoded: bytes):
        with self._changed:
            self._number += 1
            self._latest = encoded
            self._changed.notify_all()
