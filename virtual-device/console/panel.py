# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The front panel: a page on the loopback interface whose messages are console commands."""

import asyncio
import errno
import re
import secrets
import shlex
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from aiohttp import WSMsgType, web

from commands import KEYS, Console
from gallery import Gallery
from machine import Failure, Machine
from progress import Step
from watch import Watch

FILES = Path(__file__).resolve().parents[1] / "panel"
LONGEST_LINE = 1024  # bytes
# Bytes: the size of the device's drive; a recording of one minute, the maximum.
LARGEST = {"update": 64 << 20, "recording": 70 << 20}
MOST_VISITORS = 96  # a page uses six connections
# A page may change the device's environment, but nothing on the development machine.
COMMANDS = {"battery", "charger", "fixture", "temperature", "button", "cable", "start", "stop",
            "restart", "state", "lines", "expect", "expect-state", "expect-picture",
            "expect-pixel", "expect-motion"}
# Of these commands only the forms without a file.
PARTS = re.compile(r"camera (connect|disconnect|error -?\d{1,10}|rate \d{1,4}|hang [01]|play off)|"
                   r"gauge (nack (on|off)|fault (E[A-Z0-9]+|corrupt|hang) \d{1,4})")
HEADERS = {
    "Content-Security-Policy": "default-src 'self'; img-src 'self' blob:; frame-ancestors 'none'",
    "Cross-Origin-Resource-Policy": "same-origin",
    "X-Content-Type-Options": "nosniff",
    "Cache-Control": "no-store",
}


class Visitor:
    """One connection: executes its lines in order, in its own thread."""

    def __init__(self, panel: "Panel"):
        self._panel = panel
        self._said = []
        self._console = Console(panel.machine, self._said.append, panel.watch)
        self._held = set()  # buttons that this connection has pressed
        self._worker = ThreadPoolExecutor(1)

    async def execute(self, line: str) -> tuple[str, bytes]:
        """Executes a line; returns the answer, and a picture if the line requests one."""
        return await asyncio.get_running_loop().run_in_executor(self._worker, self._execute, line)

    def leave(self):
        """Releases the buttons that a closed page still holds."""
        for button in list(self._held):
            self._worker.submit(self._execute, f"button {button} up")
        self._worker.shutdown(wait=False)

    def _execute(self, line: str) -> tuple[str, bytes]:
        self._said.clear()
        picture = b""
        try:
            picture = self._carry_out(line)
            answer = "ok"
        except Failure as failure:
            answer = "error " + str(failure).replace("\n", " ")
        except Exception as error:  # bad input from one page must not stop the others
            answer = f"error {type(error).__name__}: {error}"
        return "\n".join([*self._said, answer]), picture

    def _carry_out(self, line: str) -> bytes:
        if not line.isprintable() or len(line) > LONGEST_LINE:
            raise Failure("a line is printable text")
        match line.split():
            case ["picture", number] if number.isdecimal():
                number, picture = self._panel.gallery.newer(int(number[:18]))
                self._said.append(str(number))
                return picture
            case ["update", name]:
                self._console.execute(f"update {self._panel.uploaded('update', name)}")
            case ["camera", "play", name] if name != "off":
                self._console.execute(f"camera play {self._panel.uploaded('recording', name)}")
            case ["camera", "record", seconds]:
                self._said.append(self._panel.record(self._console, seconds))
            case [name, *_] if name in COMMANDS or PARTS.fullmatch(line):
                self._console.execute(line)
                self._note_button(line.split())
            case _:
                raise Failure("the panel has no such command")
        return b""

    def _note_button(self, words: list):
        match words:
            case ["button", button, "down"] if button in KEYS:
                self._held.add(button)
            case ["button", button, "up"]:
                self._held.discard(button)


