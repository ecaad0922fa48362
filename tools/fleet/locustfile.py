"""The fleet on Locust: one Locust user is one set-top box (box.py, a process of its own
with its own libpavo) living a box's day, and each scenario is a load shape. Started by
tools/fleet/run, which passes the run through PAVO_FLEET_* variables."""

from __future__ import annotations

import atexit
import itertools
import json
import os
import random
import subprocess
import sys
import tempfile
import time
import urllib.request
from typing import Optional

import gevent
import locust
import locust.runners
import locust.exception
from locust import LoadTestShape, User, between, task

# Debian 12's Locust has an empty version, and a master takes a worker that reports an
# empty version for a pre-2.0 one and never starts: give both sides the same one.
if not locust.runners.__version__:
    locust.runners.__version__ = locust.__version__ = "2.12.1"
# A worker whose boxes boot together on a busy machine may miss a few one-second
# heartbeats; three (Locust's default) would drop it from the run.
locust.runners.HEARTBEAT_LIVENESS = 30

# What a platform team edits: how often a box makes each request (weights), how long it
# waits between two, and how spread out the boxes boot.
DAY = {
    "categories": 6,
    "items": 6,
    "detail": 3,
    "schedules": 4,
    "play": 4,
    "recharge": 1,
    "report": 1,
}
WAIT_SECONDS = (1.0, 3.0)
BOOT_JITTER_SECONDS = {"boot-storm": 2.0, "steady": 5.0}
DEFAULT_JITTER = 5.0

HERE = os.path.dirname(os.path.abspath(__file__))
SCENARIO = os.environ.get("PAVO_FLEET_SCENARIO", "steady")
BOXES = int(os.environ.get("PAVO_FLEET_BOXES", "10"))
SECONDS = float(os.environ.get("PAVO_FLEET_SECONDS", "60"))
WORKERS = int(os.environ.get("PAVO_FLEET_WORKERS", "1"))
OPENURL = os.environ.get("PAVO_FLEET_OPENURL", "")
CONTROL = os.environ.get("PAVO_FLEET_CONTROL", "")
CONF = [c for c in os.environ.get("PAVO_FLEET_CONF", "").split("\n") if c]
SERVICE = os.environ.get("PAVO_FLEET_SERVICE", "epg")

# A worker sends its statistics to the master every three seconds.
STATS_REPORT_SECONDS = 4.0
_local_boxes = itertools.count()
_processes: list[subprocess.Popen[str]] = []


@atexit.register
def _reap() -> None:
    for process in _processes:
        if process.poll() is None:
            process.kill()
            process.wait()


class Box(User):
    wait_time = between(*WAIT_SECONDS)

    def on_start(self) -> None:
        runner = self.environment.runner
        worker = getattr(runner, "worker_index", 0) or 0
        # Unique over the workers: the simulator's fleet accounts are fleet0001...
        index = 1 + worker + WORKERS * next(_local_boxes)
        self.workdir = tempfile.mkdtemp(prefix=f"pavo-box{index:04d}-")
        args = [sys.executable, os.path.join(HERE, "box.py"), "--index", str(index),
                "--workdir", self.workdir, "--openurl", OPENURL]
        for conf in CONF:
            args += ["--conf", conf]
        self.process = subprocess.Popen(args, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, bufsize=1)
        _processes.append(self.process)
        assert self.process.stdout is not None
        json.loads(self.process.stdout.readline())
        gevent.sleep(random.uniform(0, BOOT_JITTER_SECONDS.get(SCENARIO, DEFAULT_JITTER)))
        self.step("open")
        self.step("login")

    def on_stop(self) -> None:
        if self.process.poll() is None:
            assert self.process.stdin is not None
            self.process.stdin.close()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()

    def step(self, name: str) -> None:
        assert self.process.stdin is not None and self.process.stdout is not None
        self.process.stdin.write(json.dumps({"step": name}) + "\n")
        try:
            line = self.process.stdout.readline()
        except gevent.GreenletExit:
            # Stopped while the box works: its requests reach the platform, so they are
            # recorded before the user goes.
            self.record(self.process.stdout.readline())
            raise
        self.record(line)

    def record(self, line: str) -> None:
        if not line:
            raise locust.exception.StopUser()
        for record in json.loads(line):
            self.environment.events.request.fire(
                request_type="pavo", name=record["name"], response_time=record["ms"],
                response_length=0, context={},
                exception=RuntimeError(record["error"]) if record["error"] else None)

    @task(DAY["categories"])
    def categories(self) -> None:
        self.step("categories")

    @task(DAY["items"])
    def items(self) -> None:
        self.step("items")

    @task(DAY["detail"])
    def detail(self) -> None:
        self.step("detail")

    @task(DAY["schedules"])
    def schedules(self) -> None:
        self.step("schedules")

    @task(DAY["play"])
    def play(self) -> None:
        self.step("play")

    @task(DAY["recharge"])
    def recharge(self) -> None:
        self.step("recharge")

    @task(DAY["report"])
    def report(self) -> None:
        self.step("report")


