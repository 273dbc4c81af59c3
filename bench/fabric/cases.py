"""What fails, and when. A case is a row of acts on a bed, at times in seconds since the first packet."""
import time

from bed import Error


class Case:
    """`acts` are (time, mark, act): the act is called with the bed and the variant. Packets count from the mark
    `since` on. Cases `alone` are tried while nothing else happens, since milliseconds matter; the variants in
    `without` would show nothing new."""

    def __init__(self, title, seconds, acts, since="fails", wiring="single", alone=False, quiet=0, without=()):
        self.title, self.seconds, self.acts, self.since = title, seconds, acts, since
        self.wiring, self.alone, self.quiet, self.without = wiring, alone, quiet, without


def line(state, ends=("near", "far")):
    return lambda bed, variant: bed.set_line(state, ends)


def spine_port(spine, state):
    return lambda bed, variant: bed.machines[f"spine{spine}"].at_once(f"link set leaf1 {state}")


def flaps(begin, count, down, up):
    """Returns the acts of a line that goes down and up so many times."""
    acts = []
    for i in range(count):
        at = begin + i * (down + up)
        acts += [(at, "" if i else "fails", line("down")), (at + down, "" if i < count - 1 else "is back", line("up"))]
    return acts


def route(there):
    """Takes leaf1's own route away, or sets it. With BGP the route is late by itself."""

    def act(bed, variant):
        if variant.routes_by_hand:
            bed.set_leaf_route(there)

    return act


def power_off(bed, variant):
    """Ends what runs on leaf1, and darkens its ports."""
    bed.set_line("down")
    bed.machines["leaf1"].at_once("link set server1 down", "link set uplink1 down")
    variant.kill()
    variant.forget()
    route(False)(bed, variant)


def boot(bed, variant):
    """Lights the port to the host and starts the programs. The uplink takes longer, and the routes even more."""
    bed.machines["leaf1"].at_once("link set uplink1 up", "link set server1 up")
    variant.restart(wait=False)


ALL = {
    "carrier": Case(
        "the leaf's only uplink loses its carrier for 1 s",
        2.0,
        [(0.5, "fails", line("down")), (1.5, "is back", line("up"))],
        alone=True,
    ),
    "row": Case(
        "both uplinks of the leaf lose their carriers, 50 ms apart, and the kernel delays the second message",
        1.9,
        [(0.4, "fails", spine_port(1, "down")), (0.45, "", spine_port(2, "down"))],
        wiring="row",
        alone=True,
        # The kernel must not be delaying messages before.
        quiet=0.9,
        without=("ufdd-bfd", "ufdd-neighbour"),
    ),
    "silent": Case(
        "the far side of a converter in the uplink is dead for 2 s, and the leaf keeps its carrier",
        3.2,
        [(0.5, "fails", line("down", ("far",))), (2.5, "is back", line("up", ("far",)))],
    ),
    "flapping": Case(
        "the uplink's carrier is lost for 0.1 s five times, 0.3 s apart",
        3.2,
        flaps(0.5, 5, 0.1, 0.3),
    ),
    "late": Case(
        "the uplink is back after 0.5 s, and the leaf's own route 1 s later; lost since it is back",
        3.6,
        [(0.5, "fails", line("down")), (0.8, "", route(False)), (1.0, "is back", line("up")), (2.0, "has its route", route(True))],
        since="is back",
    ),
    "killed": Case(
        "while the uplink is down, the program is killed (kill -9), and restarted 1 s later; lost since it is killed",
        4.6,
        [
            (0.5, "fails", line("down")),
            (0.8, "is killed", lambda bed, variant: variant.kill()),
            (1.8, "restarts", lambda bed, variant: variant.restart(wait=False)),
            (2.2, "is back", line("up")),
        ],
        since="is killed",
        without=("nothing",),
    ),
    "reboot": Case(
        "the leaf is rebooted: dark for 1 s, then its port, 0.5 s later its uplink, 0.5 s later its route",
        3.5,
        [(0.5, "fails", power_off), (1.5, "boots", boot), (2.0, "is back", line("up")), (2.5, "has its route", route(True))],
    ),
}


def run(name, bed, variant, traffic):
    """Carries out the acts of a case. Returns when each mark was, in seconds since the first packet."""
    marks = {}
    for at, mark, act in ALL[name].acts:
        traffic.sleep_until(at)
        if mark:
            marks[mark] = traffic.now()
        act(bed, variant)
    return marks


def restore(bed, variant):
    """Makes the bed as it was before the case. What the variant does then may take longer."""
    if bed.wiring == "row":
        for spine in (1, 2):
            spine_port(spine, "up")(bed, variant)
    time.sleep(0.05)
    variant.refresh()


def leaves_shut(bed):
    """Waits until the host has both ways again. Returns true if the port had to be opened by hand for that."""
    try:
        bed.await_flows(15)
    except Error:
        bed.machines["leaf1"].ip("link set server1 up")
        bed.await_flows(15)
        return True
    return False
