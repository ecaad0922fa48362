"""The library as a Python object: start-up and clean-up as a context manager, one
method per request returning a Result of dataclasses, asynchronous mode with a pump,
and the session properties as a mapping."""

from __future__ import annotations

import configparser
import ctypes
import enum
import itertools
import os
import queue
import threading
import time
from dataclasses import dataclass
from typing import Any, Callable, Iterator, Mapping, MutableMapping, Optional

from . import _native as n
from .errors import PavoError, PlatformError
from .records import (Category, Datatype, Item, LoginResponse, LogoutResponse, OpenResponse,
                      PlayResponse, RechargeResponse, Result, Schedule, UpgradeOsResponse,
                      UpgradeResResponse, convert)


class OpenMode(enum.IntEnum):
    USERCARD = 1
    STBCODE = 2


class ServiceType(enum.IntEnum):
    ONLINEPLAY = 0
    DOWNLOAD = 1


class State(enum.IntEnum):
    NONE = 0
    INITED = 1
    OPENED = 2
    LOGINED = 3


# The event types of the answers (tpavo_eventtype).
class EventType(enum.IntEnum):
    QUERYSTATUS = 1
    LOGIN = 2
    LOGOUT = 3
    OPEN = 4
    RECHARGE = 5
    QUERYCATEGORYLIST = 6
    QUERYCATEGORYITEMLIST = 7
    QUERYCATEGORYITEMDETAIL = 8
    QUERYRELATEITEMLIST = 9
    QUERYSCHEDULELIST = 10
    QUERYPLAYURL = 11
    QUERYEXTSERVICE = 12
    RESOURCEDOWNLOAD = 13
    UPGRADEOS = 14
    UPGRADERES = 15
    STATUSREPORT = 16


# Readable session properties, in the library's order; the first is read-only, and so are
# the identity names from "ipversion" on.
PROPERTY_NAMES = (
    "pavoversion", "openurl", "userid", "usertoken", "userlevel", "actexpireddate",
    "serverauthenticator", "usergroup", "tvid", "tvprofile", "bizfield", "aaasrvaddress",
    "aaasrvaddress2", "epgsrvaddress", "epgsrvaddress2", "playsrvaddress",
    "playsrvaddress2", "upgradesrvaddress", "upgradesrvaddress2", "drmsrvaddress",
    "drmsrvaddress2", "imgsrvaddress", "serviceaddress", "ipversion", "oem_name",
    "terminal_type", "device_id", "chipprofile", "clientprofile", "workdirectory",
    "perpetualdirectory", "tmpdirectory")
_READ_ONLY = {"pavoversion"} | set(PROPERTY_NAMES[PROPERTY_NAMES.index("ipversion"):])
_BUFFER = 256

# The record each request's answer holds, by request and by event type.
_KIND = {"open": Datatype.OPENRESULT, "login": Datatype.LOGINRESULT,
         "logout": Datatype.LOGOUTRESULT, "recharge": Datatype.RECHARGERESULT,
         "querycategorylist": Datatype.CATEGORYLIST, "querycategoryitemlist": Datatype.ITEMLIST,
         "queryrelateitemlist": Datatype.ITEMLIST, "queryitemdetail": Datatype.ITEM,
         "queryschedulelist": Datatype.SCHEDULELIST,
         "queryplayurl": Datatype.QUERYPLAYURLRESULT,
         "queryextendservice": Datatype.EXTSERVICERESULT, "upgradeos": Datatype.UPGRADEOSRESULT,
         "upgraderes": Datatype.UPGRADERESRESULT, "downloadresource": Datatype.NORMAL}