def control(path: str) -> None:
    """A request to the simulator's control interface (scenarios with faults need one)."""
    if not CONTROL:
        raise RuntimeError(f"scenario {SCENARIO} needs the simulator's control interface")
    request = urllib.request.Request(f"{CONTROL}/_control/{path}", data=b"", method="POST")
    urllib.request.urlopen(request, timeout=10).read()
    _note(path)


def _note(what: str) -> None:
    # When each action fired, for the run's figures (the simulator counts from its start).
    out = os.environ.get("PAVO_FLEET_OUT")
    if out:
        with open(os.path.join(out, "actions.jsonl"), "a") as f:
            f.write(json.dumps({"wall": time.time(), "action": what}) + "\n")


class Scenario(LoadTestShape):
    """Every box up within spawn_seconds, held for the run; actions (seconds into the
    run, control request) fire once each, once every box is up and has run 5 s."""
    spawn_seconds = 10.0
    actions: list[tuple[float, str]] = []

    def __init__(self) -> None:
        super().__init__()
        self.done: set[int] = set()
        self.started = False
        self.stopping = 0.0
        self.up: Optional[float] = None

    def logged_in(self) -> int:
        if self.runner is None:
            return 0
        return int(self.runner.stats.get("login", "pavo").num_requests)

    def tick(self) -> Optional[tuple[int, float]]:
        now = self.get_run_time()
        if not self.started:
            self.started = True
            _note("start")
        if now >= SECONDS:
            # Boxes first stop (each finishing its step), and the test ends once the
            # workers have reported their last requests: ending at once would lose them.
            self.stopping = self.stopping or now
            users = self.runner.user_count if self.runner else 0
            if (users == 0 and now - self.stopping > STATS_REPORT_SECONDS) or \
                    now - self.stopping > 60:
                return None
            return 0, float(BOXES)
        if self.up is None and self.logged_in() >= BOXES:
            self.up = now
            _note("boxes up")
        for i, (at, path) in enumerate(self.actions):
            # A fault waits for every box to be up: on a busy machine boxes boot slowly,
            # and a fault before they are up measures nothing.
            if self.up is not None and now >= max(at, self.up + 5) and i not in self.done:
                self.done.add(i)
                control(path)
        return BOXES, max(BOXES / self.spawn_seconds, 1.0)


class BootStorm(Scenario):
    """A power cut ends: every box boots within two seconds."""
    spawn_seconds = 1.0


class Steady(Scenario):
    """Boxes come up over ten seconds and live their day."""


OUTAGE_SECONDS = min(20, int(SECONDS / 3))


class Outage(Scenario):
    """The primary of a service (PAVO_FLEET_SERVICE, epg) refuses connections for 20 s
    (a third of a shorter run) from a third of the run, then comes back."""
    actions = [(SECONDS / 3, f"outage?service={SERVICE}&mode=refuse&seconds={OUTAGE_SECONDS}")]


class Failover(Scenario):
    """The primary of a service goes down for good a third into the run."""
    actions = [(SECONDS / 3, f"outage?service={SERVICE}&mode=refuse&seconds=0")]


class Expiry(Scenario):
    """Every session ends at once halfway through the run."""
    actions = [(SECONDS / 2, "expire")]


SCENARIOS: dict[str, type[Scenario]] = {
    "boot-storm": BootStorm, "steady": Steady, "outage": Outage, "failover": Failover,
    "expiry": Expiry}

# Locust takes the first shape class it finds in this module: only the chosen one is here.
for _name in ("BootStorm", "Steady", "Outage", "Failover", "Expiry", "Scenario"):
    del globals()[_name]
Shape = SCENARIOS[SCENARIO]
