"""The C interface of libpavo as ctypes sees it: the records of the public header,
the prototypes of the functions the binding calls, and loading of libpavo.so.1.

A function the loaded library lacks is simply not bound, so the same binding works
with libraries built before and after a function was added."""

from __future__ import annotations

import ctypes
import os
from ctypes import (CFUNCTYPE, POINTER, Structure, Union, c_char, c_char_p, c_int,
                    c_int64, c_long, c_uint, c_uint32, c_void_p)
from typing import Any, Optional


class InitParam(Structure):
    _fields_ = [("oem_name", c_char_p), ("terminal_type", c_char_p),
                ("device_id", c_char_p), ("chipprofile", c_char_p),
                ("clientprofile", c_char_p), ("workdirectory", c_char_p),
                ("perpetualdirectory", c_char_p), ("tmpdirectory", c_char_p),
                ("cachesize", c_uint32), ("ipversion", c_int)]


class OpenResponse(Structure):
    _fields_ = [(n, c_char_p) for n in ("serverauthenticator", "userid", "nickname",
                                        "accountdesc", "aaasrvaddress", "aaasrvaddress2")]


class LoginResponse(Structure):
    _fields_ = [("usertoken", c_char_p), ("serverauthenticator", c_char_p),
                ("userid", c_char_p), ("usergroup", c_char_p), ("userlevel", c_char_p),
                ("validpoints", c_int), ("actexpireddate", c_char_p)] + [
        (n, c_char_p) for n in (
            "aaasrvaddress", "aaasrvaddress2", "epgsrvaddress", "epgsrvaddress2",
            "playsrvaddress", "playsrvaddress2", "upgradesrvaddress", "upgradesrvaddress2",
            "imgsrvaddress", "serviceaddress", "drmsrvaddress", "drmsrvaddress2")] + [
        ("forcedupgrade", c_int)]


class RechargeResponse(Structure):
    _fields_ = [("serverauthenticator", c_char_p), ("validpoints", c_int),
                ("actexpireddate", c_char_p)]


class PlayResponse(Structure):
    _fields_ = [("playurl", c_char_p)]


class Category(Structure):
    pass


Category._fields_ = [(n, c_char_p) for n in (
    "code", "parentcode", "name", "desc", "icon1", "icon2", "bgimage1", "bgimage2",
    "templatecode")] + [("type", c_int), ("haschild", c_char),
                        ("psubcat", POINTER(Category)), ("pparentcat", POINTER(Category)),
                        ("next", POINTER(Category))]


class VideoClip(Structure):
    pass


VideoClip._fields_ = [
    ("itemtype", c_int), ("itemcode", c_char_p), ("videocode", c_char_p), ("type", c_int),
    ("episodeindex", c_int), ("ordercode", c_int), ("price", c_int), ("filesize", c_int64),
    ("duration", c_char_p), ("audiofieldtype", c_int), ("captioning", c_int),
    ("isdrm", c_char), ("candownload", c_char), ("canonlineplay", c_char),
    ("screenformat", c_int), ("bitratetype", c_int), ("videotype", c_int),
    ("audiotype", c_int), ("resolution", c_int), ("next", POINTER(VideoClip))]


class Channel(Structure):
    pass


Channel._fields_ = [(n, c_char_p) for n in (
    "code", "name", "desc", "icon1", "icon2", "bkimage1", "bkimage2")] + [
    ("type", c_int), ("timeshiftduration", c_int), ("pvideoclip", POINTER(VideoClip)),
    ("next", POINTER(Channel))]


class Schedule(Structure):
    pass


Schedule._fields_ = [(n, c_char_p) for n in (
    "name", "channelcode", "desc", "starttime", "endtime")] + [("next", POINTER(Schedule))]


class Program(Structure):
    pass


Program._fields_ = [("code", c_char_p), ("name", c_char_p), ("type", c_int),
                    ("episodenum", c_int)] + [(n, c_char_p) for n in (
                        "actor", "director", "region", "language", "programtype",
                        "keywords", "ratinglevel", "desc")] + [("status", c_int)] + [
    (n, c_char_p) for n in ("smallimage1", "smallimage2", "bigimage1", "bigimage2")] + [
    ("pvideoclip", POINTER(VideoClip)), ("next", POINTER(Program))]


class ItemDetail(Union):
    _fields_ = [("program", POINTER(Program)), ("channel", POINTER(Channel)),
                ("schedule", POINTER(Schedule)), ("ptr", c_void_p)]


class Item(Structure):
    pass


Item._fields_ = [("type", c_int)] + [(n, c_char_p) for n in (
    "code", "parentcode", "name", "starttime", "endtime", "desc", "icon1", "icon2",
    "summary")] + [("flag", c_int), ("detail", ItemDetail), ("next", POINTER(Item))]


class UpgradeOsResponse(Structure):
    _fields_ = [("upgrademode", c_int), ("lastedversion", c_char_p), ("fileurl", c_char_p),
                ("filehash", c_char_p)]


