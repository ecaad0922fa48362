"""The answers of the platform as Python dataclasses, copied out of the library's C
records. Strings are str (None where the platform sent nothing), lists are lists; the
C records are freed by the caller right after the copy."""

from __future__ import annotations

import ctypes
import enum
from dataclasses import dataclass, field, fields
from typing import Any, Generic, Optional, TypeVar, Union

from . import _native as n


class Datatype(enum.IntEnum):
    NORMAL = 0
    STRING = 1
    OPENRESULT = 2
    LOGINRESULT = 3
    LOGOUTRESULT = 4
    RECHARGERESULT = 5
    QUERYPLAYURLRESULT = 6
    CATEGORYLIST = 7
    CATEGORY = 8
    ITEMLIST = 9
    ITEM = 10
    RELATIVEITEMLIST = 11
    CHANNELLIST = 12
    CHANNEL = 13
    SCHEDULELIST = 14
    SCHEDULE = 15
    PROGRAMLIST = 16
    PROGRAM = 17
    VIDEOCLIPLIST = 18
    VIDEOCLIP = 19
    EXTSERVICERESULT = 20
    UPGRADEOSRESULT = 21
    UPGRADERESRESULT = 22
    STATUSREPORTRESULT = 23


class ItemType(enum.IntEnum):
    DEFAULT = 0
    PROGRAM = 1
    CHANNEL = 2
    SCHEDULE = 3


def text(value: Optional[bytes]) -> Optional[str]:
    # The platform's texts are UTF-8; a stray byte must not lose the whole answer.
    return None if value is None else value.decode("utf-8", "replace")


@dataclass
class OpenResponse:
    serverauthenticator: Optional[str] = None
    userid: Optional[str] = None
    nickname: Optional[str] = None
    accountdesc: Optional[str] = None
    aaasrvaddress: Optional[str] = None
    aaasrvaddress2: Optional[str] = None


@dataclass
class LoginResponse:
    usertoken: Optional[str] = None
    serverauthenticator: Optional[str] = None
    userid: Optional[str] = None
    usergroup: Optional[str] = None
    userlevel: Optional[str] = None
    validpoints: int = 0
    actexpireddate: Optional[str] = None
    aaasrvaddress: Optional[str] = None
    aaasrvaddress2: Optional[str] = None
    epgsrvaddress: Optional[str] = None
    epgsrvaddress2: Optional[str] = None
    playsrvaddress: Optional[str] = None
    playsrvaddress2: Optional[str] = None
    upgradesrvaddress: Optional[str] = None
    upgradesrvaddress2: Optional[str] = None
    imgsrvaddress: Optional[str] = None
    serviceaddress: Optional[str] = None
    drmsrvaddress: Optional[str] = None
    drmsrvaddress2: Optional[str] = None
    forcedupgrade: int = 0


@dataclass
class RechargeResponse:
    serverauthenticator: Optional[str] = None
    validpoints: int = 0
    actexpireddate: Optional[str] = None


@dataclass
class PlayResponse:
    playurl: Optional[str] = None


@dataclass
class Category:
    code: Optional[str] = None
    parentcode: Optional[str] = None
    name: Optional[str] = None
    desc: Optional[str] = None
    icon1: Optional[str] = None
    icon2: Optional[str] = None
    bgimage1: Optional[str] = None
    bgimage2: Optional[str] = None
    templatecode: Optional[str] = None
    type: int = 0
    haschild: int = 0
    subcategories: list[Category] = field(default_factory=list)


@dataclass
class VideoClip:
    itemtype: int = 0
    itemcode: Optional[str] = None
    videocode: Optional[str] = None
    type: int = 0
    episodeindex: int = 0
    ordercode: int = 0
    price: int = 0
    filesize: int = 0
    duration: Optional[str] = None
    audiofieldtype: int = 0
    captioning: int = 0
    isdrm: int = 0
    candownload: int = 0
    canonlineplay: int = 0
    screenformat: int = 0
    bitratetype: int = 0
    videotype: int = 0
    audiotype: int = 0
    resolution: int = 0


