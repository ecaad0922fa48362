# Asynchronous mode: requests answered through the pump, as events carrying copies of
# their results. The C requests keep their threads for 100 seconds; nothing here waits
# for that, the answers arrive long before.
import pavo


def test_answers_come_through_the_pump_with_their_event_ids(pavo_library):
    lib = pavo_library
    lib.set_async()
    seen = []
    lib.on_event(seen.append)
    opened = lib.post("open")
    (event,) = list(lib.events(1))
    assert (event.eventtype, event.eventid) == (pavo.EventType.OPEN, opened)
    assert event.result.data.userid == "u1001"
    assert lib.state == pavo.State.OPENED  # set before the callback ran
    lib.post("login")
    (event,) = list(lib.events(1))
    assert event.result.data.usertoken == lib.props["usertoken"]

    # (request, arguments, event type, datatype the event carries)
    rows = [
        ("categories", (), pavo.EventType.QUERYCATEGORYLIST, pavo.Datatype.CATEGORYLIST),
        ("items", ("C0101",), pavo.EventType.QUERYCATEGORYITEMLIST, pavo.Datatype.ITEMLIST),
        # a callback gets the relative item list where a synchronous caller gets an item list
        ("related", (1, "P1001"), pavo.EventType.QUERYRELATEITEMLIST,
         pavo.Datatype.RELATIVEITEMLIST),
        ("upgradeos", (), pavo.EventType.UPGRADEOS, pavo.Datatype.UPGRADEOSRESULT),
        # tagged as a system upgrade by the library, read as a resource upgrade
        ("upgraderes", (), pavo.EventType.UPGRADERES, pavo.Datatype.UPGRADEOSRESULT),
        ("statusreport", (), pavo.EventType.STATUSREPORT, None),
    ]
    ids = {lib.post(name, *args): (etype, dtype) for name, args, etype, dtype in rows}
    events = list(lib.events(len(rows)))
    assert sorted(e.eventid for e in events) == sorted(ids)
    for event in events:
        etype, dtype = ids[event.eventid]
        assert event.eventtype == etype
        assert (event.result.datatype if event.result else None) == dtype
        if etype == pavo.EventType.UPGRADERES:
            assert isinstance(event.result.data, pavo.UpgradeResResponse)
        if etype == pavo.EventType.QUERYCATEGORYITEMLIST:
            assert [i.detail.code for i in event.result.data] == ["P1001", "P1002"]
    assert len(seen) == 2 + len(rows)


def test_a_request_refused_for_its_state_is_an_event_with_the_status(pavo_library):
    pavo_library.set_async()
    posted = pavo_library.post("categories")
    (event,) = list(pavo_library.events(1))
    assert (event.eventid, event.status, event.result) == (posted, -2, None)


def test_events_hands_out_as_many_as_asked(pavo_session):
    lib = pavo_session
    lib.set_async()
    posted = {lib.post("categories") for _ in range(3)}
    got = [event.eventid for _ in range(3) for event in lib.events(1)]
    assert sorted(got) == sorted(posted)
    assert lib.pump() == []
