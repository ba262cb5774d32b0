import assert from 'node:assert/strict';
import { test } from 'node:test';

import { addressesOf, endpointsOf, filterRows, hostOf, keyOf, makeRow, mergeSources, sortRows } from '../../../src/host/web/page/rows.js';
import { Store } from '../../../src/host/web/page/store.js';
import { makeRecord } from '../fake-server.mjs';

const T1 = '2026-11-21T10:00:00Z';
const T2 = '2026-11-21T11:00:00Z';

function seen(address, state = 'verified', sources = { slp: { first: T1, last: T2 } }, more = {}) {
  return { address, displayId: 'someone', state, sources, reason: '', ...more };
}

function storeOf(records, sightings = []) {
  const store = new Store();
  store.load(records, sightings);
  return store;
}

const keysOf = (store) => store.rows().map((row) => row.key).sort();

// ---- records

test('the key is the IPv4 address that was reached, else the IPv6 address, else the identifier', () => {
  const record = (reached) => ({ properties: { displayId: 'id', os: { network: { lastCommunicatedIp: reached } } } });
  assert.equal(keyOf(record({ ipV4: '192.0.2.1', ipV6: 'fd00::1' })), '192.0.2.1');
  assert.equal(keyOf(record({ ipV6: 'fd00::1' })), 'fd00::1');
  assert.equal(keyOf(record({ ipV4: '' })), 'id');
  assert.equal(keyOf({ properties: { displayId: 'id' } }), 'id');
});

test('a record of the wrong shape is a row all the same', () => {
  for (const record of [null, 5, 'x', [], {}, { properties: null }, { properties: [] }, { properties: { displayId: {}, os: 5, agents: 'x', health: [] } },
    { properties: { os: { network: { nics: 'x', lastCommunicatedIp: [] } }, nics: [null, 5, { ipV4: 7 }] } }]) {
    assert.equal(keyOf(record), '');
    assert.deepEqual(addressesOf(record), []);
    assert.deepEqual(endpointsOf(record), []);
    assert.equal(makeRow('', record, []).name, '(no name)');
  }
});

test('addresses come with the reached one first and each once', () => {
  const record = makeRecord('a', '192.0.2.9');
  record.properties.nics = [{ ipV4: '192.0.2.8', ipV6: 'fd00::8' }, { ipV4: '192.0.2.9', ipV6: '' }];
  assert.deepEqual(addressesOf(record), ['192.0.2.9', '192.0.2.8', 'fd00::8']);
});

test('endpoints are found in every form of agents', () => {
  const endpoint = { address: '::', port: 8443, scheme: 'https' };
  assert.deepEqual(endpointsOf({ properties: { agents: [endpoint] } }), [endpoint]);
  assert.deepEqual(endpointsOf({ properties: { agents: endpoint } }), [endpoint]);
  assert.deepEqual(endpointsOf({ properties: { agents: [{ id: 31, listen: [endpoint, { port: '1' }] }] } }), [endpoint]);
});

test('an address is told from its port', () => {
  const cases = { '192.0.2.7:8443': '192.0.2.7', '192.0.2.7': '192.0.2.7', '[fe80::1%eth0]:8443': 'fe80::1%eth0', '[::1]': '::1', 'fe80::1': 'fe80::1', 'host:1': 'host', '': '' };
  for (const [text, host] of Object.entries(cases)) assert.equal(hostOf(text), host, text);
});

// ---- rows

test('sources of several sightings are one, from the first to the last time', () => {
  const merged = mergeSources([seen('a', 'seen', { slp: { first: T2, last: T2 } }), seen('b', 'seen', { slp: { first: T1, last: T1 }, hand: { first: T1, last: T1 } })]);
  assert.deepEqual(merged, { slp: { first: Date.parse(T1), last: Date.parse(T2) }, hand: { first: Date.parse(T1), last: Date.parse(T1) } });
});

