import http from 'node:http';
import { v2 } from 'webdav-server';
const dav = new v2.WebDAVServer();
const handler = (request, response) => dav.executeRequest(request, response);
http.createServer(handler).listen($port, '$host');
