#!/usr/bin/env python3
"""Runs quillon's whole command set against many WebDAV servers and writes the outcome as a table:
tests/interoperability.py BUILD_DIR [SERVER...] [--output FILE]

Exit code 1: something fails that no note explains."""

import argparse
import contextlib
import datetime
import http.client
import os
import pathlib
import re
import shlex
import socket
import string
import subprocess
import sys
import tempfile
import time
import urllib.parse


class Fault(Exception):
    pass


# ---- servers

class Server:
    """The command runs in a folder $home, where "conf.mjs" has the configuration and "members" is
    empty. Where neither names $port, it prints its URL. packages: from npm."""

    def __init__(self, title, version, command, configuration="", packages=""):
        self.title, self.version = title, version  # a command and the pattern of what it prints
        self.command, self.configuration, self.packages = command, configuration, packages

    def prepare(self, folder):
        """For all the homes in the folder. False: the server is not installed."""
        folder.mkdir()
        if self.packages:
            output_of("npm install --no-audit --no-fund " + self.packages, folder)
        command, pattern = self.version
        self.version = re.search(pattern, output_of(command, folder))
        return self.version is not None

    @contextlib.contextmanager
    def running(self, build, home):
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        fill = lambda text: string.Template(text).substitute(home=home, port=port, build=build)
        (home / "conf.mjs").write_text(fill(self.configuration))
        (home / "members").mkdir()
        log = home / "log"
        with open(log, "w") as output:
            process = subprocess.Popen("exec " + fill(self.command), shell=True, cwd=home,
                                       stdout=output, stderr=output)
        try:
            while not (url := self.url(port, log.read_text())):
                if process.poll() is not None:
                    raise Fault("it did not start: " + log.read_text())
                time.sleep(0.01)
            yield url
            if process.poll() is not None:
                raise Fault("the server crashed: " + log.read_text())
        finally:
            process.terminate()
            process.wait()

    def url(self, port, printed):
        """Once it is ready."""
        if "$port" not in self.command + self.configuration:
            return printed.strip()
        with contextlib.suppress(ConnectionError):
            socket.create_connection(("127.0.0.1", port)).close()
            return f"http://127.0.0.1:{port}/"


def output_of(command, folder):
    return subprocess.run(command, shell=True, cwd=folder, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT).stdout


def node_server(package, more_packages, handler):
    version = (f"JSON.parse(fs.readFileSync('node_modules/{package}/package.json')).version"
               " + ' on node ' + process.versions.node")
    return ((f'node -p "{version}"', r"^(\d.*)"), "node conf.mjs",
            handler + "\nhttp.createServer(handler).listen($port, '127.0.0.1');\n",
            package + " " + more_packages)


SERVERS = {
    "apache": Server("Apache mod_dav", ("apache2 -v", r"Apache/(\S+)"), "$build/bin/testserver"),
    "class-1": Server("Apache without locks", ("apache2 -v", r"Apache/(\S+)"),
                      "$build/bin/testserver --without-locks"),
    "lighttpd": Server(
        "lighttpd mod_webdav", ("lighttpd -v", r"lighttpd/(\S+)"), "lighttpd -D -f conf.mjs", """
server.modules = ("mod_webdav")
server.bind = "127.0.0.1"
server.port = $port
server.document-root = "$home/members"
server.upload-dirs = ("$home")
webdav.activate = "enable"
webdav.sqlite-db-name = "$home/webdav.db"
"""),
    "nginx": Server(
        "nginx with dav-ext", ("nginx -v", r"nginx/(\S+)"), "nginx -e stderr -p . -c conf.mjs", """
load_module /usr/lib/nginx/modules/ngx_http_dav_ext_module.so;
daemon off;
pid pid;
user root;
events {}
http {
    access_log off;
    client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi; scgi_temp_path scgi;
    dav_ext_lock_zone zone=locks:1m;
    server {
        listen 127.0.0.1:$port;
        root members;
        location / {
            dav_methods PUT DELETE MKCOL COPY MOVE;
            dav_ext_methods PROPFIND OPTIONS LOCK UNLOCK;
            dav_ext_lock zone=locks;
        }
    }
}
"""),
    "rclone": Server(
        "rclone serve", ("rclone version", r"rclone v(\S+)"),
        "rclone serve webdav members --addr 127.0.0.1:$port --config conf --cache-dir cache"),
    "webdav-server": Server("webdav-server", *node_server("webdav-server", "", """
import http from 'node:http';
import { v2 } from 'webdav-server';
const dav = new v2.WebDAVServer();
const handler = (request, response) => dav.executeRequest(request, response);
""")),
    "nephele": Server("Nephele", *node_server(
        "nephele", "@nephele/adapter-file-system @nephele/authenticator-none express", """
import http from 'node:http';
import express from 'express';
import nephele from 'nephele';
import Adapter from '@nephele/adapter-file-system';
import { Authenticator } from '@nephele/authenticator-none';
const handler = express().use('/', nephele({
  adapter: new Adapter({ root: '$home/members' }), authenticator: new Authenticator() }));
""")),
}


