#!/usr/bin/env python3
"""The transcripts of README.md on a private Apache: readme_test.py BUILD_DIR. Each block that is
marked as a console is typed in turn, in one directory, and what comes is what stands there. A
comment that says "Meanwhile somebody stores another NAME" is done on the server."""

import difflib
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SHOWN = "https://dav.example.org/"
README = pathlib.Path(__file__).resolve().parent.parent / "README.md"
MEMBERS = {  # their content and dates
    "reports/list.txt": ("pears\napples\n", "2026-11-20T16:05:00Z"),
    "reports/plan.txt": ("Ship on Monday.\n", "2026-11-24T08:00:00Z"),
    "reports/q3.csv": ("region,sum\nnorth,120\nsouth,95\n", "2026-11-02T09:30:00Z"),
}
FILES = {"plans/hello.txt": "hello\n", "plans/2027/budget.txt": "draft\n"}


def write(path, text, date=None):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    if date:
        subprocess.run(["touch", "-d", date, path], check=True)


def transcripts():
    return re.findall(r"^```console\n(.*?)^```$", README.read_text(), re.MULTILINE | re.DOTALL)


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as temporary:
        root = pathlib.Path(temporary)
        root.chmod(0o755)  # Apache's children are nobody
        for name, (text, date) in MEMBERS.items():
            write(root / "members" / name, text, date)
        for name, text in FILES.items():
            write(root / "work" / name, text)
        for folder in [root / "members", *(root / "members").rglob("*/")]:
            folder.chmod(0o777)
        server = subprocess.Popen([build / "bin/testserver", "--directory", root / "members"],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            url = server.stdout.readline().split()[0]
            site = root / "home/.config/quillon/sites/work.toml"
            write(site, f'url = "{url}"\n')
            site.chmod(0o600)
            site.parent.chmod(0o700)
            environment = {"HOME": str(root / "home"), "TZ": "UTC", "LC_ALL": "C.UTF-8",
                           "PATH": f"{build}/bin:{os.environ['PATH']}"}
            blocks = transcripts()
            assert blocks, "README.md has no transcripts"
            came = [type_in(block, root, url, environment) for block in blocks]
        finally:
            server.terminate()
            server.wait()
    differs = False
    for block, text in zip(blocks, came):
        for line in difflib.unified_diff(block.splitlines(), text.splitlines(), "README.md",
                                         "quillon", lineterm=""):
            differs = True
            print(line)
    return 1 if differs else 0


def type_in(block, root, url, environment):
    """The block with what comes in place of what it says."""
    result = ""
    for line in block.splitlines():
        if line.startswith("# "):
            if changed := re.match(r"# Meanwhile somebody stores another (\S+):", line):
                write(root / "members" / changed[1], "Ship on Tuesday.\n")
            result += line + "\n"
        if line.startswith("$ "):
            ran = subprocess.run(["bash", "-c", line[2:]], cwd=root / "work", env=environment,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, text=True, timeout=60)
            result += line + "\n" + ran.stdout.replace(url, SHOWN)
    return result


if __name__ == "__main__":
    sys.exit(main())
