# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's commands for the camera stand-in."""

import os
from pathlib import Path

from failure import Failure
from looking import number

HELP = """\
camera connect|disconnect|error CODE|rate 0..240|hang 0|1
camera play FILE|off        a recording instead of the scene, repeated
camera record FILE SECONDS  what the camera sees, as a recording"""

PICTURE_SIZE = 160 * 120 * 2  # of a recording
MOST_RECORDED = 60  # seconds, which take 70 MB of the device's memory


class Commands:
    """A part of Console."""

    def do_camera(self, arguments):
        usage = "usage: camera connect|disconnect|error CODE|rate 0..240|hang 0|1|play|record ..."
        if len(arguments) == 2 and arguments[0] == "play":
            self._play(arguments[1])
            return
        if len(arguments) == 3 and arguments[0] == "record":
            self._record(arguments[1], number(arguments[2], 0.1, MOST_RECORDED, float))
            return
        if arguments in (["connect"], ["disconnect"]):
            connected = str(int(arguments[0] == "connect"))
            self.surroundings.camera["KIROCAMERA_SIM_CONNECTED"] = connected
        elif len(arguments) == 2 and arguments[0] == "rate":
            self.surroundings.camera["KIROCAMERA_SIM_RATE"] = str(number(arguments[1], 0, 240))
        elif len(arguments) == 2 and arguments[0] in ("error", "hang"):
            bounds = (-2**31, 2**31 - 1) if arguments[0] == "error" else (0, 1)
            number(arguments[1], *bounds)
            if not self.application_runs():
                raise Failure("the application does not run")
        else:
            raise Failure(usage)
        if self.application_runs():
            self.machine.check(f"echo {' '.join(arguments)} > /run/camera")

    def _play(self, file: str):
        if file != "off" and not Path(file).is_file():
            raise Failure(f"there is no recording {file!r}")
        if file != "off" and (Path(file).stat().st_size or 1) % PICTURE_SIZE:
            raise Failure(f"not a recording: its size is not a multiple of {PICTURE_SIZE} bytes")
        self.surroundings.recording = None if file == "off" else file
        if self.application_runs():
            self.machine.check(f"echo play {self._put_recording()} > /run/camera")

    def camera_settings(self) -> dict:
        """The environment of an application that starts now."""
        settings = dict(self.surroundings.camera)
        if path := self._put_recording():
            settings["KIROCAMERA_SIM_RECORDING"] = path
        return settings

    def _put_recording(self) -> str:
        """Returns the path of the recording on the device, empty without one. The path is new each
        time: with the same path the camera would continue with the file that it has open."""
        self.machine.check("rm -f /run/recording-*")
        if self.surroundings.recording is None:
            return ""
        path = f"/run/recording-{next(self.surroundings.recordings)}"
        self.do_put([str(self.surroundings.recording), path])
        return path

    def _record(self, file: str, seconds: float):
        if not self.application_runs():
            raise Failure("the application does not run")
        self.machine.check("echo record /run/recorded > /run/camera")
        self.machine.ended.wait(seconds)
        self.machine.check("echo record > /run/camera")
        self.do_get(["/run/recorded", file])
        whole = Path(file).stat().st_size // PICTURE_SIZE * PICTURE_SIZE
        os.truncate(file, whole)  # the last frame may be incomplete
