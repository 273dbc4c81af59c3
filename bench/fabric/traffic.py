"""Sends packets through a bed, and tells which were lost."""
import subprocess
import time

from bed import CONTROL, DESTINATION, HOST, RATE

CONTROL_RATE = 1000


class Traffic:
    """Packets of the time since `start`, on the monotonic clock. Whatever is said of times is in seconds since then."""

    def __init__(self, program, seconds, plan):
        self._process = subprocess.Popen([program, f"{seconds}"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self._process.stdin.write("".join(line + "\n" for line in plan))
        self._process.stdin.close()
        word, *first = self._process.stdout.readline().split() or [""]
        if word != "start":
            raise RuntimeError("the packet generator did not start")
        self.start = int(first[0]) / 1e6

    def sleep_until(self, at):
        time.sleep(max(0, self.start + at - time.monotonic()))

    def now(self):
        return time.monotonic() - self.start

    def finish(self):
        """Returns what has become of the packets, as it is kept in the results."""
        result = {"streams": {}, "lost": [], "arrived": [], "late_us": 0, "overflow": 0}
        for line in self._process.stdout:
            word, *values = line.split()
            if word == "stream":
                result["streams"][values[0]] = dict(zip(("sent", "refused", "lost"), map(int, values[1:])))
            elif word == "lost":
                result["lost"].append([values[0], *map(int, values[1:])])
            elif word == "arrived" and values[0] != "control":
                counts = list(map(int, values[1:]))
                before = result["arrived"] or [0] * len(counts)
                result["arrived"] = [a + b for a, b in zip(before, counts)]
            elif word == "late":
                result["late_us"] = int(values[0])
            elif word == "overflow":
                result["overflow"] = int(values[0])
        if self._process.wait():
            raise RuntimeError("the packet generator failed")
        return result


def through(bed, program, seconds):
    """Starts the traffic of a bed: as much over each leaf, and a control stream over what never fails."""
    host = bed.machines["host"].name
    flows = bed.await_flows()
    plan = [f"receive {bed.machines[spine].name} {address}" for spine in ("spine1", "spine2") for address in (DESTINATION, CONTROL)]
    for leaf in (1, 2):
        ports = " ".join(map(str, flows[f"leaf{leaf}"]))
        plan.append(f"send leaf{leaf} {host} {HOST} {DESTINATION} {RATE} {ports}")
    plan.append(f"send control {host} {HOST} {CONTROL} {CONTROL_RATE} 19000 19001")
    return Traffic(program, seconds, plan)
