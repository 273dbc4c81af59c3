"""A rolling upgrade of a larger fabric: each leaf loses all of its uplinks, one leaf after another."""
import os
import time

import variants
from bed import CONTROL, DESTINATION, Machine, connect, flows_over
from traffic import Traffic

SPINES, LEAVES, HOSTS = 4, 16, 64
RATE = 150  # Packets a second of each host.
FLOWS = 2  # Of each host over each leaf.
DOWN, EACH = 1.0, 1.3  # Seconds that a leaf has no uplink, and until the next leaf begins.
SECONDS = 0.5 + LEAVES * EACH + 3


def pair_of(host):
    """Returns the two leaves of a host."""
    rack = host % (LEAVES // 2)
    return 2 * rack, 2 * rack + 1


def memory():
    """Returns the memory that is in use, in MiB."""
    with open("/proc/meminfo") as file:
        kib = {line.split(":")[0]: int(line.split()[1]) for line in file}
    return (kib["MemTotal"] - kib["MemAvailable"]) / 1024


def busy():
    """Returns the processor time that this machine has used, in seconds."""
    with open("/proc/stat") as file:
        ticks = list(map(int, file.readline().split()[1:9]))
    return (sum(ticks) - ticks[3] - ticks[4]) / os.sysconf("SC_CLK_TCK")


class Fabric:
    """Pairs of leaves, with hosts that are connected to both leaves of a pair, and each leaf to each spine. A further
    machine is connected to a spine alone, for the control stream."""

    def __init__(self):
        self.spines = [Machine(f"spine{i}") for i in range(SPINES)]
        self.leaves = [Machine(f"leaf{i}") for i in range(LEAVES)]
        self.hosts = [Machine(f"host{i}") for i in range(HOSTS)]
        self.control = Machine("control")
        # As NICs: one leaf's failure has the kernel delay the messages about the next one.
        cables = [(leaf, f"uplink{s}", spine, leaf.name, True) for leaf in self.leaves for s, spine in enumerate(self.spines)]
        cables += [(host, f"leaf{l}", self.leaves[l], host.name, False) for h, host in enumerate(self.hosts) for l in pair_of(h)]
        connect(cables + [(self.control, "spine", self.spines[0], "control", False)])
        self.control.ip("addr add 10.3.0.2/30 dev spine", f"route add {CONTROL}/32 via 10.3.0.1")
        for s, spine in enumerate(self.spines):
            spine.ip(
                f"addr add {DESTINATION}/32 dev lo",
                *(f"addr add 10.2.{l}.{4 * s + 2}/30 dev {leaf.name}" for l, leaf in enumerate(self.leaves)),
            )
            spine.at_once()
        self.spines[0].ip(f"addr add {CONTROL}/32 dev lo", "addr add 10.3.0.1/30 dev control")
        for l, leaf in enumerate(self.leaves):
            hops = " ".join(f"nexthop via 10.2.{l}.{4 * s + 2} dev uplink{s}" for s in range(SPINES))
            leaf.ip(
                *(f"addr add 10.2.{l}.{4 * s + 1}/30 dev uplink{s}" for s in range(SPINES)),
                *(f"addr add 10.1.{h}.{4 * (l % 2) + 1}/30 dev host{h}" for h in self.hosts_of(l)),
                f"route add {DESTINATION}/32 {hops}",
            )
        for h, host in enumerate(self.hosts):
            hops = " ".join(f"nexthop via 10.1.{h}.{4 * (l % 2) + 1} dev leaf{l}" for l in pair_of(h))
            host.ip(
                f"addr add {self.address(h)}/32 dev lo",
                *(f"addr add 10.1.{h}.{4 * (l % 2) + 2}/30 dev leaf{l}" for l in pair_of(h)),
                f"route add {DESTINATION}/32 src {self.address(h)} {hops}",
            )

    @staticmethod
    def address(host):
        return f"10.50.0.{host + 1}"

    @staticmethod
    def hosts_of(leaf):
        return [h for h in range(HOSTS) if leaf in pair_of(h)]

    def start_ufdd(self, programs, folder):
        """Starts ufdd on all leaves. Returns the processes."""
        uplinks = [f"uplink{s}" for s in range(SPINES)]
        started = []
        for l, leaf in enumerate(self.leaves):
            ports = [f"host{h}" for h in self.hosts_of(l)]
            started.append(variants.start_ufdd(leaf, programs, folder / leaf.name, uplinks, ports))
        for leaf, process in zip(self.leaves, started):
            variants.await_line(folder / leaf.name / "ufdd.log", "watching", process, 1)
        return started

    def set_uplinks(self, leaf, state):
        for spine in self.spines:
            spine.at_once(f"link set {self.leaves[leaf].name} {state}")

    def upgrade(self, generator):
        """Upgrades one leaf after another, first one of each pair, while all hosts send. Returns what was lost."""
        plan = [f"receive {spine.name} {DESTINATION}" for spine in self.spines]
        plan += [f"receive {self.spines[0].name} {CONTROL}", f"send control {self.control.name} 10.3.0.2 {CONTROL} 1000 19000"]
        for h, host in enumerate(self.hosts):
            flows = flows_over(host, self.address(h), [f"leaf{l}" for l in pair_of(h)], FLOWS)
            ports = " ".join(str(port) for pair in zip(*flows.values()) for port in pair)
            plan.append(f"send {host.name} {host.name} {self.address(h)} {DESTINATION} {RATE} {ports}")
        flow = Traffic(generator, SECONDS, plan)
        for i, leaf in enumerate([*range(0, LEAVES, 2), *range(1, LEAVES, 2)]):
            flow.sleep_until(0.5 + i * EACH)
            self.set_uplinks(leaf, "down")
            flow.sleep_until(0.5 + i * EACH + DOWN)
            self.set_uplinks(leaf, "up")
        return flow.finish()


def measured(name, fabric, generator, before):
    """Upgrades the fabric. Returns the record of that for the results."""
    began, used = time.monotonic(), busy()
    result = fabric.upgrade(generator)
    streams = {n: s for n, s in result["streams"].items() if n != "control"}
    return {
        "kind": "rolling",
        "variant": name,
        "sent": sum(s["sent"] for s in streams.values()),
        "lost": sum(s["lost"] for s in streams.values()),
        "hosts_with_losses": sum(s["lost"] > 0 for s in streams.values()),
        "own": result["streams"]["control"]["lost"] + result["overflow"],
        "late_us": result["late_us"],
        "seconds": time.monotonic() - began,
        "cores": (busy() - used) / (time.monotonic() - began),
        "memory_mib": memory() - before,
    }


def run(folder, programs, results):
    """Upgrades with nothing, then with ufdd on all leaves."""
    before, began = memory(), time.monotonic()
    fabric = Fabric()
    time.sleep(2)
    results.add({"kind": "rolling-built", "seconds": time.monotonic() - began, "machines": SPINES + LEAVES + HOSTS})
    generator = programs.our("fabric_traffic")
    results.add(measured("nothing", fabric, generator, before))
    processes = fabric.start_ufdd(programs, folder)
    time.sleep(2)
    results.add(measured("ufdd", fabric, generator, before))
    for process in processes:
        process.terminate()


def print_table(records):
    """Prints the packets that were lost with and without ufdd, and what the bench took."""
    upgrades = [r for r in records if r["kind"] == "rolling"]
    if not upgrades:
        return
    built = next(r for r in records if r["kind"] == "rolling-built")
    print(f"rolling upgrade: {SPINES} spines, {LEAVES} leaves, {HOSTS} hosts that send {RATE} packets a second each;")
    print(f"one leaf after another loses all {SPINES} uplinks for {DOWN:g} s")
    print(f"  {'':12} {'sent':>8} {'lost':>8} {'of hosts':>9} {'lost by the bench':>18} {'seconds':>8} {'cores busy':>11} {'MiB':>6}")
    for r in upgrades:
        print(
            f"  {r['variant']:12} {r['sent']:8} {r['lost']:8} {r['hosts_with_losses']:9} {r['own']:18}"
            f" {r['seconds']:8.1f} {r['cores']:11.2f} {r['memory_mib']:6.0f}"
        )
    print(f"  building {built['machines']} machines took {built['seconds']:.1f} s")
    by_name = {r["variant"]: r["lost"] for r in upgrades}
    if by_name.get("nothing"):
        print(f"ratio fabric nothing rolling {by_name['ufdd'] / by_name['nothing']:.4f}")
    print()
