"""Machines as network namespaces, cables between them, and the small fabric that the cases are tried on."""
import itertools
import os
import pathlib
import subprocess
import time

DESTINATION, CONTROL, HOST = "10.99.0.1", "10.98.0.1", "10.50.0.1"
FLOWS = 32  # Over each leaf.
RATE = 5000  # Packets a second over each leaf.
SETTINGS = {
    "ip_forward": 1,
    "conf/all/rp_filter": 0,
    "conf/default/rp_filter": 0,
    # A link without carrier takes no packets, and each flow keeps to its path.
    "conf/all/ignore_routes_with_linkdown": 1,
    "conf/default/ignore_routes_with_linkdown": 1,
    "fib_multipath_hash_policy": 1,
}


class Error(Exception):
    pass


class Machine:
    """A network namespace."""

    def __init__(self, name):
        self.name, self._at_work = name, None
        subprocess.run(["ip", "netns", "add", name], check=True)
        script = ";".join(f"echo {value} >/proc/sys/net/ipv4/{name}" for name, value in SETTINGS.items())
        subprocess.run(["ip", "netns", "exec", name, "sh", "-c", script], check=True)
        self.ip("link set lo up")

    def ip(self, *commands):
        """Carries out the commands, and raises an Error if one fails."""
        done = subprocess.run(["ip", "-n", self.name, "-batch", "-"], input="\n".join(commands), capture_output=True, text=True)
        if done.returncode:
            raise Error(f"{self.name}: {'; '.join(commands)}: {done.stderr.strip()}")
        return done.stdout

    def at_once(self, *commands):
        """Hands the commands to a process that waits for them, so that they take effect within a millisecond."""
        if not self._at_work:
            self._at_work = subprocess.Popen(
                ["chrt", "--fifo", "10", "ip", "-n", self.name, "-force", "-batch", "-"], stdin=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL
            )
        self._at_work.stdin.write("".join(command + "\n" for command in commands))
        self._at_work.stdin.flush()

    def start(self, command, log, **more):
        """Starts a program here. Its process is the program's own, not that of a shell."""
        with open(log, "a") as file:
            return subprocess.Popen(["ip", "netns", "exec", self.name, *command], stderr=file, stdout=file, stdin=subprocess.DEVNULL, **more)

    def remove(self):
        if self._at_work:
            self._at_work.stdin.close()
            self._at_work.wait()
        subprocess.run(["ip", "netns", "delete", self.name], check=True)


_index = itertools.count(1000, 2)


def connect(cables):
    """Lays cables, each (machine, name of its end, machine, name of its end, like_nics). With like_nics, both ends have
    one index: the kernel then delays messages about lost carriers, as it does for NICs. Else the indexes differ, and it
    does not."""
    commands, ends = [], {}
    for a, a_name, b, b_name, like_nics in cables:
        index = next(_index)
        other = index if like_nics else index + 1
        commands.append(f"link add {a_name} netns {a.name} index {index} type veth peer name {b_name} netns {b.name} index {other}")
        ends.setdefault(a, []).append(f"link set {a_name} up")
        ends.setdefault(b, []).append(f"link set {b_name} up")
    subprocess.run(["ip", "-batch", "-"], input="\n".join(commands), text=True, check=True)
    for machine, ups in ends.items():
        machine.ip(*ups)


def flows_over(machine, source, links, count):
    """Returns, for each of the machine's links to the leaves, source ports of flows that go over it now. Raises an Error
    if there are too few."""
    ports = range(20000, 20000 + 4 * len(links) * count)
    answers = machine.ip(*(f"route get {DESTINATION} from {source} ipproto udp sport {port} dport 9000" for port in ports))
    lines = [line for line in answers.splitlines() if line.startswith(DESTINATION)]
    found = {link: [port for port, line in zip(ports, lines) if f" dev {link} " in line] for link in links}
    if min(map(len, found.values())) < count:
        raise Error(f"{machine.name}: of {len(ports)} flows, " + ", ".join(f"{len(f)} go over {l}" for l, f in found.items()))
    return {link: flows[:count] for link, flows in found.items()}


