#!/usr/bin/env python3
"""Lets two writers change one member at the same time, again and again, and counts lost updates:
bench/races.py BUILD_DIR [--server NAME] [--with edit|put-r] [--against edit|rude] [--new]
    [--pause LEAST LONGEST] [--races N] [--jobs N]

An update is lost when its command ended with 0 and its line is not in the member afterwards. A rude
writer puts without looking: what it overwrites is not ours to keep, but its own line is. A new
member that it makes before put -r has listed the collection is replaced by design. Run by
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
least_pause, longest_pause = 0, 0.1  # seconds, before a writer writes


def ask(method, url, body=None):
    """The content, or None when it was refused."""
    request = urllib.request.Request(url, data=body, method=method)
    try:
        with urllib.request.urlopen(request, timeout=20) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError:
        return None


def start(build, home, *arguments, editor="false"):
    environment = {"HOME": str(home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                   "EDITOR": editor}
    return subprocess.Popen([build / "bin/quillon", *arguments], cwd=home, env=environment,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


class Edit:
    def __init__(self, name, build, url, home):
        editor = EDITOR.format(pause=random.uniform(least_pause, longest_pause), name=name)
        self.process = start(build, home, "edit", url, editor=editor)

    def end(self):
        return self.process.wait(60)


class PutTree(Edit):
    """A folder that was fetched, with a line of its own in the file."""

    def __init__(self, name, build, url, home):
        collection, member = url.rsplit("/", 1)
        base, folder = collection.rsplit("/", 1)
        start(build, home, "get", "-r", "--force", collection + "/").wait(60)
        (home / folder / member).write_text(f"base\n{name}\n")
        self.process = start(build, home, "put", "-r", folder, base + "/")


class Rude:
    def __init__(self, name, _build, url, _home):
        time.sleep(random.uniform(least_pause, longest_pause))
        self.refused = ask("PUT", url, f"base\n{name}\n".encode()) is None

    def end(self):
        return 5 if self.refused else 0


def race(build, url, home, mine, rival, new):
    """Exit codes, and the names whose update was lost."""
    home.mkdir(exist_ok=True)
    ask("MKCOL", url.rsplit("/", 1)[0] + "/")
    ask("DELETE", url)
    if not new:
        ask("PUT", url, b"base\n")
    writers = {"mine": mine("mine", build, url, home)}
    writers["theirs"] = rival("theirs", build, url, home)
    codes = {name: writer.end() for name, writer in writers.items()}
    lines = ask("GET", url).splitlines()
    for kept in home.glob("*.mine*"):
        kept.unlink()
    ours = [name for name in codes if rival is Edit or name == "theirs"]
    return tuple(codes.values()), [n for n in ours if codes[n] == 0 and n not in lines]


def main():
    global least_pause, longest_pause
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--server", choices=list(SERVERS), default="apache")
    parser.add_argument("--with", choices=["edit", "put-r"], default="edit", dest="mine")
    parser.add_argument("--against", choices=["edit", "rude"], default="edit")
    parser.add_argument("--new", action="store_true", help="the member is not there before")
    parser.add_argument("--races", type=int, default=200)
    parser.add_argument("--jobs", type=int, default=1, help="races at a time, a member each")
    parser.add_argument("--pause", type=float, nargs=2, default=(least_pause, longest_pause),
                        help="the least and the longest, in seconds")
    arguments = parser.parse_args()
    least_pause, longest_pause = arguments.pause
    build = arguments.build.resolve()
    os.environ["PATH"] += ":/usr/sbin"
    mine = {"edit": Edit, "put-r": PutTree}[arguments.mine]
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
                    yield race(build, f"{base}plans{job}/plan.txt", folder / f"person{job}",
                               mine, rival, arguments.new)

            with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
                for results in pool.map(lambda job: list(run(job)), range(arguments.jobs)):
                    outcomes.update(codes for codes, _ in results)
                    lost += sum(len(losers) for _, losers in results)
    for codes, count in sorted(outcomes.items()):
        print(f"{count:6} races ended with {codes[0]} and {codes[1]}")
    print(f"{lost:6} lost updates in {sum(outcomes.values())} races")


if __name__ == "__main__":
    main()
