#!/usr/bin/env python3
"""Runs quillon's whole command set against many WebDAV servers and writes the outcome as a table:
tests/interoperability.py BUILD_DIR [SERVER...] [--output FILE]

Exit code 1: something fails that no note explains. With --serve HOME it only starts the server, on
127.0.0.1 and in that folder, for other tests: it prints the URL, and serves until it is ended. Exit
code 77: the server is not installed."""

import argparse
import contextlib
import datetime
import os
import pathlib
import re
import signal
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

HOST = "127.0.0.2"  # where no other test takes the port before the server does
CONFIGURATIONS = pathlib.Path(__file__).resolve().parent / "data" / "servers"


class Server:
    """The command runs in a folder $home, where its configuration is, and "members", empty. Where
    neither names $port, on $host, it prints its URL. packages: from npm."""

    def __init__(self, title, version, command, configuration="", packages=""):
        self.title, self.version = title, version  # a command and the pattern of what it prints
        self.command, self.configuration, self.packages = command, configuration, packages
        self.settings = configuration and (CONFIGURATIONS / configuration).read_text()

    def prepare(self, folder):
        """For all the homes in the folder. False: the server is not installed."""
        folder.mkdir()
        if self.packages:
            output_of("npm install --no-audit --no-fund " + self.packages, folder)
        command, pattern = self.version
        self.version = re.search(pattern, output_of(command, folder))
        return self.version is not None

    @contextlib.contextmanager
    def running(self, build, home, host=HOST):
        with socket.create_server((host, 0)) as free:
            port = free.getsockname()[1]
        fill = lambda text: string.Template(text).substitute(home=home, host=host, port=port,
                                                             build=build)
        (home / (self.configuration or "none")).write_text(fill(self.settings))
        (home / "members").mkdir()
        log = home / "log"
        with open(log, "w") as output:
            process = subprocess.Popen("exec " + fill(self.command), shell=True, cwd=home,
                                       stdout=output, stderr=output)
        try:
            while not (url := self.url(host, port, log.read_text())):
                if process.poll() is not None:
                    raise Fault("it did not start: " + log.read_text())
                time.sleep(0.01)
            yield url
            if process.poll() is not None:
                raise Fault("the server crashed: " + log.read_text())
        finally:
            process.terminate()
            process.wait()

    def url(self, host, port, printed):
        """Once it is ready."""
        if "$port" not in self.command + self.settings:
            return printed.strip()
        with contextlib.suppress(ConnectionError):
            socket.create_connection((host, port)).close()
            return f"http://{host}:{port}/"


def output_of(command, folder):
    return subprocess.run(command, shell=True, cwd=folder, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT).stdout


def node_server(package, more_packages=""):
    version = (f"JSON.parse(fs.readFileSync('node_modules/{package}/package.json')).version"
               " + ' on node ' + process.versions.node")
    configuration = package + ".mjs"
    return ((f'node -p "{version}"', r"^(\d.*)"), "node " + configuration, configuration,
            package + " " + more_packages)


SERVERS = {
    "apache": Server("Apache mod_dav", ("apache2 -v", r"Apache/(\S+)"), "$build/bin/testserver"),
    "class-1": Server("Apache without locks", ("apache2 -v", r"Apache/(\S+)"),
                      "$build/bin/testserver --without-locks"),
    "lighttpd": Server(
        "lighttpd mod_webdav", ("lighttpd -v", r"lighttpd/(\S+)"), "lighttpd -D -f lighttpd.conf",
        "lighttpd.conf"),
    "nginx": Server(
        "nginx with dav-ext", ("nginx -v", r"nginx/(\S+)"), "nginx -e stderr -p . -c nginx.conf",
        "nginx.conf"),
    "rclone": Server(
        "rclone serve", ("rclone version", r"rclone v(\S+)"),
        "rclone serve webdav members --addr $host:$port --config conf --cache-dir cache"),
    "webdav-server": Server("webdav-server", *node_server("webdav-server")),
    "nephele": Server("Nephele", *node_server(
        "nephele", "@nephele/adapter-file-system @nephele/authenticator-none express")),
}


# ---- what quillon does there, and how the server saw it