test('a row tells health, ways and the last time', () => {
  const row = makeRow('192.0.2.1', makeRecord('one', '192.0.2.1', { isManual: true }), [seen('192.0.2.1')]);
  assert.deepEqual(row.health, { level: 'ok', text: 'OK' });
  assert.deepEqual(row.sources, ['SLP', 'By hand']);
  assert.equal(row.lastSeen, Date.parse(T2));
});

test('another health than ok is trouble, and none is unknown', () => {
  const level = (health) => makeRow('k', makeRecord('one', '192.0.2.1', { health }), []).health.level;
  assert.deepEqual([{ state: 'ok' }, { state: 'degraded' }, {}, undefined].map(level), ['ok', 'trouble', 'unknown', 'unknown']);
});

test('a record whose own address failed is not verified', () => {
  const row = makeRow('192.0.2.1', makeRecord('one', '192.0.2.1'), [seen('192.0.2.1', 'failed')]);
  assert.equal(row.health.level, 'failed');
});

test('rows sort by number and not by digit, both ways, and equals by name', () => {
  const rows = ['10.0.0.10', '10.0.0.9', '10.0.0.100'].map((address) => makeRow(address, makeRecord(`n-${address}`, address, { build: 'same' }), []));
  const order = (column, isDescending) => sortRows(rows, column, isDescending).map((row) => row.key);
  assert.deepEqual(order('address', false), ['10.0.0.9', '10.0.0.10', '10.0.0.100']);
  assert.deepEqual(order('address', true), ['10.0.0.100', '10.0.0.10', '10.0.0.9']);
  assert.deepEqual(order('build', true), ['10.0.0.9', '10.0.0.10', '10.0.0.100']);
});

test('a filter wants every word, in any case of letters, wherever it stands', () => {
  const rows = [makeRow('a', makeRecord('Alpha', '10.0.0.1'), []), makeRow('b', makeRecord('Beta', '10.0.0.2', { isPivot: true }), [])];
  const left = (text, scope = 'all') => filterRows(rows, text, scope).map((row) => row.name);
  assert.deepEqual(left(''), ['Alpha', 'Beta']);
  assert.deepEqual(left('ALPHA 10.0'), ['Alpha']);
  assert.deepEqual(left('alpha 0.2'), []);
  assert.deepEqual(left('this server'), ['Beta']);
  assert.deepEqual(left('', 'trouble'), []);
});

// ---- the store

test('deltas put, replace and remove rows', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1')]);
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('two', '10.0.0.2') }], removed: [] });
  assert.deepEqual(keysOf(store), ['10.0.0.1', '10.0.0.2']);
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('TWO', '10.0.0.2') }], removed: ['10.0.0.1', 'unknown'] });
  assert.deepEqual(store.rows().map((row) => row.name), ['TWO']);
  assert.equal(store.recordCount, 1);
});

test('a record that changes its key within one delta is there once', () => {
  const store = storeOf([{ properties: { displayId: 'two' } }]);
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('two', '10.0.0.2') }], removed: ['two'] });
  assert.deepEqual(keysOf(store), ['10.0.0.2']);
});

test('a server whose key has changed is found again, unless others have its identifier', () => {
  const store = storeOf([{ properties: { displayId: 'two' } }]);
  const before = store.row('two');
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('two', '10.0.0.2') }], removed: ['two'] });
  assert.equal(store.successor(before).key, '10.0.0.2');
  store.applyServers({ changed: [{ key: '10.0.0.3', record: makeRecord('two', '10.0.0.3') }] });
  assert.equal(store.successor(before), undefined);
});

test('a row that nothing happened to is the same object as before', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1'), makeRecord('two', '10.0.0.2')]);
  const before = store.row('10.0.0.1');
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('new', '10.0.0.2') }], removed: [] });
  assert.equal(store.row('10.0.0.1'), before);
});

test('deltas that come while the lists are fetched are applied after them', () => {
  const store = new Store();
  store.beginLoading();
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('two', '10.0.0.2') }], removed: ['10.0.0.1'] });
  assert.deepEqual(keysOf(store), []);
  store.load([makeRecord('one', '10.0.0.1')], []);
  assert.deepEqual(keysOf(store), ['10.0.0.2']);
  assert.equal(store.isLoading, false);
});

