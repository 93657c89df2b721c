# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Runs the virtual device for ./run; see its --help."""

import os
import select
import shlex
import signal
import socket
import sys
import termios
import time
import tty
from pathlib import Path

import snapshot
from arguments import PROJECT, arguments
from commands import Console, Quit, usages
from debugger import debug
from failure import ERRORS, reported
from junit import Results
from looking import SCRIPT_PATIENCE
from machine import Failure, Machine
from own import Own
from progress import Step

SNAPSHOT = "# machine: snapshot\n"  # in a script that does not need a fresh boot
TEST_TIME_LIMIT = 600  # seconds, after which a test program counts as hung


def say(text: str):
    # A single write, because another thread prints status lines.
    sys.stdout.write(f"{text}\n")
    sys.stdout.flush()


def is_command(line: str) -> bool:
    return bool(line.strip()) and not line.lstrip().startswith("#")


def answer(console: Console, line: str) -> str:
    """Executes a line and prints its answer; returns the reason of an error."""
    try:
        console.execute(line)
    except ERRORS as failure:
        console.say(f"error {failure}")
        return str(failure) or "error"
    if is_command(line):
        console.say("ok")
    return ""


def report_threads(console: Console):
    """Prints where each thread of the application waits, for a failure that does not repeat."""
    try:
        _, output = console.machine.run(
            "for t in /proc/$(cat /run/application.pid)/task/*; do"
            " echo \"${t##*/} $(cat $t/comm) $(cat $t/wchan) $(cat $t/syscall)\"; done", 60)
        say(f"threads of the application:\n{output.rstrip()}")
    except Failure as failure:
        say(f"the device does not answer: {failure}")


def run_script(console: Console, path: Path, results: Results) -> int:
    console.patience = SCRIPT_PATIENCE
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not is_command(line):
            continue
        line = line.strip()
        say(f"> {line}")
        first = len(console.machine.lines)
        try:
            reason = answer(console, line)
        except Quit:
            break
        results.add(f"{number}: {line}", reason, "\n".join(console.machine.lines[first:]))
        if reason:
            say(f"{path}:{number}: {line}")
            report_threads(console)
            return 1
    return 0


def converse(console: Console) -> int:
    """Reads commands until quit, end of file, Ctrl-C or the device's end."""
    if sys.stdin.isatty() and sys.stdout.isatty():
        return converse_at_terminal(console)
    end, at_end = socket.socketpair()
    console.machine.on_end = lambda: end.send(b"!")
    try:
        return converse_until(console, at_end)
    finally:
        console.machine.on_end = lambda: None  # the socket is no longer read


def converse_at_terminal(console: Console) -> int:
    from terminal import DeviceEnded, Terminal  # changes the terminal's signals
    terminal = Terminal(console.machine.work / "history", usages())
    console.say = console.machine.on_line = console.machine.on_notice = terminal.say
    console.machine.on_end = terminal.interrupt
    try:
        while not console.machine.ended.is_set():
            answer(console, terminal.read())
    except DeviceEnded:
        say("")
    except EOFError:
        say("")
        return 0
    except Quit:
        return 0
    finally:
        console.machine.on_end = lambda: None
    return report_end(console.machine)


def converse_until(console: Console, at_end: socket.socket) -> int:
    pending = b""
    while not console.machine.ended.is_set():
        ready, _, _ = select.select([sys.stdin, at_end], [], [])
        if sys.stdin not in ready:
            break
        data = os.read(sys.stdin.fileno(), 4096)
        pending += data
        *lines, pending = pending.split(b"\n")
        if not data and pending:
            lines.append(pending)
        try:
            for line in lines:
                answer(console, line.decode(errors="replace"))
        except Quit:
            say("ok")
            return 0
        if not data:
            return 0
    return report_end(console.machine)


def report_end(machine: Machine) -> int:
    if machine.end_reason == "guest-shutdown":
        say("The device has powered off.")
        return 0
    say(f"The device has ended: {machine.end_reason}; see {machine.work}/console.log")
    return 1


