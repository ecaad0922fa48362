"""The platform simulator (pavo-platform-sim) for tests and the fleet: finding it and
its data, starting it on a free loopback port, and its control interface."""

from __future__ import annotations

import json
import os
import shutil
import signal
import subprocess
import threading
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Any, Optional

# The terminal identity that the simulator's data binds to account u1001.
SIM_OEM, SIM_TERMINAL_TYPE, SIM_DEVICE = "PAVO", "STB100", "SIM0000001"
SIM_USERID, SIM_CARD = "u1001", "8860000000001001"
SIM_CLOCK = "2026-01-02 03:04:05"


def _source_root() -> Optional[Path]:
    # python/pavo/testing.py in a source tree, or an installed package used from inside one.
    for root in [Path(__file__).resolve().parents[2], *Path.cwd().resolve().parents[::-1],
                 Path.cwd().resolve()][::-1]:
        if (root / "tools" / "simdata").is_dir():
            return root
    return None


def find_simulator() -> str:
    """PAVO_PLATFORM_SIM, else pavo-platform-sim on the PATH, else the build tree."""
    env = os.environ.get("PAVO_PLATFORM_SIM")
    if env:
        return env
    found = shutil.which("pavo-platform-sim")
    if found:
        return found
    root = _source_root()
    if root:
        for build in sorted(root.glob("build*")):
            candidate = build / "tools" / "pavo-platform-sim" / "pavo-platform-sim"
            if candidate.is_file():
                return str(candidate)
    raise FileNotFoundError("pavo-platform-sim: set PAVO_PLATFORM_SIM or put it on the PATH")


def find_simdata() -> str:
    """PAVO_PLATFORM_DATA, else the installed data, else tools/simdata of the source tree."""
    env = os.environ.get("PAVO_PLATFORM_DATA")
    if env:
        return env
    for installed in ("/usr/share/pavo/simdata", "/usr/local/share/pavo/simdata"):
        if os.path.isdir(installed):
            return installed
    root = _source_root()
    if root:
        return str(root / "tools" / "simdata")
    raise FileNotFoundError("simulator data: set PAVO_PLATFORM_DATA")


def find_library() -> Optional[str]:
    """PAVO_LIB, else a libpavo.so.1 in the build tree; None leaves it to the loader."""
    env = os.environ.get("PAVO_LIB")
    if env:
        return env
    root = _source_root()
    if root:
        for build in sorted(root.glob("build*")):
            candidate = build / "libpavo.so.1"
            if candidate.is_file():
                return str(candidate)
    return None


def scratch_data(target: Path, boxes: int = 0) -> Path:
    """A copy of the simulator's data in target that the run may change, with `boxes`
    extra accounts fleet0001... bound to devices FLEET000001..."""
    shutil.copytree(find_simdata(), target)
    if boxes:
        with open(target / "accounts.ini", "a") as f:
            for i in range(1, boxes + 1):
                f.write(f"\n[{fleet_user(i)}]\ncard=77{i:014d}\n"
                        f"tvid={fleet_tvid(i)}\nnickname=box {i}\ndescription=fleet box\n"
                        f"group=fleet\nlevel=1\npoints=100\nexpires=2030-01-01\n")
    return target


def fleet_user(i: int) -> str:
    return f"fleet{i:04d}"


def fleet_device(i: int) -> str:
    return f"FLEET{i:06d}"


def fleet_tvid(i: int) -> str:
    return f"{SIM_OEM:0>10}{SIM_TERMINAL_TYPE:0>10}V4{fleet_device(i):0>16}"


class Simulator:
    """A running pavo-platform-sim. base is the primary address, backup the second one
    (None without a backup listener)."""

    def __init__(self, data: Optional[str] = None, *, backup: bool = False,
                 clock: Optional[str] = SIM_CLOCK, extra: tuple[str, ...] = (),
                 program: Optional[str] = None, timeout: float = 10.0) -> None:
        args = [program or find_simulator(), "--port", "0", "--data", data or find_simdata()]
        if clock:
            args += ["--clock", clock]
        if backup:
            args += ["--backup-port", "0"]
        args += list(extra)
        # Own process group: the simulator goes when the run that started it is killed.
        self.process = subprocess.Popen(args, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True, start_new_session=True)
        lines = self._read_lines(2 if backup else 1, timeout)
        self.base = lines[0]
        self.backup = lines[1] if backup else None

    def _read_lines(self, count: int, timeout: float) -> list[str]:
        lines: list[str] = []
        done = threading.Event()

        def read() -> None:
            assert self.process.stdout is not None
            for _ in range(count):
                line = self.process.stdout.readline()
                if not line:
                    break
                lines.append(line.strip())
            done.set()

        threading.Thread(target=read, daemon=True).start()
        if not done.wait(timeout) or len(lines) < count:
            self.stop()
            raise RuntimeError(f"pavo-platform-sim printed no address within {timeout} s")
        return lines

    @property
    def open_url(self) -> str:
        return self.base + "/Open"

    def control(self, method: str, endpoint: str, body: bytes = b"",
                **params: Any) -> bytes:
        query = urllib.parse.urlencode({k: v for k, v in params.items() if v is not None})
        url = f"{self.base}/_control/{endpoint}" + (f"?{query}" if query else "")
        request = urllib.request.Request(url, data=body if method == "POST" else None,
                                         method=method)
        with urllib.request.urlopen(request, timeout=10) as answer:
            data: bytes = answer.read()
            return data

    # The control interface, one method per request.
    def reset(self) -> None:
        self.control("POST", "reset")

    def fault(self, path: str, status: int = 0, delay_ms: int = 0, close: bool = False,
              **shape: Any) -> None:
        self.control("POST", "fault", path=path, status=status, delay_ms=delay_ms,
                     close=int(close), **shape)

    def clear_faults(self) -> None:
        self.control("POST", "faults/clear")

    def answer(self, path: str, body: bytes) -> None:
        self.control("POST", "answer", body, path=path)

    def requests(self) -> list[tuple[str, str, bytes]]:
        """(method, path, body) of every request so far, in order."""
        raw = self.control("GET", "requests")
        out = []
        while raw:
            head, raw = raw.split(b"\n", 1)
            method, plen, blen = head.split()
            path = raw[:int(plen)].decode()
            raw = raw[int(plen) + 1:]
            out.append((method.decode(), path, raw[:int(blen)]))
            raw = raw[int(blen) + 1:]
        return out

    def outage(self, service: str, mode: str = "refuse", seconds: float = 0,
               retry_after: Optional[int] = None) -> None:
        self.control("POST", "outage", service=service, mode=mode, seconds=seconds,
                     retry_after=retry_after)

    def clear_outages(self) -> None:
        self.control("POST", "outages/clear")

    def expire(self, code: Optional[int] = None) -> None:
        self.control("POST", "expire", code=code)

    def counts(self) -> dict[str, Any]:
        result: dict[str, Any] = json.loads(self.control("GET", "counts"))
        return result

    def clear_counts(self) -> None:
        self.control("POST", "counts/clear")

    def stop(self) -> int:
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        for stream in (self.process.stdout, self.process.stderr):
            if stream:
                stream.close()
        return self.process.returncode

    def __enter__(self) -> Simulator:
        return self

    def __exit__(self, *exc: object) -> None:
        self.stop()
