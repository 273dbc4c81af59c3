"""Tries the cases on beds, and keeps what came of it."""
import concurrent.futures
import json
import os
import random
import sys
import threading
import time

import cases
import traffic
import variants
from bed import Bed, Error

TRIES = 4  # Of a run that the bench itself spoils.


def be_punctual():
    """Has this thread's acts come in time on a busy machine. The programs that it starts do not inherit this."""
    os.sched_setscheduler(0, os.SCHED_FIFO | os.SCHED_RESET_ON_FORK, os.sched_param(10))


class Results:
    """The file of all runs: an object a line."""

    def __init__(self, path):
        self.path, self._lock = path, threading.Lock()
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("")

    def add(self, record):
        with self._lock, open(self.path, "a") as file:
            file.write(json.dumps(record, separators=(",", ":")) + "\n")


def read(path):
    with open(path) as file:
        return [json.loads(line) for line in file]


def spoiled(record):
    """Returns how the bench itself lost packets in this run, or ""."""
    begin = min(record["marks"].values()) * 1e6
    planned = {mark: at for at, mark, _ in cases.ALL[record["case"]].acts}
    late = max(at - planned[mark] for mark, at in record["marks"].items())
    if late > 0.05:
        return f"an act was {late:.1f} s late"
    if record["overflow"]:
        return f"the receiver's queues dropped {record['overflow']} packets"
    if record["streams"]["control"]["lost"]:
        return f"the control stream lost {record['streams']['control']['lost']} packets"
    before = sum(count for stream, _, to, count in record["lost"] if to < begin - 50_000)
    if before:
        return f"{before} packets were lost before anything failed"
    return ""


class Place:
    """A bed with the variant that runs on it."""

    def __init__(self, variant, wiring, folder, programs):
        self.name = variant
        self.bed = Bed(f"{variant}-{wiring}", wiring, folder)
        self.variant = variants.ALL[variant](self.bed, programs)
        self.generator = programs.our("fabric_traffic")
        self._record = None  # Of the run whose end is still to be seen.

    def attempt(self, case):
        about = cases.ALL[case]
        time.sleep(about.quiet)
        began = time.monotonic()
        flow = traffic.through(self.bed, self.generator, about.seconds)
        marks = cases.run(case, self.bed, self.variant, flow)
        record = {"kind": "run", "case": case, "variant": self.name, "marks": marks, **flow.finish()}
        cases.restore(self.bed, self.variant)
        record["seconds"] = time.monotonic() - began + about.quiet
        return record

    def run(self, case, results):
        """Tries a case. Its record is complete once the next one begins, or settle() is called."""
        why = ""
        for _ in range(TRIES):
            self.settle(results)
            record = self.attempt(case)
            why = spoiled(record)
            if not why:
                self._record = record
                return
            results.add({"kind": "spoiled", "case": case, "variant": self.name, "why": why})
        raise Error(f"{self.name}, {case}: no run of {TRIES} was good: {why}")

    def settle(self, results):
        """Waits until all is well again after the last run."""
        shut = cases.leaves_shut(self.bed)
        if self._record:
            results.add({**self._record, "left_shut": shut})
        self._record = None

    def close(self):
        self.bed.remove()


def cells(case, wanted):
    return [v for v in wanted if v not in cases.ALL[case].without]


def run_alone(places, names, runs, results):
    """Runs the cases one after another, in rounds of random order."""
    for _ in range(runs):
        turn = [(place, case) for case in names for place in places if place.name in cells(case, [place.name])]
        random.shuffle(turn)
        for place, case in turn:
            place.run(case, results)


def run_together(places, names, runs, results):
    """Runs the cases of each bed in random order, on all beds at once."""

    def work(place):
        be_punctual()
        turn = [case for case in names for _ in range(runs) if cells(case, [place.name])]
        random.shuffle(turn)
        for case in turn:
            # So that failures of the beds do not keep meeting.
            time.sleep(random.uniform(0, 0.3))
            place.run(case, results)

    with concurrent.futures.ThreadPoolExecutor(len(places)) as pool:
        for done in [pool.submit(work, place) for place in places]:
            done.result()


def start(wanted, wiring, folder, programs, results):
    """Makes the beds. Notes the variants that can't be started, as with a ufdd that knows no checks."""
    places = []
    for variant in wanted:
        try:
            places.append(Place(variant, wiring, folder, programs))
        except Error as error:
            results.add({"kind": "absent", "variant": variant, "why": str(error).splitlines()[0]})
    if not places:
        raise Error("no variant could be started; see the logs")
    return places


def run(wanted, names, runs, folder, programs, results):
    """Tries the cases, on beds for each wiring."""
    be_punctual()
    for wiring in ("row", "single"):
        here = [name for name in names if cases.ALL[name].wiring == wiring]
        beds = [v for v in wanted if any(v in cells(name, [v]) for name in here)]
        if not beds:
            continue
        places = start(beds, wiring, folder, programs, results)
        for label, method in (("alone", run_alone), ("together", run_together)):
            tried = [name for name in here if cases.ALL[name].alone == (label == "alone")]
            if tried:
                began = time.monotonic()
                method(places, tried, runs, results)
                for place in places:
                    place.settle(results)
                took = time.monotonic() - began
                results.add({"kind": "phase", "cases": tried, "how": label, "seconds": took})
                print(f"{', '.join(tried)} ({label}): {runs} runs of each cell took {took:.0f} s", file=sys.stderr)
        for place in places:
            place.close()
