"""libpavo for Python: the set-top box client library of the video platform, bound with
ctypes. Start with `with pavo.Library(workdir, config={"openurl": ...}) as lib:`."""

from .client import (PROPERTY_NAMES, Event, EventType, Library, OpenMode, Properties,
                     ServiceType, State)
from .errors import PavoError, PlatformError
from .records import (Category, Channel, Datatype, Item, ItemType, LoginResponse,
                      LogoutResponse, OpenResponse, PlayResponse, Program, RechargeResponse,
                      Result, Schedule, UpgradeOsResponse, UpgradeResResponse, VideoClip)

__version__ = "1.0.0"
__all__ = ["Library", "Event", "EventType", "OpenMode", "ServiceType", "State", "Properties",
           "PROPERTY_NAMES", "PavoError", "PlatformError", "Result", "Datatype", "ItemType",
           "Category", "Channel", "Item", "LoginResponse", "LogoutResponse", "OpenResponse",
           "PlayResponse", "Program", "RechargeResponse", "Schedule", "UpgradeOsResponse",
           "UpgradeResResponse", "VideoClip"]
