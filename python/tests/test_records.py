# Every request against the simulator, each answer's records checked against the
# simulator's own data files (catalogue.xml, platform.ini, files/), not against the C side.
import configparser
import hashlib
import xml.etree.ElementTree as ET
from pathlib import Path

import pytest

import pavo
from pavo.testing import find_simdata

DATA = Path(find_simdata())
CATALOGUE = ET.parse(DATA / "catalogue.xml").getroot()
PROGRAM_ATTRS = {"code": "Code", "name": "Name", "actor": "Actor", "director": "Director",
                 "region": "Region", "language": "Language", "programtype": "ProgramType",
                 "keywords": "Keywords", "ratinglevel": "RatingLevel", "desc": "Desc",
                 "smallimage1": "SmallImage1", "bigimage1": "BigImage1"}
CLIP_ATTRS = {"videocode": "VideoCode", "price": "Price", "filesize": "FileSize",
              "duration": "Duration", "resolution": "Resolution", "isdrm": "IsDRM",
              "candownload": "CanDownload", "canonlineplay": "CanOnlinePlay"}


def xml_entry(tag, code):
    return next(e for e in CATALOGUE.iter(tag) if e.get("Code") == code)


def same_fields(record, element, names):
    for field, attr in names.items():
        want = element.get(attr) or None
        got = getattr(record, field)
        assert (str(got) if isinstance(got, int) else got) == want, (field, got, want)


def check_program(program):
    element = xml_entry("Program", program.code)
    same_fields(program, element, PROGRAM_ATTRS)
    clips = [c for c in element if c.tag == "VideoClip"]
    assert [c.videocode for c in program.clips] == [c.get("VideoCode") for c in clips]
    for clip, xml_clip in zip(program.clips, clips):
        same_fields(clip, xml_clip, CLIP_ATTRS)
        assert clip.bitratetype == 0  # an item's detail is a copy, which drops it


def check_channel(channel):
    element = xml_entry("Channel", channel.code)
    same_fields(channel, element, {"code": "Code", "name": "Name"})
    assert [c.videocode for c in channel.clips] == [
        c.get("VideoCode") for c in element if c.tag == "VideoClip"]


def check_items(result, category):
    xml_items = [i for i in xml_entry("Category", category) if i.tag == "Item"]
    assert [i.code for i in result.data] == [i.get("Code") for i in xml_items]
    assert result.datacount == len(xml_items)
    for item in result.data:
        check = check_program if item.type == pavo.ItemType.PROGRAM else check_channel
        check(item.detail)


def offer(section):
    ini = configparser.ConfigParser()
    ini.read(DATA / "platform.ini")
    return ini[section]


def check_offer(result, section, mode_field):
    assert isinstance(result.data, (pavo.UpgradeOsResponse, pavo.UpgradeResResponse)[
        mode_field == "updatemode"])
    assert getattr(result.data, mode_field) == int(offer(section)["mode"])
    assert result.data.lastedversion == offer(section)["version"]
    assert result.data.fileurl.endswith("/files/" + offer(section)["file"])
    content = (DATA / "files" / offer(section)["file"]).read_bytes()
    assert result.data.filehash == hashlib.sha1(content).hexdigest().upper()


