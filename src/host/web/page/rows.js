// Rows of the table from the records and sightings of servers; their order; what a filter leaves. Pure.

import { plain, sourceName, timeOf } from './text.js';

const SOURCES = ['announcement', 'slp', 'search', 'hand'];
const ADDRESSES_SHOWN = 8;

function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

function asObject(value) {
  return isObject(value) ? value : {};
}

function asText(value) {
  return typeof value === 'string' ? value : '';
}

/** The key of a record's row, computed as the server does: the address under which it was reached, else its identifier. */
export function keyOf(record) {
  const properties = asObject(asObject(record).properties);
  const reached = asObject(asObject(asObject(properties.os).network).lastCommunicatedIp);
  return asText(reached.ipV4) || asText(reached.ipV6) || asText(properties.displayId);
}

/** The address alone of "192.0.2.7:8443", "[fe80::1]:8443" or an address without a port. */
export function hostOf(address) {
  const text = asText(address);
  const bracket = /^\[([^\]]*)\](?::\d+)?$/.exec(text);
  if (bracket) return bracket[1];
  return /^[^:]*:\d+$/.test(text) ? text.slice(0, text.indexOf(':')) : text;
}

/** Every address that a record names, the one that was reached first, each once. */
export function addressesOf(record) {
  const properties = asObject(asObject(record).properties);
  const network = asObject(asObject(properties.os).network);
  const reached = asObject(network.lastCommunicatedIp);
  const nics = [network.nics, properties.nics].flatMap((list) => (Array.isArray(list) ? list.slice(0, 256) : []));
  const all = [reached, ...nics.filter(isObject)].flatMap((each) => [each.ipV4, each.ipV6]);
  return [...new Set(all.filter((address) => typeof address === 'string' && address !== ''))];
}

/** The addresses and ports where a record says that its server listens. */
export function endpointsOf(record) {
  const agents = asObject(asObject(record).properties).agents;
  const list = Array.isArray(agents) ? agents : [agents];
  const listens = list.filter(isObject).flatMap((each) => (Array.isArray(each.listen) ? each.listen : [each]));
  return listens.filter((each) => isObject(each) && Number.isInteger(each.port)).slice(0, 32);
}

/** The sources of some sightings together: {slp: {first, last}}, times in milliseconds. */
export function mergeSources(sightings) {
  const merged = {};
  for (const sighting of sightings) {
    for (const [name, span] of Object.entries(asObject(sighting.sources)).slice(0, 16)) {
      const first = timeOf(asObject(span).first);
      const last = timeOf(asObject(span).last);
      const before = Object.hasOwn(merged, name) ? merged[name] : { first, last };
      merged[name] = { first: Math.min(before.first || first, first), last: Math.max(before.last, last) };
    }
  }
  return merged;
}

function orderSources(names) {
  const place = (name) => (SOURCES.indexOf(name) + SOURCES.length + 1) % (SOURCES.length + 1);
  return names.sort((a, b) => place(a) - place(b)).slice(0, 6);
}

/** Numbers in a text compare by value once they are of one length. */
function natural(text) {
  return text.toLowerCase().replace(/\d+/g, (digits) => digits.padStart(10, '0'));
}

/** "ok", "trouble", "failed", "left" or "unknown", and its text. */
function healthOf(record, sighting) {
  if (sighting?.state === 'failed') return { level: 'failed', text: 'Not verified' };
  if (record === undefined) return sighting?.state === 'left' ? { level: 'left', text: 'Left' } : { level: 'unknown', text: 'Seen' };
  const state = plain(asObject(asObject(asObject(record).properties).health).state, 24);
  if (state === '') return { level: 'unknown', text: 'Unknown' };
  return state.toLowerCase() === 'ok' ? { level: 'ok', text: 'OK' } : { level: 'trouble', text: state };
}

/**
 * The row of a record, or of a sighting without one. `sightings` are those of its addresses, that of its key first.
 * A row is never changed: another state is another row.
 */
export function makeRow(key, record, sightings) {
  const isListed = record !== undefined;
  const properties = asObject(record?.properties);
  const sources = mergeSources(sightings);
  const isOwn = properties.isPivot === true;
  const names = Object.keys(sources);
  if (properties.isManual === true && !names.includes('hand')) names.push('hand');
  const addresses = isListed ? addressesOf(record) : [hostOf(sightings[0].address)];
  // Only what happened at its own address says something about a record: the others it merely claims.
  const main = isListed ? sightings.find((each) => hostOf(each.address) === key) : sightings[0];
  const row = {
    key,
    record,
    sightings,
    isOwn,
    isListed,
    name: plain(properties.displayId) || plain(main?.displayId) || plain(addresses[0]) || '(no name)',
    addresses: addresses.slice(0, ADDRESSES_SHOWN).map((address) => plain(address, 60)),
    build: plain(properties.build, 30),
    health: healthOf(record, main),
    sources: orderSources(names).map(sourceName),
    lastSeen: Object.values(sources).reduce((latest, span) => Math.max(latest, span.last), 0),
    reason: plain(main?.reason, 400),
  };
  row.order = orderOf(row);
  row.haystack = [row.name, ...row.addresses, row.build, row.health.text, ...row.sources, isOwn ? 'this server' : '']
    .join('\n')
    .toLowerCase();
  return row;
}

function orderOf(row) {
  return {
    name: natural(row.name),
    address: natural(row.addresses[0] ?? ''),
    build: natural(row.build),
    health: row.health.text.toLowerCase(),
    sources: row.sources.join(' '),
    // The server that answers is here now.
    lastSeen: row.isOwn ? Number.MAX_SAFE_INTEGER : row.lastSeen,
  };
}

function compare(a, b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

/** A new list in the order of a column; equals by name and then by key, always upwards. */
export function sortRows(rows, column, isDescending) {
  const sign = isDescending ? -1 : 1;
  return [...rows].sort(
    (a, b) =>
      sign * compare(a.order[column], b.order[column]) || compare(a.order.name, b.order.name) || compare(a.key, b.key),
  );
}

/** Those that hold every word of the text, and are of the scope: "all", "listed" or "trouble". */
export function filterRows(rows, text, scope) {
  const words = text.toLowerCase().split(/\s+/).filter(Boolean);
  const isInScope = (row) => scope === 'all' || (scope === 'listed' ? row.isListed : row.health.level !== 'ok');
  return rows.filter((row) => isInScope(row) && words.every((word) => row.haystack.includes(word)));
}
