"""A debugger on the development machine joined to the debug server on the device."""

import os
import socket
import threading
from pathlib import Path

from machine import Failure, Machine

TIME_LIMIT = 24 * 3600  # seconds


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
    """The first debugger that comes gets the line; when it goes, the debug server ends."""
    debugger, _ = listener.accept()
    debugger.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    threading.Thread(target=_pump, args=(debugger, line), daemon=True).start()
    _pump(line, debugger)


def debug(machine: Machine, program, port: int, say) -> int:
    """Runs the application or a test program under the debug server and waits for its end."""
    machine.check("cp /host/lib/*.so* /usr/lib/")
    path = f"/host/tests/{machine.install_test(Path(program))}" if program else \
        "/host/bin/vantorel-app"
    local = program or machine.artifacts / "app" / "vantorel-app"
    try:
        listener = socket.create_server(("127.0.0.1", port))
    except OSError as error:
        raise Failure(f"port {port}: {error.strerror}; choose another with --port") from None
    # Connected before the server opens its end: a line without a host reads as closed.
    threading.Thread(target=_join, args=(listener, machine.connect("debug")), daemon=True).start()
    libraries = os.path.relpath(machine.image / "root")
    say("In another terminal: gdb-multiarch -ex 'set remotetimeout 30' "
        f"-ex 'set sysroot {libraries}' -ex 'target remote 127.0.0.1:{port}' "
        f"{os.path.relpath(local)}")
    machine.on_line = say
    status, _ = machine.run("KIROCAMERA_SIM_CONTROL=/run/camera gdbserver --once "
                            f"/dev/vantorel/debug {path} >&4 2>&1", TIME_LIMIT)
    return status