class Panel:
    def __init__(self, machine: Machine):
        self.machine = machine
        self.watch = Watch(machine)
        self.gallery = Gallery(self.watch)
        self._uploads = machine.work / "uploads"
        self._recorder = threading.Lock()  # the camera makes one recording at a time
        self._visitors = 0
        self._hosts = set()

    def uploaded(self, kind: str, name: str) -> str:
        """The path of a stored file, as a word of a command."""
        files = {path.name: path for path in self._uploads.glob(f"{kind}-*")}
        if name not in files:
            raise Failure("no such upload")
        return shlex.quote(str(files[name]))

    def record(self, console: Console, seconds: str) -> str:
        """Records the camera's frames; returns the name under which a page downloads the file."""
        if not self._recorder.acquire(blocking=False):
            raise Failure("a recording is being made")
        try:
            target = self._new("recorded")
            console.execute(f"camera record {shlex.quote(str(target))} {shlex.quote(seconds)}")
            self._keep_only(target)
            return target.name
        finally:
            self._recorder.release()

    def _new(self, kind: str) -> Path:
        self._uploads.mkdir(exist_ok=True)
        return self._uploads / f"{kind}-{secrets.token_hex(8)}"

    def _keep_only(self, newest: Path):
        """Removes older files of the kind, but not the recording that the next start plays."""
        for old in self._uploads.glob(f"{newest.name.partition('-')[0]}-*"):
            if str(old) not in (str(newest), self.machine.surroundings.recording):
                old.unlink()

    async def serve(self, port: int, say):
        application = web.Application(middlewares=[self._guard])
        application.on_response_prepare.append(self._add_headers)
        application.add_routes([web.get("/console", self._console),
                                web.put("/upload/{kind:update|recording}", self._upload),
                                web.get("/recorded/{name}", self._recorded),
                                web.get("/", self._page),
                                web.static("/", FILES)])
        runner = web.AppRunner(application, access_log=None)
        await runner.setup()
        site = await self._listen(runner, port)
        port = site._server.sockets[0].getsockname()[1]
        self._hosts = {f"127.0.0.1:{port}", f"localhost:{port}"}
        say("The front panel, for browsers on this machine; Ctrl-C ends it:")
        say(f"http://127.0.0.1:{port}/")
        await asyncio.Event().wait()

    async def _listen(self, runner, port: int):
        for wanted in (port, 0):  # another panel may use the default port
            try:
                site = web.TCPSite(runner, "127.0.0.1", wanted)
                await site.start()
                return site
            except OSError:
                if wanted == 0:
                    raise

    @web.middleware
    async def _guard(self, request, handler):
        """Refuses pages of other origins and other host names."""
        origins = {f"http://{host}" for host in self._hosts}
        if request.host not in self._hosts or \
                request.headers.get("Origin") not in (None, *origins):
            raise web.HTTPForbidden
        return await handler(request)

    async def _add_headers(self, _request, response):
        response.headers.update(HEADERS)

    async def _page(self, _request):
        return web.FileResponse(FILES / "index.html")

    async def _console(self, request):
        if self._visitors >= MOST_VISITORS:
            raise web.HTTPServiceUnavailable
        socket = web.WebSocketResponse(max_msg_size=4 * LONGEST_LINE, heartbeat=20, compress=False)
        await socket.prepare(request)
        visitor = Visitor(self)
        self._visitors += 1
        try:
            async for message in socket:
                if message.type != WSMsgType.TEXT:
                    await socket.send_str("error a line is text")
                    continue
                answer, picture = await visitor.execute(message.data)
                if picture:
                    await socket.send_bytes(picture)
                await socket.send_str(answer)
        except ConnectionError:
            pass  # disconnected during an answer
        finally:
            self._visitors -= 1
            visitor.leave()
        return socket

    async def _upload(self, request):
        """Stores the latest file of a kind; returns its name."""
        kind = request.match_info["kind"]
        target = self._new(kind)
        part = target.with_name(f"part-{target.name}")
        size = 0
        try:
            with open(part, "wb") as file:
                async for chunk in request.content.iter_chunked(1 << 18):
                    size += len(chunk)
                    if size > LARGEST[kind]:
                        raise web.HTTPRequestEntityTooLarge(LARGEST[kind], size)
                    file.write(chunk)
            self._keep_only(target)
            part.rename(target)
        except OSError as error:
            if error.errno not in (errno.ENOSPC, errno.EDQUOT):
                raise
            raise web.HTTPInsufficientStorage(reason=error.strerror) from None
        finally:
            part.unlink(missing_ok=True)
        return web.Response(text=target.name)

    async def _recorded(self, request):
        name = request.match_info["name"]
        if name not in [path.name for path in self._uploads.glob("recorded-*")]:
            raise web.HTTPNotFound
        return web.FileResponse(self._uploads / name)


def serve(machine: Machine, port: int, say) -> int:
    """Serves until Ctrl-C at the terminal."""
    panel = Panel(machine)
    console = Console(machine, say, panel.watch)
    console.execute("battery level 80")
    with Step(say, "Starting the application"):
        console.execute("start")
    asyncio.run(panel.serve(port, say))
    return 0
