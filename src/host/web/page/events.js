// Keeps a view current: by the server's event stream, and by polling where that does not hold.

const FAILURES_UNTIL_POLLING = 3;
const RETRY_MS = 1000;
const POLL_MS = 10_000;
const STREAM_AGAIN_MS = 60_000;

/** A delta of the stream; nothing when it is no JSON object. */
function parse(text) {
  try {
    const value = JSON.parse(text);
    return typeof value === 'object' && value !== null ? value : undefined;
  } catch {
    return undefined;
  }
}

/**
 * `world` is what it works on, so that a test can have its own:
 *   openStream() -> EventSource, fetchAll() fetches the lists (rejects when that fails), beforeFetch() is told when
 *   deltas may begin to come, onEvent(name, data), onState('live' | 'polling' | 'offline'), setTimeout, clearTimeout,
 *   now(). Whoever gives it calls stop() when the login has ended.
 */
export class LiveFeed {
  #world;
  #stream;
  #timer;
  #failures = 0;
  #isRunning = false;
  #isFetching = false;
  #mustFetchAgain = false;
  #state = '';
  #streamFailedAt = 0;

  constructor(world) {
    this.#world = world;
  }

  start() {
    this.stop();
    this.#isRunning = true;
    this.#failures = 0;
    this.#openStream();
  }

  stop() {
    this.#isRunning = false;
    this.#closeStream();
    this.#world.clearTimeout(this.#timer);
    this.#state = '';
  }

  /** To be called when the machine may have slept or changed networks: what is known may be old. */
  wake() {
    if (!this.#isRunning) return;
    this.#failures = 0;
    this.#openStream();
  }

  /** Fetches everything anew; for whoever has reason to doubt what he has. */
  async refresh() {
    if (this.#isFetching) {
      this.#mustFetchAgain = true;
      return;
    }
    this.#isFetching = true;
    try {
      do {
        this.#mustFetchAgain = false;
        this.#world.beforeFetch();
        await this.#world.fetchAll();
      } while (this.#mustFetchAgain && this.#isRunning);
      this.#fetched();
    } catch {
      this.#fetchFailed();
    } finally {
      this.#isFetching = false;
    }
  }

  #setState(state) {
    if (!this.#isRunning || state === this.#state) return;
    this.#state = state;
    this.#world.onState(state);
  }

  #later(work, milliseconds) {
    this.#world.clearTimeout(this.#timer);
    this.#timer = this.#world.setTimeout(work, milliseconds);
  }

  #closeStream() {
    this.#stream?.close();
    this.#stream = undefined;
  }

  #openStream() {
    this.#closeStream();
    this.#world.clearTimeout(this.#timer);
    const stream = (this.#stream = this.#world.openStream());
    const take = (name, work) =>
      stream.addEventListener(name, (event) => {
        const data = parse(event.data);
        if (this.#stream === stream && data) work(data);
      });
    take('hello', (data) => this.#hello(data));
    take('reset', () => this.refresh());
    for (const name of ['servers', 'sightings', 'status']) take(name, (data) => this.#world.onEvent(name, data));
    stream.addEventListener('error', () => this.#stream === stream && this.#streamFailed());
  }

  #hello(data) {
    this.#world.onEvent('hello', data);
    this.refresh();
  }

  #streamFailed() {
    this.#closeStream();
    this.#failures += 1;
    this.#streamFailedAt = this.#world.now();
    if (this.#failures >= FAILURES_UNTIL_POLLING) {
      this.#poll();
      return;
    }
    if (this.#state === 'live') this.#setState('offline');
    this.#later(() => this.#openStream(), RETRY_MS * 2 ** (this.#failures - 1));
  }

  async #poll() {
    await this.refresh();
    if (!this.#isRunning || this.#stream) return;
    const isTime = this.#world.now() - this.#streamFailedAt >= STREAM_AGAIN_MS;
    this.#later(() => (isTime ? this.#openStream() : this.#poll()), POLL_MS);
  }

  #fetched() {
    if (this.#stream) this.#failures = 0;
    this.#setState(this.#stream ? 'live' : 'polling');
  }

  #fetchFailed() {
    this.#setState('offline');
    if (this.#stream) this.#streamFailed();
  }
}
