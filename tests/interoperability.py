#!/usr/bin/env python3
"""Runs quillon's whole command set against many WebDAV servers and writes the outcome as a table:
tests/interoperability.py BUILD_DIR [SERVER...] [--output FILE]

Exit code 1: something fails that no note explains."""

import argparse
import contextlib
import datetime
import http.client
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.parse

FUTURE, PAST = "2090-01-01T00:00:00Z", "2001-01-01T00:00:00Z"
AWKWARD = "100% Übung #1; a+b & [c] 'd' 🦊?.txt"
REFUSED, CHANGED = 1, 6


class Fault(Exception):
    pass


# ---- servers

class Server:
    def __init__(self, title, command, version):
        self.title, self.command, self.version = title, command, version

    @contextlib.contextmanager
    def running(self, folder):
        with open(folder / "server.log", "w") as log:
            process = subprocess.Popen(self.command, stdout=subprocess.PIPE,
                                       stdin=subprocess.PIPE, stderr=log, text=True)
        try:
            words = process.stdout.readline().split()
            if not words:
                raise Fault("it did not start: " + (folder / "server.log").read_text())
            yield words[0]
            if process.poll() is not None:
                raise Fault("the server crashed: " + (folder / "server.log").read_text())
        finally:
            process.stdin.close()  # at which every one of them ends
            process.stdout.close()
            process.wait()


def first_match(pattern, *command):
    done = subprocess.run(command, capture_output=True, text=True)
    return re.search(pattern, done.stdout + done.stderr).group(1)


def testserver(build, kind, title, pattern, *version):
    if not shutil.which(version[0], path=os.environ["PATH"] + ":/usr/sbin"):
        return None
    return Server(title, [build / "bin/testserver", kind], first_match(pattern, *version))


def node_server(folder, title, packages, script):
    """One from npm: the first package tells its version."""
    if not shutil.which("npm"):
        return None
    home = folder / title
    (home / "members").mkdir(parents=True)
    subprocess.run(["npm", "install", "--silent", "--no-audit", "--no-fund", "--prefix", home,
                    *packages], check=True, stdout=subprocess.DEVNULL)
    (home / "server.mjs").write_text(script + """
const server = http.createServer(handler).listen(0, '127.0.0.1', () =>
  console.log(`http://127.0.0.1:${server.address().port}/`));
process.stdin.on('end', () => process.exit()).resume();
""")
    package = json.loads((home / "node_modules" / packages[0] / "package.json").read_text())
    node = first_match(r"v(\S+)", "node", "--version")
    return Server(title, ["node", home / "server.mjs"], f"{package['version']} on node {node}")


WEBDAV_SERVER = """
import http from 'node:http';
import { v2 } from 'webdav-server';
const dav = new v2.WebDAVServer();
const handler = (request, response) => dav.executeRequest(request, response);
"""

NEPHELE_PACKAGES = ["nephele", "@nephele/adapter-file-system", "@nephele/authenticator-none",
                    "express"]
NEPHELE = """
import fs from 'node:fs';
import http from 'node:http';
import express from 'express';
import nephele from 'nephele';
import Adapter from '@nephele/adapter-file-system';
import { Authenticator } from '@nephele/authenticator-none';
const root = fs.mkdtempSync(import.meta.dirname + '/members/');
const handler = express().use('/', nephele({
  adapter: new Adapter({ root }), authenticator: new Authenticator() }));
"""


def servers(build, folder):
    return {
        "apache": lambda: testserver(build, "apache", "Apache mod_dav", r"Apache/(\S+)",
                                     "apache2", "-v"),
        "lighttpd": lambda: testserver(build, "lighttpd", "lighttpd mod_webdav",
                                       r"lighttpd/(\S+)", "lighttpd", "-v"),
        "nginx": lambda: testserver(build, "nginx", "nginx with dav-ext", r"nginx/(\S+)",
                                    "nginx", "-v"),
        "rclone": lambda: testserver(build, "rclone", "rclone serve", r"rclone v(\S+)",
                                     "rclone", "version"),
        "webdav-server": lambda: node_server(folder, "webdav-server", ["webdav-server"],
                                             WEBDAV_SERVER),
        "nephele": lambda: node_server(folder, "Nephele", NEPHELE_PACKAGES, NEPHELE),
    }