_EVENT_KIND = {EventType.OPEN: Datatype.OPENRESULT, EventType.LOGIN: Datatype.LOGINRESULT,
               EventType.LOGOUT: Datatype.LOGOUTRESULT,
               EventType.RECHARGE: Datatype.RECHARGERESULT,
               EventType.QUERYCATEGORYLIST: Datatype.CATEGORYLIST,
               EventType.QUERYCATEGORYITEMLIST: Datatype.ITEMLIST,
               EventType.QUERYRELATEITEMLIST: Datatype.RELATIVEITEMLIST,
               EventType.QUERYCATEGORYITEMDETAIL: Datatype.ITEM,
               EventType.QUERYSCHEDULELIST: Datatype.SCHEDULELIST,
               EventType.QUERYPLAYURL: Datatype.QUERYPLAYURLRESULT,
               EventType.QUERYEXTSERVICE: Datatype.EXTSERVICERESULT,
               EventType.UPGRADEOS: Datatype.UPGRADEOSRESULT,
               EventType.UPGRADERES: Datatype.UPGRADERESRESULT}


def _literal(value: str) -> bytes:
    # The library reads these values as their own format ("%%" is "%"): doubled, every
    # character arrives as written.
    return value.replace("%", "%%").encode()


def _arg(value: Optional[str]) -> Optional[bytes]:
    return None if value is None else value.encode()


@dataclass
class Event:
    """An asynchronous answer (or a request refused before it was sent: status < 0)."""
    eventtype: int
    eventid: int
    result: Optional[Result[Any]]
    status: int = 0


class Properties(MutableMapping[str, str]):
    """The session properties: reading any known name, writing the writable ones."""

    def __init__(self, lib: n.Native) -> None:
        self._lib = lib

    def __getitem__(self, name: str) -> str:
        if name not in PROPERTY_NAMES:
            raise KeyError(name)
        buffer = ctypes.create_string_buffer(_BUFFER)
        self._lib.pavo_readprop(name.encode(), buffer, _BUFFER)
        return buffer.value.decode("utf-8", "replace")

    def __setitem__(self, name: str, value: str) -> None:
        if name not in PROPERTY_NAMES or name in _READ_ONLY:
            raise KeyError(f"{name} is not a writable property")
        self._lib.pavo_writeprop(name.encode(), _literal(value))

    def __delitem__(self, name: str) -> None:
        raise TypeError("properties cannot be deleted; write an empty value")

    def __iter__(self) -> Iterator[str]:
        return iter(PROPERTY_NAMES)

    def __len__(self) -> int:
        return len(PROPERTY_NAMES)