CASES = [
    ("login", lambda lib: lib.login(), pavo.Datatype.LOGINRESULT,
     lambda r, lib: r.data.usertoken == lib.props["usertoken"] and r.data.validpoints == 500),
    ("categories top", lambda lib: lib.categories(), pavo.Datatype.CATEGORYLIST,
     lambda r, lib: [c.code for c in r.data] == [
         c.get("Code") for c in CATALOGUE.findall("Category")]),
    ("categories nested", lambda lib: lib.categories("C01"), pavo.Datatype.CATEGORYLIST,
     lambda r, lib: [(c.code, c.parentcode) for c in r.data] == [
         ("C0101", "C01"), ("C0102", "C01")]),
    ("items with programmes", lambda lib: lib.items("C0101"), pavo.Datatype.ITEMLIST,
     lambda r, lib: check_items(r, "C0101") is None),
    ("items with channels", lambda lib: lib.items("C03"), pavo.Datatype.ITEMLIST,
     lambda r, lib: check_items(r, "C03") is None),
    ("items without detail", lambda lib: lib.items("C0101", withdetail=False),
     pavo.Datatype.ITEMLIST, lambda r, lib: [i.detail for i in r.data] == [None, None]),
    ("empty category", lambda lib: lib.items("C04"), pavo.Datatype.ITEMLIST,
     lambda r, lib: r.data == [] and r.datacount == 0),
    ("related", lambda lib: lib.related(pavo.ItemType.PROGRAM, "P1001"),
     pavo.Datatype.ITEMLIST,
     lambda r, lib: [i.code for i in r.data] == xml_entry("Program", "P1001").get(
         "Related").split()),
    ("detail", lambda lib: lib.detail("C0101", pavo.ItemType.PROGRAM, "P1002"),
     pavo.Datatype.ITEM, lambda r, lib: check_program(r.data[0].detail) is None),
    ("schedules", lambda lib: lib.schedules("CH01", "20260102", "20260102"),
     pavo.Datatype.SCHEDULELIST,
     lambda r, lib: [(s.name, s.starttime[:10]) for s in r.data] == [
         (s.get("Name"), s.get("StartTime")[:10]) for s in xml_entry("Channel", "CH01")
         if s.tag == "Schedule" and s.get("StartTime").startswith("2026-01-02")]),
    ("play", lambda lib: lib.playurl("C0101", pavo.ItemType.PROGRAM, "P1001", "P1001-SD"),
     pavo.Datatype.QUERYPLAYURLRESULT,
     lambda r, lib: r.data.playurl == [c for c in xml_entry("Program", "P1001")
                                       if c.get("VideoCode") == "P1001-SD"][0].get("URL")),
    ("recharge", lambda lib: lib.recharge("V100"), pavo.Datatype.RECHARGERESULT,
     lambda r, lib: r.data.validpoints == 600),
    ("extended service", lambda lib: lib.extservice("weather", "a&b c"),
     pavo.Datatype.EXTSERVICERESULT,
     lambda r, lib: ET.fromstring(r.data).find("Response/ServiceParam").text == "a&b c"),
    ("upgrade os", lambda lib: lib.upgradeos(), pavo.Datatype.UPGRADEOSRESULT,
     lambda r, lib: check_offer(r, "upgrade_os", "upgrademode") is None),
    # The library tags a resource upgrade as a system upgrade, and a logout as a recharge.
    ("upgrade resources", lambda lib: lib.upgraderes(), pavo.Datatype.UPGRADEOSRESULT,
     lambda r, lib: check_offer(r, "upgrade_res", "updatemode") is None),
    ("logout", lambda lib: lib.logout(), pavo.Datatype.RECHARGERESULT,
     lambda r, lib: r.data is None),
]


@pytest.mark.parametrize("name,call,datatype,check", CASES, ids=[c[0] for c in CASES])
def test_each_answer_is_copied_whole(pavo_session, name, call, datatype, check):
    result = call(pavo_session)
    assert (result.resultcode, result.httpecode, result.httpretcode) == (0, 0, 200)
    assert result.datatype == datatype
    assert check(result, pavo_session)


def test_open_by_card_and_by_terminal(pavo_library):
    by_terminal = pavo_library.open()
    assert (by_terminal.data.userid, by_terminal.data.nickname) == ("u1001", "Li Wei")
    assert pavo_library.state == pavo.State.OPENED
    assert pavo_library.read_config("userid") == "u1001"
    by_card = pavo_library.open(pavo.OpenMode.USERCARD, "8860000000001001")
    assert by_card.data.userid == "u1001"


def test_download_status_report_and_clock(pavo_session, pavo_sim, tmp_path):
    url = pavo_session.upgradeos().data.fileurl
    target = tmp_path / "image"
    result = pavo_session.download(url, str(target))
    assert (result.resultcode, result.httpretcode, result.data) == (0, 200, None)
    assert target.read_bytes() == (DATA / "files" / offer("upgrade_os")["file"]).read_bytes()
    assert pavo_session.statusreport() is None
    assert pavo_sim.requests()[-1][1] == "/Service/Report"
    # 2026-01-02 03:04:05 of the simulator's clock, as the platform's local time.
    import time
    assert pavo_session.server_time() == int(time.mktime((2026, 1, 2, 3, 4, 5, 0, 0, -1)))
