"""pytest fixtures for testing against the platform simulator:

- pavo_sim: a pavo-platform-sim of the test's own, on a free loopback port, with a
  scratch copy of its data (the control interface is its methods);
- pavo_library: a started Library whose korix.conf points at pavo_sim;
- pavo_session: the same, opened and logged in as the simulator's first box;
- pavo_control: the simulator's control interface (faults, outages, session expiry,
  counts), cleared after the test.

Installed packages register it with pytest themselves; a conftest.py may also say
pytest_plugins = ["pavo.pytest_plugin"]."""

from __future__ import annotations

from pathlib import Path
from typing import Iterator

import pytest

from .client import Library, OpenMode
from .testing import (SIM_DEVICE, SIM_OEM, SIM_TERMINAL_TYPE, Simulator, find_library,
                      scratch_data)


@pytest.fixture
def pavo_sim(tmp_path: Path) -> Iterator[Simulator]:
    sim = Simulator(str(scratch_data(tmp_path / "simdata")))
    try:
        yield sim
    finally:
        sim.stop()


@pytest.fixture
def pavo_library(pavo_sim: Simulator, tmp_path: Path) -> Iterator[Library]:
    lib = Library(str(tmp_path / "box"), oem_name=SIM_OEM, terminal_type=SIM_TERMINAL_TYPE,
                  device_id=SIM_DEVICE, config={"openurl": pavo_sim.open_url},
                  library=find_library())
    with lib:
        yield lib


@pytest.fixture
def pavo_session(pavo_library: Library) -> Library:
    pavo_library.open(OpenMode.STBCODE)
    pavo_library.login()
    return pavo_library


@pytest.fixture
def pavo_control(pavo_sim: Simulator) -> Iterator[Simulator]:
    yield pavo_sim
    pavo_sim.reset()