# $U is a collection of the check's own, empty; "file" holds "new", and the editor appends "mine".
# Servers are asked without quillon by `ask`, `put`, `holds` and `gone`.
COMMANDS = r"""
set -eu
q() {
    local code=0
    quillon --timeout 10 "$@" || code=$?
    [ -z "$(ls .cache/quillon 2>/dev/null)" ] || exit 99  # it left something behind
    return $code
}
fails() { local code=0; q "${@:2}" || code=$?; [ $code = "$1" ]; }
prints() { local all; all=$(q "${@:2}" && echo .); [[ $all = $1. ]]; }  # a pattern
ask() { curl -gsf --max-time 20 -X "$@"; }
put() { printf "$2" | ask PUT "$U$1" --data-binary @-; }
holds() { cmp <(printf "$2") <(ask GET "$U$1"); put "$1" "$2"; }  # and is locked no more
gone() { [[ $(curl -gso answer -w '%{http_code}' "$U$1") = 4[01][04] ]]; }
printf 'new\n' >file
ask MKCOL "$U"
"""
AWKWARD = "100%20 Übung #1; a+b & [c] 'd' \"e\" =,~🦊?.txt"
CHECKS = {
    "`ls`": r"put b x; put a x; ask MKCOL ${U}c/; prints $'a\nb\nc/\n' ls $U",
    "`ls -l`": r"put a 12345; prints $'*5 B *20??-??-?? *a\n' ls -l $U",
    "`ls` of an empty collection": r"prints '' ls $U",
    "`info`": r"""put a 12345; ask MKCOL ${U}c/; prints '{"name":"c",*,"type":"collection",*' \
info --json ${U}c; prints '*"'${U}'a","type":"file","size":5,*"modified":"20*Z",*' info --json ${U}a
""",
    "`get`": r"head -c 200000 /dev/urandom >big; ask PUT ${U}a --data-binary @big;"
             r"q get ${U}a -o fetched; cmp big fetched",
    "`put` of a new member": r"q put file $U; holds file 'new\n'",
    "`put` over a member": r"put a old; q put file ${U}a; holds a 'new\n'",
    "`put --if-unchanged-since`": r"put a old; since='put --if-unchanged-since';"
                                  r"fails 6 $since 2001-01-01 file ${U}a; holds a old;"
                                  r"q $since 2090-01-01 file ${U}a; holds a 'new\n'",
    "`put --force`": r"put a old; q put --force file ${U}a; holds a 'new\n'",
    "`edit`": r"put a 'old\n'; q edit ${U}a; holds a 'old\nmine\n'",
    "`edit` of a new member": r"q edit ${U}a; holds a 'mine\n'",
    "`lock`": r"put a 'b\na\n'; q lock ${U}a -- sort -o {} {}; holds a 'a\nb\n'",
    "`lock` keeps others out": r"put a old; q lock ${U}a -- sh -c '! curl -sfT file '${U}a;"
                               r"holds a old",
    "`mv`": r"put a old; q mv ${U}a b; gone a; holds b old",
    "`mv` onto another is refused": r"put a old; put b new; fails 1 mv ${U}a b;"
                                    r"holds a old; holds b new",
    "`mkcol`": r"q mkcol ${U}sub/; prints $'sub/\n' ls $U; fails 1 mkcol ${U}sub/",
    "`mkcol -p`": r"for i in 1 2; do q mkcol -p ${U}c/d/e/; done; prints $'e/\n' ls ${U}c/d/",
    "`cp`, and `mv` to another collection": r"put a old; ask MKCOL ${U}c/; q cp ${U}a ${U}c/;"
                                            r"fails 1 cp ${U}a ${U}c/; holds c/a old;"
                                            r"q mv ${U}a ${U}c/b; gone a; holds c/b old",
    "`cp -r` and `mv` of a tree": r"ask MKCOL ${U}c/; put c/a old; q cp -r ${U}c ${U}d;"
                                  r"q cp -r ${U}c ${U}d; fails 1 cp -r ${U}c ${U}d;"
                                  r"holds d/a old; holds d/c/a old;"
                                  r"q mv ${U}d ${U}c/; gone d/; holds c/d/c/a old",
    "`rm -r`": r"ask MKCOL ${U}c/; put c/a old; fails 2 rm -r ${U}c; holds c/a old;"
               r"q rm -r --yes ${U}c; prints '' ls $U",
    "`doctor` leaves nothing": r"prints '*' doctor --json $U; prints '' ls -a $U",
    "`doctor` finds locks that keep others out": r"""prints '*"locks":true,*' doctor --json $U""",
    "`prop`": r"put a old; q prop set ${U}a '{urn:x}b' 'text <&>' '{urn:x}c' '';"
              r"prints $'text <&>\n' prop get ${U}a '{urn:x}b'; q prop rm ${U}a '{urn:x}b';"
              r"fails 3 prop get ${U}a '{urn:x}b'; holds a old",
    "`tree`, `find`, `du`, `ls -R`": r"""
ask MKCOL ${U}c/; ask MKCOL ${U}c/d/; put c/a 12345; put c/d/b 1; put f ''
prints "$U"$'\n├── c/\n│   ├── a\n│   └── d/\n│       └── b\n└── f\n\n2 collections, 3 files\n' tree $U
prints "${U}c/a"$'\n' find --name a --size +1 --newer 1h $U; prints '*"path":"d/b",*' find --json ${U}c
prints $'6\t'"${U}c/"$'\n' du -s ${U}c; prints '*d/:'$'\nb\n' ls -R $U""",
    "`cat`, `head`, `tail`": r"""
seq 100000 | ask PUT ${U}a --data-binary @-; put b ''; prints $'1\n2\n' head -n2 ${U}a
prints '1'$'\n2' head -c3 ${U}a; prints $'99999\n100000\n' tail -n2 ${U}a
prints $'0000\n' tail -c5 ${U}a; prints '' tail ${U}b; prints '' head -c1 ${U}b; prints '' cat ${U}b
q cat ${U}a ${U}b | cmp - <(seq 100000)""",
    "`df`": r"""prints '{"url":"*","used":*,"available":[1-9]*}'$'\n' df --json $U""",
    "`locks`, and `unlock --mine`": r"put a old; q lock ${U}a; prints '*yours, kept*' locks $U;"
                                    r"q unlock --mine $U; holds a old",
    "`unlock --steal`": r"put a old; q lock ${U}a; rm -rf .local; q unlock --steal -y ${U}a;"
                        r"holds a old",
    "`check`": r"mkdir up; cp file up; q put -r up $U; q check up ${U}up; put up/file other;"
               r"fails 6 check up ${U}up; fails 6 check --checksum up ${U}up",
    "`touch`": r"q touch ${U}a; holds a ''; put a old; q touch ${U}a || :; holds a old",
    "`open`": r"""put a old; export QUILLON_OPENER='sh -c "printf new >\$1" sh';"""
              r"q open ${U}a </dev/null; holds a new",
    "`rm`": r"put a old; q rm ${U}a; gone a",
    "`rm --older-than`": r"put a old; fails 6 rm --older-than 2001-01-01 ${U}a; holds a old;"
                         r"q rm --older-than 2090-01-01 ${U}a; gone a",
    "`rmcol` of an empty collection": r"ask MKCOL ${U}c/; q rmcol ${U}c/; prints '' ls $U",
    "`rmcol` with a member is refused": r"ask MKCOL ${U}c/; put c/a old; fails 1 rmcol ${U}c/;"
                                        r"holds c/a old",
    "`rmcol --recursive`": r"ask MKCOL ${U}c/; ask MKCOL ${U}c/d/; put c/d/a old;"
                           r"q rmcol -r ${U}c/; prints '' ls $U",
    "`put` and `rm` under a `lock` of one's own": r"""
        put b x; q lock ${U}b >token; q put file ${U}b; cmp file <(ask GET ${U}b)
        q rm ${U}b; gone b; put b y""",
    "`sync` in both directions": r"""
mkdir -p one/d two; printf 'a\n' >one/a; printf b >one/d/b; touch -d '1 hour ago' one/a one/d/b
s() { q sync -q "$@"; }; s -y one $U; s -y two $U; cmp one/d/b two/d/b
printf 'more\n' >>one/a; touch -d '50 min ago' one/a; rm two/d/b; rmdir two/d
s two; s one; s two; cmp one/a two/a; [ ! -e one/d ]; gone d/; holds a 'a\nmore\n'""",
    "`sync` moves what was moved": r"""
mkdir -p one/d; printf b >one/d/b; touch -d '1 hour ago' one/d/b; q sync -q -y one $U; q sync -q one
mv one/d one/e; mv one/e/b one/e/c; q sync -q one; q sync -q one; gone d/; holds e/c b""",
    "`sync` leaves a conflict to the person": r"""
mkdir one; printf 'a\n' >one/a; touch -d '1 hour ago' one/a; q sync -q -y one $U; sleep 2; q sync -q one
printf mine >one/a; touch -d '50 min ago' one/a; put a theirs; fails 6 sync -q one; holds a theirs
grep -q theirs one/a*theirs*; q resolve --mine one/a; sleep 2; q sync -q one; holds a mine; cmp one/a <(printf mine)
q undo -C one; holds a theirs""",
    "`sync` of nothing new asks for no content": r"""
mkdir one; printf a >one/a; touch -d '1 hour ago' one/a; q sync -q -y one $U; sleep 3; q sync -q one
q -vv sync one 2>log; ! grep -E '\] (GET|HEAD|OPTIONS|PUT|POST|DELETE|MOVE|MKCOL|LOCK|UNLOCK) http' log""",
    "all of these with an awkward name": r"""
cp file "$NAME"; q put "$NAME" $U; q edit $U$SENT; q mv $U$SENT "2$NAME"; gone $SENT
prints "2${NAME//[/\\[}"$'\n' ls $U; holds 2$SENT 'new\nmine\n'; q rm ${U}2$SENT; gone 2$SENT""",
}


