"""python3 -m pavo: the pavo command in Python, one request per call, with the same
commands, options and exit codes (0 success, 1 refused by the platform, 2 transfer
failure, 3 usage or state error)."""

from __future__ import annotations

import argparse
import dataclasses
import json
import os
import sys
from typing import Any, Callable, Optional, TextIO, cast

from .client import Library, OpenMode, ServiceType, State
from .errors import PavoError, PlatformError
from .records import ItemType


def _int(args: list[str], i: int, default: int) -> int:
    return int(args[i]) if len(args) > i else default


def _str(args: list[str], i: int, default: str = "") -> str:
    return args[i] if len(args) > i else default


# command: (needs a login, minimum arguments, request)
Command = Callable[[Library, list[str]], Any]
COMMANDS: dict[str, tuple[bool, int, Command]] = {
    "open": (False, 0, lambda lib, a: lib.open(OpenMode.USERCARD, a[0]) if a else lib.open()),
    "login": (False, 0, lambda lib, a: lib.login()),
    "logout": (True, 0, lambda lib, a: lib.logout()),
    "recharge": (True, 1, lambda lib, a: lib.recharge(a[0], _int(a, 1, 0))),
    "categories": (True, 0, lambda lib, a: lib.categories(_str(a, 0), _int(a, 1, 1),
                                                          _int(a, 2, 0))),
    "items": (True, 1, lambda lib, a: lib.items(a[0], _int(a, 1, 1), _int(a, 2, 0),
                                                bool(_int(a, 3, 1)))),
    "related": (True, 1, lambda lib, a: lib.related(_int(a, 1, ItemType.PROGRAM), a[0],
                                                    _int(a, 2, 0), bool(_int(a, 3, 1)),
                                                    _int(a, 4, 1), _int(a, 5, 0))),
    "detail": (True, 2, lambda lib, a: lib.detail(a[0], _int(a, 2, ItemType.PROGRAM), a[1])),
    "schedules": (True, 1, lambda lib, a: lib.schedules(a[0], _str(a, 1), _str(a, 2),
                                                        _int(a, 3, 1), _int(a, 4, 0))),
    "play": (True, 2, lambda lib, a: lib.playurl(a[0], _int(a, 3, ItemType.PROGRAM), a[1],
                                                 _str(a, 2), ServiceType(_int(a, 4, 0)),
                                                 _str(a, 5), _str(a, 6))),
    "service": (True, 1, lambda lib, a: lib.extservice(a[0], _str(a, 1))),
    "upgrade-os": (True, 0, lambda lib, a: lib.upgradeos()),
    "upgrade-res": (True, 0, lambda lib, a: lib.upgraderes()),
    "download": (False, 2, lambda lib, a: lib.download(a[0], a[1])),
    "report": (True, 0, lambda lib, a: lib.statusreport()),
    "time": (True, 0, lambda lib, a: {"servertime": lib.server_time()}),
    "status": (False, 0, lambda lib, a: {"tvid": lib.props["tvid"],
                                         "userid": lib.props["userid"],
                                         "state": lib.state.name}),
}
def _plain(value: Any) -> Any:
    if dataclasses.is_dataclass(value) and not isinstance(value, type):
        return {k: _plain(v) for k, v in dataclasses.asdict(value).items()}
    if isinstance(value, list):
        return [_plain(v) for v in value]
    if isinstance(value, bytes):
        return value.decode("utf-8", "replace")
    return value


def _print(out: TextIO, value: Any, as_json: bool) -> None:
    plain = _plain(value)
    if as_json:
        json.dump(plain, out, indent=2, default=int)
        out.write("\n")
        return

    def lines(prefix: str, v: Any) -> None:
        if isinstance(v, dict):
            for k, sub in v.items():
                lines(f"{prefix}{k}" if not prefix else f"{prefix}.{k}", sub)
        elif isinstance(v, list):
            for i, sub in enumerate(v):
                lines(f"{prefix}[{i}]", sub)
        else:
            out.write(f"{prefix}: {'' if v is None else v}\n")
    lines("", plain)


def main(argv: Optional[list[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python3 -m pavo",
                                     description="one platform request per call")
    parser.add_argument("--workdir", default=os.path.expanduser("~/.pavo"))
    parser.add_argument("--platform")
    parser.add_argument("--async", dest="asynchronous", action="store_true")
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--oem", default="PAVO")
    parser.add_argument("--terminal-type", default="STB100")
    parser.add_argument("--device-id", default="SIM0000001")
    parser.add_argument("command", choices=sorted(COMMANDS))
    parser.add_argument("args", nargs="*")
    try:
        opts = parser.parse_intermixed_args(argv)
    except SystemExit as e:
        return 3 if e.code else 0
    needs_login, least, run = COMMANDS[opts.command]
    if len(opts.args) < least:
        print(f"pavo: {opts.command} needs {least} argument(s)", file=sys.stderr)
        return 3
    config = {}
    if opts.platform:
        url = opts.platform
        config["openurl"] = url if url.count("/") > 2 else url.rstrip("/") + "/Open"
    # The library's console log goes to standard error (--verbose) or nowhere.
    out = os.fdopen(os.dup(1), "w")
    sys.stdout.flush()
    target = os.open(os.devnull, os.O_WRONLY) if not opts.verbose else os.dup(2)
    os.dup2(target, 1)
    try:
        with Library(opts.workdir, oem_name=opts.oem, terminal_type=opts.terminal_type,
                     device_id=opts.device_id, config=config) as lib:
            if opts.command not in ("open", "download", "status"):
                if lib.state < State.OPENED:
                    try:
                        lib.query_status()
                    except PavoError:
                        pass
                if needs_login:
                    lib.login()
            if opts.asynchronous and opts.command not in ("time", "status"):
                lib.set_async()
                lib.post_call(lambda eventid: run(
                    cast(Library, _EventLibrary(lib, eventid)), opts.args))
                event = next(lib.events(1, timeout=30))
                _print(out, event, opts.json)
                if event.status:
                    return 3
                if event.result is None:
                    return 0
                return 1 if event.result.resultcode < 0 else 0
            value = run(lib, opts.args)
            _print(out, value if value is not None else {}, opts.json)
            return 0
    except PlatformError as e:
        print(f"pavo: {e}", file=sys.stderr)
        return 1
    except PavoError as e:
        print(f"pavo: {e}", file=sys.stderr)
        return 2 if e.status == -1 else 3
    finally:
        out.flush()
        os.dup2(out.fileno(), 1)


class _EventLibrary:
    """The library with every request given one event id."""

    def __init__(self, lib: Library, eventid: int) -> None:
        self._lib, self._eventid = lib, eventid

    def __getattr__(self, name: str) -> Any:
        attr = getattr(self._lib, name)
        if callable(attr) and name not in ("props", "server_time", "state"):
            return lambda *a, **k: attr(*a, eventid=self._eventid, **k)
        return attr


if __name__ == "__main__":
    sys.exit(main())
