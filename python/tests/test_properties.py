# The session properties as a mapping, and korix.conf through the library.
import pytest

import pavo


def test_properties_read_write_and_refuse(pavo_session):
    props = pavo_session.props
    assert list(props) == list(pavo.PROPERTY_NAMES)
    assert props["tvid"] == "000000PAVO0000STB100V4000000SIM0000001"
    assert props["pavoversion"] == "1.0.0.1"
    assert props["epgsrvaddress"].startswith("http://127.0.0.1:")
    props["bizfield"] = "100%% off %s"  # arrives as written, not as a format
    assert props["bizfield"] == "100%% off %s"
    for name, error in (("oem_name", KeyError), ("nosuchname", KeyError)):
        with pytest.raises(error):
            props[name] = "x"
    with pytest.raises(KeyError):
        props["nosuchname"]
    with pytest.raises(TypeError):
        del props["userid"]


def test_config_keys_reach_the_file_and_the_property(pavo_library, tmp_path):
    pavo_library.write_config("aaasrvaddress", "http://127.0.0.1:1")
    pavo_library.write_config("mykey", "v", section="custom")
    assert pavo_library.props["aaasrvaddress"] == "http://127.0.0.1:1"
    assert pavo_library.read_config("mykey", section="custom") == "v"
    text = (tmp_path / "box" / "korix.conf").read_text()
    assert "aaasrvaddress=http://127.0.0.1:1" in text and "[custom]" in text


def test_a_second_start_in_one_process_is_refused(pavo_library, tmp_path):
    with pytest.raises(pavo.PavoError) as raised:
        pavo.Library(str(tmp_path / "other")).start()
    assert raised.value.status == -5