# ---- what quillon does there, and how the server saw it

OLD, NEW = b"old\n", b"new\n"
BIG = os.urandom(200_000)
AWKWARD = "100%20 Übung #1; a+b & [c] 'd' \"e\" =,~🦊?.txt"
LOCAL, SECOND = shlex.quote(AWKWARD), shlex.quote("2" + AWKWARD)
REMOTE = urllib.parse.quote(AWKWARD)
BEFORE, AFTER = "2001-01-01T00:00:00Z", "2090-01-01T00:00:00Z"
REFUSED, CHANGED = 1, 6
INTRUDER = """import sys, urllib.request as u
u.urlopen(u.Request(sys.argv[1], b"other", method="PUT"))"""


def step(command, code=0, prints=".*"):
    """@ is the URL of the collection; prints: a pattern of the whole output."""
    return command, code, prints


# Each: what is in the collection before, the commands, and what must be there then (None: nothing).
# Two local files, "file" and AWKWARD, hold NEW; "intruder" writes; the editor appends "mine".
CHECKS = {
    "`ls`": ({"b": OLD, "a": OLD, "c/": None}, [step("ls @", prints="a\nb\nc/\n")], {}),
    "`ls -l`": ({"a": b"12345"}, [step("ls -l @", prints=r" *5 .*20\d\d-\d\d-\d\d.* a\n")], {}),
    "`ls` of an empty collection": ({}, [step("ls @", prints="")], {}),
    "`info`": ({"a": b"12345"}, [step("info --json @a", prints=(
        r"(?s)(?=.*\"size\": *5\b)(?=.*\"modified\": *\"20).*"))], {}),
    "`get`": ({"a": BIG}, [step("get @a -o fetched"), step("put --force fetched @b")], {"b": BIG}),
    "`put` of a new member": ({}, [step("put file @")], {"file": NEW}),
    "`put` over a member": ({"a": OLD}, [step("put file @a")], {"a": NEW}),
    "`put --if-unchanged-since`": ({"a": OLD, "b": OLD}, [
        step(f"put --if-unchanged-since {BEFORE} file @a", CHANGED),
        step(f"put --if-unchanged-since {AFTER} file @b")], {"a": OLD, "b": NEW}),
    "`put --force`": ({"a": OLD}, [step("put --force file @a")], {"a": NEW}),
    "`edit`": ({"a": OLD}, [step("edit @a")], {"a": b"old\nmine\n"}),
    "`edit` of a new member": ({}, [step("edit @a")], {"a": b"mine\n"}),
    "`lock`": ({"a": b"b\na\n"}, [step("lock @a -- sort -o {} {}")], {"a": b"a\nb\n"}),
    "`lock` keeps others out": ({"a": OLD}, [
        step(f"lock @a -- sh -c '! {sys.executable} intruder @a 2>/dev/null'")], {"a": OLD}),
    "`mv`": ({"a": OLD}, [step("mv @a b")], {"a": None, "b": OLD}),
    "`mv` onto another is refused": ({"a": OLD, "b": NEW}, [step("mv @a b", REFUSED)],
                                     {"a": OLD, "b": NEW}),
    "`mkcol`": ({}, [step("mkcol @sub/"), step("ls @", prints="sub/\n"),
                     step("mkcol @sub/", REFUSED)], {}),
    "`mkcol -p`": ({}, [step("mkcol -p @sub/deep/er/"), step("mkcol -p @sub/deep/er/"),
                        step("ls @sub/deep/", prints="er/\n")], {}),
    "`rm`": ({"a": OLD}, [step("rm @a")], {"a": None}),
    "`rm --older-than`": ({"a": OLD, "b": OLD}, [
        step(f"rm --older-than {BEFORE} @a", CHANGED), step(f"rm --older-than {AFTER} @b")],
                          {"a": OLD, "b": None}),
    "`rmcol` of an empty collection": ({"sub/": None}, [step("rmcol @sub/"),
                                                        step("ls @", prints="")], {}),
    "`rmcol` with a member is refused": ({"sub/": None, "sub/a": OLD},
                                         [step("rmcol @sub/", REFUSED)], {"sub/a": OLD}),
    "`rmcol --recursive`": ({"sub/": None, "sub/deep/": None, "sub/deep/a": OLD}, [
        step("rmcol --recursive @sub/"), step("ls @", prints="")], {}),
    "all of these with an awkward name": ({}, [
        step(f"put {LOCAL} @"), step("ls @", prints=re.escape(AWKWARD) + "\n"),
        step(f"edit @{REMOTE}"), step(f"mv @{REMOTE} {SECOND}"),
        step(f"get @2{REMOTE} -o -", prints="new\nmine\n"), step(f"rm @2{REMOTE}")],
                                          {AWKWARD: None, "2" + AWKWARD: None}),
}


