# What a refused or failed request raises: the status, the platform's code and the HTTP
# outcome, one row per way to fail.
import pytest

import pavo


def not_logged_in(lib, sim):
    return lib.categories()


def not_opened(lib, sim):
    lib.login()


def refused_by_platform(lib, sim):
    lib.open()
    lib.login()
    lib.recharge("no-such-voucher")


def http_error(lib, sim):
    lib.open()
    lib.login()
    sim.fault("/Service/QueryCategory", status=503)
    lib.categories()


def connection_closed(lib, sim):
    lib.open()
    lib.login()
    sim.fault("/Service/QueryCategory", close=True)
    lib.categories()


def primary_refuses(lib, sim):
    lib.open()
    lib.login()
    sim.outage("epg", "refuse")
    lib.categories()


def sessions_expired(lib, sim):
    lib.open()
    lib.login()
    sim.expire()
    lib.categories()


def no_open_address(lib, sim):
    lib.props["openurl"] = ""
    lib.open()


# (case, error class, status, resultcode, httpretcode)
CASES = [
    (not_logged_in, pavo.PavoError, -2, None, 0),
    (not_opened, pavo.PavoError, -3, None, 0),
    (refused_by_platform, pavo.PlatformError, 0, -107, 200),
    (http_error, pavo.PavoError, -1, None, 0),
    (connection_closed, pavo.PavoError, -1, None, 0),
    (primary_refuses, pavo.PavoError, -1, None, 0),
    (sessions_expired, pavo.PlatformError, 0, -101, 200),
    (no_open_address, pavo.PavoError, -1, None, 0),
]


@pytest.mark.parametrize("case,error,status,resultcode,httpretcode", CASES,
                         ids=[c[0].__name__ for c in CASES])
def test_failures_raise_with_their_codes(pavo_library, pavo_control, case, error, status,
                                         resultcode, httpretcode):
    with pytest.raises(error) as raised:
        case(pavo_library, pavo_control)
    e = raised.value
    assert type(e) is error
    assert (e.status, e.resultcode, e.httpretcode) == (status, resultcode, httpretcode)


def test_a_refusal_can_be_read_instead_of_raised(pavo_session):
    result = pavo_session.recharge("no-such-voucher", check=False)
    assert (result.resultcode, result.data) == (-107, None)
    assert result.resultmsg


def test_query_status_restores_the_opened_state(pavo_library):
    with pytest.raises(pavo.PavoError) as raised:
        pavo_library.query_status()
    assert raised.value.status == -1
    pavo_library.open()
    pavo_library.query_status()
    assert pavo_library.state == pavo.State.OPENED


def test_the_platform_counts_what_the_box_sent(pavo_session, pavo_control):
    pavo_session.categories()
    pavo_session.recharge("V500")
    counts = pavo_control.counts()
    assert counts["paths"]["/Service/Login"] == counts["logins"] == 1
    assert counts["services"]["epg"] == {"primary": 1, "backup": 0}
    assert (counts["charges"], counts["recharges"]) == (1, 1)
    assert sum(n for _, n in counts["per100ms"]) == 4  # open, login, categories, recharge
