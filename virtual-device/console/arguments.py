# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The command line of ./run. `python3 arguments.py ARGUMENT...` only checks it; ./run does so
before it builds anything."""

import argparse
import shutil
import sys
from pathlib import Path

import own
import verified
from failure import Failure, reported
from options import result, work_folder

PROJECT = Path(__file__).resolve().parents[2]


def _port(text: str) -> int:
    if not text.isdecimal() or int(text) > 65535:  # 0 is any free one
        raise argparse.ArgumentTypeError(f"{text} is not a port number (0 to 65535)")
    return int(text)


def _file(text: str) -> Path:
    if not Path(text).is_file():
        raise argparse.ArgumentTypeError(f"no file {text}")
    return Path(text)


def _script(text: str) -> Path:
    path = _file(text)
    try:
        path.read_text()
    except (OSError, UnicodeDecodeError):
        raise argparse.ArgumentTypeError(f"{text} is not a text that can be read") from None
    return path


def _folder(text: str) -> Path:
    if not Path(text).is_dir():
        raise argparse.ArgumentTypeError(f"no folder {text}")
    return Path(text)


def _checked(text: str, check) -> Path:
    path = _file(text)
    try:
        check(path)
    except Failure as failure:
        raise argparse.ArgumentTypeError(str(failure)) from None
    return path


def _device_file(text: str) -> Path:
    return _checked(text, own.check)


def _signature_file(text: str, check) -> Path:
    if not shutil.which("openssl"):  # ./run installs it, and the console checks again
        return _file(text)
    return _checked(text, check)


def _key(text: str) -> Path:
    return _signature_file(text, verified.check_key)


def _certificate(text: str) -> Path:
    return _signature_file(text, verified.check_certificate)


def _parser() -> argparse.ArgumentParser:
    # No abbreviations: ./run installs an option's dependencies and recognises only full names.
    parser = argparse.ArgumentParser(prog="run", description="Starts the virtual device.",
                                     allow_abbrev=False)
    what = parser.add_mutually_exclusive_group()
    what.add_argument("--script", type=_script, metavar="FILE",
                      help="run the commands in FILE; exit with 0 when each answered ok")
    what.add_argument("--shell", action="store_true", help="a shell on the device")
    what.add_argument("--test", nargs="+", type=_file, metavar="PROGRAM",
                      help="run armhf test programs on the device")
    what.add_argument("--debug", nargs="?", const="", metavar="PROGRAM",
                      help="the application or a test program under the debug server")
    what.add_argument("--panel", nargs="?", type=_port, const=8480, metavar="PORT",
                      help="the device in a browser: buttons, display, surroundings (8480)")
    what.add_argument("--tour", action="store_true",
                      help="a one-minute tour of the device in words and pictures")
    for name, part in (("application", "application"), ("ui-library", "user-interface library"),
                       ("camera-library", "camera library")):
        parser.add_argument(f"--{name}", type=_device_file, metavar="FILE",
                            help=f"your own {part}, for this run only")
    parser.add_argument("--recording", type=_file, metavar="FILE",
                        help="played repeatedly instead of the camera's own scene")
    parser.add_argument("--junit", type=result, metavar="FILE",
                        help="with --script or --test: write the results as JUnit XML")
    parser.add_argument("--root", action="append", default=[], type=_folder, metavar="DIR",
                        help="a folder that overlays the root file system of this build's "
                             "firmware; repeatable, later ones on top")
    parser.add_argument("--key", type=_key,
                        help="a private RSA key that signs this build's firmware")
    parser.add_argument("--verified", type=_certificate, metavar="CERTIFICATE",
                        help="boot only firmware signed with the certificate's key")
    parser.add_argument("--snapshot", action="store_true",
                        help="start a new device from a snapshot of its first boot, like a "
                             "script with the line '# machine: snapshot'")
    parser.add_argument("--port", type=_port, default=2345, help="for --debug (2345)")
    parser.add_argument("--work", type=work_folder, default=PROJECT / "build" / "device",
                        help="folder of this device's flash, files and logs (build/device)")
    return parser


def arguments(words=None):
    """Exits with status 2 and a message if they are wrong."""
    parser = _parser()
    options = parser.parse_args(words)
    if options.junit and not (options.script or options.test):
        parser.error("--junit needs --script or --test")
    if options.debug and not Path(options.debug).is_file():
        parser.error(f"argument --debug: no file {options.debug}")
    if options.verified:
        if not options.key:
            parser.error("--verified needs --key, the private key of the certificate")
        try:
            verified.check_pair(options.key, options.verified)
        except Failure as failure:
            parser.error(str(failure))
    options.own = {name: path for name in own.PLACES if (path := getattr(options, name))}
    if options.own and (options.test or options.tour):
        parser.error("--test and --tour are for this build's files, not for your own")
    return options


def _check() -> int:
    arguments(sys.argv[1:])
    return 0


if __name__ == "__main__":
    sys.exit(reported("run", _check))
