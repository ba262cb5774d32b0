// Puts the page together: who is logged in, what is shown, what a click does.

import { Api } from './api.js';
import { confirm, searchDialog } from './dialogs.js';
import { byId, foreign, make } from './dom.js';
import { LiveFeed } from './events.js';
import { hideEntry, showEntry, showUnreachable } from './login.js';
import { Panel } from './panel.js';
import { filterRows, hostOf, keyOf, sortRows } from './rows.js';
import { statusLine } from './status.js';
import { Store } from './store.js';
import { COLUMNS, Table } from './table.js';
import { counted, plain } from './text.js';

const RENDER_MS = 200;
const TELL_MS = 4000;
const TITLE = 'Server Discovery';
const LIVE_TEXTS = { live: 'Live', polling: 'Polling', offline: 'Offline' };

const api = new Api();
const store = new Store();
const view = { text: '', scope: 'all', column: 'name', isDescending: false };
let session = { user: '', role: 'none' };
let lastUser = '';
let status;
let peers = [];
let shown = []; // rows
let toldCount; // listed servers when somebody was last told

const canEdit = () => session.role === 'operator';
const canRead = () => canEdit() || session.role === 'viewer';

// ---- telling

let tellTimer;
const untold = [];

/** Says something to who does not see the page; what comes at short intervals is said together. */
function tell(text) {
  untold.push(text);
  tellTimer ??= setTimeout(() => {
    tellTimer = undefined;
    byId('announcer').textContent = untold.splice(0).slice(-3).join('. ');
  }, 300);
}

let changeTimer;

function tellChanges(count) {
  if (toldCount === undefined) {
    toldCount = count;
    return tell(`${counted(count, 'server')} listed`);
  }
  changeTimer ??= setTimeout(() => {
    changeTimer = undefined;
    const now = store.recordCount;
    const difference = now - toldCount;
    toldCount = now;
    if (difference !== 0) tell(`${counted(Math.abs(difference), 'server')} ${difference > 0 ? 'more' : 'fewer'}, ${now} listed`);
  }, TELL_MS);
}

function notice(text, { isGood = false } = {}) {
  byId('notice').hidden = text === '';
  byId('notice').dataset.level = isGood ? 'ok' : 'failed';
  byId('notice-text').replaceChildren(foreign(plain(text, 500)));
}

// ---- rendering

let renderTimer;

function scheduleRender() {
  renderTimer ??= setTimeout(() => render(), RENDER_MS);
}

function render({ isNewOrder = false } = {}) {
  clearTimeout(renderTimer);
  renderTimer = undefined;
  const all = store.rows();
  shown = sortRows(filterRows(all, view.text, view.scope), view.column, view.isDescending);
  // Sorted by time, a row moves because it was seen, and taking the reader along would be the jump.
  table.setRows(shown, { isNewOrder, keepsPlace: view.column !== 'lastSeen' });
  table.setOrder(view.column, view.isDescending);
  byId('count').textContent = shown.length === all.length ? counted(all.length, 'server') : `${shown.length.toLocaleString('en')} of ${counted(all.length, 'server')}`;
  showEmpty(all.length);
  showOwn();
  panel.show();
}

function showEmpty(total) {
  const isEmpty = shown.length === 0 && !store.isLoading;
  byId('grid').hidden = isEmpty;
  byId('empty').hidden = !isEmpty;
  if (!isEmpty) return;
  const why = total > 0 ? 'No server fits the filter.' : 'No server is known yet. Those that are found appear here by themselves.';
  const clear = make('button', { type: 'button', class: 'quiet', onclick: clearFilter }, 'Show all');
  byId('empty').replaceChildren(why, ...(total > 0 ? [' ', clear] : []));
}

function showOwn() {
  const own = store.own();
  byId('own-name').replaceChildren(...(own ? [foreign(own.name)] : []));
  document.title = own ? `${own.name} – ${TITLE}` : TITLE;
}

function showStatusLine() {
  const line = statusLine(status, Date.now());
  byId('status-short').textContent = line && ` · ${line}`;
}

function showSession() {
  byId('who').replaceChildren(...(session.user ? [foreign(plain(session.user, 40)), ` (${session.role})`] : []));
  byId('logout-button').hidden = session.user === '';
  byId('login-button').hidden = session.user !== '' || canEdit();
  byId('search-button').hidden = !canEdit();
}

// ---- the panel

function openRow(key, byKeyboard) {
  panel.openRow(key, byKeyboard || isNarrow.matches);
  fetchPeers();
}

function panelClosed(why, hadFocus, wasRow) {
  if (why) tell(why);
  if (hadFocus && !(wasRow && table.focusActive())) byId('status-button').focus();
}

async function fetchPeers() {
  const next = await attempt(() => api.peers(), { isQuiet: true });
  if (!next) return;
  peers = next;
  panel.show();
}

// ---- deeds

