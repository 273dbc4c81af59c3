"""What runs on the machines of a bed: nothing, ufdd, or what one would use instead.

A variant is started once for a bed. `kill` and `restart` act on what decides on leaf1.
"""
import pathlib
import shutil
import signal
import subprocess
import sys
import time

from bed import DESTINATION, HOST, Error

HERE = pathlib.Path(__file__).resolve().parent
BFD = "interface \"*\" { min rx interval 100 ms; min tx interval 100 ms; multiplier 3; };"


class Programs:
    """Where the programs are."""

    def __init__(self, ours, peers):
        self.ours, self.peers = pathlib.Path(ours), pathlib.Path(peers)

    def our(self, name):
        return str(self.ours / name)

    @property
    def bird(self):
        return str(self.peers / "usr/sbin/bird")


def await_line(log, text, process, count, seconds=10):
    """Waits until the program has logged the text for the count-th time."""
    end = time.monotonic() + seconds
    while log.read_text(errors="replace").count(text) < count:
        if process.poll() is not None or time.monotonic() > end:
            raise Error(f"{log.stem} did not start: {log.read_text(errors='replace')[-500:]}")
        time.sleep(0.05)


def start_ufdd(leaf, programs, folder, uplinks, ports, more=""):
    """Starts ufdd on a leaf as its unit does, with the defaults. Its files are in the folder."""
    folder.mkdir(exist_ok=True)
    names = [", ".join(f'"{name}"' for name in links) for links in (uplinks, ports)]
    (folder / "ufdd.toml").write_text(f'[[group]]\nname = "leaf"\nmonitor = [{names[0]}]\ndisable = [{names[1]}]\n{more}')
    command = [programs.our("ufdd"), "--config", f"{folder}/ufdd.toml", "--state-dir", f"{folder}/state", "--socket", f"{folder}/status"]
    return leaf.start(["chrt", "--fifo", "20", *command], folder / "ufdd.log")


class Nothing:
    """Nobody shuts leaf1's port."""

    title = "nothing"
    routes_by_hand = True

    def __init__(self, bed, programs):
        self.bed, self.programs, self.process = bed, programs, None
        self.leaf, self.folder = bed.machines["leaf1"], bed.folder
        if self.routes_by_hand:
            bed.set_routes()
        self.begin()

    def begin(self):
        """Starts what runs beside the program that decides on leaf1, and then that."""
        self.restart()

    def kill(self):
        if self.process:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()

    def forget(self):
        """Loses what the program kept on leaf1, as a reboot does."""

    def restart(self, wait=True):
        """Starts the program that decides on leaf1. With wait, returns once it is ready."""

    def refresh(self):
        """Makes the variant as it was at first, after a run."""


class Ufdd(Nothing):
    """ufdd with the defaults."""

    title = "ufdd"
    checks = ""

    def restart(self, wait=True):
        log = self.folder / "ufdd.log"
        before = log.read_text().count("watching") if log.exists() else 0
        uplinks = [name for name, _ in self.bed.uplinks(1)]
        self.process = start_ufdd(self.leaf, self.programs, self.folder, uplinks, ["server1"], self.checks)
        if wait:
            await_line(log, "watching", self.process, before + 1)

    def forget(self):
        shutil.rmtree(self.folder / "state", ignore_errors=True)

    def refresh(self):
        # The next failure finds the delays and the checks as they are after a boot.
        self.process.terminate()
        self.process.wait()
        Ufdd.forget(self)
        self.restart()


class UfddBfd(Ufdd):
    """ufdd with a check of the BFD session that BIRD has over the uplink."""

    title = "ufdd + BFD check"
    checks = '[[check]]\nname = "bfd"\nuplinks = ["uplink1"]\nkind = "reported"\nrise = 1\nfall = 1\n'

    def begin(self):
        self.bird = None
        for name, link, neighbour in (("leaf1", "uplink1", "10.2.11.2"), ("spine1", "leaf1", "10.2.11.1")):
            config = self.folder / f"{name}.conf"
            config.write_text(
                f"log stderr all; router id 10.9.9.{len(name)}; protocol device {{ }}\n"
                f'protocol bfd {{ {BFD} neighbor {neighbour} dev "{link}"; }}\n'
            )
        start_bird(self, "spine1")
        super().begin()
        ufdctl, status = self.programs.our("ufdctl"), self.folder / "status"
        self.leaf.start(
            [sys.executable, HERE / "report-bfd", self.folder / "leaf1.ctl", "10.2.11.2", ufdctl, status, "bfd"],
            self.folder / "report.log",
        )

    def forget(self):
        super().forget()
        self.bird.kill()
        self.bird.wait()

    def restart(self, wait=True):
        if not self.bird or self.bird.poll() is not None:
            self.bird = start_bird(self, "leaf1")
        super().restart(wait)


class UfddNeighbour(Ufdd):
    """ufdd with a check that has the kernel probe the neighbour, and that takes 300 ms to fail."""

    title = "ufdd + neighbour check"
    checks = (
        '[[check]]\nname = "neighbour"\nuplinks = ["uplink1"]\nkind = "neighbour"\naddress = "10.2.11.2"\n'
        "interval = 0.11\nfall = 2\ntimeout = 0.08\n"
    )


