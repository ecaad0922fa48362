# Resident memory stays flat while requests run: every C result is freed after its copy.
# PAVO_LEAK_REQUESTS=10000 makes the full run (the default keeps the suite quick). The
# library's result store keeps one small node per request until clean-up, on purpose
# (about 75 bytes each): that is the whole growth left.
import os

PAGE = os.sysconf("SC_PAGE_SIZE")


def resident():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * PAGE


def test_resident_memory_flat_after_warm_up(pavo_session):
    lib = pavo_session
    total = int(os.environ.get("PAVO_LEAK_REQUESTS", "2000"))
    calls = [lambda: lib.items("C0101"), lambda: lib.categories(),
             lambda: lib.schedules("CH01"), lambda: lib.detail("C03", 2, "CH01"),
             lambda: lib.recharge("bad", check=False)]
    for i in range(3000):
        calls[i % len(calls)]()
    warm = resident()
    for i in range(total):
        calls[i % len(calls)]()
    grown = resident() - warm
    print(f"{total} requests: resident {warm / 2**20:.1f} MiB after warm-up, "
          f"grew {grown / 1024:.0f} KiB")
    assert grown < 2**20