def check(script, build, url, home):
    environment = {"HOME": home, "PATH": f"{build}/bin:{os.environ['PATH']}", "U": url + "c/",
                   "LC_ALL": "C.UTF-8", "EDITOR": "sh -c 'echo mine >>\"$1\"' editor",
                   "NAME": AWKWARD, "SENT": urllib.parse.quote(AWKWARD)}
    done = subprocess.run(["bash", "-xc", COMMANDS + script], cwd=home, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
    if done.returncode != 0:
        raise Fault("\n".join(done.stdout.splitlines()[-12:]))


# What the servers' own faults and limits are.
NO_DATE = ("The server keeps no `creationdate` (RFC 4918, 15.1), which is what this option "
           "compares: quillon says so, deletes nothing, and ends with 1.")
MKCOL_ALWAYS = ("rclone answers 201 to MKCOL where a collection is already (RFC 4918, 9.3.1 wants "
                "405), so that it cannot be told from one that was made. Nothing is lost by it.")
IF_CRASH = ("webdav-server crashes (TypeError in its IfParser.js) at an `If` header whose list has "
            "no tag (RFC 4918, 10.4.2), as a PUT under a lock has it, and those by which `put -r`, "
            "`sync`, `touch` and `doctor` find out what it does. The changed content stays in a local file "
            "that the message names; `put --force` writes without a lock.")
NO_LOCKS = ("Without locks nobody is kept out. What others stored meanwhile is noticed, and not "
            "overwritten.")
LOCK_IGNORED = ("webdav-server lets a PUT without the token through while the member is locked "
                "(RFC 4918, 7 wants 423).")
NO_PROPERTIES = ("nginx knows no PROPPATCH, and rclone refuses it for properties that are not its own: "
                 "neither keeps any (RFC 4918, 4.2).")
NO_DISCOVERY = ("rclone tells nobody's locks (`lockdiscovery`; RFC 4918, 15.8), so that those of "
                "others can neither be shown nor taken off. `locks` shows those that are noted "
                "here.")
NO_QUOTA = "The server tells no quota (RFC 4331): `df` says so, and ends with 1."
SHORT_PARTS = ("webdav-server sends fewer bytes of a range than it announces, and the connection "
               "breaks off: `tail` fails with 7. `cat` gets the whole.")
PROPPATCH_CRASH = ("webdav-server answers a PROPPATCH twice, and crashes at that "
                   "(ERR_HTTP_HEADERS_SENT in its Proppatch.js).")
NOTES = {  # by server and check
    **{("class-1", check): NO_LOCKS
       for check in ("`lock` keeps others out", "`put` and `rm` under a `lock` of one's own",
                     "`doctor` finds locks that keep others out",
                     "`locks`, and `unlock --mine`", "`unlock --steal`")},
    **{(name, "`prop`"): NO_PROPERTIES for name in ("nginx", "rclone")},
    ("rclone", "`unlock --steal`"): NO_DISCOVERY,
    **{(name, "`rm --older-than`"): NO_DATE for name in ("lighttpd", "nginx", "rclone")},
    ("rclone", "`mkcol`"): MKCOL_ALWAYS,
    ("webdav-server", "`lock` keeps others out"): LOCK_IGNORED,
    ("webdav-server", "`prop`"): PROPPATCH_CRASH,
    ("webdav-server", "`cat`, `head`, `tail`"): SHORT_PARTS,
    **{(name, "`df`"): NO_QUOTA
       for name in ("apache", "class-1", "lighttpd", "nginx", "rclone", "webdav-server")},
    **{("webdav-server", check): IF_CRASH
       for check in ("`put` of a new member", "`put` over a member", "`put --if-unchanged-since`",
                     "`edit`", "`edit` of a new member", "`lock`", "`open`", "`check`", "`touch`",
                     "`doctor` leaves nothing", "`doctor` finds locks that keep others out",
                     "`put` and `rm` under a `lock` of one's own",
                     *(check for check in CHECKS if check.startswith("`sync`")),
                     "all of these with an awkward name")},
}


def run(server, build, folder):
    """A server of its own for each check, since one of them may end it."""
    failures = {}
    for number, (label, script) in enumerate(CHECKS.items()):
        home = folder / str(number)
        (home / "person").mkdir(parents=True)
        try:
            with server.running(build, home) as base:
                check(script, build, base, home / "person")
        except (Fault, subprocess.TimeoutExpired) as fault:
            failures[label] = fault
    return failures


def diagnosis(server, build, folder):
    """What `doctor` says of it."""
    home = folder / "doctor"
    home.mkdir(parents=True)
    text = ""
    with contextlib.suppress(Fault), server.running(build, home) as url:  # it may crash at that
        text = output_of(f"HOME={home} LC_ALL=C.UTF-8 {build}/bin/quillon doctor {url}", home)
        text = text.replace(url.split("//")[1].strip("/"), "dav.example.org")
    return re.sub(r"(scratch-)[-\w]+", r"\1...", re.sub(r" \(Failed to connect[^)]*\)", "", text))


def diagnoses(told):
    return "\n".join(["# What doctor says", "", "Of each server of the table "
                      "([interoperability.md](interoperability.md)), by the same `./dev interop`.",
                      *(f"\n## {title}\n\n```\n$ quillon doctor http://dav.example.org/\n{text}```"
                        for title, text in told.items()), ""])


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


def serve(server, build, home, left_out):
    if left_out:
        server.settings = "\n".join(line for line in server.settings.splitlines()
                                    if left_out not in line)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit())
    if not server.prepare(home):
        sys.exit(77)
    with server.running(build, home, "127.0.0.1") as url:
        print(url, flush=True)
        signal.pause()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("servers", nargs="*")
    parser.add_argument("--output", type=pathlib.Path)
    parser.add_argument("--serve", type=pathlib.Path, metavar="HOME")
    parser.add_argument("--without", metavar="TEXT", help="lines of its configuration")
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    os.environ["PATH"] += ":/usr/sbin"
    if arguments.serve:
        serve(SERVERS[arguments.servers[0]], build, arguments.serve, arguments.without)
    surprises, ran, told = [], {}, {}
    with tempfile.TemporaryDirectory() as temporary:
        for name in arguments.servers or SERVERS:
            folder = pathlib.Path(temporary) / name
            if not SERVERS[name].prepare(folder):
                print(f"{name}: not installed, left out", file=sys.stderr)
                continue
            ran[name] = failures = run(SERVERS[name], build, folder)
            told[SERVERS[name].title] = diagnosis(SERVERS[name], build, folder)
            surprises += [f"{name}, {label}: {fault}" for label, fault in failures.items()
                          if (name, label) not in NOTES]
            for label in CHECKS:
                if (name, label) in NOTES and label not in failures:
                    print(f"{name}, {label}: works, its note can go", file=sys.stderr)
    text = document(ran, output_of(f"{build}/bin/quillon --version", build).strip())
    if arguments.output:
        arguments.output.write_text(text)
        arguments.output.with_name("doctor.md").write_text(diagnoses(told))
    print(text)
    print("\n".join(surprises), file=sys.stderr)
    return 1 if surprises else 0


if __name__ == "__main__":
    sys.exit(main())
