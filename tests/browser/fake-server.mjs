// A server that answers the page as the real one does, from lists that a test fills: for states that real hosts take
// long to get into, or should never get into. `node fake-server.mjs [PORT]` serves a made-up network to look at.

import { createHash, randomBytes } from 'node:crypto';
import { readFileSync } from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const PAGE = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../../src/host/web/page');
const TYPES = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript; charset=utf-8', '.css': 'text/css; charset=utf-8', '.svg': 'image/svg+xml' };
export const POLICY =
  "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; " +
  "base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

export function makeRecord(id, address, more = {}) {
  const nics = [{ name: 'eth0', mac: '02:00:00:00:00:01', ipV4: address, ipV6: '' }];
  return {
    properties: {
      displayId: id,
      build: '008.0.1',
      agents: [{ address, port: 8443, scheme: 'https' }],
      os: { name: 'Debian GNU/Linux', version: '12', network: { nics, lastCommunicatedIp: { ipV4: address } } },
      health: { state: 'ok' },
      ...more,
    },
  };
}

export function makeSighting(address, displayId, state = 'verified', more = {}) {
  const now = new Date().toISOString();
  const sources = { announcement: { first: now, last: now }, slp: { first: now, last: now } };
  return { address, displayId, state, sources, ...(state === 'verified' ? { verified: now } : {}), reason: '', ...more };
}

function keyOf(record) {
  return record.properties.os.network.lastCommunicatedIp.ipV4;
}

export class FakeServer {
  records = new Map();
  sightings = new Map();
  peers = [];
  searched = new Map(); // what a search finds, by address
  users = new Map(); // name -> {password, role}
  anonymous = 'none';
  isLoopback = true;
  requests = []; // "METHOD /path" and its status
  breaksStreams = false;
  isDown = false;
  slowSearch = 0;
  #sessions = new Map();
  #streams = new Set();
  #http;

  constructor() {
    this.status = makeStatus();
  }

