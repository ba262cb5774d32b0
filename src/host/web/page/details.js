// The panel of one server: its facts, why it is in the list, and the record as it was told.

import { foreign, make, refresh, workButton } from './dom.js';
import { endpointsOf, hostOf, mergeSources } from './rows.js';
import { ago, moment, plain, sourceName, timeOf } from './text.js';

const MAX_NODES = 1500;
const MAX_DEPTH = 12;
const OPEN_DEPTH = 3;
const MAX_LIST = 40;

function fact(title, ...values) {
  const shown = values.flat().filter((value) => value !== '' && value !== undefined && value !== false);
  return shown.length > 0 && [make('dt', {}, title), shown.map((value) => make('dd', {}, value))];
}

function facts(...entries) {
  return make('dl', { class: 'facts' }, entries.filter(Boolean).flat(2));
}

export function when(time) {
  if (!time) return '';
  return make('time', { dateTime: new Date(time).toISOString() }, `${moment(time)} (${ago(time, Date.now())})`);
}

function section(title, ...content) {
  return make('section', {}, make('h3', {}, title), content);
}

// ---- facts

/** Only an IP address, or nothing, can come out of this: it goes into a link. */
function asUrlHost(address) {
  if (/^\d{1,3}(\.\d{1,3}){3}$/.test(address)) return address;
  return /^[0-9a-f:]{2,39}$/i.test(address) && address.includes(':') ? `[${address}]` : '';
}

function ownPage(row) {
  const host = asUrlHost(row.addresses[0] ?? '');
  const endpoint = endpointsOf(row.record).find((each) => each.scheme === 'https' || each.scheme === 'http');
  const isPort = endpoint && endpoint.port > 0 && endpoint.port < 65536;
  if (!host || !isPort || row.isOwn) return '';
  const url = `${endpoint.scheme}://${host}:${endpoint.port}/`;
  return make('a', { href: url, target: '_blank', rel: 'noopener noreferrer', 'data-focus': `page ${url}` }, url);
}

function factsOf(row) {
  const properties = row.record?.properties ?? {};
  const os = [plain(properties.os?.name, 60), plain(properties.os?.version, 40)].filter(Boolean).join(' ');
  const nics = [properties.os?.network?.nics, properties.nics].find(Array.isArray) ?? [];
  const macs = [...new Set(nics.slice(0, MAX_LIST).map((nic) => plain(nic?.mac, 30)).filter(Boolean))];
  const listens = endpointsOf(row.record).map((each) => `${plain(each.scheme, 10)} ${plain(each.address, 60)} port ${each.port}`);
  return facts(
    fact('Health', make('span', { class: 'health', 'data-level': row.health.level }, foreign(row.health.text))),
    fact('Addresses', row.addresses.map((address) => foreign(address))),
    fact('Its own page', ownPage(row)),
    fact('Build', row.build && foreign(row.build)),
    fact('System', os && foreign(os)),
    fact('Listens on', [...new Set(listens)].map((text) => foreign(text))),
    fact('Hardware addresses', macs.map((mac) => foreign(mac))),
  );
}

// ---- why it is here

function whyRow(name, span) {
  return make('tr', {}, make('th', { scope: 'row' }, sourceName(name)), [span.first, span.last].map((time) => make('td', {}, time > 0 && [ago(time, Date.now()), make('span', { class: 'moment' }, moment(time))])));
}

function verdictOf(sighting) {
  const verified = when(timeOf(sighting.verified));
  const failed = when(timeOf(sighting.failed));
  const sentences = {
    verified: ['Verified: its record comes from it itself. ', verified],
    failed: ['Not verified. ', failed],
    seen: ['Seen, not yet verified.'],
    left: ['No longer there.'],
  };
  return sentences[sighting.state] ?? [plain(sighting.state, 40)];
}

function whyParts(row) {
  if (row.isOwn) return [make('p', {}, 'This is the server that shows this page.')];
  const sources = mergeSources(row.sightings);
  const isByHand = row.record?.properties?.isManual === true && sources.hand === undefined;
  const known = Object.entries(sources).slice(0, 8);
  return [
    known.length > 0 && make('table', { class: 'why' },
      make('thead', {}, make('tr', {}, ['How', 'First', 'Last'].map((title) => make('th', { scope: 'col' }, title)))),
      make('tbody', {}, known.map(([name, span]) => whyRow(name, span)))),
    isByHand && make('p', {}, 'A person added it.'),
    known.length === 0 && !isByHand && make('p', {}, 'Nothing is noted of how it came in; it may have come before this server started.'),
    row.sightings.slice(0, 8).map((sighting) => make('p', { class: 'verdict', 'data-state': sighting.state },
      foreign(hostOf(plain(sighting.address, 80)), 'verdict-address'), ' ', verdictOf(sighting),
      sighting.reason && make('span', { class: 'reason' }, foreign(plain(sighting.reason, 600))))),
  ];
}

// ---- its certificate

