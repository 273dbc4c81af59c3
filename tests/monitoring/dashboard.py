#!/usr/bin/python3
"""Checks the dashboard without a Grafana, and that dashboard, alerts and runbooks name metrics that exist.
  dashboard.py SOURCE_FOLDER              by promtool
  dashboard.py SOURCE_FOLDER INSTANCE URL has that Prometheus answer each query about that machine;
                                          complains of those without an answer
"""
import json
import re
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

source = sys.argv[1]
instance, url = sys.argv[2:4] if len(sys.argv) > 2 else ("a machine", None)
board = json.load(open(f"{source}/monitoring/ufdd-dashboard.json"))
wrong = []
variables = {v["name"]: v for v in board["templating"]["list"]}
panels = [p for p in board["panels"] if p["type"] != "row"]


def complain(where, what):
    wrong.append(f"{where}: {what}")


# The families, and the labels of each, as the table in the program has them.
table = open(f"{source}/agent/ctl/MetricsText.cpp").read()
types = dict(re.findall(r'MetricFamily(?: isThere)?\{\s*"(\w+)",\s*"(\w+)"', table))
names = set(types)
for name, kind in types.items():
    if kind == "histogram":
        names |= {name + suffix for suffix in ("_bucket", "_sum", "_count")}
if len(types) < 20:
    complain("MetricsText.cpp", f"only {len(types)} families were found in it")


def check_names(where, text):
    for name in re.findall(r"\bufdd_[a-z_]+\b", text):
        if name not in names:
            complain(where, f"there is no metric {name}")


def with_values(query):
    """Returns the query as Grafana asks it."""
    for name, value in {"__rate_interval": "1m", "job": ".*", "instance": instance}.items():
        query = query.replace(f"${name}", value)
    return query


for path in ("monitoring/ufdd.rules.yml", "docs/runbooks.md", "docs/man/ufdctl.8.scd"):
    check_names(path, open(f"{source}/{path}").read().replace("\\_", "_").replace("ufdd__", ""))

ids = [p["id"] for p in board["panels"]]
if len(ids) != len(set(ids)):
    complain("dashboard", "two panels have one id")
cells = {}
for panel in board["panels"]:
    title, at = panel["title"], panel["gridPos"]
    if at["x"] < 0 or at["w"] < 1 or at["h"] < 1 or at["x"] + at["w"] > 24:
        complain(title, "it is not within the 24 columns")
    for cell in ((x, y) for x in range(at["x"], at["x"] + at["w"]) for y in range(at["y"], at["y"] + at["h"])):
        if cells.setdefault(cell, title) != title:
            complain(title, f"it lies over {cells[cell]}")
            break
rows = {y for _, y in cells}
if rows != set(range(len(rows))):
    complain("dashboard", "there is a gap between panels")

used = set()
for text in json.dumps(board).split("$")[1:]:
    used.add(re.match(r"\{?(\w*)", text)[1])
for name in used - {"__rate_interval", "__all"} - set(variables):
    complain("dashboard", f"the variable ${name} is not defined")
for name in set(variables) - used:
    complain("dashboard", f"the variable ${name} is not used")
for variable in variables.values():
    if variable["type"] == "query":
        check_names(f"variable {variable['name']}", variable["query"]["query"])

queries = []
for panel in panels:
    title = panel["title"]
    if panel["datasource"]["uid"] != "${datasource}":
        complain(title, "its data source is fixed")
    if not panel["fieldConfig"]["defaults"].get("unit"):
        complain(title, "it has no unit")
    if not panel.get("description", "").endswith("."):
        complain(title, "it is not described")
    for target in panel["targets"]:
        query = target["expr"]
        queries.append((f"{title}, {target['refId']}", query))
        check_names(title, query)
        if target["datasource"]["uid"] != "${datasource}":
            complain(title, "the data source of a query is fixed")
        for selector in re.findall(r"\bufdd_\w+(\{[^}]*\})?", query):
            if "$job" not in selector:
                complain(title, f"a selector is not by $job: {query}")
        if re.search(r"\b(rate|increase)\(", query) and "[$__rate_interval]" not in query:
            complain(title, f"it is not by $__rate_interval: {query}")
        for name in re.findall(r"\b(?:rate|increase)\((\w+)", query):
            base = re.sub(r"_(bucket|sum|count)$", "", name)
            if types.get(base, types.get(name)) not in ("counter", "histogram"):
                complain(title, f"{name} is no counter")

if url:
    for title, query in queries:
        arguments = urllib.parse.urlencode({"query": with_values(query)})
        answer = json.load(urllib.request.urlopen(f"{url}/api/v1/query?{arguments}", timeout=10))
        if not answer["data"]["result"]:
            complain(title, f"there is no answer to {with_values(query)}")
else:
    rules = [{"record": f"query:{i}", "expr": with_values(q)} for i, (_, q) in enumerate(queries)]
    with tempfile.NamedTemporaryFile("w", suffix=".yml") as file:
        json.dump({"groups": [{"name": "dashboard", "rules": rules}]}, file)
        file.flush()
        checked = subprocess.run(["promtool", "check", "rules", file.name], capture_output=True, text=True)
        if checked.returncode:
            complain("promtool", checked.stderr)
print("\n".join(wrong) or f"{len(panels)} panels with {len(queries)} queries are right")
sys.exit(bool(wrong))
