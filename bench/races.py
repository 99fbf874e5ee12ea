#!/usr/bin/env python3
"""Lets two writers change one member at the same time, again and again, and counts lost updates:
bench/races.py BUILD_DIR [--server NAME] [--against edit|rude] [--new] [--races N] [--jobs N]

An update is lost when its command ended with 0 and its line is not in the member afterwards. A rude
writer puts without looking: what it overwrites is not ours to keep, but its own line is. Run by
hand; docs/lost-updates.md says what no client can prevent."""

import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
import interoperability

nginx = interoperability.SERVERS["nginx"]
lockless = interoperability.Server("nginx without locks", nginx.version, nginx.command,
                                   nginx.configuration)
lockless.settings = "\n".join(line.replace(" LOCK UNLOCK", "")
                              for line in nginx.settings.splitlines() if "dav_ext_lock" not in line)
SERVERS = interoperability.SERVERS | {"nginx-without-locks": lockless}

# A line of its own, a moment after the editor opened: as a person does, only faster.
EDITOR = "sh -c 'sleep {pause:.3f}; echo {name} >>\"$1\"' editor"
LONGEST_PAUSE = 0.1  # seconds


def ask(method, url, body=None):
    """The content, or None when it was refused."""
    request = urllib.request.Request(url, data=body, method=method)
    try:
        with urllib.request.urlopen(request, timeout=20) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError:
        return None


class Edit:
    def __init__(self, name, build, url, home):
        environment = {"HOME": str(home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                       "EDITOR": EDITOR.format(pause=random.uniform(0, LONGEST_PAUSE), name=name)}
        self.process = subprocess.Popen([build / "bin/quillon", "edit", url], cwd=home,
                                        env=environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)

    def end(self):
        return self.process.wait(60)


class Rude:
    def __init__(self, name, _build, url, _home):
        time.sleep(random.uniform(0, LONGEST_PAUSE))
        self.refused = ask("PUT", url, f"base\n{name}\n".encode()) is None

    def end(self):
        return 5 if self.refused else 0


def race(build, url, home, rival, new):
    """Exit codes, and the names whose update was lost."""
    home.mkdir(exist_ok=True)
    ask("DELETE", url)
    if not new:
        ask("PUT", url, b"base\n")
    writers = {"mine": Edit("mine", build, url, home)}
    writers["theirs"] = rival("theirs", build, url, home)
    codes = {name: writer.end() for name, writer in writers.items()}
    lines = ask("GET", url).splitlines()
    for kept in home.glob("*.mine*"):
        kept.unlink()
    ours = [name for name in codes if rival is Edit or name == "theirs"]
    return tuple(codes.values()), [n for n in ours if codes[n] == 0 and n not in lines]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--server", choices=list(SERVERS), default="apache")
    parser.add_argument("--against", choices=["edit", "rude"], default="edit")
    parser.add_argument("--new", action="store_true", help="the member is not there before")
    parser.add_argument("--races", type=int, default=200)
    parser.add_argument("--jobs", type=int, default=1, help="races at a time, a member each")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    os.environ["PATH"] += ":/usr/sbin"
    rival = {"edit": Edit, "rude": Rude}[arguments.against]
    outcomes, lost = collections.Counter(), 0
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        server = SERVERS[arguments.server]
        if not server.prepare(folder / "server"):
            sys.exit(arguments.server + " is not installed")
        (folder / "server/home").mkdir()
        with server.running(build, folder / "server/home") as base:
            def run(job):
                for _ in range(arguments.races // arguments.jobs):
                    yield race(build, f"{base}plan{job}.txt", folder / f"person{job}", rival,
                               arguments.new)

            with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
                for results in pool.map(lambda job: list(run(job)), range(arguments.jobs)):
                    outcomes.update(codes for codes, _ in results)
                    lost += sum(len(losers) for _, losers in results)
    for codes, count in sorted(outcomes.items()):
        print(f"{count:6} races ended with {codes[0]} and {codes[1]}")
    print(f"{lost:6} lost updates in {sum(outcomes.values())} races")


if __name__ == "__main__":
    main()
