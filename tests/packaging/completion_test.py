#!/usr/bin/env python3
"""Types command lines into a real shell, presses Tab, and compares the words that the program then
gets: completion_test.py SHELL QUILLON TESTSERVER COMPLETIONS_DIR"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import pexpect

# What is typed, with the Tab as "^", and the words that come of it, quoted where they hold blanks.
ROWS = r"""
in^                           -> info
--vers^                       -> --version
-u ann --insecure inf^        -> -u ann --insecure info
get --out^                    -> get --output
get -vo loc^                  -> get -vo 'local file'
get --output=loc^             -> get '--output=local file'
ls --auth neg^                -> ls --auth negotiate
get -O fol^x                  -> get -O folder/x
ls {url}sub^x                 -> ls '{url}sub dir/x'
get {url}My\ r^               -> get '{url}My report.txt'
get "{url}My r^               -> get '{url}My report.txt'
get {url}My%20r^              -> get {url}My%20report.txt
get {url}100^                 -> get '{url}100%2525 x'
get {url}a:^                  -> get '{url}a:b$c'
get {url}gr^x                 -> get {url}größe.csv x
get {url}sub\ dir/^           -> get '{url}sub dir/only'
get {url}nothing^             -> get {url}nothing
get {private}on^              -> get {private}on
get {login} {private}on^       -> get {login} {private}only
put loc^                      -> put 'local file'
put x {url}su^x               -> put x '{url}sub dir/x'
lock {url}x -- loc^           -> lock {url}x -- 'local file'
ls wo^x                       -> ls work:x
get work:on^                  -> get work:only
logout wo^                    -> logout work
ls nowhere:x^                 -> ls nowhere:x
ls http://127.0.0.1:1/x^      -> ls http://127.0.0.1:1/x
"""
FILES = ["public/My report.txt", "public/My notes.txt", "public/100%25 x", "public/a:b$c",
         "public/größe.csv", "public/sub dir/only", "private/only", "home/folder/local",
         "home/local file"]
START = {
    "bash": (["--norc", "-i"], "PS1=@READY@; source {scripts}/quillon.bash"),
    "zsh": (["-f", "-i"], "PS1=@READY@; fpath=({scripts} $fpath); autoload -Uz compinit; "
                          "compinit -u -D"),
    "fish": (["--no-config", "-i"], "function fish_prompt; echo @READY@; end; "
                                    "source {scripts}/quillon.fish"),
}
PATIENCE = 60  # seconds


def start(name, scripts, home):
    arguments, setup = START[name]
    shell = pexpect.spawn(name, arguments, cwd=home, encoding="utf-8", timeout=PATIENCE,
                          dimensions=(24, 500), env={
        "HOME": home, "PATH": f"{home}/bin:{os.environ['PATH']}", "TERM": "dumb",
        "LC_ALL": "C.UTF-8", "SHELL": shutil.which(name)})
    shell.sendline(setup.format(scripts=scripts))
    shell.expect("@READY@(?!;)")
    return shell


def words_of(shell, typed):
    shell.sendline("quillon " + typed.replace("^", "\t"))
    shell.expect("<<<(.*?)>>>.*?@READY@")
    return shell.match[1].splitlines()


def make(path, content=""):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(content)


def main(name, quillon, testserver, scripts):
    if not shutil.which(name):
        print(f"{name} is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        work, home = pathlib.Path(folder), pathlib.Path(folder, "home")
        for file in FILES:
            make(work / file)
        # Stands in for the program, but for what its words may become.
        make(home / "bin/quillon", '#!/bin/sh\n[ "$1" = __complete ] && '
             f'exec {quillon} "$@"\nprintf "<<<"; printf "%s\\n" "$@"; printf ">>>\\n"\n')
        (home / "bin/quillon").chmod(0o755)
        servers = [subprocess.Popen([testserver, "--directory", *options], text=True,
                                    stdout=subprocess.PIPE)
                   for options in ([f"{work}/public"], [f"{work}/private", "--auth", "basic"])]
        try:
            (url, *_), (private, user, password) = (
                server.stdout.readline().rstrip("\n").split(" ", 2) for server in servers)
            make(home / "password", password + "\n")
            login = ["-u", user, "--password-file", "password"]
            subprocess.run([quillon, "login", "work", private, *login], cwd=home, check=True,
                           env={"HOME": home}, stdout=sys.stderr)
            rows = ROWS.format(url=url, private=private, login=" ".join(login))
            shell = start(name, scripts, str(home))
            failed = 0
            for typed, expected in re.findall("(.*?) +-> (.*)", rows):
                if (words := words_of(shell, typed)) != shlex.split(expected):
                    print(f"{typed}: {words} instead of {expected}")
                    failed = 1
            return failed
        finally:
            for server in servers:
                server.terminate()


sys.exit(main(*sys.argv[1:]))
