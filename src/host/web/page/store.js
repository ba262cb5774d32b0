// What the page knows: records and sightings, kept current by deltas, and the rows made of them. Pure.

import { addressesOf, hostOf, keyOf, makeRow } from './rows.js';

const LOST = 'lost:';

export class Store {
  #records = new Map(); // by key
  #sightings = new Map(); // by address without port
  #claims = new Map(); // keys of the records that name an address
  #rows = new Map(); // by key; that of a sighting without a record has LOST before its address
  #dirty = new Set();
  #waiting; // deltas that came while the lists are fetched

  /** Deltas wait from now on until `load`. */
  beginLoading() {
    this.#waiting ??= [];
  }

  get isLoading() {
    return this.#waiting !== undefined;
  }

  /** Lists as they were fetched, undefined for one that has not changed, and then the deltas that came meanwhile. */
  load(records, sightings) {
    if (records) this.#replaceRecords(records);
    if (sightings) this.#replaceSightings(sightings);
    const waiting = this.#waiting ?? [];
    this.#waiting = undefined;
    for (const apply of waiting) apply();
    this.#refresh();
  }

  /** {changed: [{key, record}], removed: [key]} */
  applyServers(delta) {
    this.#apply(() => {
      for (const key of delta.removed ?? []) this.#dropRecord(key);
      for (const { key, record } of delta.changed ?? []) this.#setRecord(key, record);
    });
  }

  /** {changed: [sighting], removed: [address]} */
  applySightings(delta) {
    this.#apply(() => {
      for (const address of delta.removed ?? []) this.#dropSighting(hostOf(address));
      for (const sighting of delta.changed ?? []) this.#setSighting(sighting);
    });
  }

  clear() {
    this.#waiting = undefined;
    for (const map of [this.#records, this.#sightings, this.#claims, this.#rows]) map.clear();
    this.#dirty.clear();
  }

  get recordCount() {
    return this.#records.size;
  }

  rows() {
    return [...this.#rows.values()];
  }

  row(key) {
    return this.#rows.get(key);
  }

  /**
   * The row that a server has now whose row has gone: its key changes once it has been called at an address. Nothing
   * when several servers have its identifier.
   */
  successor(row) {
    const idOf = (each) => each.record?.properties?.displayId;
    const id = idOf(row);
    const same = typeof id === 'string' ? this.rows().filter((each) => idOf(each) === id) : [];
    return same.length === 1 ? same[0] : undefined;
  }

  own() {
    return this.rows().find((row) => row.isOwn);
  }

  #apply(change) {
    if (this.#waiting) {
      this.#waiting.push(change);
      return;
    }
    change();
    this.#refresh();
  }

  #replaceRecords(records) {
    const next = new Map(records.map((record) => [keyOf(record), record]));
    for (const key of [...this.#records.keys()]) if (!next.has(key)) this.#dropRecord(key);
    for (const [key, record] of next) this.#setRecord(key, record);
  }

  #replaceSightings(sightings) {
    const next = new Set(sightings.map((sighting) => hostOf(sighting.address)));
    for (const host of [...this.#sightings.keys()]) if (!next.has(host)) this.#dropSighting(host);
    for (const sighting of sightings) this.#setSighting(sighting);
  }

  #hostsOf(key, record) {
    return new Set([key, ...addressesOf(record)]);
  }

  #setRecord(key, record) {
    this.#dropRecord(key);
    this.#records.set(key, record);
    for (const host of this.#hostsOf(key, record)) {
      if (!this.#claims.has(host)) this.#claims.set(host, new Set());
      this.#claims.get(host).add(key);
      this.#dirty.add(LOST + host);
    }
  }

  #dropRecord(key) {
    const record = this.#records.get(key);
    this.#dirty.add(key);
    if (record === undefined) return;
    this.#records.delete(key);
    for (const host of this.#hostsOf(key, record)) {
      const claimants = this.#claims.get(host);
      claimants.delete(key);
      if (claimants.size === 0) this.#claims.delete(host);
      this.#dirty.add(LOST + host);
    }
  }

  #setSighting(sighting) {
    const host = hostOf(sighting.address);
    this.#sightings.set(host, sighting);
    this.#touch(host);
  }

  #dropSighting(host) {
    this.#sightings.delete(host);
    this.#touch(host);
  }

  #touch(host) {
    this.#dirty.add(LOST + host);
    for (const key of this.#claims.get(host) ?? []) this.#dirty.add(key);
  }

  #refresh() {
    for (const key of this.#dirty) {
      const row = key.startsWith(LOST) ? this.#lostRow(key.slice(LOST.length)) : this.#recordRow(key);
      if (row) this.#rows.set(key, row);
      else this.#rows.delete(key);
    }
    this.#dirty.clear();
  }

  #recordRow(key) {
    const record = this.#records.get(key);
    if (record === undefined) return undefined;
    const seen = [...this.#hostsOf(key, record)].map((host) => this.#sightings.get(host));
    return makeRow(key, record, seen.filter(Boolean));
  }

  /**
   * What failed is shown although it is not listed. A record is not believed when it names such an address among its
   * own: it could hide another's failure. An address that was only ever searched for in vain may be a slip of the pen.
   */
  #lostRow(host) {
    const sighting = this.#sightings.get(host);
    if (sighting?.state !== 'failed' || this.#records.has(host)) return undefined;
    const isKnown = sighting.verified || Object.keys(sighting.sources ?? {}).some((source) => source !== 'search');
    if (!isKnown) return undefined;
    return makeRow(LOST + host, undefined, [sighting]);
  }
}
