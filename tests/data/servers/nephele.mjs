import http from 'node:http';
import express from 'express';
import nephele from 'nephele';
import Adapter from '@nephele/adapter-file-system';
import { Authenticator } from '@nephele/authenticator-none';
const handler = express().use('/', nephele({
  adapter: new Adapter({ root: '$home/members' }), authenticator: new Authenticator() }));
http.createServer(handler).listen($port, '$host');
