import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Api, inPath } from '../../../src/host/web/page/api.js';

/** An Api whose server gives these answers, one after the other, and the requests that it was sent. */
function apiWith(...answers) {
  const sent = [];
  const api = new Api(async (path, options) => {
    sent.push({ path, ...options });
    const answer = answers.shift();
    if (answer instanceof Error) throw answer;
    const { status = 200, body = {}, headers = {} } = answer;
    const hasBody = ![204, 304].includes(status);
    return new Response(hasBody ? (typeof body === 'string' ? body : JSON.stringify(body)) : null, { status, headers });
  });
  return { api, sent };
}

const session = { value: { user: 'admin', role: 'operator', csrfToken: 'secret', setup: 'done' } };
const done = { body: { status: { code: 0, desc: 'Success' } } };

test('every path is relative, for a server behind a prefix', async () => {
  const { api, sent } = apiWith(...Array(9).fill({ body: session }));
  await api.session();
  await api.servers();
  await api.sightings();
  await api.peers();
  await api.status();
  await api.trust('a', 'b');
  await api.search('192.0.2.1');
  for (const { path } of sent) assert.match(path, /^1\.0\//);
});

test('writes carry the token of the session, reads do not', async () => {
  const { api, sent } = apiWith({ body: session }, done, done);
  await api.logIn('admin', 'x');
  await api.add('two');
  await api.peers();
  assert.equal(sent[1].headers['X-CSRF-Token'], 'secret');
  assert.equal(sent[2].headers['X-CSRF-Token'], undefined);
});

test('after logging out the token is gone', async () => {
  const { api, sent } = apiWith({ body: session }, done, done);
  await api.logIn('admin', 'x');
  await api.logOut();
  await api.add('two');
  assert.equal(sent[2].headers['X-CSRF-Token'], undefined);
});

test('a list that has not changed is nothing', async () => {
  const { api, sent } = apiWith({ body: { values: [1] }, headers: { ETag: '"a"' } }, { status: 304 });
  assert.deepEqual(await api.servers(), [1]);
  assert.equal(await api.servers(), undefined);
  assert.equal(sent[1].headers['If-None-Match'], '"a"');
});

test('lists have a tag each', async () => {
  const { api, sent } = apiWith({ body: { values: [] }, headers: { ETag: '"a"' } }, { body: { values: [] } });
  await api.servers();
  await api.sightings();
  assert.equal(sent[1].headers['If-None-Match'], undefined);
});

for (const [what, body] of Object.entries({ 'a block': { status: { code: 1, desc: 'Server not found' } }, 'a list of blocks': { status: [{ code: 1, desc: 'Server not found' }] } })) {
  test(`the reason of a failure is read from ${what}`, async () => {
    const { api } = apiWith({ status: 400, body });
    await assert.rejects(api.add('x'), { status: 400, message: 'Server not found' });
  });
}

test('a failure without a reason names its status', async () => {
  const { api } = apiWith({ status: 502, body: '<html>' }, { status: 400, body: { status: [{ desc: 'Failure' }] } });
  await assert.rejects(api.add('x'), { status: 502, message: /502/ });
  await assert.rejects(api.remove('x'), { status: 400, message: /400/ });
});

test('no answer, and one that breaks off, is a failure without a status', async () => {
  const { api } = apiWith(new TypeError('network'), { body: '{"val' });
  await assert.rejects(api.status(), { status: 0 });
  await assert.rejects(api.status(), { status: 0 });
});

test('being slowed down tells for how long', async () => {
  const { api } = apiWith({ status: 429, body: { status: { desc: 'Too many' } }, headers: { 'Retry-After': '30' } });
  await assert.rejects(api.logIn('a', 'b'), { status: 429, retryAfter: 30 });
});

const inVain = { status: 400, body: { status: [{ code: 1 }], value: { properties: { isReachable: false } } } };

test('a search that finds nobody is no failure, and tells the reason of that address where there is one', async () => {
  const sighting = (address, state, reason) => ({ address, state, reason });
  const values = [sighting('192.0.2.10', 'failed', 'other'), sighting('FE80::1', 'failed', 'too late'), sighting('192.0.2.2', 'verified', 'old')];
  for (const [address, reason] of [['192.0.2.1', ''], ['[fe80::1]', 'too late'], ['192.0.2.2', '']]) {
    assert.deepEqual(await apiWith(inVain, { body: { values } }).api.search(address), { reason }, address);
  }
  assert.deepEqual(await apiWith(inVain, { status: 500, body: {} }).api.search('192.0.2.1'), { reason: '' });
});

test('a search in vain leaves the lists to be fetched whole by who keeps them', async () => {
  const list = { body: { values: [{ address: '192.0.2.1', state: 'failed', reason: 'gone' }] }, headers: { ETag: '"1"' } };
  const { api, sent } = apiWith(inVain, list, list);
  await api.search('192.0.2.1');
  assert.equal((await api.sightings()).length, 1);
  assert.equal(sent[2].headers['If-None-Match'], undefined);
});

test('a search gives the record that was found there', async () => {
  const { api, sent } = apiWith(done, { body: { value: { properties: { displayId: 'two' } } } });
  assert.equal((await api.search('fe80::1%eth0')).record.properties.displayId, 'two');
  assert.equal(sent[1].path, '1.0/searchedserver/fe80::1%25eth0');
});

test('an identifier cannot leave its place in a path', () => {
  assert.equal(inPath('../a/b?c#d e'), '..%2Fa%2Fb%3Fc%23d%20e');
});