@dataclass
class Channel:
    code: Optional[str] = None
    name: Optional[str] = None
    desc: Optional[str] = None
    icon1: Optional[str] = None
    icon2: Optional[str] = None
    bkimage1: Optional[str] = None
    bkimage2: Optional[str] = None
    type: int = 0
    timeshiftduration: int = 0
    clips: list[VideoClip] = field(default_factory=list)


@dataclass
class Schedule:
    name: Optional[str] = None
    channelcode: Optional[str] = None
    desc: Optional[str] = None
    starttime: Optional[str] = None
    endtime: Optional[str] = None


@dataclass
class Program:
    code: Optional[str] = None
    name: Optional[str] = None
    type: int = 0
    episodenum: int = 0
    actor: Optional[str] = None
    director: Optional[str] = None
    region: Optional[str] = None
    language: Optional[str] = None
    programtype: Optional[str] = None
    keywords: Optional[str] = None
    ratinglevel: Optional[str] = None
    desc: Optional[str] = None
    status: int = 0
    smallimage1: Optional[str] = None
    smallimage2: Optional[str] = None
    bigimage1: Optional[str] = None
    bigimage2: Optional[str] = None
    clips: list[VideoClip] = field(default_factory=list)


@dataclass
class Item:
    type: int = 0
    code: Optional[str] = None
    parentcode: Optional[str] = None
    name: Optional[str] = None
    starttime: Optional[str] = None
    endtime: Optional[str] = None
    desc: Optional[str] = None
    icon1: Optional[str] = None
    icon2: Optional[str] = None
    summary: Optional[str] = None
    flag: int = 0
    # The programme or channel the item refers to, when the answer carried it.
    detail: Union[Program, Channel, Schedule, None] = None


@dataclass
class UpgradeOsResponse:
    upgrademode: int = 0
    lastedversion: Optional[str] = None
    fileurl: Optional[str] = None
    filehash: Optional[str] = None


@dataclass
class UpgradeResResponse:
    updatemode: int = 0
    lastedversion: Optional[str] = None
    fileurl: Optional[str] = None
    filehash: Optional[str] = None


@dataclass
class LogoutResponse:
    pass


Data = Union[OpenResponse, LoginResponse, RechargeResponse, PlayResponse, list[Category],
             list[Item], list[Schedule], bytes, UpgradeOsResponse, UpgradeResResponse,
             LogoutResponse, None]
T = TypeVar("T")


@dataclass
class Result(Generic[T]):
    """One answer: the platform's code and message, the transfer's outcome, the data."""
    resultcode: int
    resultmsg: Optional[str]
    datatype: Datatype
    httpecode: int
    httpretcode: int
    data: T
    totalcount: int = 0
    datacount: int = 0
    pageindex: int = 0
    pagesize: int = 0


def _copy(dc: Any, rec: Any, skip: tuple[str, ...] = ()) -> Any:
    values: dict[str, Any] = {}
    for f in fields(dc):
        if f.name in skip or not hasattr(rec, f.name):
            continue
        v = getattr(rec, f.name)
        if isinstance(v, bytes) and str(f.type) != "int":
            values[f.name] = text(v)
        elif isinstance(v, bytes):
            values[f.name] = int.from_bytes(v, "little", signed=True)
        else:
            values[f.name] = v
    return dc(**values)


def _walk(head: Any) -> list[Any]:
    out = []
    while head:
        out.append(head.contents)
        head = head.contents.next
    return out


def _clips(head: Any) -> list[VideoClip]:
    return [_copy(VideoClip, c) for c in _walk(head)]


def _program(rec: Any) -> Program:
    p: Program = _copy(Program, rec)
    p.clips = _clips(rec.pvideoclip)
    return p