class Place:
    """A collection for a check, made and looked at without quillon."""

    def __init__(self, build, base, home):
        self.program, self.home = build / "bin/quillon", home
        self.url = base + "c/"
        self.ask("MKCOL", "", expected=[201])

    def ask(self, method, name, body=None, expected=(200, 201, 204)):
        url = urllib.parse.urlsplit(self.url + urllib.parse.quote(name))
        connection = http.client.HTTPConnection(url.netloc, timeout=20)
        connection.request(method, url.path, body)
        answer = connection.getresponse()
        content = answer.read()
        connection.close()
        if answer.status not in expected:
            raise Fault(f"{method} {name} answered {answer.status}")
        return content

    def run(self, command, code, prints):
        environment = {"HOME": str(self.home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8",
                       "EDITOR": "sh -c 'echo mine >>\"$1\"' editor"}
        words = shlex.split(command.replace("@", self.url))
        done = subprocess.run([self.program, "--timeout", "10", *words], cwd=self.home,
                              env=environment, capture_output=True, text=True, timeout=60)
        if done.returncode != code or not re.fullmatch(prints, done.stdout, re.S):
            raise Fault(f"{command}: exit code {done.returncode}\n{done.stdout}{done.stderr}")
        if left := list(self.home.glob(".cache/quillon/*")):
            raise Fault(f"{command} left {left}")

    def check(self, before, steps, after):
        for name in ("file", AWKWARD):
            (self.home / name).write_bytes(NEW)
        (self.home / "intruder").write_text(INTRUDER)
        for name, content in before.items():
            self.ask("MKCOL" if name.endswith("/") else "PUT", name, content)
        for command, code, prints in steps:
            self.run(command, code, prints)
        for name, content in after.items():
            found = self.ask("GET", name, expected=[200] if content else [404, 410])
            if content and found != content:
                raise Fault(f"{name} holds {found[:60]!r}")
            if content:
                self.ask("PUT", name, content)  # it is locked no more


# What the servers' own faults and limits are.
NO_CREATION_DATE = ("The server keeps no `creationdate` (RFC 4918, 15.1), which is what this option "
                    "compares: quillon says so, deletes nothing, and ends with 1.")
MKCOL_ALWAYS = ("rclone answers 201 to MKCOL where a collection is already (RFC 4918, 9.3.1 wants "
                "405), so that it cannot be told from one that was made. Nothing is lost by it.")
IF_CRASH = ("webdav-server crashes (TypeError in its IfParser.js) at an `If` header whose list has "
            "no tag (RFC 4918, 10.4.2), as a PUT under a lock has it. The changed content stays in "
            "a local file that the message names; `put --force` writes without a lock.")
NO_LOCKS = ("Without locks nobody is kept out. What others stored meanwhile is noticed, and not "
            "overwritten.")
LOCK_IGNORED = ("webdav-server lets a PUT without the token through while the member is locked "
                "(RFC 4918, 7 wants 423).")
NOTES = {  # by server and check
    ("class-1", "`lock` keeps others out"): NO_LOCKS,
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
        home = folder / str(number)
        (home / "person").mkdir(parents=True)
        try:
            with server.running(build, home) as base:
                Place(build, base, home / "person").check(*check)
        except (Fault, OSError, http.client.HTTPException, subprocess.TimeoutExpired) as fault:
            failures[label] = f"{type(fault).__name__}: {fault}"
    return failures


def document(ran, program):
    used = []

    def cell(name, label):
        if label not in ran[name]:
            return "works"
        note = NOTES.get((name, label))
        if not note:
            return "**fails**"
        if note not in used:
            used.append(note)
        return f"no [{used.index(note) + 1}]"

    rows = [["", *(SERVERS[name].title for name in ran)], ["---"] * (len(ran) + 1),
            ["version", *(SERVERS[name].version.group(1) for name in ran)],
            *([label, *(cell(name, label) for name in ran)] for label in CHECKS)]
    return "\n".join([
        "# Interoperability", "",
        "The whole command set against each server, as `./dev interop` ran it on "
        f"{datetime.date.today().isoformat()} with {program}. The numbers lead to what a server "
        "does not do, below.", "",
        *("| " + " | ".join(row) + " |" for row in rows), "",
        *(f"{number}. {note}" for number, note in enumerate(used, 1)), ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("servers", nargs="*")
    parser.add_argument("--output", type=pathlib.Path)
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    os.environ["PATH"] += ":/usr/sbin"
    surprises, ran = [], {}
    with tempfile.TemporaryDirectory() as temporary:
        for name in arguments.servers or SERVERS:
            folder = pathlib.Path(temporary) / name
            if not SERVERS[name].prepare(folder):
                print(f"{name}: not installed, left out", file=sys.stderr)
                continue
            ran[name] = failures = run(SERVERS[name], build, folder)
            surprises += [f"{name}, {label}: {fault}" for label, fault in failures.items()
                          if (name, label) not in NOTES]
            for label in CHECKS:
                if (name, label) in NOTES and label not in failures:
                    print(f"{name}, {label}: works, its note can go", file=sys.stderr)
    text = document(ran, output_of(f"{build}/bin/quillon --version", build).strip())
    if arguments.output:
        arguments.output.write_text(text)
    print(text)
    print("\n".join(surprises), file=sys.stderr)
    return 1 if surprises else 0


if __name__ == "__main__":
    sys.exit(main())