class Networkd(Nothing):
    """systemd-networkd with BindCarrier=, else as it comes."""

    title = "networkd"
    extra = ""

    def restart(self, wait=True):
        uplinks = " ".join(name for name, _ in self.bed.uplinks(1))
        files = {
            # Keeps what was not set by networkd.
            "0.network": f"[Match]\nName={uplinks}\n[Network]\nKeepConfiguration=yes\n{self.extra}",
            "1.network": f"[Match]\nName=server1\n[Network]\nKeepConfiguration=yes\nBindCarrier={uplinks}\n{self.extra}",
        }
        folder = self.folder / "networkd"
        folder.mkdir(exist_ok=True)
        for name, text in files.items():
            (folder / name).write_text(text)
        # Without udev and D-Bus. What it writes is gone with its mounts.
        script = (
            f"mount --bind {folder} /etc/systemd/network; mount -o remount,bind,ro /sys; mkdir -p /run/systemd;"
            "mount -t tmpfs none /run/systemd; mkdir -p /run/systemd/netif; chown -R systemd-network: /run/systemd/netif;"
            "SYSTEMD_LOG_TARGET=console exec /lib/systemd/systemd-networkd"
        )
        self.process = self.leaf.start(["sh", "-c", script], self.folder / "networkd.log")


class NetworkdTuned(Networkd):
    """systemd-networkd without what delays it: LLDP, DHCP, addresses of IPv6."""

    title = "networkd, tuned"
    extra = "LLDP=no\nEmitLLDP=no\nDHCP=no\nLinkLocalAddressing=no\nIPv6AcceptRA=no\n"


def start_bird(variant, name):
    folder, program = variant.folder, variant.programs.bird
    arguments = ["-f", "-c", f"{folder}/{name}.conf", "-s", f"{folder}/{name}.ctl", "-P", f"{folder}/{name}.pid"]
    return variant.bed.machines[name].start([program, *arguments], folder / f"{name}.log")


class Bgp(Nothing):
    """BGP on all machines, down to the host, by BIRD. Nobody shuts a port."""

    title = "BGP to the host"
    routes_by_hand = False
    bfd = ""

    def begin(self):
        self._write("host", 65000, {f"leaf{i}": (f"10.1.{i}.1", 65010 + i) for i in (1, 2)}, HOST)
        for leaf in (1, 2):
            neighbours = {"server1": (f"10.1.{leaf}.2", 65000)}
            for uplink, spine in self.bed.uplinks(leaf):
                neighbours[uplink] = (f"10.2.{leaf}{spine}.2", 65020 + spine)
            self._write(f"leaf{leaf}", 65010 + leaf, neighbours)
        for spine in (1, 2):
            neighbours = {
                f"leaf{leaf}": (f"10.2.{leaf}{spine}.1", 65010 + leaf)
                for leaf in (1, 2)
                if spine in (s for _, s in self.bed.uplinks(leaf))
            }
            self._write(f"spine{spine}", 65020 + spine, neighbours, DESTINATION)
        for name in ("host", "leaf2", "spine1", "spine2"):
            start_bird(self, name)
        self.restart()

    def _write(self, name, number, neighbours, own=None):
        """Writes a machine's configuration. It announces its own address, or all routes that it has learned."""
        announced = f"where net = {own}/32" if own else "where source = RTS_BGP"
        source = f"krt_prefsrc = {own};" if own else ""
        text = f"log stderr all;\nrouter id 10.9.{number - 65000}.1;\nprotocol device {{ }}\nprotocol direct {{ ipv4; interface \"lo\"; }}\n"
        text += f"protocol kernel {{ merge paths on; ipv4 {{ import none; export filter {{ if source != RTS_BGP then reject; {source} accept; }}; }}; }}\n"
        if self.bfd:
            text += f"protocol bfd {{ {BFD} }}\n"
        for link, (address, other) in neighbours.items():
            text += (
                f"protocol bgp {{ local as {number}; neighbor {address} as {other}; interface \"{link}\"; direct; check link yes; {self.bfd}\n"
                # So that the session is back soon after a run.
                "  connect delay time 1; connect retry time 1; error wait time 1, 1; error forget time 1;\n"
                f"  ipv4 {{ import all; export {announced}; next hop self; }}; }}\n"
            )
        (self.folder / f"{name}.conf").write_text(text)

    def restart(self, wait=True):
        self.process = start_bird(self, "leaf1")


class BgpBfd(Bgp):
    """BGP with BFD on all machines, down to the host, by BIRD."""

    title = "BGP with BFD"
    bfd = "bfd on;"


ALL = {
    "nothing": Nothing,
    "ufdd": Ufdd,
    "ufdd-bfd": UfddBfd,
    "ufdd-neighbour": UfddNeighbour,
    "networkd": Networkd,
    "networkd-tuned": NetworkdTuned,
    "bgp": Bgp,
    "bgp-bfd": BgpBfd,
}
OURS = ("ufdd", "ufdd-bfd", "ufdd-neighbour")


def unpack_bird(peers):
    """Unpacks BIRD without installing it: its service would change this machine's routes."""
    peers = pathlib.Path(peers)
    if (peers / "usr/sbin/bird").exists():
        return
    peers.mkdir(parents=True, exist_ok=True)
    subprocess.run(["apt-get", "-qq", "-o", "APT::Sandbox::User=root", "download", "bird2"], cwd=peers, check=True)
    (package,) = peers.glob("bird2_*.deb")
    subprocess.run(["dpkg", "--extract", package, peers], check=True)
    package.unlink()