class Library:
    """The process's libpavo, started on entry and cleaned up on exit.

    config holds korix.conf keys of section "system", written to the work directory
    before start-up. Unless config says otherwise the library logs to pavo.log in the
    work directory rather than the console."""

    _ids = itertools.count(1)

    def __init__(self, workdir: str, *, oem_name: str = "PAVO", terminal_type: str = "STB100",
                 device_id: str = "SIM0000001", chipprofile: str = "python",
                 clientprofile: str = "pavo-python", ipversion: int = 4,
                 config: Optional[Mapping[str, str]] = None,
                 library: Optional[str] = None) -> None:
        self.workdir = os.path.abspath(workdir)
        self._identity = (oem_name, terminal_type, device_id, chipprofile, clientprofile)
        self._ipversion = ipversion
        self._config = {"logmode": "2", "logdirectory": self.workdir, **(config or {})}
        self.native = n.native(library)
        self.props = Properties(self.native)
        self._events: queue.SimpleQueue[Event] = queue.SimpleQueue()
        self._handler: Optional[Callable[[Event], None]] = None
        # Events pumped but not yet handed out by events().
        self._pending: list[Event] = []
        self._callback_error: Optional[Exception] = None
        self._callback = n.Callback(self._on_event)
        self._log_callback: Any = None
        self._started = False

    # -- life cycle ---------------------------------------------------------------------
    def __enter__(self) -> Library:
        self.start()
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def start(self) -> None:
        os.makedirs(self.workdir, exist_ok=True)
        self._write_conf()
        oem, ttype, device, chip, client = (_literal(v) for v in self._identity)
        wd = _literal(self.workdir)
        self._param = n.InitParam(oem, ttype, device, chip, client, wd, wd, wd, 0,
                                  self._ipversion)
        status = self.native.pavo_init(ctypes.byref(self._param))
        if status != 0:
            raise PavoError("init", status)
        self._started = True
        for slot in range(7):
            self.native.pavo_registercallback(slot, self._callback)

    def close(self) -> None:
        if self._started:
            self._started = False
            self.native.pavo_cleanup()

    def _write_conf(self) -> None:
        path = os.path.join(self.workdir, "korix.conf")
        conf = configparser.ConfigParser(interpolation=None)
        conf.optionxform = str  # type: ignore[assignment]
        conf.read(path)
        if not conf.has_section("system"):
            conf.add_section("system")
        for key, value in self._config.items():
            conf.set("system", key, value)
        with open(path, "w") as f:
            conf.write(f, space_around_delimiters=False)

    @property
    def state(self) -> State:
        return State(self.native.pavo_getstate())

    # -- synchronous requests -----------------------------------------------------------
    def _request(self, name: str, *args: Any, result: bool = True,
                 check: bool = True) -> Optional[Result[Any]]:
        kind = _KIND.get(name)
        status = getattr(self.native, "pavo_" + name)(*args)
        if self.native.pavo_getfuncmode() == 0 and status == 0:
            return None  # asynchronous: the answer comes through the pump
        taken = self._take_result(kind) if (result or status != 0) else None
        if status != 0:
            if taken is None:
                raise PavoError(name, status, detail=self.last_error_text())
            raise PavoError(name, status, taken.resultcode, taken.resultmsg, taken.httpecode,
                            taken.httpretcode, detail=self.last_error_text())
        if taken is not None and check and taken.resultcode < 0:
            raise PlatformError(name, taken.resultcode, taken.resultmsg, taken.httpecode,
                                taken.httpretcode)
        return taken

    def _take_result(self, kind: Optional[int]) -> Optional[Result[Any]]:
        raw = self.native.pavo_getresult()
        if not raw:
            return None
        try:
            return convert(raw.contents, kind)
        finally:
            self.native.pavo_freeresult(raw)

    def query_status(self) -> None:
        """Restores the opened state from a stored user id (no request is sent)."""
        status = self.native.pavo_query_status()
        if status != 0:
            raise PavoError("query_status", status)

    def open(self, mode: OpenMode = OpenMode.STBCODE, param: Optional[str] = None,
             reserved: str = "", *, eventid: int = 0,
             check: bool = True) -> Result[OpenResponse]:
        """Opens the account: by card number (USERCARD, param = the card) or by this
        terminal (STBCODE; param, which goes into the authenticator, defaults to the TVID)."""
        if param is None:
            param = self.props["tvid"] if mode == OpenMode.STBCODE else ""
        return self._request("open", eventid, int(mode), _arg(param), _arg(reserved),
                             check=check)  # type: ignore[return-value]

    def login(self, *, eventid: int = 0, check: bool = True) -> Result[LoginResponse]:
        return self._request("login", eventid, check=check)  # type: ignore[return-value]

    def logout(self, *, eventid: int = 0, check: bool = True) -> Result[LogoutResponse]:
        return self._request("logout", eventid, check=check)  # type: ignore[return-value]

    def recharge(self, param: str, chargetype: int = 0, *, eventid: int = 0,
                 check: bool = True) -> Result[RechargeResponse]:
        return self._request("recharge", eventid, chargetype, _arg(param),
                             check=check)  # type: ignore[return-value]

    def categories(self, parent: str = "", page: int = 1, size: int = 0, *, eventid: int = 0,
                   check: bool = True) -> Result[list[Category]]:
        return self._request("querycategorylist", eventid, _arg(parent), page, size,
                             check=check)  # type: ignore[return-value]

    def items(self, category: str, page: int = 1, size: int = 0, withdetail: bool = True, *,
              eventid: int = 0, check: bool = True) -> Result[list[Item]]:
        return self._request("querycategoryitemlist", eventid, _arg(category), page, size,
                             int(withdetail), check=check)  # type: ignore[return-value]

    def related(self, itemtype: int, code: str, mode: int = 0, withdetail: bool = True,
                page: int = 1, size: int = 0, *, eventid: int = 0,
                check: bool = True) -> Result[list[Item]]:
        return self._request("queryrelateitemlist", eventid, itemtype, _arg(code), mode,
                             int(withdetail), page, size,
                             check=check)  # type: ignore[return-value]

    def detail(self, category: str, itemtype: int, code: str, *, eventid: int = 0,
               check: bool = True) -> Result[list[Item]]:
        return self._request("queryitemdetail", eventid, _arg(category), itemtype, _arg(code),
                             check=check)  # type: ignore[return-value]

    def schedules(self, channel: str, start: str = "", end: str = "", page: int = 1,
                  size: int = 0, *, eventid: int = 0,
                  check: bool = True) -> Result[list[Schedule]]:
        return self._request("queryschedulelist", eventid, _arg(channel), _arg(start),
                             _arg(end), page, size, check=check)  # type: ignore[return-value]

    def playurl(self, category: str, itemtype: int, code: str, videocode: str = "",
                servicetype: ServiceType = ServiceType.ONLINEPLAY, start: str = "",
                end: str = "", *, eventid: int = 0,
                check: bool = True) -> Result[PlayResponse]:
        return self._request("queryplayurl", eventid, _arg(category), itemtype, _arg(code),
                             _arg(videocode), int(servicetype), _arg(start), _arg(end),
                             check=check)  # type: ignore[return-value]

    def extservice(self, code: str, param: str = "", *, eventid: int = 0,
                   check: bool = True) -> Result[bytes]:
        return self._request("queryextendservice", eventid, _arg(code), _arg(param),
                             check=check)  # type: ignore[return-value]

    def upgradeos(self, *, eventid: int = 0, check: bool = True) -> Result[UpgradeOsResponse]:
        return self._request("upgradeos", eventid, check=check)  # type: ignore[return-value]

    def upgraderes(self, *, eventid: int = 0,
                   check: bool = True) -> Result[UpgradeResResponse]:
        return self._request("upgraderes", eventid, check=check)  # type: ignore[return-value]

    def download(self, url: str, path: str, *, eventid: int = 0) -> Result[None]:
        return self._request("downloadresource", eventid, _arg(url), _arg(path),
                             check=False)  # type: ignore[return-value]

    def statusreport(self, *, eventid: int = 0) -> None:
        """Sends the status report; the answer is not read (no result)."""
        self._request("statusreport", eventid, result=False)

    def server_time(self) -> int:
        """The platform's clock learnt at login, in seconds (0 before)."""
        tv = (ctypes.c_long * 2)()
        self.native.pavo_get_time(tv)
        return int(tv[0])

    def ip(self) -> str:
        buffer = ctypes.create_string_buffer(64)
        self.native.pavo_getip(buffer, 64)
        return buffer.value.decode()

    def read_config(self, name: str, section: str = "system") -> str:
        buffer = ctypes.create_string_buffer(_BUFFER)
        self.native.pavo_readconfig(section.encode(), name.encode(), buffer, _BUFFER)
        return buffer.value.decode("utf-8", "replace")

    def write_config(self, name: str, value: str, section: str = "system") -> None:
        self.native.pavo_writeconfig(section.encode(), name.encode(), value.encode())

    # -- functions of later libraries: None or False where the library lacks them ---------
    def last_address(self) -> Optional[str]:
        if not self.native.has("pavo_getlastaddress"):
            return None
        value: Optional[bytes] = self.native.pavo_getlastaddress()
        return value.decode() if value else ""

    def last_error_text(self) -> str:
        if not self.native.has("pavo_getlasterrortext"):
            return ""
        value: Optional[bytes] = self.native.pavo_getlasterrortext()
        return value.decode("utf-8", "replace") if value else ""

    def strerror(self, code: int) -> Optional[str]:
        if not self.native.has("pavo_strerror"):
            return None
        value: Optional[bytes] = self.native.pavo_strerror(code)
        return value.decode() if value else ""

    def reset_stats(self) -> bool:
        if not self.native.has("pavo_resetstats"):
            return False
        self.native.pavo_resetstats()
        return True

    def on_log(self, fn: Optional[Callable[[int, str], None]]) -> bool:
        """Routes the library's log to fn(level, message); False without log routing."""
        if not self.native.has("pavo_setlogcallback"):
            return False
        if fn is None:
            self._log_callback = None
            self.native.pavo_setlogcallback(n.LogCallback(0), None)
            return True
        handler = fn

        def route(level: int, message: bytes, _: Any) -> None:
            handler(level, message.decode("utf-8", "replace"))
        self._log_callback = n.LogCallback(route)
        self.native.pavo_setlogcallback(self._log_callback, None)
        return True

    # -- asynchronous mode ----------------------------------------------------------------
    def set_async(self, on: bool = True) -> None:
        """Switches the function mode; switch while no request runs."""
        self.native.pavo_setfuncmode(0 if on else 1)

    def post(self, request: str, *args: Any, **kwargs: Any) -> int:
        """Starts request (a method name: "login", "categories", ...) in asynchronous mode
        and returns its event id. The C request keeps its thread for 100 seconds, so it
        runs on a daemon thread of its own; the answer comes through pump() or events()."""
        method: Any = getattr(self, request, None)
        if request.startswith("_") or not callable(method):
            raise ValueError(f"no request {request}")
        return self.post_call(lambda eventid: method(*args, eventid=eventid, **kwargs))

    def post_call(self, call: Callable[[int], Any]) -> int:
        """Runs call(eventid) on a daemon thread, where it may make one request with that
        event id; a request refused before it was sent becomes an event with its status."""
        eventid = next(self._ids)

        def run() -> None:
            try:
                call(eventid)
            except PavoError as e:
                self._events.put(Event(0, eventid, None, e.status))

        threading.Thread(target=run, name=f"pavo-request-{eventid}", daemon=True).start()
        return eventid

    def on_event(self, fn: Optional[Callable[[Event], None]]) -> None:
        """fn is called, on the pumping thread, with every answer pump() takes."""
        self._handler = fn

    def _on_event(self, event: Any) -> int:
        # Runs inside pavo_checkmessage; the result is freed when this returns, so copy.
        try:
            ev = event.contents
            result = convert(ctypes.cast(ev.data, ctypes.POINTER(n.Result)).contents,
                             _EVENT_KIND.get(ev.eventtype)) if ev.data else None
            copied = Event(ev.eventtype, ev.eventid, result)
            if self._handler is not None:
                self._handler(copied)
            self._events.put(copied)
        except Exception as e:  # an exception must not unwind through C: pump() raises it
            self._callback_error = e
        return 0

    def pump(self) -> list[Event]:
        """Runs the answers waiting in the queue; returns the events they gave."""
        while self.native.pavo_checkmessage():
            if self._callback_error is not None:
                error, self._callback_error = self._callback_error, None
                raise error
        out, self._pending = self._pending, []
        while True:
            try:
                out.append(self._events.get_nowait())
            except queue.Empty:
                return out

    def events(self, count: int, timeout: float = 10.0) -> Iterator[Event]:
        """Yields count events as they arrive; raises TimeoutError after timeout seconds."""
        deadline = time.monotonic() + timeout
        idle = threading.Event()
        for given in range(count):
            while not self._pending:
                taken = self.pump()  # empties _pending: extend the list after it
                self._pending.extend(taken)
                if self._pending:
                    break
                if time.monotonic() > deadline:
                    raise TimeoutError(f"{given} of {count} events in {timeout} s")
                idle.wait(0.002)  # the library's queue has no blocking read
            yield self._pending.pop(0)


__all__ = ["Library", "Event", "EventType", "OpenMode", "ServiceType", "State", "Properties",
           "Datatype", "PROPERTY_NAMES"]