function certificateParts(peer, canEdit, actions) {
  const { address, fingerprint, offered } = peer;
  const shownAddress = foreign(plain(address, 80));
  const forget = canEdit && workButton('Forget', { 'data-focus': `forget ${address}` }, () => actions.forget(peer));
  if (!offered) {
    return [
      facts(fact('Pinned', make('code', {}, plain(fingerprint, 120))), fact('Since', when(timeOf(peer.since)))),
      forget && make('div', { class: 'buttons' }, forget),
    ];
  }
  return [make('div', { class: 'alarm' },
    make('p', {}, make('strong', {}, 'The certificate of ', shownAddress, ' has changed.'),
      ' Ask whoever runs that server before you trust the new one.'),
    facts(fact('Trusted so far', make('code', {}, plain(fingerprint, 120))),
      fact('Offered now', make('code', {}, plain(offered.fingerprint, 120))),
      fact('Offered since', when(timeOf(offered.since)))),
    canEdit && make('div', { class: 'buttons' },
      workButton('Trust the new certificate', { class: 'danger', 'data-focus': `trust ${address} ${offered.fingerprint}` }, () => actions.trust(peer)), forget))];
}

// ---- the record

/** A value as text that can be folded. `budget` bounds how much of a hostile record becomes elements. */
function tree(name, value, depth, budget) {
  budget.nodes -= 1;
  const label = name === undefined ? '' : [make('span', { class: 'json-name' }, foreign(plain(name, 80))), ': '];
  if (typeof value !== 'object' || value === null) {
    const text = typeof value === 'string' ? `"${plain(value, 300)}"` : plain(String(value), 60);
    return make('div', { class: 'json-leaf' }, label, foreign(text, `json-${value === null ? 'null' : typeof value}`));
  }
  const isList = Array.isArray(value);
  const members = isList ? value.map((each) => [undefined, each]) : Object.entries(value);
  const brackets = isList ? ['[', ']'] : ['{', '}'];
  if (members.length === 0) return make('div', { class: 'json-leaf' }, label, brackets.join(''));
  const children = [];
  for (const [key, member] of members) {
    if (budget.nodes <= 0 || depth >= MAX_DEPTH) {
      children.push(make('div', { class: 'json-leaf' }, '…'));
      break;
    }
    children.push(tree(key, member, depth + 1, budget));
  }
  const summary = make('summary', {}, label, brackets[0], make('span', { class: 'json-size' }, `${members.length}`), brackets[1]);
  return make('details', { class: 'json-node', open: depth < OPEN_DEPTH }, summary, make('div', { class: 'json-inside' }, children));
}

// ---- all of it

export class Details {
  #body;
  #actions;
  #parts = {};
  #recordText;
  #shown = {}; // row, canEdit, peers

  /** `actions`: remove(row), trust(peer), forget(peer). */
  constructor(body, actions) {
    this.#body = body;
    this.#actions = actions;
  }

  /** Shows a row. Of one that is shown already only what has changed is touched, so that nothing folds or jumps. */
  show(row, canEdit, peers) {
    const { row: before, canEdit: couldEdit, peers: peersBefore } = this.#shown;
    if (row === before && canEdit === couldEdit && peers === peersBefore) return;
    if (row.key !== before?.key) this.#begin();
    this.#shown = { row, canEdit, peers };
    this.refresh();
  }

  /** Times are told by how long ago they are. */
  refresh() {
    const { row, canEdit, peers } = this.#shown;
    if (!row) return;
    refresh(this.#parts.facts, factsOf(row));
    refresh(this.#parts.actions, this.#buttons(row, canEdit));
    refresh(this.#parts.certificate, this.#certificates(row, canEdit, peers));
    refresh(this.#parts.why, section('Why it is here', whyParts(row)));
    this.#showRecord(row.record);
  }

  clear() {
    this.#shown = {};
    this.#body.replaceChildren();
  }

  #begin() {
    for (const name of ['facts', 'actions', 'certificate', 'why', 'record']) this.#parts[name] = make('div');
    this.#recordText = undefined;
    this.#body.replaceChildren(...Object.values(this.#parts));
    this.#body.scrollTop = 0;
  }

  #certificates(row, canEdit, peers) {
    const hosts = new Set([row.key, ...row.sightings.map((sighting) => hostOf(sighting.address))]);
    const mine = row.isOwn ? [] : peers.filter((peer) => hosts.has(hostOf(peer.address)));
    return mine.slice(0, 4).map((peer) => section('Certificate', certificateParts(peer, canEdit, this.#actions)));
  }

  #buttons(row, canEdit) {
    if (!canEdit || row.isOwn || !row.isListed) return [];
    const remove = workButton('Remove from the list', { class: 'danger-quiet', 'data-focus': 'remove' }, () => this.#actions.remove(this.#shown.row));
    return [make('div', { class: 'buttons' }, remove)];
  }

  #showRecord(record) {
    const text = record === undefined ? '' : JSON.stringify(record);
    if (text === this.#recordText) return;
    this.#recordText = text;
    const content = record && section('Record', make('p', { class: 'hint' }, 'What the server told of itself; long texts and lists are cut.'),
      make('div', { class: 'json' }, tree(undefined, record, 0, { nodes: MAX_NODES })));
    refresh(this.#parts.record, content);
  }
}