test('deltas are kept when fetching failed', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1')]);
  store.beginLoading();
  store.applyServers({ changed: [{ key: '10.0.0.2', record: makeRecord('two', '10.0.0.2') }] });
  store.load();
  assert.deepEqual(keysOf(store), ['10.0.0.1', '10.0.0.2']);
});

test('a list that was fetched replaces what was there before', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1')], [seen('10.0.0.9', 'failed')]);
  store.load([makeRecord('two', '10.0.0.2')], []);
  assert.deepEqual(keysOf(store), ['10.0.0.2']);
});

test('a list that has not changed leaves everything', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1')]);
  store.load(undefined, undefined);
  assert.deepEqual(keysOf(store), ['10.0.0.1']);
});

test('a sighting goes to the record of its address, with or without a port, and away from it again', () => {
  const store = storeOf([makeRecord('one', '10.0.0.1')]);
  store.applySightings({ changed: [seen('10.0.0.1:8443')] });
  assert.deepEqual(store.row('10.0.0.1').sources, ['SLP']);
  store.applySightings({ removed: ['10.0.0.1:8443'] });
  assert.deepEqual(store.row('10.0.0.1').sources, []);
});

test('a sighting of another address of the server counts, too', () => {
  const record = makeRecord('one', '10.0.0.1');
  record.properties.nics = [{ ipV6: 'fd00::1' }];
  const store = storeOf([record], [seen('fd00::1', 'seen', { announcement: { first: T1, last: T2 } })]);
  assert.deepEqual(store.row('10.0.0.1').sources, ['Announced']);
});

test('what failed and is not listed has a row, which goes when it is listed', () => {
  const store = storeOf([], [seen('10.0.0.7', 'failed', undefined, { reason: 'the certificate has changed' }), seen('10.0.0.8', 'seen')]);
  assert.deepEqual(store.rows().map((row) => [row.isListed, row.health.level, row.reason]), [[false, 'failed', 'the certificate has changed']]);
  store.applySightings({ changed: [seen('10.0.0.7')] });
  store.applyServers({ changed: [{ key: '10.0.0.7', record: makeRecord('seven', '10.0.0.7') }] });
  assert.deepEqual(keysOf(store), ['10.0.0.7']);
});

test('an address that was only searched for in vain has no row, one that was verified before has', () => {
  const search = { search: { first: T1, last: T2 } };
  const store = storeOf([], [seen('10.0.0.7', 'failed', search), seen('10.0.0.8', 'failed', search, { verified: T1 })]);
  assert.deepEqual(store.rows().map((row) => row.name), ['someone']);
  assert.equal(store.rows()[0].addresses[0], '10.0.0.8');
});

test('a record that names the address of another does not hide that the other failed, nor fails with it', () => {
  const liar = makeRecord('liar', '10.0.0.1');
  liar.properties.nics = [{ ipV4: '10.0.0.7' }];
  const store = storeOf([liar], [seen('10.0.0.7', 'failed')]);
  assert.equal(store.rows().length, 2);
  assert.equal(store.row('10.0.0.1').health.level, 'ok');
});

test('names that objects inherit are names like any other', () => {
  const store = storeOf([{ properties: { displayId: '__proto__' } }, { properties: { displayId: 'constructor' } }]);
  assert.deepEqual(keysOf(store), ['__proto__', 'constructor']);
});

test('10,000 records and 100 deltas take little', () => {
  const address = (number) => `10.1.${number >> 8}.${number & 255}`;
  const store = storeOf(Array.from({ length: 10_000 }, (_, number) => makeRecord(`s-${number}`, address(number))));
  const begin = performance.now();
  for (let number = 0; number < 100; number += 1) store.applySightings({ changed: [seen(address(number))] });
  assert.ok(performance.now() - begin < 500, 'a delta costs what it changes, not what there is');
  assert.equal(store.rows().length, 10_000);
});
