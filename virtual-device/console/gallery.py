"""The display as a sequence of numbered JPEG pictures, made only while somebody asks for them."""

import io
import threading
import time

from PIL import Image

from machine import Failure
from watch import Watch

RATE = 30  # pictures a second at most
LINGER = 2  # seconds without a question after which no more are made
PATIENCE = 1  # seconds that a question waits for news
QUALITY = 88


def jpeg(picture) -> bytes:
    """Empty when there is no picture."""
    if picture is None:
        return b""
    image = Image.frombuffer("RGB", (picture.width, picture.height), picture.pixels, "raw", "BGRX",
                             picture.pitch, 1)
    encoded = io.BytesIO()
    # Text in colour would fray with the colours at half the resolution.
    image.save(encoded, "JPEG", quality=QUALITY, subsampling=0)
    return encoded.getvalue()


class Gallery:
    def __init__(self, watch: Watch):
        self._watch = watch
        self._changed = threading.Condition()
        self._number = 0
        self._latest = b""
        self._asked = 0.0  # when
        threading.Thread(target=self._work, daemon=True).start()

    def newer(self, number: int) -> tuple[int, bytes]:
        """The latest picture and its number, when it is another one or becomes another one soon; an
        empty picture is a dark display."""
        with self._changed:
            self._asked = time.monotonic()
            self._changed.notify_all()
            self._changed.wait_for(lambda: self._number != number, PATIENCE)
            self._asked = time.monotonic()
            return self._number, self._latest

    def _work(self):
        before = ()  # no picture compares equal to it
        while True:
            with self._changed:
                self._changed.wait_for(lambda: time.monotonic() - self._asked < LINGER)
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
