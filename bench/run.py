#!/usr/bin/env python3
"""quillon beside its peers on a private Apache: medians of time, processor time and peak memory.

bench/run.py BUILD [--quick] [--only transfers|listings|distant|trees|looking|sync]: BUILD is the folder
of a release build with its test support. Every round runs all programs of a row in turn, in another
order than the round before, so that what else the machine does, what is cached, and a machine that
one of them let idle meet all of them. The table goes to standard output in Markdown, everything
measured to bench/results/. Files lie in TMPDIR: ext4 searches long for an inode where many were
removed in the last minutes, as each round does, so that /dev/shm tells the programs apart better."""

import argparse
import collections
import datetime
import itertools
import json
import os
import pathlib
import platform
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

Run = collections.namedtuple("Run", "seconds cpu rss")
HERE = pathlib.Path(__file__).resolve().parent
SMALL = 4096  # bytes of a small member


def measure(words, stdin=None, stdout=None):
    """Runs a program to its end: wall and processor seconds, peak resident KiB. time starts it,
    since a child's peak begins with that of the program that forks it."""
    with open(stdout or os.devnull, "wb") as out, tempfile.TemporaryFile() as complaints, \
            tempfile.NamedTemporaryFile("r") as peak:
        begun = time.monotonic()
        timed = ["/usr/bin/time", "-q", "-o", peak.name, "-f", "%M", *map(str, words)]
        child = subprocess.Popen(timed, stdout=out, stderr=complaints,
                                 stdin=open(stdin or os.devnull, "rb"))
        _, status, usage = os.wait4(child.pid, 0)
        seconds = time.monotonic() - begun
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode:
            complaints.seek(0)
            sys.exit(f"{words[0]} failed: {complaints.read(600).decode(errors='replace')}")
        return Run(seconds, usage.ru_utime + usage.ru_stime, int(peak.read()))


class Server:
    """A child of the test support; ends with the block."""

    def __init__(self, program, *words):
        self.child = subprocess.Popen([program, *map(str, words)], stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE, text=True)
        self.url, *account = self.child.stdout.readline().split(maxsplit=2)
        self.account = [word.strip() for word in account]
        tls = self.url.startswith("https:")
        self.certificate = self.child.stdout.readline().strip() if tls else None
        self.port = self.url.rstrip("/").rsplit(":", 1)[1]

    def end(self):
        """What the server says at its end."""
        self.child.terminate()
        return self.child.communicate()[0].strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.child.poll() is None:
            self.end()