def _channel(rec: Any) -> Channel:
    c: Channel = _copy(Channel, rec)
    c.clips = _clips(rec.pvideoclip)
    return c


def _categories(head: Any) -> list[Category]:
    out = []
    for rec in _walk(head):
        c: Category = _copy(Category, rec)
        c.subcategories = _categories(rec.psubcat)
        out.append(c)
    return out


def _items(head: Any) -> list[Item]:
    out = []
    for rec in _walk(head):
        item: Item = _copy(Item, rec, skip=("detail",))
        if rec.type == ItemType.PROGRAM and rec.detail.program:
            item.detail = _program(rec.detail.program.contents)
        elif rec.type == ItemType.CHANNEL and rec.detail.channel:
            item.detail = _channel(rec.detail.channel.contents)
        elif rec.type == ItemType.SCHEDULE and rec.detail.schedule:
            item.detail = _copy(Schedule, rec.detail.schedule.contents)
        out.append(item)
    return out


def _single(cls: Any, struct: Any) -> Any:
    return lambda p, size: _copy(cls, ctypes.cast(p, ctypes.POINTER(struct)).contents)


_DATA: dict[int, Any] = {
    Datatype.OPENRESULT: _single(OpenResponse, n.OpenResponse),
    Datatype.LOGINRESULT: _single(LoginResponse, n.LoginResponse),
    Datatype.RECHARGERESULT: _single(RechargeResponse, n.RechargeResponse),
    Datatype.QUERYPLAYURLRESULT: _single(PlayResponse, n.PlayResponse),
    Datatype.CATEGORYLIST: lambda p, size: _categories(ctypes.cast(p, ctypes.POINTER(n.Category))),
    Datatype.ITEMLIST: lambda p, size: _items(ctypes.cast(p, ctypes.POINTER(n.Item))),
    Datatype.ITEM: lambda p, size: _items(ctypes.cast(p, ctypes.POINTER(n.Item))),
    Datatype.RELATIVEITEMLIST: lambda p, size: _items(ctypes.cast(p, ctypes.POINTER(n.Item))),
    Datatype.SCHEDULELIST: lambda p, size: [
        _copy(Schedule, s) for s in _walk(ctypes.cast(p, ctypes.POINTER(n.Schedule)))],
    Datatype.EXTSERVICERESULT: lambda p, size: ctypes.string_at(p, size),
    Datatype.UPGRADEOSRESULT: _single(UpgradeOsResponse, n.UpgradeOsResponse),
    Datatype.UPGRADERESRESULT: _single(UpgradeResResponse, n.UpgradeResResponse),
}

# What a list answer gives when it holds no entry.
_EMPTY: dict[int, Any] = {Datatype.CATEGORYLIST: list, Datatype.ITEMLIST: list,
                          Datatype.ITEM: list, Datatype.RELATIVEITEMLIST: list,
                          Datatype.SCHEDULELIST: list}


def convert(raw: n.Result, kind: Optional[int] = None) -> Result[Any]:
    """Copies a C result, its record and every list hanging from it. kind is the answer
    the request asked for: the record is read by it, since the library tags some answers
    with another kind's datatype (a resource upgrade as a system upgrade)."""
    try:
        datatype = Datatype(raw.datatype)
    except ValueError:
        datatype = Datatype.NORMAL
    if kind is None:
        kind = datatype
    data: Any = None
    if raw.data and kind in _DATA:
        data = _DATA[kind](raw.data, raw.datasize)
    elif kind in _EMPTY and raw.resultcode >= 0:
        data = _EMPTY[kind]()
    return Result(resultcode=raw.resultcode, resultmsg=text(raw.resultmsg), datatype=datatype,
                  httpecode=raw.httpecode, httpretcode=raw.httpretcode, data=data,
                  totalcount=raw.totalcount, datacount=raw.datacount,
                  pageindex=raw.pageindex, pagesize=raw.pagesize)