class UpgradeResResponse(Structure):
    _fields_ = [("updatemode", c_int), ("lastedversion", c_char_p), ("fileurl", c_char_p),
                ("filehash", c_char_p)]


class Result(Structure):
    # data is one pointer whatever the datatype; the records module casts it.
    _fields_ = [("resultcode", c_int), ("resultmsg", c_char_p), ("datatype", c_int),
                ("datasize", c_uint32), ("freeproc", c_void_p), ("dumpproc", c_void_p),
                ("httpecode", c_int), ("httpretcode", c_long), ("totalcount", c_int),
                ("datacount", c_int), ("pageindex", c_int), ("pagesize", c_int),
                ("data", c_void_p)]


class Event(Structure):
    _fields_ = [("eventhandle", c_uint32), ("eventtype", c_int), ("eventscope", c_int),
                ("eventid", c_int), ("extra", c_char * 128), ("eventdatatype", c_int),
                ("data", c_void_p), ("datasize", c_uint32)]


Callback = CFUNCTYPE(c_int, POINTER(Event))
LogCallback = CFUNCTYPE(None, c_int, c_char_p, c_void_p)

_S = c_char_p
_U = c_uint
_I = c_int
# name: (result type, argument types). One line per function; a function the loaded
# library does not export is left out.
PROTOTYPES: dict[str, tuple[Any, list[Any]]] = {
    "pavo_init": (_I, [POINTER(InitParam)]),
    "pavo_cleanup": (_I, []),
    "pavo_setfuncmode": (_I, [_I]),
    "pavo_getfuncmode": (_I, []),
    "pavo_getstate": (_I, []),
    "pavo_setemumode": (None, []),
    "pavo_setlogmode": (None, [_I]),
    "pavo_setlogfiledir": (None, [_S]),
    "pavo_getlasterror": (_I, []),
    "pavo_getresult": (POINTER(Result), []),
    "pavo_freeresult": (_I, [POINTER(Result)]),
    "pavo_checkmessage": (_I, []),
    "pavo_registercallback": (_I, [_I, Callback]),
    "pavo_readprop": (None, [_S, ctypes.c_char_p, _I]),
    "pavo_writeprop": (_I, [_S, _S]),
    "pavo_readconfig": (c_void_p, [_S, _S, ctypes.c_char_p, _I]),
    "pavo_writeconfig": (_I, [_S, _S, _S]),
    "pavo_getip": (_I, [ctypes.c_char_p, _I]),
    "pavo_query_status": (_I, []),
    "pavo_open": (_I, [_U, _I, _S, _S]),
    "pavo_login": (_I, [_U]),
    "pavo_logout": (_I, [_U]),
    "pavo_recharge": (_I, [_U, _I, _S]),
    "pavo_querycategorylist": (_I, [_U, _S, _I, _I]),
    "pavo_querycategoryitemlist": (_I, [_U, _S, _I, _I, _I]),
    "pavo_queryrelateitemlist": (_I, [_U, _I, _S, _I, _I, _I, _I]),
    "pavo_queryitemdetail": (_I, [_U, _S, _I, _S]),
    "pavo_queryschedulelist": (_I, [_U, _S, _S, _S, _I, _I]),
    "pavo_queryplayurl": (_I, [_U, _S, _I, _S, _S, _I, _S, _S]),
    "pavo_queryextendservice": (_I, [_U, _S, _S]),
    "pavo_upgradeos": (_I, [_U]),
    "pavo_upgraderes": (_I, [_U]),
    "pavo_downloadresource": (_I, [_U, _S, _S]),
    "pavo_statusreport": (_I, [_U]),
    "pavo_get_time": (_I, [c_void_p]),
    # Added by later versions of the library; absent before.
    "pavo_setprofile": (_I, [_S]),
    "pavo_setlogcallback": (_I, [LogCallback, c_void_p]),
    "pavo_strerror": (_S, [_I]),
    "pavo_getlasterrortext": (_S, []),
    "pavo_resetstats": (None, []),
    "pavo_getlastaddress": (_S, []),
}


class Native:
    """The loaded library: one attribute per bound function, None where it is absent."""

    def __init__(self, path: Optional[str] = None) -> None:
        self.path = path or os.environ.get("PAVO_LIB") or "libpavo.so.1"
        self.dll = ctypes.CDLL(self.path)
        self.functions: dict[str, Any] = {}
        for name, (restype, argtypes) in PROTOTYPES.items():
            try:
                fn = getattr(self.dll, name)
            except AttributeError:
                continue
            fn.restype = restype
            fn.argtypes = argtypes
            self.functions[name] = fn

    def has(self, name: str) -> bool:
        return name in self.functions

    def __getattr__(self, name: str) -> Any:
        try:
            return self.functions[name]
        except KeyError:
            raise AttributeError(f"{self.path} has no {name}") from None


_loaded: Optional[Native] = None


def native(path: Optional[str] = None) -> Native:
    """The process's one library: it keeps one environment per process."""
    global _loaded
    if _loaded is None:
        _loaded = Native(path)
    return _loaded
