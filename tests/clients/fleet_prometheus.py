"""A real Prometheus watches the server as docs/fleet.md tells an operator to.

Starts the server on this host with its console on a free loopback port, takes
the scrape configuration and the alert rules from docs/fleet.md as they are
written there, points the first job at the server with its token file and the
second at the same server with a wrong token, checks both with promtool, runs
Prometheus on loopback and asks it: the first job is up and the second down
for want of the token, every metric the rules name has samples, every rule
evaluates without error, and the rule for a server that does not answer holds
the second job.

    /usr/bin/python3 fleet_prometheus.py SERVER FLEET_MD
"""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import urllib.parse
import urllib.request

import yaml

from host_server import GIVE_UP, HostServer, wait_for


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def yaml_blocks(path):
    """The fenced YAML blocks of a Markdown file, parsed."""
    with open(path) as f:
        text = f.read()
    return [yaml.safe_load(b) for b in re.findall(r"```yaml\n(.*?)```", text, re.S)]


def prepare(fleet_md, work, address, token_file):
    """Writes prometheus.yml and rules.yml from the document's two blocks."""
    scrape, rules = yaml_blocks(fleet_md)
    jobs = scrape["scrape_configs"]
    assert len(jobs) == 2, "the document's example has two servers"
    wrong = os.path.join(work, "wrong.token")
    with open(wrong, "w") as f:
        f.write("0" * 32 + "\n")
    host = address[len("http://"):]
    for job, credentials in zip(jobs, (token_file, wrong)):
        assert job["authorization"]["type"] == "Bearer", job
        job["authorization"]["credentials_file"] = credentials
        job["static_configs"][0]["targets"] = [host]
        job["scrape_interval"] = "1s"
    scrape["global"] = {"evaluation_interval": "1s"}
    scrape["rule_files"] = [os.path.join(work, "rules.yml")]
    with open(os.path.join(work, "rules.yml"), "w") as f:
        yaml.safe_dump(rules, f)
    config = os.path.join(work, "prometheus.yml")
    with open(config, "w") as f:
        yaml.safe_dump(scrape, f)
    return config, jobs, rules


def promtool(*args):
    run = subprocess.run(["promtool", *args], capture_output=True, text=True)
    assert run.returncode == 0, "promtool %s: %s%s" % (" ".join(args), run.stdout, run.stderr)
    print("promtool", args[0], args[1], "passed")


class Api:
    def __init__(self, port):
        self.base = "http://127.0.0.1:%d/api/v1/" % port

    def get(self, path, **query):
        url = self.base + path
        if query:
            url += "?" + urllib.parse.urlencode(query)
        try:
            with urllib.request.urlopen(url, timeout=10) as r:
                answer = json.load(r)
        except OSError:
            return None
        assert answer["status"] == "success", answer
        return answer["data"]

    def query(self, expr):
        data = self.get("query", query=expr)
        return [] if data is None else data["result"]


def main():
    server, fleet_md = sys.argv[1], sys.argv[2]
    work = tempfile.mkdtemp(prefix="tarnex-fleet-")
    host = HostServer(server, "tarnex-fleet-server-")
    prom = None
    passed = False
    try:
        config, jobs, rules = prepare(fleet_md, work, host.console(), host.token_file)
        promtool("check", "config", config)
        promtool("check", "rules", os.path.join(work, "rules.yml"))

        port = free_port()
        with open(os.path.join(work, "prometheus.log"), "w") as prom_log:
            prom = subprocess.Popen(
                ["prometheus", "--config.file=" + config,
                 "--storage.tsdb.path=" + os.path.join(work, "data"),
                 "--web.listen-address=127.0.0.1:%d" % port],
                stdout=prom_log, stderr=subprocess.STDOUT)
        api = Api(port)

        # Each job scraped: the server's own token lets Prometheus in, the
        # wrong one gets the console's 401.
        def targets():
            data = api.get("targets")
            if data is None:
                return None
            found = {t["labels"]["job"]: t for t in data["activeTargets"]}
            done = all(found.get(j["job_name"], {}).get("health") in ("up", "down") for j in jobs)
            return found if done else None
        found = wait_for("both jobs scraped", targets)
        good_job, bad_job = (j["job_name"] for j in jobs)
        good, bad = found[good_job], found[bad_job]
        assert good["health"] == "up", good
        assert bad["health"] == "down" and "401" in bad["lastError"], bad
        print("scraped:", good["scrapeUrl"], "up;", bad_job, "down:", bad["lastError"])
        assert good["labels"]["role"] == "web", good["labels"]

        # Every metric the rules name is there, from the server's job.
        exprs = [r["expr"] for g in rules["groups"] for r in g["rules"]]
        names = sorted({n for e in exprs for n in re.findall(r"\btarnex_[a-z_]+", e)})
        assert len(names) >= 5, names
        for name in names:
            series = wait_for(name, lambda: api.query('%s{job="%s"}' % (name, good_job)))
            print("%s: %d series" % (name, len(series)))
        busy = api.query('tarnex_cpu_usage_ratio{job="%s"}' % good_job)
        assert 0 <= float(busy[0]["value"][1]) <= 1, busy
        groups = {s["metric"]["group"] for s in api.query("tarnex_bottleneck_findings_total")}
        for group in ("memory", "cpu", "disk", "network"):
            assert group in groups, groups

        # Every rule loaded and evaluated without error.
        def evaluated():
            data = api.get("rules")
            loaded = [r for g in data["groups"] for r in g["rules"]]
            if len(loaded) != len(exprs):
                return None
            if any(r["lastEvaluation"].startswith("0001") for r in loaded):
                return None
            return loaded
        loaded = wait_for("every rule evaluated", evaluated)
        for rule in loaded:
            assert rule["health"] == "ok", rule
        print("%d rules evaluated, all ok" % len(loaded))

        # The server that does not let Prometheus in is the one held as down.
        def down_alerts():
            alerts = api.get("alerts")["alerts"]
            return [a for a in alerts if a["labels"]["alertname"] == "TarnexDown"] or None
        alerts = wait_for("the down alert", down_alerts)
        assert [a["labels"]["job"] for a in alerts] == [bad_job], alerts
        assert alerts[0]["state"] == "pending", alerts  # it fires after two minutes
        print("TarnexDown pending for", bad_job)
        passed = True
    finally:
        if prom is not None:
            prom.send_signal(signal.SIGTERM)
            prom.wait(GIVE_UP)
        status = host.stop(keep=not passed)
        if passed:
            shutil.rmtree(work, ignore_errors=True)
        else:
            print("Prometheus's folder is kept:", work)
    assert status == 0, "the server ended with %d" % status


if __name__ == "__main__":
    main()