# ---- what quillon does there, and how the server saw it

class Place:
    """A collection for a check, made and looked at without quillon."""

    def __init__(self, build, base, home):
        self.program, self.home = build / "bin/quillon", home
        self.host = urllib.parse.urlsplit(base).netloc
        self.url = base + "c/"
        self.make(self.url)

    def ask(self, method, url, body=None):
        connection = http.client.HTTPConnection(self.host, timeout=20)
        connection.request(method, urllib.parse.urlsplit(url).path, body)
        answer = connection.getresponse()
        content = answer.read()
        connection.close()
        return answer.status, content

    def of(self, name):
        return self.url + urllib.parse.quote(name)

    def make(self, url):
        status, _ = self.ask("MKCOL", url)
        if status != 201:
            raise Fault(f"MKCOL {url} answered {status}")

    def add(self, name, content=b"old\n"):
        status, _ = self.ask("PUT", self.of(name), content)
        if status not in (200, 201, 204):
            raise Fault(f"PUT {self.of(name)} answered {status}")
        return self.of(name)

    def holds(self, name, content):
        status, found = self.ask("GET", self.of(name))
        if status != 200 or found != content:
            raise Fault(f"{self.of(name)} holds {found[:60]!r} ({status}), not {content!r}")

    def lacks(self, name):
        status, _ = self.ask("GET", self.of(name))
        if status not in (404, 410):
            raise Fault(f"{self.of(name)} is there: GET answered {status}")

    def file(self, content, name="file"):
        (self.home / name).write_bytes(content)
        return name

    def quillon(self, *words, code=0):
        environment = {"HOME": str(self.home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                       "EDITOR": "sh -c 'echo mine >>\"$1\"' editor"}
        done = subprocess.run([self.program, "--timeout", "10", *words], cwd=self.home,
                              env=environment, capture_output=True, text=True, timeout=60)
        if done.returncode != code:
            raise Fault(f"exit code {done.returncode}, not {code}\n{done.stdout}{done.stderr}")
        left = list(self.home.glob(".cache/quillon/*"))
        if left:
            raise Fault(f"left {left}")
        return done.stdout


def expect(condition, what):
    if not condition:
        raise Fault(what)


def ls(place):
    place.add("b")
    place.add("a")
    place.make(place.url + "c/")
    expect(place.quillon("ls", place.url) == "a\nb\nc/\n", place.quillon("ls", place.url))


def ls_long(place):
    place.add("a", b"12345")
    listed = place.quillon("ls", "-l", place.url)
    expect(re.match(r" *5 .*20\d\d-\d\d-\d\d.* a\n$", listed), listed)


def ls_empty(place):
    expect(place.quillon("ls", place.url) == "", "not empty")


def info(place):
    told = json.loads(place.quillon("info", "--json", place.add("a", b"12345")))
    expect(told["size"] == 5 and told["modified"], told)


def get(place):
    content = os.urandom(200_000)
    place.quillon("get", place.add("a", content), "-o", "fetched")
    expect((place.home / "fetched").read_bytes() == content, "another content")


def put_new(place):
    place.quillon("put", place.file(b"new\n"), place.url)
    place.holds("file", b"new\n")


def put_existing(place):
    place.quillon("put", place.file(b"new\n"), place.add("a"))
    place.holds("a", b"new\n")


def put_if_unchanged(place):
    url = place.add("a")
    place.quillon("put", "--if-unchanged-since", PAST, place.file(b"new\n"), url, code=CHANGED)
    place.holds("a", b"old\n")
    place.quillon("put", "--if-unchanged-since", FUTURE, place.file(b"new\n"), url)
    place.holds("a", b"new\n")


def put_force(place):
    place.quillon("put", "--force", place.file(b"new\n"), place.add("a"))
    place.holds("a", b"new\n")


def edit(place):
    place.quillon("edit", place.add("a"))
    place.holds("a", b"old\nmine\n")
    expect(place.ask("PUT", place.of("a"), b"x")[0] in (200, 201, 204), "it stays locked")


def edit_new(place):
    place.quillon("edit", place.of("a"))
    place.holds("a", b"mine\n")


def lock(place):
    place.quillon("lock", place.add("a", b"b\na\n"), "--", "sort", "-o", "{}", "{}")
    place.holds("a", b"a\nb\n")


def lock_excludes(place):
    url = place.add("a")
    other = f"import urllib.request as u; u.urlopen(u.Request('{url}', b'other', method='PUT'))"
    place.quillon("lock", url, "--", "sh", "-c", f"! {sys.executable} -c \"{other}\" 2>/dev/null")
    place.holds("a", b"old\n")


def mv(place):
    place.quillon("mv", place.add("a"), "b")
    place.holds("b", b"old\n")
    place.lacks("a")


def mv_onto(place):
    place.add("b", b"kept\n")
    place.quillon("mv", place.add("a"), "b", code=REFUSED)
    place.holds("b", b"kept\n")
    place.holds("a", b"old\n")


def mkcol(place):
    place.quillon("mkcol", place.url + "sub/")
    expect(place.quillon("ls", place.url) == "sub/\n", "not there")
    place.quillon("mkcol", place.url + "sub/", code=REFUSED)


def mkcol_parents(place):
    place.quillon("mkcol", "-p", place.url + "sub/deep/er/")
    expect(place.quillon("ls", place.url + "sub/deep/") == "er/\n", "not there")


def rm(place):
    place.quillon("rm", place.add("a"))
    place.lacks("a")


def rm_older(place):
    url = place.add("a")
    place.quillon("rm", "--older-than", PAST, url, code=CHANGED)
    place.holds("a", b"old\n")
    place.quillon("rm", "--older-than", FUTURE, url)
    place.lacks("a")


def rmcol(place):
    place.make(place.url + "sub/")
    place.quillon("rmcol", place.url + "sub/")
    expect(place.quillon("ls", place.url) == "", "still there")


def rmcol_refused(place):
    place.make(place.url + "sub/")
    place.add("sub/a")
    place.quillon("rmcol", place.url + "sub/", code=REFUSED)
    place.holds("sub/a", b"old\n")


def rmcol_recursive(place):
    place.make(place.url + "sub/")
    place.make(place.url + "sub/deep/")
    place.add("sub/deep/a")
    place.quillon("rmcol", "--recursive", place.url + "sub/")
    expect(place.quillon("ls", place.url) == "", "still there")


def awkward(place):
    url = place.of(AWKWARD)
    place.quillon("put", place.file(b"new\n", AWKWARD), place.url)
    place.holds(AWKWARD, b"new\n")
    expect(place.quillon("ls", place.url) == AWKWARD + "\n", place.quillon("ls", place.url))
    place.quillon("edit", url)
    place.quillon("mv", url, "2" + AWKWARD)
    place.holds("2" + AWKWARD, b"new\nmine\n")
    place.quillon("rm", place.of("2" + AWKWARD))
    place.lacks("2" + AWKWARD)


CHECKS = {
    "`ls`": ls,
    "`ls -l`": ls_long,
    "`ls` of an empty collection": ls_empty,
    "`info`": info,
    "`get`": get,
    "`put` of a new member": put_new,
    "`put` over a member": put_existing,
    "`put --if-unchanged-since`": put_if_unchanged,
    "`put --force`": put_force,
    "`edit`": edit,
    "`edit` of a new member": edit_new,
    "`lock`": lock,
    "`lock` keeps others out": lock_excludes,
    "`mv`": mv,
    "`mv` onto another is refused": mv_onto,
    "`mkcol`": mkcol,
    "`mkcol -p`": mkcol_parents,
    "`rm`": rm,
    "`rm --older-than`": rm_older,
    "`rmcol` of an empty collection": rmcol,
    "`rmcol` with a member is refused": rmcol_refused,
    "`rmcol --recursive`": rmcol_recursive,
    "all of these with an awkward name": awkward,
}

# What the servers' own faults and limits are.
NO_CREATION_DATE = ("The server keeps no `creationdate` (RFC 4918, 15.1), which is what this option "
                    "compares: quillon says so, deletes nothing, and ends with 1.")
MKCOL_ALWAYS = ("rclone answers 201 to MKCOL where a collection is already (RFC 4918, 9.3.1 wants "
                "405), so that it cannot be told from one that was made. Nothing is lost by it.")
IF_CRASH = ("webdav-server crashes (TypeError in its IfParser.js) at an `If` header whose list has "
            "no tag (RFC 4918, 10.4.2), as a PUT under a lock has it. The changed content stays in "
            "a local file that the message names; `put --force` writes without a lock.")
LOCK_IGNORED = ("webdav-server lets a PUT without the token through while the member is locked "
                "(RFC 4918, 7 wants 423).")
NOTES = {  # by server and check
    ("lighttpd", "`rm --older-than`"): NO_CREATION_DATE,
    ("nginx", "`rm --older-than`"): NO_CREATION_DATE,
    ("rclone", "`rm --older-than`"): NO_CREATION_DATE,
    ("rclone", "`mkcol`"): MKCOL_ALWAYS,
    ("webdav-server", "`lock` keeps others out"): LOCK_IGNORED,
    **{("webdav-server", check): IF_CRASH
       for check in ("`put` of a new member", "`put` over a member", "`put --if-unchanged-since`",
                     "`edit`", "`edit` of a new member", "`lock`",
                     "all of these with an awkward name")},
}


def run(server, build, folder):
    """A server of its own for each check, since one of them may end it."""
    failures = {}
    for number, (label, check) in enumerate(CHECKS.items()):
        home = folder / f"{server.title} {number}"
        home.mkdir()
        try:
            with server.running(folder) as base:
                check(Place(build, base, home))
        except (Fault, OSError, http.client.HTTPException, subprocess.TimeoutExpired) as fault:
            failures[label] = f"{type(fault).__name__}: {fault}"
    return failures


def document(ran, program):
    used = []

    def cell(name, label, failures):
        if label not in failures:
            return "works"
        note = NOTES.get((name, label))
        if not note:
            return "**fails**"
        if note not in used:
            used.append(note)
        return f"no [{used.index(note) + 1}]"

    lines = ["# Interoperability", "",
             "The whole command set against each server, as `./dev interop` ran it on "
             f"{datetime.date.today().isoformat()} with {program}. The numbers lead to what a "
             "server does not do, below.", "",
             "| | " + " | ".join(server.title for server, _ in ran.values()) + " |",
             "|---" * (len(ran) + 1) + "|",
             "| version | " + " | ".join(server.version for server, _ in ran.values()) + " |"]
    for label in CHECKS:
        cells = [cell(name, label, failures) for name, (_, failures) in ran.items()]
        lines.append(f"| {label} | " + " | ".join(cells) + " |")
    lines += [""] + [f"{number}. {note}" for number, note in enumerate(used, 1)]
    return "\n".join(lines).rstrip() + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("servers", nargs="*")
    parser.add_argument("--output", type=pathlib.Path)
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    surprises, ran = [], {}
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        for name, make in servers(build, folder).items():
            if arguments.servers and name not in arguments.servers:
                continue
            server = make()
            if server is None:
                print(f"{name}: not installed, left out", file=sys.stderr)
                continue
            failures = run(server, build, folder)
            ran[name] = (server, failures)
            for label in CHECKS:
                noted = (name, label) in NOTES
                if label in failures and not noted:
                    surprises.append(f"{name}, {label}: {failures[label]}")
                if noted and label not in failures:
                    print(f"{name}, {label}: works, its note can go", file=sys.stderr)
    program = first_match(r"(\S.*)", build / "bin/quillon", "--version")
    text = document(ran, program)
    if arguments.output:
        arguments.output.write_text(text)
    print(text)
    print("\n".join(surprises), file=sys.stderr)
    return 1 if surprises else 0


if __name__ == "__main__":
    sys.exit(main())
