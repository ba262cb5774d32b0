import assert from 'node:assert/strict';
import { test } from 'node:test';

import { LiveFeed } from '../../../src/host/web/page/events.js';

/** A world whose clock and streams the test drives. */
class World {
  streams = [];
  states = [];
  events = [];
  fetches = 0;
  fails = false;
  hold; // a promise that fetching waits for
  #now = 0;
  #timers = new Map();
  #next = 1;

  openStream() {
    const listeners = {};
    const stream = { isClosed: false, addEventListener: (name, work) => { listeners[name] = work; }, close: () => { stream.isClosed = true; } };
    stream.emit = (name, data = '{}') => listeners[name]({ data });
    this.streams.push(stream);
    return stream;
  }

  beforeFetch() {}

  async fetchAll() {
    this.fetches += 1;
    await this.hold;
    if (this.fails) throw new Error('no answer');
  }

  onEvent(name, data) {
    this.events.push([name, data]);
  }

  onState(state) {
    this.states.push(state);
  }

  now() {
    return this.#now;
  }

  setTimeout(work, milliseconds) {
    this.#timers.set(this.#next, { at: this.#now + milliseconds, work });
    return this.#next++;
  }

  clearTimeout(timer) {
    this.#timers.delete(timer);
  }

  get last() {
    return this.streams.at(-1);
  }

  async settle() {
    for (let turn = 0; turn < 20; turn += 1) await Promise.resolve();
  }

  async pass(milliseconds) {
    const end = this.#now + milliseconds;
    for (;;) {
      const due = [...this.#timers].filter(([, timer]) => timer.at <= end).sort((a, b) => a[1].at - b[1].at)[0];
      if (!due) break;
      this.#timers.delete(due[0]);
      this.#now = due[1].at;
      due[1].work();
      await this.settle();
    }
    this.#now = end;
  }
}

async function liveFeed() {
  const world = new World();
  const feed = new LiveFeed(world);
  feed.start();
  world.last.emit('hello', '{"version":"1"}');
  await world.settle();
  return { world, feed };
}

async function pollingFeed() {
  const { world, feed } = await liveFeed();
  for (let time = 0; time < 3; time += 1) {
    world.last.emit('error');
    await world.pass(time < 2 ? 5000 : 0);
  }
  await world.settle();
  return { world, feed };
}

test('a greeting leads to fetching, and then it is live', async () => {
  const { world } = await liveFeed();
  assert.equal(world.fetches, 1);
  assert.deepEqual(world.states, ['live']);
});

test('deltas are handed on, and what is no JSON object is not', async () => {
  const { world } = await liveFeed();
  world.last.emit('servers', '{"removed":["a"]}');
  world.last.emit('servers', '{');
  world.last.emit('status', 'null');
  assert.deepEqual(world.events.slice(1), [['servers', { removed: ['a'] }]]);
});

test('a reset fetches everything anew', async () => {
  const { world } = await liveFeed();
  world.last.emit('reset');
  await world.settle();
  assert.equal(world.fetches, 2);
});

test('resets that come while fetching lead to one more fetch, not to many', async () => {
  const { world } = await liveFeed();
  let release;
  world.hold = new Promise((resolve) => { release = resolve; });
  for (let time = 0; time < 50; time += 1) world.last.emit('reset');
  release();
  await world.settle();
  assert.equal(world.fetches, 3);
});

test('a stream that breaks is opened again soon, and meanwhile it is not called live', async () => {
  const { world } = await liveFeed();
  world.last.emit('error');
  assert.deepEqual(world.states, ['live', 'offline']);
  assert.equal(world.streams[0].isClosed, true);
  await world.pass(1000);
  assert.equal(world.streams.length, 2);
  world.last.emit('hello');
  await world.settle();
  assert.deepEqual(world.states, ['live', 'offline', 'live']);
});

test('after three failures it polls every ten seconds', async () => {
  const { world } = await pollingFeed();
  assert.equal(world.streams.length, 3);
  assert.equal(world.states.at(-1), 'polling');
  const before = world.fetches;
  await world.pass(30_000);
  assert.equal(world.fetches, before + 3);
});

test('while polling, the stream is tried again after a minute', async () => {
  const { world } = await pollingFeed();
  await world.pass(75_000);
  assert.equal(world.streams.length, 4);
  world.last.emit('hello');
  await world.settle();
  assert.equal(world.states.at(-1), 'live');
  const before = world.fetches;
  await world.pass(60_000);
  assert.equal(world.fetches, before);
});

test('a server that does not answer the polls either is offline, until it does', async () => {
  const { world } = await pollingFeed();
  world.fails = true;
  await world.pass(10_000);
  assert.equal(world.states.at(-1), 'offline');
  world.fails = false;
  await world.pass(10_000);
  assert.equal(world.states.at(-1), 'polling');
});

test('lists that cannot be fetched count as a failure of the stream', async () => {
  const { world } = await liveFeed();
  world.fails = true;
  world.last.emit('reset');
  await world.settle();
  assert.equal(world.states.at(-1), 'offline');
  await world.pass(1000);
  assert.equal(world.streams.length, 2);
});

test('events of a stream that was given up count for nothing', async () => {
  const { world } = await liveFeed();
  world.streams[0].emit('error');
  await world.pass(1000);
  const before = world.events.length;
  world.streams[0].emit('servers', '{}');
  world.streams[0].emit('error');
  assert.equal(world.events.length, before);
  assert.equal(world.streams.length, 2);
});

test('once stopped, nothing happens any more', async () => {
  const { world, feed } = await pollingFeed();
  feed.stop();
  const before = [world.fetches, world.streams.length, world.states.length];
  await world.pass(200_000);
  assert.deepEqual([world.fetches, world.streams.length, world.states.length], before);
});

test('waking up opens the stream at once', async () => {
  const { world, feed } = await pollingFeed();
  feed.wake();
  assert.equal(world.streams.length, 4);
});