class Bed:
    """A host with a link to each of two leaves, which are connected to two spines.

      host -- server1 leaf1 uplink1 -- near converter far -- leaf1 spine1
        \\-- server1 leaf2 uplink1 -------------------------- leaf2 spine2

    The host sends to an address that both spines have, over both leaves by equal-cost routes. If it is wired as "row",
    each leaf is connected to each spine, there is no converter, and leaf1's uplinks behave like NICs.
    """

    def __init__(self, tag, wiring, folder):
        self.tag, self.wiring = tag, wiring
        self.folder = pathlib.Path(folder) / tag
        self.folder.mkdir(parents=True)
        self.machines = {}
        for name in ("host", "leaf1", "leaf2", "spine1", "spine2") + (("converter",) if wiring == "single" else ()):
            self.machines[name] = Machine(f"{tag}-{name}")
        m = self.machines
        m["host"].ip(f"addr add {HOST}/32 dev lo")
        for spine in ("spine1", "spine2"):
            m[spine].ip(f"addr add {DESTINATION}/32 dev lo", f"addr add {CONTROL}/32 dev lo")
        for i in (1, 2):
            self._wire_host(i)
        if wiring == "single":
            self._wire_converter()
            self._address(1, 1, "uplink1")
            connect([(m["leaf2"], "uplink1", m["spine2"], "leaf2", False)])
            self._address(2, 2, "uplink1")
        else:
            for leaf in (1, 2):
                for spine in (1, 2):
                    connect([(m[f"leaf{leaf}"], f"uplink{spine}", m[f"spine{spine}"], f"leaf{leaf}", leaf == 1)])
                    self._address(leaf, spine, f"uplink{spine}")
        for name in ("leaf1", "spine1", "spine2", "converter"):
            if name in m:
                m[name].at_once()
        m["host"].ip(f"route add {CONTROL}/32 via 10.1.2.1 src {HOST}")
        m["leaf2"].ip(self._route(CONTROL, 2))

    def _wire_host(self, i):
        host, leaf = self.machines["host"], self.machines[f"leaf{i}"]
        connect([(host, f"leaf{i}", leaf, "server1", False)])
        leaf.ip(f"addr add 10.1.{i}.1/30 dev server1")
        host.ip(f"addr add 10.1.{i}.2/30 dev leaf{i}")

    def _wire_converter(self):
        """Puts two media converters and the line between them into leaf1's only uplink."""
        converter = self.machines["converter"]
        connect([(self.machines["leaf1"], "uplink1", converter, "near", False), (self.machines["spine1"], "leaf1", converter, "far", False)])
        converter.ip("link add bridge type bridge", "link set near master bridge", "link set far master bridge", "link set bridge up")

    def _address(self, leaf, spine, uplink):
        self.machines[f"leaf{leaf}"].ip(f"addr add 10.2.{leaf}{spine}.1/30 dev {uplink}")
        self.machines[f"spine{spine}"].ip(f"addr add 10.2.{leaf}{spine}.2/30 dev leaf{leaf}")

    def uplinks(self, leaf):
        """Returns a leaf's uplinks as pairs of name and spine."""
        if self.wiring == "single":
            return [("uplink1", leaf)]
        return [("uplink1", 1), ("uplink2", 2)]

    def _route(self, destination, leaf, verb="add"):
        hops = " ".join(f"nexthop via 10.2.{leaf}{spine}.2 dev {uplink}" for uplink, spine in self.uplinks(leaf))
        return f"route {verb} {destination}/32 {hops}"

    def set_routes(self):
        """Sets the routes by hand, for all variants in which no protocol does so."""
        for leaf in (1, 2):
            self.machines[f"leaf{leaf}"].ip(self._route(DESTINATION, leaf))
        self.machines["host"].ip(
            f"route add {DESTINATION}/32 src {HOST} nexthop via 10.1.1.1 dev leaf1 nexthop via 10.1.2.1 dev leaf2"
        )

    def set_leaf_route(self, there):
        if there:
            self.machines["leaf1"].at_once(self._route(DESTINATION, 1, "replace"))
        else:
            self.machines["leaf1"].at_once(f"route del {DESTINATION}/32")

    def set_line(self, state, ends=("near", "far")):
        """Sets the line of leaf1's uplink up or down, at the converters named. leaf1 sees its carrier go as soon as the
        line fails, and come back once the line works."""
        ends = ends if state == "down" else reversed(ends)
        self.machines["converter"].at_once(*(f"link set {end} {state}" for end in ends))

    def await_flows(self, seconds=30):
        """Waits until the host has both ways, and returns flows over each."""
        end = time.monotonic() + seconds
        while True:
            try:
                return flows_over(self.machines["host"], HOST, ("leaf1", "leaf2"), FLOWS)
            except Error:
                if time.monotonic() > end:
                    raise
            time.sleep(0.2)

    def remove(self):
        for machine in self.machines.values():
            machine.remove()


def mount_own_run():
    """Gives this process' mount namespace a /run of its own. Namespaces and sockets in it end with the process."""
    subprocess.run(["mount", "-t", "tmpfs", "none", "/run"], check=True)
    os.makedirs("/run/netns")
    os.makedirs("/run/fabric")
    return pathlib.Path("/run/fabric")