  async start(port = 0) {
    this.#http = http.createServer((request, response) => this.#serve(request, response));
    await new Promise((resolve) => this.#http.listen(port, '127.0.0.1', resolve));
    return this;
  }

  async stop() {
    this.#http.closeAllConnections();
    await new Promise((resolve) => this.#http.close(resolve));
  }

  get url() {
    return `http://127.0.0.1:${this.#http.address().port}/`;
  }

  get streamCount() {
    return this.#streams.size;
  }

  // ---- what a test does to it

  put(record, sighting) {
    this.records.set(keyOf(record), record);
    this.send('servers', { changed: [{ key: keyOf(record), record }], removed: [], count: this.records.size });
    if (sighting) this.see(sighting);
  }

  see(sighting) {
    this.sightings.set(sighting.address, sighting);
    this.send('sightings', { changed: [sighting], removed: [] });
  }

  drop(key) {
    this.records.delete(key);
    this.send('servers', { changed: [], removed: [key], count: this.records.size });
  }

  send(event, data) {
    for (const { response } of this.#streams) response.write(`event: ${event}\ndata: ${JSON.stringify(data)}\n\n`);
  }

  /** Ends every login, and what hangs on it. */
  endSessions() {
    this.#sessions.clear();
    this.endStreams();
  }

  endStreams() {
    for (const { response } of this.#streams) response.destroy();
    this.#streams.clear();
  }

  // ---- HTTP

  async #serve(request, response) {
    if (this.isDown) return request.socket.destroy();
    const chunks = [];
    for await (const chunk of request) chunks.push(chunk);
    const { pathname } = new URL(request.url, 'http://host');
    const ask = { method: request.method, path: pathname, headers: request.headers, body: chunks.length ? JSON.parse(Buffer.concat(chunks)) : {} };
    ask.session = this.#sessions.get(/kvtSession=([^;]*)/.exec(request.headers.cookie ?? '')?.[1]);
    response.on('finish', () => this.requests.push(`${ask.method} ${pathname} ${response.statusCode}`));
    try {
      await this.#route(ask, response);
    } catch (failure) {
      response.writeHead(500).end(String(failure));
    }
  }

  async #route(ask, response) {
    if (this.#page(ask, response)) return;
    const what = `${ask.method} ${ask.path}`;
    if (what === 'GET /1.0/session') return this.#json(response, 200, { value: this.#sessionOf(ask.session) });
    if (what === 'POST /1.0/session') return this.#logIn(ask, response);
    if (what === 'POST /1.0/setup') return this.#setUp(ask, response);
    const role = ask.session?.role ?? this.anonymous;
    if (role === 'none') return this.#fail(response, 401, 'Log in first');
    if (ask.method !== 'GET' && ask.session && ask.headers['x-csrf-token'] !== ask.session.csrfToken) {
      return this.#fail(response, 403, 'The header X-CSRF-Token is missing');
    }
    if (what === 'DELETE /1.0/session') return this.#logOut(ask, response);
    if (ask.method !== 'GET' && role !== 'operator') return this.#fail(response, 403, 'This needs the role operator');
    return this.#resource(what, ask, response);
  }

  #page(ask, response) {
    const name = ask.path === '/' ? 'index.html' : /^\/web\/([a-z-]+\.(?:js|css|svg))$/.exec(ask.path)?.[1];
    if (!name || ask.method !== 'GET') return false;
    const headers = { 'Content-Type': TYPES[path.extname(name)], 'Content-Security-Policy': POLICY, 'Cache-Control': 'no-cache' };
    response.writeHead(200, headers).end(readFileSync(path.join(PAGE, name)));
    return true;
  }

  async #resource(what, ask, response) {
    const found = /^GET \/1\.0\/searchedserver\/(.*)$/.exec(what);
    if (found) return this.#json(response, 200, { value: this.searched.get(decodeURIComponent(found[1])) });
    switch (what) {
      case 'GET /1.0/servers':
        return this.#list(ask, response, this.records);
      case 'GET /1.0/sightings':
        return this.#list(ask, response, this.sightings);
      case 'GET /1.0/peers':
        return this.#json(response, 200, { count: this.peers.length, values: this.peers });
      case 'GET /1.0/status':
        return this.#json(response, 200, { value: this.status });
      case 'GET /1.0/events':
        return this.#stream(ask, response);
      case 'POST /1.0/peers/trust':
        return this.#trust(ask, response);
      case 'POST /1.0/peers/forget':
        return this.#forget(ask, response);
      case 'POST /1.0/servers/self/operations/discovery':
        return this.#operate(ask, response);
      default:
        return this.#fail(response, 404, 'There is no such resource');
    }
  }

  #json(response, status, document, headers = {}) {
    const body = JSON.stringify({ status: { code: 0, desc: 'Success' }, ...document });
    response.writeHead(status, { 'Content-Type': 'application/json', 'Cache-Control': 'no-store', ...headers }).end(body);
  }

