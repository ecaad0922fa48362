"""One set-top box of the fleet: its own process with its own libpavo (the library keeps
one environment per process). The Locust user that owns it writes one JSON request per
line on standard input; the box answers on standard output with one JSON line listing
the library requests the step made, each with its time and outcome."""

from __future__ import annotations

import argparse
import ctypes
import json
import os
import random
import signal
import sys
import time
from typing import Any, Callable

from pavo import Library, OpenMode, PavoError, PlatformError, ServiceType
from pavo.testing import SIM_OEM, SIM_TERMINAL_TYPE, fleet_device

PR_SET_PDEATHSIG = 1
SESSION_ENDED = -101  # the platform's "invalid user token": log in again, then repeat


def die_with_parent() -> None:
    # A box never outlives its Locust worker, however the worker ends.
    libc = ctypes.CDLL(None, use_errno=True)
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    if os.getppid() == 1:
        sys.exit(0)


def steps(lib: Library) -> dict[str, Callable[[], Any]]:
    pick = random.choice
    return {
        "open": lambda: lib.open(OpenMode.STBCODE),
        "login": lambda: lib.login(),
        "categories": lambda: lib.categories(pick(["", "C01"])),
        "items": lambda: lib.items(pick(["C0101", "C0102", "C02", "C03"])),
        "detail": lambda: lib.detail("C0101", 1, pick(["P1001", "P1002"])),
        "schedules": lambda: lib.schedules("CH01", "20260102", "20260103"),
        "play": lambda: lib.playurl("C0101", 1, "P1001", "", ServiceType.ONLINEPLAY),
        "recharge": lambda: lib.recharge(str(random.randint(1, 99))),
        "report": lambda: lib.statusreport(),
    }


def attempt(name: str, call: Callable[[], Any]) -> dict[str, Any]:
    start = time.perf_counter()
    record: dict[str, Any] = {"name": name, "error": None, "code": 0}
    try:
        call()
    except PlatformError as e:
        record.update(error=f"platform refused with {e.resultcode}", code=e.resultcode)
    except PavoError as e:
        record.update(error=f"status {e.status}", code=e.status)
    record["ms"] = (time.perf_counter() - start) * 1000
    return record


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--index", type=int, required=True)
    parser.add_argument("--workdir", required=True)
    parser.add_argument("--openurl", required=True)
    parser.add_argument("--conf", action="append", default=[])
    opts = parser.parse_args()
    die_with_parent()
    # The boxes yield to the Locust processes, which must keep their heartbeats.
    os.nice(5)
    # The library's console log would mix with the answers: they get the real stdout.
    answers = os.fdopen(os.dup(1), "w", buffering=1)
    devnull = os.open(os.devnull, os.O_WRONLY)
    os.dup2(devnull, 1)
    config = dict(item.split("=", 1) for item in opts.conf)
    config["openurl"] = opts.openurl
    with Library(opts.workdir, oem_name=SIM_OEM, terminal_type=SIM_TERMINAL_TYPE,
                 device_id=fleet_device(opts.index), config=config) as lib:
        table = steps(lib)
        answers.write(json.dumps({"ready": True}) + "\n")
        for line in sys.stdin:
            name = json.loads(line)["step"]
            records = [attempt(name, table[name])]
            if records[0]["code"] == SESSION_ENDED and name not in ("open", "login"):
                records.append(attempt("login", table["login"]))
                if records[-1]["error"] is None:
                    records.append(attempt(name, table[name]))
            answers.write(json.dumps(records) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
