# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The QEMU machine: its command line, its life cycle, and its lines of output."""

import base64
import ctypes
import fcntl
import json
import os
import shlex
import shutil
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path

import firmware
import pulse
import share
import verified
from failure import DeviceOff, Failure
from flash import Flash
from own import Own
from statuslog import StatusLog
from surroundings import Surroundings

MEMORY = 512 << 20  # bytes; a file in memory that contains the display's framebuffers
TIMED_OUT = 143  # exit status of a command that timed out
REQUEST_TIME_LIMIT = 120  # seconds; only a hang reaches this, even on a busy machine
GRACE = 300  # seconds that an answer may take beyond the request's limit on the device
BOOT_TIME_LIMIT = 1200  # seconds, on a busy development machine, after three starts on trial
PORTS = ("control", "status", "debug", "watch", "pulse")


def _die_with_parent():
    """Ends the machine when its console ends for any reason. For the kernel, the parent is the
    thread that starts the machine."""
    os.setpgid(0, 0)  # Ctrl-C at the terminal is for the console
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


class Machine:
    """One virtual device with its files below `work`; `artifacts` is an armhf build folder."""

    def __init__(self, image: Path, artifacts: Path, work: Path):
        self.roots = ()  # folders over the root file system of this build's firmware
        self.key = None  # signs this build's firmware
        self.own = Own({})  # the user's application and libraries
        self.certificate = None  # of the key that the boot loader requires
        self.image = image
        self.artifacts = artifacts
        self.work = work
        self.share = work / "share"
        self.flash = Flash(work / "flash")
        self.firmware = None  # folder with the current build's images
        self.blank = False  # prepare() has created the flash, and nothing has booted from it
        self.lines = []  # status lines of the application since the start
        self.changed = threading.Condition()
        self.on_line = lambda line: None
        self.on_notice = lambda text: print(f"{text}\n", end="", flush=True)
        self.on_end = lambda: None
        self.ended = threading.Event()
        self.closed = False  # nothing starts it again
        self.end_reason = None
        self.exit_status = None
        self._process = None
        self._waiter = None
        self._readers = []
        self._control = None
        self._monitor = None
        self.migration = None  # QEMU's state of a snapshot that is written or read
        self._number = 0
        self._answer = []  # the agent's latest reply
        self._answered = threading.Condition()
        self._lock = threading.Lock()
        self._switching = threading.Lock()
        self._folder = None  # descriptor of the work folder, locked while the device is on
        self.memory = None  # descriptor of the running device's memory
        self.ready = False  # booted and not off
        self.no_slot = False  # the boot loader has refused both, and tries again
        self.boots = 0  # starts since the console's start, including resets
        self.running = {}  # reported by the agent: slot, start, version
        self.first_line = 0  # of `lines`, since the latest boot
        self.surroundings = Surroundings()

    @property
    def pid(self) -> int:
        """QEMU's process ID."""
        return self._process.pid

    # --- preparation ------------------------------------------------------------------------------

    def prepare(self) -> str:
        """Returns a message about the running slot's firmware."""
        self.firmware = firmware.build(self.image, self.artifacts, self.roots, self.key)
        self.work.mkdir(parents=True, exist_ok=True)
        self._folder = os.open(self.work, os.O_RDONLY | os.O_DIRECTORY)
        try:
            # Two machines would corrupt one flash.
            fcntl.flock(self._folder, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Failure(f"another device runs in {self.work}; choose a folder with --work") \
                from None
        self.blank = self.flash.prepare(
            verified.loader(self.image, self.certificate) if self.certificate else
            (self.image / "loader/u-boot.bin").read_bytes())
        what = self.flash.write_build(self.firmware)
        (self.work / "status.log").unlink(missing_ok=True)
        share.fill(self.share, self)
        return what

    def install_test(self, source: Path) -> str:
        if not source.is_file():
            raise Failure(f"no test program {source}")
        shutil.copy(source, self.share / "tests" / source.name)
        return source.name

    # --- life -------------------------------------------------------------------------------------

    def start(self, snapshot: str = ""):
        """Boots, or continues from a snapshot, which QEMU reads from this address."""
        if self.closed:
            raise Failure("the console ends")
        self.blank = False
        self.migration = None
        self.ended.clear()
        self.end_reason = self.exit_status = None
        self.ready = self.no_slot = False
        self.running = {}
        self.boots += 1
        self.first_line = len(self.lines)
        for name in (*PORTS, "monitor", "serial"):
            (self.work / f"{name}.sock").unlink(missing_ok=True)
        if self.memory is not None:
            os.close(self.memory)
        self.memory = os.memfd_create("vantorel")
        os.ftruncate(self.memory, MEMORY)
        command = self.command(f"/proc/self/fd/{self.memory}")
        # Names relative to QEMU's folder: a comma in the folder's own would end them.
        command += ["-fsdev", f"local,id=h,path={self.share.name},security_model=none,"
                    "multidevs=remap", "-device", "virtio-9p-device,fsdev=h,mount_tag=host"]
        for bank in self.flash.banks:
            command += ["-drive", f"if=pflash,format=raw,file={bank.relative_to(self.work)}"]
        if snapshot:
            command += ["-incoming", "defer"]
        self._process = None
        begun = threading.Event()
        self._waiter = threading.Thread(target=self._live, args=(command, begun), daemon=True)
        self._waiter.start()
        begun.wait()
        if self._process is None:
            self.ended.set()
            raise Failure("qemu-system-arm cannot be started")
        control = self.connect("control")
        self._control = control.makefile("w", encoding="ascii", newline="\n")
        self._monitor = self.connect("monitor")
        self._readers = [self._watch(self.connect("status"), self._read_status),
                         self._watch(control, self._read_control),
                         self._watch(self._monitor, self._read_monitor)]
        self._watch(self._process.pid, self._keep_awake)
        self._order("qmp_capabilities")
        self._order("migrate-set-capabilities",
                    capabilities=[{"capability": "events", "state": True}])
        if snapshot:
            # Only after the ports are connected: the device would detect that their other ends are
            # closed.
            self._order("migrate-incoming", uri=snapshot)

    def command(self, memory: str) -> list:
        """Returns QEMU's command without this device's files, except for its memory."""
        command = [
            "qemu-system-arm", "-M", "virt,highmem=off,memory-backend=memory", "-cpu", "cortex-a15",
            "-smp", "1", "-m", str(MEMORY >> 20), "-object",
            f"memory-backend-file,id=memory,size={MEMORY},mem-path={memory},share=on",
            "-display", "none", "-nodefaults", "-nic", "none",
            "-global", "virtio-mmio.force-legacy=false",
            "-chardev", "socket,id=serial,path=serial.sock,server=on,wait=off,logfile=console.log",
            "-serial", "chardev:serial",
            "-qmp", "unix:monitor.sock,server=on,wait=off",
            "-device", "virtio-serial-device", "-device", "i6300esb,addr=1",
        ]
        for name in PORTS:
            command += ["-chardev", f"socket,id={name},path={name}.sock,server=on,wait=off",
                        "-device", f"virtserialport,chardev={name},name=vantorel.{name}"]
        return command

    def _order(self, command: str, **arguments):
        self._monitor.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())

    def save(self, path: Path):
        """Saves the machine's complete state to a file and halts it. /host must not be mounted."""
        self._order("migrate", uri=f"exec:cat > {shlex.quote(str(path))}")
        with self._answered:
            self._answered.wait_for(lambda: self.migration in ("completed", "failed") or
                                    self.ended.is_set())
        if self.migration != "completed":
            raise Failure(f"the machine cannot be saved; see {self.work}/qemu.log")

    def wait_until_ready(self, seconds: float = BOOT_TIME_LIMIT):
        """Waits for the agent's first line, which means that the machine has booted."""
        with self._answered:
            self._answered.wait_for(
                lambda: self.ready or self.no_slot or self.ended.is_set(), seconds)
        if not self.ready:
            self.stop()
            if self.no_slot:
                raise Failure("the boot loader accepts the firmware of neither slot; see "
                              f"{self.work}/console.log")
            raise Failure(f"the virtual device did not start; see {self.work}/console.log "
                          f"and {self.work}/qemu.log")

    def stop(self):
        if self._process and self._process.poll() is None:
            self._process.terminate()
            try:
                self._process.wait(5)
            except subprocess.TimeoutExpired:
                self._process.kill()

    def close(self):
        """Ends it for good; releases its memory and its folder."""
        self.closed = True
        self.stop()
        if self._waiter:
            self._waiter.join()
        for descriptor in filter(None, (self.memory, self._folder)):
            os.close(descriptor)
        self.memory = self._folder = None

    @property
    def off(self) -> bool:
        """Whether it has ended and no restart is in progress."""
        return self.closed or (self.ended.is_set() and not self._switching.locked())

    def kill(self):
        """Cuts the power."""
        self._process.kill()

    def reboot(self):
        """Cuts the power and boots from the same flash with its current environment."""
        if not self._switching.acquire(blocking=False):
            raise Failure("the device is starting already")
        try:
            self._reboot()
        finally:
            self._switching.release()

    def _reboot(self):
        on_end, self.on_end = self.on_end, lambda: None  # the device starts again
        self.stop()
        self._waiter.join()
        self.on_end = on_end
        self.start()
        self.wait_until_ready()

    def connect(self, name: str) -> socket.socket:
        """Connects to a socket of the machine through a path that is short in any folder."""
        path = f"/proc/self/fd/{self._folder}/{name}.sock"
        deadline = time.monotonic() + 10
        while True:
            connection = socket.socket(socket.AF_UNIX)
            try:
                connection.connect(path)
                return connection
            except OSError as error:
                connection.close()
                process = self._process  # none while another thread starts the machine
                if time.monotonic() > deadline or (process and process.poll() is not None):
                    raise Failure(f"QEMU did not start: {error}; see {self.work}/qemu.log")
                time.sleep(0.02)

    def _watch(self, source, reader):
        thread = threading.Thread(target=reader, args=(source,), daemon=True)
        thread.start()
        return thread

    def _live(self, command: list, begun: threading.Event):
        """Starts QEMU and waits for its end in one thread that lasts as long as QEMU, because QEMU
        is killed when the thread that started it ends."""
        try:
            with open(self.work / "qemu.log", "wb") as errors:
                self._process = subprocess.Popen(command, cwd=self.work, stdin=subprocess.DEVNULL,
                                                 stdout=errors, stderr=errors,
                                                 pass_fds=[self.memory],
                                                 preexec_fn=_die_with_parent)
        except (OSError, subprocess.SubprocessError):
            return
        finally:
            begun.set()
        self.exit_status = self._process.wait()
        for reader in self._readers:  # the machine's last output
            reader.join(5)
        if self.end_reason == "guest-shutdown" and b"the power is cut" in self._last_output():
            self.end_reason = "cut"  # the flash model stopped the machine
        self.ready = False
        self.ended.set()
        for condition in (self.changed, self._answered):
            with condition:
                condition.notify_all()
        self.on_end()

    def _last_output(self) -> bytes:
        with open(self.work / "console.log", "rb") as log:
            log.seek(max(0, log.seek(0, os.SEEK_END) - 200))
            return log.read()

    def _keep_awake(self, pid: int):
        # No program opens this port: both the connection and its end interrupt the machine.
        pulse.watch(pid, self.ended, lambda: self.connect("pulse").close(), self.on_notice)

    def _read_status(self, connection):
        log = StatusLog(self.work / "status.log", lambda text: self.on_notice(text))
        # A tool's progress display overwrites its line; keep only the last version.
        for line in connection.makefile("r", encoding="utf-8", errors="replace", newline="\n"):
            line = line.rstrip("\r\n").rpartition("\r")[2]
            with self.changed:
                self.lines.append(line)
                self.changed.notify_all()
            self.on_line(line)
            log.add(line)

    def _read_control(self, connection):
        for line in connection.makefile("r", encoding="ascii", errors="replace", newline="\n"):
            words = line.split()
            with self._answered:
                if "ready" in words:  # after a reset, part of an answer may precede it
                    fields = (word.partition("=") for word in words[words.index("ready") + 1:])
                    self.set_ready({name: value for name, _, value in fields})
                else:
                    self._answer = words
                self._answered.notify_all()

    def _read_monitor(self, connection):
        for line in connection.makefile("r"):
            event = json.loads(line)
            if event.get("event") == "MIGRATION":
                with self._answered:
                    self.migration = event["data"]["status"]
                    self._answered.notify_all()
            if event.get("event") == "SHUTDOWN":
                self.end_reason = event["data"]["reason"]
            if event.get("event") == "RESET" and event["data"]["guest"]:
                with self._answered:  # the machine restarts itself
                    self.ready = False
                    self.no_slot = b"No slot verifies" in self._last_output()
                    self.boots += 1
                    self.first_line = len(self.lines)
                    self._answered.notify_all()

    def set_ready(self, running: dict):
        """Accepts requests from now on; `running` describes the running firmware."""
        with self._answered:
            self.running = running
            self.ready = True
            self._answered.notify_all()

    # --- requests ---------------------------------------------------------------------------------

    def run(self, command: str, seconds: int = REQUEST_TIME_LIMIT) -> tuple[int, str]:
        """Runs a shell command on the device; returns its exit status and output."""
        with self._lock:
            answer = self._exchange(command, seconds)
        output = base64.b64decode(answer[2]) if len(answer) > 2 else b""
        if int(answer[1]) == TIMED_OUT:
            output += f"ended after {seconds} s\n".encode()
        return int(answer[1]), output.decode(errors="replace")

    def _exchange(self, command: str, seconds: int) -> list:
        """Returns the agent's answer: number, status, output in base64."""
        boot = self.boots
        if not self.ready:
            raise DeviceOff("the device is off")
        self._number += 1
        encoded = base64.b64encode(command.encode()).decode()
        try:
            self._control.write(f"{self._number} {seconds} {encoded}\n")
            self._control.flush()
        except OSError:
            raise DeviceOff("the device is off") from None

        def answered() -> bool:
            return len(self._answer) > 1 and self._answer[0] == str(self._number)

        with self._answered:
            if not self._answered.wait_for(
                    lambda: answered() or self.boots != boot or self.ended.is_set(),
                    seconds + GRACE):
                raise Failure("the device does not answer")
            if not answered():
                raise DeviceOff("the device is off")
            return self._answer

    def check(self, command: str, seconds: int = REQUEST_TIME_LIMIT) -> str:
        status, output = self.run(command, seconds)
        if status != 0:
            begin = " ".join(command.split())[:200]  # a command may be a whole script
            raise Failure(f"{begin}: {output.strip()} (exit status {status})")
        return output
