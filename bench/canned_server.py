#!/usr/bin/env python3
"""A collection whose listing is ready: what a row measures is the program, not the server.

canned_server.py MEMBERS [KIND] prints its URL and the bytes of the answer, and serves until it is terminated. KIND is alike
(as Apache answers; all members have one size and one date), distinct (each has its own) or least
(the shortest members that can be listed)."""

import http.server
import random
import sys
import tempfile
import time

APACHE = """<D:response xmlns:lp1="DAV:" xmlns:lp2="http://apache.org/dav/props/">
<D:href>{path}</D:href>
<D:propstat>
<D:prop>
<lp1:resourcetype/>
<lp1:creationdate>{created}</lp1:creationdate>
<lp1:getcontentlength>{size}</lp1:getcontentlength>
<lp1:getlastmodified>{modified}</lp1:getlastmodified>
<lp1:getetag>"{size:x}-{number:x}"</lp1:getetag>
<lp2:executable>F</lp2:executable>
<D:supportedlock>
<D:lockentry>
<D:lockscope><D:exclusive/></D:lockscope>
<D:locktype><D:write/></D:locktype>
</D:lockentry>
<D:lockentry>
<D:lockscope><D:shared/></D:lockscope>
<D:locktype><D:write/></D:locktype>
</D:lockentry>
</D:supportedlock>
<D:lockdiscovery/>
<D:getcontenttype>text/plain</D:getcontenttype>
</D:prop>
<D:status>HTTP/1.1 200 OK</D:status>
</D:propstat>
</D:response>
"""


def describe(number, kind):
    if kind == "least":
        return f"<response><href>/c/{number}</href><propstat/></response>"
    moment = time.gmtime(1700000000 + (random.randrange(10**8) if kind == "distinct" else 0))
    return APACHE.format(path=f"/c/report-{number:06}.txt", number=number,
                         size=random.randrange(10**7) if kind == "distinct" else 4096,
                         created=time.strftime("%Y-%m-%dT%H:%M:%SZ", moment),
                         modified=time.strftime("%a, %d %b %Y %H:%M:%S GMT", moment))


def write_answer(file, members, kind):
    random.seed(1)
    name = "multistatus" if kind == "least" else "D:multistatus"
    space = "xmlns" if kind == "least" else "xmlns:D"
    file.write(f'<?xml version="1.0" encoding="utf-8"?>\n<{name} {space}="DAV:">'.encode())
    for number in range(members):
        file.write(describe(number, kind).encode())
    file.write(f"</{name}>\n".encode())
    file.flush()
    return file.tell()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, status, length=0):
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.send_response(status)
        self.send_header("Allow", "OPTIONS, HEAD, PROPFIND")
        self.send_header("Content-Type", "application/xml")
        self.send_header("Content-Length", str(length))
        self.end_headers()

    def do_HEAD(self):
        self.answer(200)

    def do_OPTIONS(self):
        self.answer(200)

    def do_PROPFIND(self):
        self.answer(207, self.server.length)
        self.wfile.flush()
        self.connection.sendfile(self.server.file, 0)

    def log_message(self, *_):
        pass


def main():
    kind = sys.argv[2] if len(sys.argv) > 2 else "alike"
    with tempfile.TemporaryFile() as file:
        length = write_answer(file, int(sys.argv[1]), kind)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        server.file, server.length = file, length
        print(f"http://127.0.0.1:{server.server_port}/c/ {length}", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    main()