  #fail(response, status, desc, headers = {}) {
    this.#json(response, status, { status: { code: status, desc } }, headers);
  }

  #list(ask, response, map) {
    const values = [...map.values()];
    const tag = `"${createHash('sha256').update(JSON.stringify(values)).digest('hex')}"`;
    if (ask.headers['if-none-match'] === tag) return response.writeHead(304, { ETag: tag }).end();
    return this.#json(response, 200, { count: values.length, values }, { ETag: tag });
  }

  #stream(ask, response) {
    if (this.breaksStreams) return response.destroy();
    response.writeHead(200, { 'Content-Type': 'text/event-stream', 'Cache-Control': 'no-store' });
    const stream = { response, session: ask.session };
    this.#streams.add(stream);
    response.on('close', () => this.#streams.delete(stream));
    response.write('event: hello\ndata: {"version":"0.1.0"}\n\n');
  }

  // ---- accounts

  #sessionOf(session) {
    if (session) return { user: session.user, role: session.role, csrfToken: session.csrfToken, expires: '', setup: 'done' };
    const isNew = this.users.size === 0 && this.anonymous === 'none';
    return { user: '', role: this.anonymous, csrfToken: '', expires: '', setup: isNew ? (this.isLoopback ? 'open' : 'loopback') : 'done' };
  }

  #enter(user, response) {
    const id = randomBytes(16).toString('hex');
    const session = { user, role: this.users.get(user).role, csrfToken: randomBytes(16).toString('hex') };
    this.#sessions.set(id, session);
    this.#json(response, 200, { value: this.#sessionOf(session) }, { 'Set-Cookie': `kvtSession=${id}; Path=/; HttpOnly; SameSite=Strict` });
  }

  #logIn({ body }, response) {
    if (body.user === 'locked') return this.#fail(response, 429, 'Too many failed logins', { 'Retry-After': '30' });
    if (this.users.get(body.user)?.password !== body.password) return this.#fail(response, 401, 'The user name or the password is wrong');
    return this.#enter(body.user, response);
  }

  #setUp({ body }, response) {
    if (this.users.size > 0) return this.#fail(response, 409, 'There is an account already');
    if (body.password.length < 12) return this.#fail(response, 400, 'The password needs at least 12 characters');
    this.users.set(body.user, { password: body.password, role: 'operator' });
    return this.#enter(body.user, response);
  }

  #logOut({ session }, response) {
    for (const [id, each] of this.#sessions) if (each === session) this.#sessions.delete(id);
    for (const stream of this.#streams) if (stream.session === session) stream.response.destroy();
    this.#json(response, 200, {}, { 'Set-Cookie': 'kvtSession=; Path=/; Max-Age=0' });
  }

  // ---- deeds

  #trust({ body }, response) {
    const peer = this.peers.find((each) => each.address === body.address);
    if (!peer) return this.#fail(response, 404, 'There is no such peer');
    peer.fingerprint = body.fingerprint;
    delete peer.offered;
    return this.#json(response, 200, {});
  }

  #forget({ body }, response) {
    if (!this.peers.some((peer) => peer.address === body.address)) return this.#fail(response, 404, 'There is no such peer');
    this.peers = this.peers.filter((peer) => peer.address !== body.address);
    return this.#json(response, 200, {});
  }

  async #operate({ body: { action, parameters } }, response) {
    if (action === 'SEARCH') {
      await new Promise((resolve) => setTimeout(resolve, this.slowSearch));
      const isReachable = this.searched.has(parameters.address);
      const status = [isReachable ? { code: 0, desc: 'Success' } : { code: 1, desc: 'Failure' }];
      return this.#json(response, isReachable ? 200 : 400, { status, value: { properties: { isReachable } } });
    }
    const id = decodeURIComponent(parameters.server.slice('/1.0/servers/'.length));
    if (action === 'ADD') {
      const record = [...this.searched.values()].find((each) => each.properties.displayId === id);
      if (!record) return this.#fail(response, 400, 'Server not found');
      if (this.records.has(keyOf(record))) return this.#fail(response, 400, 'Server already discovered');
      record.properties.isManual = true;
      this.put(record);
    } else {
      const key = this.records.has(id) ? id : [...this.records].find(([, record]) => record.properties.displayId === id)?.[0];
      if (!key) return this.#json(response, 400, { status: [{ code: 1, desc: 'Failure' }] });
      this.drop(key);
    }
    return this.#json(response, 200, { status: [{ code: 0, desc: 'Success' }] });
  }
}