def show_it(console: Console, began: float):
    """Runs the demonstration of a plain ./run."""
    pictures = console.machine.work / "pictures"
    pictures.mkdir(exist_ok=True)
    expectation = "expect FPS:" if console.machine.own.shows_frames else "expect-picture"
    for line in ("battery level 80", "start", expectation):
        try:
            console.execute(line)
        except Failure as failure:
            if console.machine.own.shows_frames:
                raise
            say(f'{failure}. "expect-picture" waits for a picture, "help" lists the commands.')
            return
    for number in (1, 2, 3):
        time.sleep(0.5)
        picture = pictures / f"thermal-{number}.png"
        console.execute(f"screenshot {picture}")
        if number == 1:
            what = "thermal image" if console.machine.own.shows_frames else "application's picture"
            say(f"The {what} is on the display, {time.monotonic() - began:.1f} s after the "
                "start.")
        say(f"picture: {os.path.relpath(picture)}")
    say('Type "help" for the commands, "quit" to end.')


def run_tests(machine: Machine, programs: list, results: Results) -> int:
    machine.check("cp /host/lib/*.so* /usr/lib/")
    failed = []
    for program in programs:
        name = machine.install_test(program)
        # Each test runs in its own namespaces, as on the development machine: tests mount and
        # bind.
        status, output = machine.run(
            "cd /host/tests && unshare -m -p -f sh -c 'mount -t proc proc /proc; exec \"$0\"' "
            f"{shlex.quote(f'./{name}')}", TEST_TIME_LIMIT)
        say(output.rstrip("\n"))
        reason = f"{name} ended with status {status}" if status else ""
        results.add(name, reason, output)
        if reason:
            failed.append(reason)
    for line in failed:
        say(f"FAILED: {line}")
    return int(bool(failed))


def with_results(path, suite: str, run) -> int:
    """Calls run(results) and writes the results, also when the run is aborted."""
    results = Results(suite)
    try:
        return run(results)
    except ERRORS as failure:
        results.add("virtual device", str(failure))
        raise
    finally:
        if path:
            results.write(path)


def shell(machine: Machine) -> int:
    """Connects the terminal to the device's serial line."""
    say("A shell on the device; Ctrl-] leaves it and ends the device.")
    line = machine.connect("serial")
    line.sendall(b"\n")
    interactive = sys.stdin.isatty()
    if interactive:
        saved = termios.tcgetattr(sys.stdin)
        tty.setraw(sys.stdin)
    try:
        while True:
            ready, _, _ = select.select([sys.stdin, line], [], [])
            source = line if line in ready else sys.stdin
            data = line.recv(4096) if source is line else os.read(sys.stdin.fileno(), 4096)
            if not data or (source is sys.stdin and b"\x1d" in data):
                return 0
            if source is line:
                os.write(sys.stdout.fileno(), data)
            else:
                line.sendall(data)
    finally:
        if interactive:
            termios.tcsetattr(sys.stdin, termios.TCSADRAIN, saved)


def work(options, machine: Machine, began: float) -> int:
    with Step(say, "Making the device's firmware"):
        what = machine.prepare()
    say(what)
    with Step(say, "Booting the virtual device"):
        if machine.blank and (options.snapshot or
                              options.script and SNAPSHOT in options.script.read_text()):
            snapshot.start(machine)
        else:
            machine.start()
            machine.wait_until_ready()
    if options.test or options.shell or options.debug is not None:
        # No picture appears there that would confirm a slot on trial.
        machine.check("/usr/libexec/vantorel/confirm now")
    if options.test:
        return with_results(options.junit, "programs",
                            lambda results: run_tests(machine, options.test, results))
    if options.shell:
        return shell(machine)
    if options.debug is not None:
        return debug(machine, options.debug, options.port, say)
    say(f"The virtual device has started, {time.monotonic() - began:.1f} s after the start.")
    if options.panel is not None:
        from panel import serve  # needs extra packages
        return serve(machine, options.panel, say)
    if options.tour:
        from tour import tour
        return tour(machine, say)
    console = Console(machine, say)
    machine.on_line = say
    if options.script:
        return with_results(options.junit, options.script.stem,
                            lambda results: run_script(console, options.script, results))
    show_it(console, began)
    return converse(console)


def main() -> int:
    began = time.monotonic() - float(os.environ.get("VANTOREL_RUN_SECONDS", "0"))
    options = arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    machine = Machine(PROJECT / "build" / "virtual-device", PROJECT / "build" / "armhf",
                      options.work.resolve())
    machine.own = Own(options.own)
    machine.surroundings.recording = options.recording
    machine.roots, machine.key, machine.certificate = options.root, options.key, options.verified
    try:
        return work(options, machine, began)
    finally:
        signal.signal(signal.SIGINT, signal.SIG_IGN)  # a second Ctrl-C
        machine.on_line = lambda line: None
        machine.close()


if __name__ == "__main__":
    sys.stdout.reconfigure(line_buffering=True)
    sys.exit(reported("run", main))
