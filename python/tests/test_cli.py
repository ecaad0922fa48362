# python3 -m pavo: the pavo command's commands and exit codes, run as a separate process.
import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

from pavo.testing import find_library

PACKAGE_DIR = str(Path(__file__).resolve().parents[1])


def run(*args):
    env = dict(os.environ, PYTHONPATH=PACKAGE_DIR)
    if find_library():
        env["PAVO_LIB"] = find_library()
    return subprocess.run([sys.executable, "-m", "pavo", *args], capture_output=True,
                          text=True, env=env, timeout=60)


# (commands run in order in one work directory, exit code of the last)
CASES = [
    ([["open"]], 0),
    ([["open"], ["recharge", "no-such-voucher"]], 1),
    ([["open"], ["FAULT"], ["categories"]], 2),
    ([["login"]], 3),
    ([["frobnicate"]], 3),
]


@pytest.mark.parametrize("commands,code", CASES, ids=["open", "refused", "transfer", "state",
                                                       "usage"])
def test_exit_codes(pavo_sim, tmp_path, commands, code):
    for command in commands:
        if command == ["FAULT"]:
            pavo_sim.fault("/Service/QueryCategory", status=500)
            continue
        done = run("--platform", pavo_sim.base, "--workdir", str(tmp_path / "box"), *command)
    assert done.returncode == code, done.stderr
    assert (done.stderr == "") == (code == 0)


def test_json_output_and_async(pavo_sim, tmp_path):
    box = ["--platform", pavo_sim.base, "--workdir", str(tmp_path / "box")]
    assert run(*box, "open").returncode == 0
    items = run(*box, "items", "C0101", "--json")
    assert [i["detail"]["code"] for i in json.loads(items.stdout)["data"]] == ["P1001", "P1002"]
    posted = run(*box, "--async", "categories", "--json")
    event = json.loads(posted.stdout)
    assert (posted.returncode, event["eventtype"]) == (0, 6)
    assert [c["code"] for c in event["result"]["data"]][:2] == ["C01", "C02"]