/** Runs what asks the server; a failure is shown, and a login that has ended leads to the door. */
async function attempt(work, { isQuiet = false } = {}) {
  try {
    return await work();
  } catch (failure) {
    if (failure.status === 401) await loginEnded();
    else if (!isQuiet) notice(failure.message);
    return undefined;
  }
}

async function removeRow(row) {
  const isAgreed = await confirm({
    title: 'Remove this server?',
    text: [foreign(row.name), ' is taken off the list. If it still makes itself known, discovery brings it back.'],
    action: 'Remove',
  });
  if (!isAgreed) return;
  await attempt(async () => {
    await api.remove(row.key);
    tell(`${row.name} was removed`);
  });
  afterEdit();
}

async function trustPeer(peer) {
  const isAgreed = await confirm({
    title: 'Trust the new certificate?',
    text: ['Calls to ', foreign(plain(peer.address, 80)), ' will accept ', make('code', {}, plain(peer.offered.fingerprint, 120)), ' from now on.'],
    action: 'Trust',
  });
  if (!isAgreed) return;
  const isTrusted = await attempt(async () => {
    await api.trust(peer.address, peer.offered.fingerprint);
    return true;
  });
  afterEdit();
  if (isTrusted) await callAgain(hostOf(peer.address));
}

/** Discovery calls a server that was refused again when it pleases; a search shows at once whether it is the right one. */
async function callAgain(host) {
  tell(`Calling ${host}`);
  const answer = await attempt(() => api.search(host));
  if (!answer) return;
  if (answer.record) notice(`The server at ${host} has answered with the certificate that is trusted now.`, { isGood: true });
  else notice(`The certificate is trusted now, but no server was found at ${host}. ${answer.reason}`);
  afterEdit();
}

async function forgetPeer(peer) {
  const isAgreed = await confirm({
    title: 'Forget the certificate?',
    text: ['The next call to ', foreign(plain(peer.address, 80)), ' takes whatever certificate it offers for the right one.'],
    action: 'Forget',
  });
  if (!isAgreed) return;
  await attempt(() => api.forget(peer.address));
  afterEdit();
}

/** Without a stream, what one has just done would show only at the next poll. */
function afterEdit() {
  if (panel.key !== undefined) fetchPeers();
  if (byId('live').dataset.state !== 'live') feed.refresh();
}

function clearFilter() {
  byId('filter').value = '';
  byId('scope').value = 'all';
  readTools();
  byId('filter').focus();
}

function readTools() {
  view.text = byId('filter').value;
  view.scope = byId('scope').value;
  render({ isNewOrder: true });
  tell(counted(shown.length, 'server'));
}

function showDirection() {
  byId('sort-direction').textContent = view.isDescending ? '↓' : '↑';
  byId('sort-direction').setAttribute('aria-label', view.isDescending ? 'Descending; sort ascending' : 'Ascending; sort descending');
}

function sortBy(column, isDescending) {
  Object.assign(view, { column, isDescending });
  byId('sort').value = column;
  showDirection();
  render({ isNewOrder: true });
  const title = COLUMNS.find((each) => each.id === column).title;
  tell(`Sorted by ${title}, ${isDescending ? 'descending' : 'ascending'}`);
}

// ---- live

const feed = new LiveFeed({
  openStream: () => new EventSource('1.0/events'),
  beforeFetch: () => store.beginLoading(),
  fetchAll,
  onEvent: applyEvent,
  onState: showLive,
  setTimeout: (...args) => setTimeout(...args),
  clearTimeout: (timer) => clearTimeout(timer),
  now: () => Date.now(),
});

function showLive(state) {
  byId('live').dataset.state = state;
  byId('live-text').textContent = LIVE_TEXTS[state];
  tell(state === 'offline' ? 'The server does not answer; what is shown may be old' : LIVE_TEXTS[state]);
}

/** Rejects when the lists could not be had. A list that has not changed is not sent again. */
async function fetchAll() {
  try {
    const [records, sightings, nextStatus] = await Promise.all([api.servers(), api.sightings(), api.status()]);
    store.load(records, sightings);
    status = nextStatus;
  } catch (failure) {
    store.load();
    if (failure.status === 401) loginEnded();
    throw failure;
  }
  showStatusLine();
  render();
  tellChanges(store.recordCount);
}

function applyEvent(name, data) {
  if (name === 'servers') store.applyServers(data);
  else if (name === 'sightings') store.applySightings(data);
  else if (name === 'status') status = data;
  if (name === 'status') return showStatusChange();
  if (name === 'sightings') peersMayHaveChanged(data);
  if (name === 'hello' || store.isLoading) return;
  scheduleRender();
  tellChanges(store.recordCount);
}

function showStatusChange() {
  showStatusLine();
  if (panel.showsStatus) panel.show();
}

/** A certificate that has changed comes in as a failed sighting. */
function peersMayHaveChanged(delta) {
  const row = store.row(panel.key);
  if (!row) return;
  const hosts = new Set([row.key, ...row.sightings.map((sighting) => hostOf(sighting.address))]);
  if ((delta.changed ?? []).some((sighting) => hosts.has(hostOf(sighting.address)))) fetchPeers();
}