class Bench:
    def __init__(self, build, rounds, root):
        self.quillon = build / "bin" / "quillon"
        self.testserver = build / "bin" / "testserver"
        self.rounds = rounds
        self.root = root  # of the server's documents
        self.local = pathlib.Path(tempfile.mkdtemp(dir=root.parent))
        self.rows = []

    def row(self, name, programs, before=lambda: None, done=lambda: True, times=1):
        """programs: name to a function that gives a Run; the first is measured against the rest.
        times: so many times the usual rounds, for what is over soon."""
        runs = {who: [] for who in programs}
        orders = list(itertools.permutations(programs))
        random.Random(0).shuffle(orders)
        for number in range(self.rounds * times):
            for who in orders[number % len(orders)]:
                before()
                runs[who].append(programs[who]())
                if not done():
                    sys.exit(f"{name}: {who} left something out")
        medians = {who: Run(*map(statistics.median, zip(*each))) for who, each in runs.items()}
        self.rows.append({"row": name, "medians": {w: m._asdict() for w, m in medians.items()},
                          "runs": {w: [r._asdict() for r in each] for w, each in runs.items()}})
        print(".", end="", file=sys.stderr, flush=True)

    def empty(self, folder):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        folder.chmod(0o777)  # the server is somebody else

    def cadaver(self, url, *commands):
        script = self.local / "cadaver.txt"
        script.write_text("".join(f"{line}\n" for line in (*commands, "quit")))
        return measure(["cadaver", url], stdin=script)

    def rclone(self, *words):
        return measure(["rclone", "--config", os.devnull, *words])

    def tiny(self):
        """What a program costs by itself."""
        (self.root / "tiny").write_text("bytes\n")
        with Server(self.testserver, "--directory", self.root) as server:
            url = server.url + "tiny"
            self.row("get of 6 bytes", {
                "quillon": lambda: measure([self.quillon, "get", "-o", os.devnull, url]),
                "quillon --no-memory": lambda: measure([self.quillon, "get", "--no-memory", "-o",
                                                        os.devnull, url]),
                "curl": lambda: measure(["curl", "-sf", "-o", os.devnull, url])}, times=20)

    def large(self, size):
        source = self.root / "large"
        with open(source, "wb") as file:
            block = os.urandom(1 << 20)
            for _ in range(size >> 20):
                file.write(block)
        with Server(self.testserver, "--directory", self.root) as server:
            there, back, into = server.url + "large", self.local / "back", self.root / "into"
            gone = lambda: (back.unlink(missing_ok=True), self.empty(into))
            label = f"{size >> 20} MiB"
            self.row(f"GET {label}", {
                "quillon": lambda: measure([self.quillon, "get", "-o", back, there]),
                "curl": lambda: measure(["curl", "-sf", "-o", back, there]),
                "cadaver": lambda: self.cadaver(server.url, f"get large {back}"),
                "rclone": lambda: self.rclone("copyto", "--webdav-url", server.url,
                                              ":webdav:large", back)}, gone)
            self.row(f"PUT {label}", {
                "quillon": lambda: measure([self.quillon, "put", source, server.url + "into/x"]),
                "curl": lambda: measure(["curl", "-sf", "-T", source, server.url + "into/x"]),
                "cadaver": lambda: self.cadaver(server.url, f"put {source} into/x"),
                "rclone": lambda: self.rclone("copyto", "--webdav-url", server.url, source,
                                              ":webdav:into/x")}, gone)
            self.row(f"GET {label} to the output", {
                "quillon": lambda: measure([self.quillon, "get", there, "-"], stdout=back),
                "curl": lambda: measure(["curl", "-sf", there], stdout=back)}, gone)
            self.row(f"PUT {label} of a stream", {
                "quillon": lambda: measure([self.quillon, "put", "--stream", "-",
                                            server.url + "into/x"], stdin=source),
                "curl": lambda: measure(["curl", "-sf", "-T", "-", server.url + "into/x"],
                                        stdin=source)}, gone)
        source.unlink()

    def side_by_side(self, size, count=4):
        """Large members into one folder."""
        names = [f"large{i}" for i in range(count)]
        for name in names:
            (self.root / name).write_bytes(os.urandom(1 << 20) * (size >> 20))
        back = self.local / "large"
        with Server(self.testserver, "--directory", self.root) as server:
            urls = [server.url + name for name in names]
            self.row(f"GET {count} of {size >> 20} MiB", {
                "quillon": lambda: measure([self.quillon, "get", "-O", back, *urls]),
                "curl -Z": lambda: measure(["curl", "-sfZ", "--remote-name-all", "--output-dir",
                                            back, *urls])}, lambda: self.empty(back),
                     lambda: len(list(back.glob("large*"))) == count)
        for name in names:
            (self.root / name).unlink()

    def small(self, count, round_trip):
        members = self.root / "members"
        self.empty(members)
        for i in range(count):
            (members / f"m{i:04}.bin").write_bytes(os.urandom(SMALL))
        files = sorted(members.iterdir())
        back, into = self.local / "small", self.root / "into"
        gone = lambda: (self.empty(back), self.empty(into))
        whole = lambda folder: len(list(folder.glob("m*.bin"))) == count
        with Server(self.testserver, "--directory", self.root) as server, \
                Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
            base = (proxy if round_trip else server).url
            label = f"{count} members of {SMALL >> 10} KiB" + \
                (f", {round_trip} ms away" if round_trip else "")
            self.row(f"GET {label}", {
                "quillon": lambda: measure([self.quillon, "get", "-O", back, "--match", "*",
                                            base + "members/"]),
                "cadaver": lambda: self.cadaver(base + "members/", f"lcd {back}", "mget *.bin"),
                "rclone": lambda: self.rclone("copy", "--webdav-url", base, ":webdav:members",
                                              back)}, gone, lambda: whole(back))
            # Files that were stored before are of the versions that were there then.
            fresh = lambda: sorted(pathlib.Path(shutil.copytree(
                members, tempfile.mkdtemp(dir=self.local), dirs_exist_ok=True)).iterdir())
            store = lambda *options: lambda: measure([self.quillon, "put", *options, *fresh(),
                                                      base + "into/"])
            programs = {
                "quillon --force": store("--force"),
                "cadaver": lambda: self.cadaver(base + "into/", f"lcd {members}", "mput *.bin"),
                "rclone": lambda: self.rclone("copy", "--webdav-url", base, members,
                                              ":webdav:into"),
                "quillon": store()}
            self.row(f"PUT {label}", programs, gone, lambda: whole(into))
            if not round_trip:
                renew = lambda: [file.write_bytes(os.urandom(SMALL)) for file in files]
                self.row(f"PUT {label}, over those that are there", {
                    who: programs[who] for who in ("quillon", "quillon --force", "cadaver")},
                         renew)
        shutil.rmtree(members)

    def trees(self, count, round_trip, http2=False):
        """A folder of small files up and down, beside a client that moves the members of one
        collection, and again when nothing has changed."""
        up, back, into = self.local / "up", self.local / "back", self.root / "into"
        self.empty(up)
        for i in range(count):
            (up / f"m{i:04}.bin").write_bytes(os.urandom(SMALL))
        there, here = into / "up", back / "up"
        whole = lambda folder: len(list(folder.glob("m*.bin"))) == count
        with Server(self.testserver, *(["--http2"] if http2 else []), "--directory",
                    self.root) as server, \
                Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
            base = (proxy.url.replace("http:", "https:") if http2 else
                    proxy.url if round_trip else server.url)
            options = ["--ca-file", server.certificate] if http2 else []
            label = f"{count} files of {SMALL >> 10} KiB" + \
                (f", {round_trip} ms away" if round_trip else "") + (", HTTP/2" if http2 else "")
            ours = lambda *words: lambda: measure([self.quillon, *options, *words])
            peers = {} if http2 else {
                "cadaver": lambda: self.cadaver(base + "into/", f"lcd {up}", "mput *.bin")}
            self.row(f"put -r, new, {label}", {"quillon": ours("put", "-r", up, base + "into/"),
                                               **peers}, lambda: self.empty(into),
                     lambda: whole(there) or whole(into))
            self.empty(into)
            measure([self.quillon, *options, "put", "-r", up, base + "into/"])
            self.row(f"put -r, nothing changed, {label}",
                     {"quillon": ours("put", "-r", up, base + "into/")})
            peers = {} if http2 else {
                "cadaver": lambda: self.cadaver(base + "into/up/", f"lcd {back}", "mget *.bin"),
                "rclone": lambda: self.rclone("copy", "--webdav-url", base, ":webdav:into/up",
                                              here)}
            self.row(f"get -r, {label}", {
                "quillon": ours("get", "-r", base + "into/up/", "-O", back), **peers},
                     lambda: self.empty(back), lambda: whole(here) or whole(back))
            self.row(f"get -r, nothing changed, {label}",
                     {"quillon": ours("get", "-r", base + "into/up/", "-O", back)},
                     lambda: whole(here) or ours("get", "-r", base + "into/up/", "-O", back)())

    def wide_tree(self, files, collections):
        """The memory of many files in many collections."""
        wide, back = self.root / "wide", self.local / "wide"
        self.empty(wide)
        for i in range(collections):
            (wide / f"c{i:04}").mkdir()
            for j in range(files // collections):
                (wide / f"c{i:04}" / f"m{j:02}").write_bytes(b"%d %d" % (i, j))
        with Server(self.testserver, "--directory", self.root) as server:
            self.row(f"get -r, {files} files in {collections} collections", {
                "quillon": lambda: measure([self.quillon, "get", "-r", server.url + "wide/", "-O",
                                            back])}, lambda: self.empty(back))
        shutil.rmtree(wide)

    def pairs(self, count):
        """The first run of a pair, down and up, beside get -r and put -r of the same."""
        down, up, into = self.root / "down", self.local / "up", self.root / "into"
        here = self.local / "here"
        for folder in (down, up, into):
            self.empty(folder)
        old = time.time() - 3600  # nobody waits for it to be whole
        for folder in (down, up):
            for i in range(count):
                file = folder / f"m{i:04}.bin"
                file.write_bytes(os.urandom(SMALL))
                os.utime(file, (old, old + i / 1000))
        with Server(self.testserver, "--directory", self.root) as server:
            sync = lambda *words: lambda: measure([self.quillon, "sync", "-q", "-y", *words])
            fresh = lambda: (self.forget_pairs(), self.empty(here), self.empty(into))
            label = f"{count} files of {SMALL >> 10} KiB"
            self.row(f"sync, first, down, {label}", {
                "quillon": sync(here, server.url + "down/"),
                "get -r": lambda: measure([self.quillon, "get", "-r", "-q", server.url + "down/",
                                           "-O", here])}, fresh)
            self.row(f"sync, first, up, {label}", {
                "quillon": sync(up, server.url + "into/"),
                "put -r": lambda: measure([self.quillon, "put", "-r", "-q", up,
                                           server.url + "into/"])}, fresh)

    def forget_pairs(self):
        state = pathlib.Path(os.environ["XDG_STATE_HOME"])  # main() made it
        shutil.rmtree(state / "quillon" / "sync", ignore_errors=True)

    def wide_pair(self, files, collections, round_trip):
        """Nothing changed, and one file, in many."""
        wide, here = self.root / "wide", self.local / "wide"
        for folder in (wide, here):
            self.empty(folder)
        old = time.time() - 3600
        for i in range(collections):
            (wide / f"c{i:04}").mkdir()
            (wide / f"c{i:04}").chmod(0o777)
            for j in range(files // collections):
                file = wide / f"c{i:04}" / f"m{j:02}"
                file.write_bytes(b"%d %d" % (i, j))
                file.chmod(0o666)
                os.utime(file, (old, old + i + j / 1000))
        label = f"{files} files in {collections} collections"
        self.forget_pairs()
        with Server(self.testserver, "--directory", self.root) as server:
            for words in ([here, server.url + "wide/"], [here], [here]):
                measure([self.quillon, "sync", "-q", "-y", *words])
            self.row(f"sync, nothing changed, {label}",
                     {"quillon": lambda: measure([self.quillon, "sync", here])})
            self.row(f"status --local, {label}",
                     {"quillon": lambda: measure([self.quillon, "status", "--local", here])})
        self.forget_pairs()
        with Server(self.testserver, "--http2", "--directory", self.root) as server, \
                Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
            base = proxy.url.replace("http:", "https:")
            trust = ["--ca-file", server.certificate]
            for words in ([here, base + "wide/"], [here], [here]):
                measure([self.quillon, *trust, "sync", "-q", "-y", *words])
            # rclone's bisync refuses servers that keep no dates, as Apache is one.
            def change(folder):
                (folder / "c0000" / "m00").write_text(str(time.time()))
                time.sleep(2)  # as a person takes who saved it
                return folder
            self.row(f"sync, one changed, {label}, {round_trip} ms away, HTTP/2", {
                "quillon": lambda: measure([self.quillon, *trust, "sync", change(here)])})
        shutil.rmtree(wide)

    def looking(self, collections, each):
        """Trees that are only looked at, beside the bare requests for them; and ends of contents."""
        seen = self.root / "seen"
        self.empty(seen)
        for i in range(collections):
            (seen / f"c{i:04}").mkdir()
            for j in range(each):
                (seen / f"c{i:04}" / f"m{j:02}").write_bytes(b"%d" % j)
        label = f"{collections * each} members in {collections} collections"
        with Server(self.testserver, "--directory", self.root) as server:
            url = server.url + "seen/"
            wanted = self.local / "propfinds"
            wanted.write_text("".join(
                f'url = "{url}{path}"\noutput = "{os.devnull}"\n'
                for path in ["", *(f"c{i:04}/" for i in range(collections))]))
            bare = lambda: measure(["curl", "-sf", "-Z", "--parallel-max", "16", "-X", "PROPFIND",
                                    "-H", "Depth: 1", "-K", wanted])
            for command in ("find", "du", "tree"):
                self.row(f"{command}, {label}", {
                    "quillon": lambda: measure([self.quillon, command, url]),
                    "curl -Z, unread": bare})
        shutil.rmtree(seen)

    def looking_far(self, collections, each, round_trip):
        seen, large = self.root / "seen", self.root / "large.bin"
        self.empty(seen)
        for i in range(collections):
            (seen / f"c{i:04}").mkdir()
            for j in range(each):
                (seen / f"c{i:04}" / f"m{j:02}").touch()
        with open(large, "wb") as file:
            file.truncate(1 << 30)
        for options in ([], ["--http2"]):
            with Server(self.testserver, *options, "--directory", self.root) as server, \
                    Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
                base = proxy.url.replace("http:", "https:") if options else proxy.url
                ours = [self.quillon, *(["--ca-file", server.certificate] if options else [])]
                how = f"{round_trip} ms away, {'TLS and HTTP/2' if options else 'HTTP/1.1'}"
                self.row(f"ls -R of {collections} collections of {each}, {how}", {
                    "quillon": lambda: measure([*ours, "ls", "-R", base + "seen/"])})
                self.row(f"tail -c 4096 of 1 GiB, {how}", {
                    "quillon": lambda: measure([*ours, "tail", "-c", "4096", base + "large.bin"])})
        shutil.rmtree(seen)
        large.unlink()

    def listing(self, count):
        folder = self.root / "listed"
        self.empty(folder)
        for i in range(count):
            (folder / f"report-{i:06}.txt").touch()
        with Server(self.testserver, "--directory", self.root) as server:
            url = server.url + "listed/"
            self.row(f"ls -l of {count} members", {
                "quillon": lambda: measure([self.quillon, "ls", "-l", url]),
                "curl, unread": lambda: self.propfind(url),
                "rclone": lambda: self.rclone("lsl", "--max-depth", "1", "--webdav-url", url,
                                              ":webdav:")},
                     times=5 if count <= 1000 else 1)
        shutil.rmtree(folder)

    def propfind(self, url):
        """What curl takes to get the answer, and nothing more."""
        return measure(["curl", "-sf", "-X", "PROPFIND", "-H", "Depth: 1", "-o", os.devnull, url])

    def ready_listing(self, count, kind):
        """The time is the program's own, and the answer's size is that of the memory to compare."""
        with Server(HERE / "canned_server.py", count, kind) as server:
            self.row(f"ls -l of {count} members, {kind}, from a server that has the answer ready", {
                "quillon": lambda: measure([self.quillon, "ls", "-l", server.url]),
                "curl, unread": lambda: self.propfind(server.url)})

    def curl(self, *words):
        return measure(["curl", "-sf", "-o", os.devnull, *words])

    def far_member(self):
        """A member that was changed long ago, an editor, and how each round begins."""
        self.empty(self.root / "far")
        editor = self.local / "editor"
        editor.write_text("#!/bin/sh\necho more >>\"$1\"\n")
        editor.chmod(0o755)
        os.environ["EDITOR"] = str(editor)

        def begin():
            for name in ("old", "old2"):
                member = self.root / "far" / name
                member.write_text("text\n")
                member.chmod(0o666)
                os.utime(member, (1e9, 1e9))
            (self.root / "far" / "new").unlink(missing_ok=True)
        return begin

    def distant(self, round_trip):
        """A command each, on one member or a small collection."""
        begin = self.far_member()
        source = self.local / "source"
        source.write_text("content\n")
        with Server(self.testserver, "--directory", self.root) as server, \
                Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
            far = proxy.url + "far/"
            quillon = lambda *words: lambda: measure([self.quillon, *words])
            # A file that was stored before is of the version that was there then.
            fresh = lambda: shutil.copy(source, tempfile.mkdtemp(dir=self.local))
            store = lambda *words: lambda: measure([self.quillon, "put", fresh(), *words])
            get = lambda: self.curl(far + "old")
            put = lambda name: lambda: self.curl("-T", source, far + name)
            rows = {
                "get": (quillon("get", "-o", os.devnull, far + "old"), "curl", get),
                "info": (quillon("info", far + "old"), "curl's GET", get),
                "ls": (quillon("ls", far), "curl's PROPFIND",
                       lambda: self.curl("-X", "PROPFIND", "-H", "Depth: 1", far)),
                "put --force": (store("--force", far + "old"), "curl",
                                put("old")),
                "put --force, new": (store("--force", far + "new"), "curl",
                                     put("new")),
                "put": (store(far + "old"), "curl, without a lock", put("old")),
                "edit": (quillon("edit", far + "old"), "cadaver",
                         lambda: self.cadaver(far, "edit old")),
                "rm": (quillon("rm", far + "old"), "cadaver",
                       lambda: self.cadaver(far, "delete old")),
                "mv": (quillon("mv", far + "old", "new"), "cadaver",
                       lambda: self.cadaver(far, "move old new"))}
            for name, (ours, peer, theirs) in rows.items():
                self.row(f"{name}, {round_trip} ms away", {"quillon": ours, peer: theirs}, begin)

    def distant_over_tls(self, round_trip):
        """HTTP/2, anonymous and with a site whose Basic is known."""
        begin = self.far_member()
        for login in ([], ["--auth", "basic"]):
            with Server(self.testserver, "--http2", *login, "--directory", self.root) as server, \
                    Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
                far = proxy.url.replace("http:", "https:") + "far/"
                options, account, ours = ["--ca-file", server.certificate], [], far
                if login:
                    user, password = server.account
                    secret = self.local / "password"
                    secret.write_text(password)
                    secret.chmod(0o600)
                    measure([self.quillon, "login", "far", far, "--user", user, "--password-file",
                             secret, *options])
                    options, account, ours = [], ["-u", f"{user}:{password}"], "far:"
                how = "HTTP/2, known Basic" if login else "HTTP/2"
                curl = ["--cacert", server.certificate, *account]
                self.row(f"get, {how}, {round_trip} ms away", {
                    "quillon": lambda: measure([self.quillon, *options, "get", "-o", os.devnull,
                                                ours + "old"]),
                    "curl": lambda: self.curl(*curl, far + "old")}, begin)
                self.row(f"ls, {how}, {round_trip} ms away", {
                    "quillon": lambda: measure([self.quillon, *options, "ls", ours]),
                    "curl's PROPFIND": lambda: self.curl(*curl, "-X", "PROPFIND", "-H", "Depth: 1",
                                                         far)}, begin)

    def cost(self, round_trip=100):
        """What open, list, close cost on an empty collection; round trips as a far server has it."""
        self.empty(self.root / "empty")
        seconds = lambda url: statistics.median(
            measure([self.quillon, "ls", url + "empty/"]).seconds for _ in range(3))
        with Server(self.testserver, "--directory", self.root) as server, \
                Server(HERE / "delay_proxy.py", server.port, round_trip) as proxy:
            trips = (seconds(proxy.url) - seconds(server.url)) * 1000 / round_trip
        with Server(self.testserver, "--directory", self.root) as server:
            measure([self.quillon, "ls", server.url + "empty/"])
            return f"{server.end()}, {trips:.1f} round trips"


def table(rows):
    lines = ["| | program | seconds | processor s | peak MiB | times of quillon's |",
             "|---|---|---:|---:|---:|---:|"]
    for row in rows:
        first = next(iter(row["medians"].values()))["seconds"]
        for i, (who, m) in enumerate(row["medians"].items()):
            lines.append(f"| {row['row'] if i == 0 else ''} | {who} | {m['seconds']:.3f} | "
                         f"{m['cpu']:.3f} | {m['rss'] / 1024:.0f} | {m['seconds'] / first:.2f} |")
    return "\n".join(lines)


def machine():
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / (1 << 30)
    return f"{os.cpu_count()} processors ({platform.machine()}), {memory:.0f} GiB of memory"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--quick", action="store_true", help="smaller, and each once")
    parser.add_argument("--only", choices=("transfers", "listings", "distant", "trees", "looking", "sync"),
                        help="these rows alone")
    wanted = parser.parse_args()
    with tempfile.TemporaryDirectory() as home:
        os.chmod(home, 0o755)
        os.environ["HOME"] = home  # nobody's settings, no stored sites
        os.environ["XDG_CACHE_HOME"] = os.environ["XDG_STATE_HOME"] = home
        root = pathlib.Path(home) / "root"
        root.mkdir()
        root.chmod(0o777)
        bench = Bench(wanted.build.resolve(), 1 if wanted.quick else wanted.rounds, root)
        count = 200 if wanted.quick else 1000
        if wanted.only in (None, "transfers"):
            bench.tiny()
            for size in (16, 64) if wanted.quick else (16, 1024):  # peak memory shall not follow it
                bench.large(size << 20)
            bench.side_by_side((16 if wanted.quick else 256) << 20)
            bench.small(count, 0)
            bench.small(count, 10)
        if wanted.only in (None, "trees"):
            bench.trees(count, 0)
            bench.trees(count, 10)
            bench.trees(count, 50, http2=True)
            for files in (500, 2000) if wanted.quick else (5_000, 20_000):
                bench.wide_tree(files, files // 10)
        if wanted.only in (None, "sync"):
            bench.pairs(count)
            files = 2000 if wanted.quick else 20_000
            bench.wide_pair(files, files // 10, 50)
        if wanted.only in (None, "looking"):
            bench.looking(200 if wanted.quick else 2000, 10)
            bench.looking_far(100 if wanted.quick else 1000, 10, 50)
        if wanted.only in (None, "distant"):
            bench.distant(100)
            bench.distant_over_tls(100)
        if wanted.only in (None, "listings"):
            for members in (1000, 10_000) if wanted.quick else (1000, 10_000, 100_000):
                bench.listing(members)
            for kind in ("alike", "distinct", "least"):
                bench.ready_listing(10_000 if wanted.quick else 100_000, kind)
            if not wanted.quick:
                bench.ready_listing(1_000_000, "alike")
        cost = bench.cost()
    print(file=sys.stderr)
    load = os.getloadavg()[0]
    print(f"{machine()}; load {load:.1f} at the end; medians of {bench.rounds} runs.\n")
    print(table(bench.rows))
    print(f"\n`ls` of an empty collection: {cost}.")
    results = HERE / "results"
    results.mkdir(exist_ok=True)
    stamp = datetime.datetime.now().strftime("%Y%m%d-%H%M%S")
    (results / f"{stamp}.json").write_text(json.dumps(
        {"machine": machine(), "load": load, "rounds": bench.rounds, "empty": cost,
         "rows": bench.rows}, indent=1))


if __name__ == "__main__":
    main()
