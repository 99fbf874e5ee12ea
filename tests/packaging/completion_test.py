#!/usr/bin/env python3
"""Types command lines into a real shell, presses Tab, and compares the words that the program then
gets: completion_test.py SHELL QUILLON TESTSERVER COMPLETIONS_DIR"""
import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile

# What is typed before and after the Tab, and the words that come of it.
ROWS = [
    ("in", "", ["info"]),
    ("--vers", "", ["--version"]),
    ("-u ann --insecure inf", "", ["-u", "ann", "--insecure", "info"]),
    ("get --out", "", ["get", "--output"]),
    ("get -vo loc", "", ["get", "-vo", "local file"]),
    ("get --output=loc", "", ["get", "--output=local file"]),
    ("get -O fol", "x", ["get", "-O", "folder/x"]),
    ("ls {url}sub", "x", ["ls", "{url}sub dir/x"]),
    ("get {url}My\\ r", "", ["get", "{url}My report.txt"]),
    ('get "{url}My r', "", ["get", "{url}My report.txt"]),
    ("get {url}My%20r", "", ["get", "{url}My%20report.txt"]),
    ("get {url}100", "", ["get", "{url}100%2525 x"]),
    ("get {url}a:", "", ["get", "{url}a:b$c"]),
    ("get {url}gr", "x", ["get", "{url}größe.csv", "x"]),
    ("get {url}sub\\ dir/", "", ["get", "{url}sub dir/only"]),
    ("get {url}nothing", "", ["get", "{url}nothing"]),
    ("get {private}on", "", ["get", "{private}on"]),
    ("get -u {user} --password-file password {private}on", "",
     ["get", "-u", "{user}", "--password-file", "password", "{private}only"]),
    ("put loc", "", ["put", "local file"]),
    ("put x {url}su", "x", ["put", "x", "{url}sub dir/x"]),
    ("lock {url}x -- loc", "", ["lock", "{url}x", "--", "local file"]),
    ("ls wo", "x", ["ls", "work:x"]),
    ("get work:on", "", ["get", "work:only"]),
    ("logout wo", "", ["logout", "work"]),
    ("ls nowhere:x", "", ["ls", "nowhere:x"]),
    ("ls http://127.0.0.1:1/x", "", ["ls", "http://127.0.0.1:1/x"]),
]
MEMBERS = ["My report.txt", "My notes.txt", "100%25 x", "a:b$c", "größe.csv", "sub dir/only"]
START = {
    "bash": (["--norc", "-i"], "PS1=@READY@; source {scripts}/quillon.bash"),
    "zsh": (["-f", "-i"], "PS1=@READY@; fpath=({scripts} $fpath); autoload -Uz compinit; "
                          "compinit -u -D"),
    "fish": (["--no-config", "-i"], "function fish_prompt; echo @READY@; end; "
                                    "source {scripts}/quillon.fish"),
}
PATIENCE = 60  # seconds


class Shell:
    def __init__(self, name, scripts, home, path):
        arguments, setup = START[name]
        environment = {"HOME": home, "PATH": path, "TERM": "dumb", "LC_ALL": "C.UTF-8",
                       "XDG_CONFIG_HOME": home + "/.config", "SHELL": shutil.which(name)}
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(home)
            os.execvpe(name, [name, *arguments], environment)
        self.seen = ""
        self.type(setup.format(scripts=scripts) + "\n")
        self.expect("@READY@(?!;)")

    def type(self, text):
        os.write(self.terminal, text.encode())

    def expect(self, pattern):
        """The text up to the pattern, which is then taken for read."""
        while not (match := re.search(pattern, self.seen, re.S)):
            ready, _, _ = select.select([self.terminal], [], [], PATIENCE)
            if not ready:
                sys.exit(f"no {pattern!r} came in {self.seen!r}")
            self.seen += os.read(self.terminal, 65536).decode(errors="replace")
        self.seen = self.seen[match.end():]
        return match

    def words_of(self, line, rest):
        self.type(f"quillon {line}\t{rest}\n")
        words = self.expect("<<<(.*?)>>>").group(1)
        self.expect("@READY@")
        return [word for word in words.replace("\r\n", "\n").split("\n") if word]


def serve(testserver, directory, *options):
    server = subprocess.Popen([testserver, "apache", "--directory", directory, *options],
                              stdout=subprocess.PIPE, text=True)
    return server, server.stdout.readline().rstrip("\n").split(" ", 2)


def make(path, content=""):
    os.makedirs(os.path.dirname(path), mode=0o755, exist_ok=True)
    with open(path, "w") as file:
        file.write(content)


def main(name, quillon, testserver, scripts):
    if not shutil.which(name):
        print(f"{name} is not installed")
        return 77
    with tempfile.TemporaryDirectory() as work:
        os.chmod(work, 0o755)
        for member in MEMBERS:
            make(f"{work}/public/{member}")
        make(f"{work}/private/only")
        make(f"{work}/home/folder/local")
        make(f"{work}/home/local file")
        # Stands in for the program, but for what its words may become.
        make(f"{work}/bin/quillon", '#!/bin/sh\n[ "$1" = __complete ] && '
             f'exec {quillon} "$@"\nprintf "<<<"; printf "%s\\n" "$@"; printf ">>>\\n"\n')
        os.chmod(f"{work}/bin/quillon", 0o755)
        public, (url, *_) = serve(testserver, f"{work}/public")
        closed, (private, user, password) = serve(testserver, f"{work}/private", "--auth", "basic")
        try:
            make(f"{work}/home/password", password + "\n")
            subprocess.run([quillon, "login", "work", private, "--user", user, "--password-file",
                            "password"], cwd=f"{work}/home", check=True, stdout=sys.stderr,
                           env={"HOME": f"{work}/home"})
            texts = {"url": url, "private": private, "user": user}
            shell = Shell(name, scripts, f"{work}/home", f"{work}/bin:{os.environ['PATH']}")
            failed = 0
            for line, rest, expected in ROWS:
                words = shell.words_of(line.format(**texts), rest)
                expected = [word.format(**texts) for word in expected]
                if words != expected:
                    print(f"{line}: {words} instead of {expected}")
                    failed += 1
        finally:
            public.terminate()
            closed.terminate()
    print(f"{len(ROWS) - failed} passed, {failed} failed")
    return failed > 0


sys.exit(main(*sys.argv[1:]))