// ---- coming in and going

async function begin() {
  try {
    enter(await api.session());
  } catch (failure) {
    byId('app').hidden = true;
    showUnreachable(failure, begin);
  }
}

function enter(next, note = '') {
  const isSomebodyElse = lastUser !== '' && next.user !== lastUser;
  session = next;
  if (!canRead()) return showDoor(note);
  if (isSomebodyElse) forgetView();
  lastUser = next.user;
  hideEntry();
  byId('app').hidden = false;
  showSession();
  render();
  feed.start();
  if (!document.activeElement || document.activeElement === document.body) byId('filter').focus({ preventScroll: true });
}

function showDoor(note, cancel) {
  byId('app').hidden = true;
  showEntry({ api, session, note, user: lastUser, done: enter, retry: () => { hideEntry(); begin(); }, cancel });
}

/** The view stays as it is behind the door, so that the same person finds it again. */
async function loginEnded() {
  if (byId('app').hidden) return;
  feed.stop();
  for (const dialog of document.querySelectorAll('dialog[open]')) dialog.close();
  byId('app').hidden = true;
  try {
    enter(await api.session(), lastUser ? 'Your session has ended. Log in again to go on where you were.' : '');
  } catch (failure) {
    showUnreachable(failure, begin);
  }
}

function forgetView() {
  feed.stop();
  store.clear();
  api.forgetTags();
  panel.close();
  peers = [];
  status = undefined;
  toldCount = undefined;
  byId('filter').value = '';
  Object.assign(view, { text: '', scope: 'all' });
  byId('scope').value = 'all';
  byId('announcer').textContent = '';
  notice('');
  showStatusLine();
  render();
}

async function logOut() {
  feed.stop();
  const isOut = await attempt(async () => {
    await api.logOut();
    return true;
  });
  if (!isOut) return byId('app').hidden || feed.start();
  session = { user: '', role: 'none' };
  lastUser = '';
  forgetView();
  showSession();
  byId('app').hidden = true;
  begin();
}

// ---- wiring

const isNarrow = matchMedia('(max-width: 52rem)');
const panel = new Panel(store, { remove: removeRow, trust: trustPeer, forget: forgetPeer }, {
  isNarrow: () => isNarrow.matches,
  known: () => ({ canEdit: canEdit(), peers, status }),
  opened: (key) => table.setOpened(key),
  closed: panelClosed,
});
const table = new Table(byId('grid'), {
  onOpen: openRow,
  onSort: (column) => sortBy(column, view.column === column && !view.isDescending),
});

byId('sort').append(...COLUMNS.map((column) => make('option', { value: column.id }, column.title)));
byId('sort').addEventListener('change', () => sortBy(byId('sort').value, view.isDescending));
byId('sort-direction').addEventListener('click', () => sortBy(view.column, !view.isDescending));
showDirection();
let filterTimer;
byId('filter').addEventListener('input', () => {
  clearTimeout(filterTimer);
  filterTimer = setTimeout(readTools, 120);
});
byId('scope').addEventListener('change', readTools);
byId('filter').addEventListener('keydown', (event) => {
  if (event.key === 'ArrowDown') {
    event.preventDefault();
    table.focusActive();
  }
});
byId('search-button').addEventListener('click', () => searchDialog({
  api: guarded,
  isListed: (record) => store.row(keyOf(record))?.isListed === true,
  tell: (text) => { tell(text); afterEdit(); },
}));
byId('status-button').addEventListener('click', () => (panel.showsStatus ? panel.close() : panel.openStatus()));
byId('panel-close').addEventListener('click', () => panel.close());
byId('notice-close').addEventListener('click', () => notice(''));
byId('logout-button').addEventListener('click', logOut);
byId('login-button').addEventListener('click', () => showDoor('', begin));
isNarrow.addEventListener('change', () => byId('app').hidden || panel.show());
setInterval(() => {
  if (byId('app').hidden) return;
  showStatusLine();
  panel.refresh();
}, 10_000);

/** The search's dialog shows failures itself; only a login that has ended is ours. */
const guarded = {
  search: (address) => api.search(address).catch(passOn),
  add: (id) => api.add(id).catch(passOn),
};

async function passOn(failure) {
  if (failure.status === 401) await loginEnded();
  throw failure;
}

document.addEventListener('keydown', (event) => {
  if (byId('app').hidden || event.defaultPrevented || document.querySelector('dialog[open]')) return;
  const isTyping = event.target.closest?.('input');
  if (event.key === '/' && !isTyping && !event.ctrlKey && !event.metaKey && !byId('listing').inert) {
    event.preventDefault();
    byId('filter').focus();
    byId('filter').select();
  } else if (event.key === 'Escape' && panel.isOpen && !isTyping?.value) {
    event.preventDefault();
    panel.close();
  }
});

window.addEventListener('online', () => feed.wake());
document.addEventListener('visibilitychange', () => document.visibilityState === 'visible' && byId('live').dataset.state !== 'live' && feed.wake());

begin();