function makeStatus() {
  const ago = (seconds) => new Date(Date.now() - seconds * 1000).toISOString();
  return {
    version: '0.1.0', build: '008.0.1', started: ago(90_000), uptimeSeconds: 90_000,
    discovery: { isRunning: true, passes: 2812, lastPass: { began: ago(12), durationMs: 640, found: 13, listed: 14 } },
    servers: { listed: 14, verified: 12, failed: 1, byHand: 1 },
    announcements: { received: 10_421, dropped: { 'not for this network': 12, 'too long': 1 } },
    slp: { 'requests sent': 5624, 'replies received': 31_002 },
    queues: { prompt: 0, read: 1, action: 0, discovery_jobs_waiting: 0, discovery_jobs_running: 2, of_tomorrow: 3 },
    interfaces: [{ name: 'eth0', ipV4: ['10.88.0.1'], ipV6: ['fd88::1'], isJoined: true }, { name: 'wlan0', ipV4: ['192.168.1.20'], ipV6: [], isJoined: false }],
    listens: ['https://[::]:8443'],
    certificate: { subject: 'CN=storage-01', issuer: 'CN=storage-01', fingerprint: 'SHA256:3f8b1c9d5a7e2046b8c1d3e5f708192a', notBefore: ago(86_400), notAfter: ago(-86_400 * 820), isSelfSigned: true },
    peers: { fetches: 310, failures: { 'certificate changed': 1 } },
  };
}

/** A network as it might be, with one of everything. */
export function fillWithExamples(server) {
  const ago = (seconds) => new Date(Date.now() - seconds * 1000).toISOString();
  server.put(makeRecord('storage-01', '10.88.0.1', { isPivot: true }));
  for (let number = 2; number <= 12; number += 1) {
    const id = `storage-${String(number).padStart(2, '0')}`;
    const address = `10.88.0.${number}`;
    const record = makeRecord(id, address, { build: `008.0.${number % 3}` });
    record.properties.os.network.nics[0].ipV6 = `fd88::${number}`;
    if (number === 5) record.properties.health.state = 'degraded';
    const sources = number % 4 === 1 ? { slp: { first: ago(7200), last: ago(40 * number) } }
      : { announcement: { first: ago(86_000), last: ago(11 * number) }, slp: { first: ago(85_000), last: ago(30 * number) } };
    server.put(record, makeSighting(address, id, 'verified', { sources, verified: ago(30 * number) }));
  }
  const byHand = makeRecord('archive-berlin', '192.168.40.7', { isManual: true });
  server.put(byHand, makeSighting('192.168.40.7', 'archive-berlin', 'verified', {
    sources: { search: { first: ago(900_000), last: ago(900_000) }, hand: { first: ago(899_990), last: ago(899_990) } }, verified: ago(3600) }));
  const reason = 'The certificate of 10.88.0.40:8443 has changed (now SHA256:77ab0e41d2c94f5e8a1b, was SHA256:19c2d8f07b3a4e6d5c21): kvtctl peers trust 10.88.0.40:8443 accepts it';
  server.see(makeSighting('10.88.0.40', 'storage-40', 'failed', { sources: { slp: { first: ago(4000), last: ago(20) } }, failed: ago(20), reason }));
  server.peers = [
    { address: '10.88.0.40:8443', fingerprint: 'SHA256:19c2d8f07b3a4e6d5c21', since: ago(400_000), lastSeen: ago(4000), offered: { fingerprint: 'SHA256:77ab0e41d2c94f5e8a1b', since: ago(3900) } },
    { address: '10.88.0.7:8443', fingerprint: 'SHA256:5b1ce08d5f2f4f76a9d0', since: ago(400_000), lastSeen: ago(30) },
  ];
}

/** Texts that a peer might send to be taken for something else. */
export const HOSTILE_NAME = '<img src=x onerror="document.title=\'owned\'"><b>bold</b>\u202Egnp.exe\u0007\u2066';

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const server = new FakeServer();
  server.users.set('admin', { password: 'correct horse battery', role: 'operator' });
  fillWithExamples(server);
  await server.start(Number(process.argv[2] ?? 8088));
  console.log(`${server.url} (admin, correct horse battery)`);
}
