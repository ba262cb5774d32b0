// What the page asks of its own server, and of nobody else. Every path is relative: the server may stand behind a prefix.

import { hostOf } from './rows.js';

/** An answer that is no success. `status` is the HTTP status, 0 when there was no answer at all. */
export class Failure extends Error {
  constructor(status, text, retryAfter = 0) {
    super(text);
    this.status = status;
    this.retryAfter = retryAfter;
  }
}

function describe(status, document, response) {
  const block = Array.isArray(document?.status) ? document.status[0] : document?.status;
  const text = typeof block?.desc === 'string' && block.desc !== 'Failure' ? block.desc.slice(0, 400) : '';
  const retryAfter = Number(response.headers.get('Retry-After')) || 0;
  return new Failure(status, text || `The server answered with status ${status}`, retryAfter);
}

/** A text in a path: percent-encoded but for the colons of addresses. */
export function inPath(text) {
  return encodeURIComponent(text).replaceAll('%3A', ':');
}

export class Api {
  #fetch;
  #csrfToken = '';
  #tags = new Map();

  constructor(fetch = (...args) => globalThis.fetch(...args)) {
    this.#fetch = fetch;
  }

  /** {user, role, csrfToken, expires, setup} of whoever looks at the page. */
  async session() {
    return this.#keep(await this.#ask('GET', '1.0/session'));
  }

  async logIn(user, password) {
    return this.#keep(await this.#ask('POST', '1.0/session', { user, password }));
  }

  async setUp(user, password) {
    return this.#keep(await this.#ask('POST', '1.0/setup', { user, password }));
  }

  async logOut() {
    await this.#ask('DELETE', '1.0/session');
    this.#csrfToken = '';
    this.forgetTags();
  }

  servers() {
    return this.#list('1.0/servers');
  }

  sightings() {
    return this.#list('1.0/sightings');
  }

  async peers() {
    return (await this.#ask('GET', '1.0/peers')).values ?? [];
  }

  async status() {
    return (await this.#ask('GET', '1.0/status')).value;
  }

  /** {record}, what the server at that address told of itself, or {reason} where none is found; "" for no known one. */
  async search(address) {
    try {
      await this.#act('SEARCH', { address });
    } catch (failure) {
      const isInVain = failure.status === 400 && failure.document?.value?.properties?.isReachable === false;
      if (isInVain) return { reason: await this.#reasonOf(address) };
      throw failure;
    }
    return { record: (await this.#ask('GET', `1.0/searchedserver/${inPath(address)}`)).value };
  }

  /** Why the last call of an address failed. */
  async #reasonOf(address) {
    const isIt = (sighting) => hostOf(sighting.address).toLowerCase() === hostOf(address).toLowerCase();
    const { values = [] } = await this.#ask('GET', '1.0/sightings').catch(() => ({}));
    const sighting = values.find(isIt);
    return sighting?.state === 'failed' ? sighting.reason ?? '' : '';
  }

  async add(id) {
    await this.#act('ADD', { server: `/1.0/servers/${inPath(id)}` });
  }

  async remove(idOrAddress) {
    await this.#act('REMOVE', { server: `/1.0/servers/${inPath(idOrAddress)}` });
  }

  async trust(address, fingerprint) {
    await this.#ask('POST', '1.0/peers/trust', { address, fingerprint });
  }

  async forget(address) {
    await this.#ask('POST', '1.0/peers/forget', { address });
  }

  /** The next lists come whole, even when nothing has changed. */
  forgetTags() {
    this.#tags.clear();
  }

  #keep(document) {
    this.#csrfToken = document.value.csrfToken ?? '';
    return document.value;
  }

  #act(action, parameters) {
    return this.#ask('POST', '1.0/servers/self/operations/discovery', { action, parameters });
  }

  /** The values of a list, or nothing when it is the one that was given before. */
  async #list(path) {
    const tag = this.#tags.get(path);
    const response = await this.#send('GET', path, undefined, tag ? { 'If-None-Match': tag } : {});
    if (response.status === 304) return undefined;
    const document = await this.#read(response);
    const newTag = response.headers.get('ETag');
    if (newTag) this.#tags.set(path, newTag);
    return document.values ?? [];
  }

  async #ask(method, path, body) {
    return this.#read(await this.#send(method, path, body));
  }

  async #send(method, path, body, headers = {}) {
    const options = { method, headers: { Accept: 'application/json', ...headers }, cache: 'no-store' };
    options.credentials = 'same-origin';
    options.redirect = 'error';
    if (body !== undefined) {
      options.body = JSON.stringify(body);
      options.headers['Content-Type'] = 'application/json';
    }
    if (method !== 'GET' && this.#csrfToken) options.headers['X-CSRF-Token'] = this.#csrfToken;
    try {
      return await this.#fetch(path, options);
    } catch {
      throw new Failure(0, 'The server does not answer');
    }
  }

  async #read(response) {
    let document;
    try {
      document = await response.json();
    } catch {
      if (response.ok) throw new Failure(0, 'The answer of the server broke off');
    }
    if (response.ok) return document;
    throw Object.assign(describe(response.status, document, response), { document });
  }
}
