# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Connects a debugger on the development machine to the debug server on the device."""

import os
import shlex
import socket
import subprocess
import threading
from pathlib import Path

from machine import Failure, Machine

TIME_LIMIT = 24 * 3600  # seconds
GDB_TIME_LIMIT = 600  # seconds for the commands of one attach()


def _pump(source: socket.socket, target: socket.socket):
    try:
        while data := source.recv(65536):
            target.sendall(data)
    except OSError:
        pass
    for end in (source, target):
        try:
            end.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass


def _join(listener: socket.socket, line: socket.socket):
    """Connects the line to the first debugger; when that disconnects, the debug server ends."""
    debugger, _ = listener.accept()
    debugger.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    threading.Thread(target=_pump, args=(debugger, line), daemon=True).start()
    _pump(line, debugger)


def debug(machine: Machine, program, port: int, say) -> int:
    """Runs the application or a test program under the debug server and waits for its end."""
    machine.check("cp /host/lib/*.so* /usr/lib/")
    path = f"/host/tests/{machine.install_test(Path(program))}" if program else \
        "/host/bin/vantorel-app"
    local = program or machine.own.files.get("application",
                                             machine.artifacts / "app" / "vantorel-app")
    try:
        listener = socket.create_server(("127.0.0.1", port))
    except OSError as error:
        raise Failure(f"port {port}: {error.strerror}; choose another with --port") from None
    # Connect before the server opens its end: a line without a host reads as closed.
    threading.Thread(target=_join, args=(listener, machine.connect("debug")), daemon=True).start()
    port = listener.getsockname()[1]  # for port 0, the one that was free
    libraries = os.path.relpath(machine.image / "layers/product")
    say("In another terminal: gdb-multiarch -ex 'set remotetimeout 30' "
        f"-ex {shlex.quote(f'set sysroot {libraries}')} -ex 'target remote 127.0.0.1:{port}' "
        f"{shlex.quote(os.path.relpath(local))}")
    machine.on_line = say
    status, _ = machine.run("KIROCAMERA_SIM_CONTROL=/run/camera gdbserver --once "
                            f"/dev/vantorel/debug {shlex.quote(path)} >&4 2>&1", TIME_LIMIT)
    return status


def attach(machine: Machine, commands: list) -> str:
    """Attaches gdb, at the USB host's end of the line, to the application; returns its output."""
    listener = socket.create_server(("127.0.0.1", 0))
    threading.Thread(target=_join, args=(listener, machine.connect("debug")), daemon=True).start()
    machine.check("/usr/libexec/vantorel/line-bridge >/dev/null 2>&1 &")
    process = machine.check("cat /run/application.pid").strip()
    folders = {str(library.parent) for library in machine.artifacts.glob("**/lib*.so*")}
    settings = ["set remotetimeout 300", "set print thread-events off",
                f"set sysroot {machine.image}/layers/product",
                f"set solib-search-path {':'.join(sorted(folders))}",
                f"target extended-remote 127.0.0.1:{listener.getsockname()[1]}",
                f"attach {process}"]
    arguments = [part for command in settings + commands for part in ("-ex", command)]
    try:
        return subprocess.run(
            ["gdb-multiarch", "-nx", "-batch", "-iex", "set auto-load off", *arguments,
             machine.artifacts / "app/vantorel-app"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            errors="replace", timeout=GDB_TIME_LIMIT, check=False).stdout
    except FileNotFoundError:
        raise Failure("no gdb-multiarch; scripts/install-packages debug installs it") from None
    except subprocess.TimeoutExpired as late:
        raise Failure(f"gdb has not ended after {GDB_TIME_LIMIT} s: {late.output}") from None
    finally:
        listener.close()
