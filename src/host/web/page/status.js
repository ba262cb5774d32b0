// The panel of discovery: what this server does to find others, and how it fares.

import { foreign, make, refresh } from './dom.js';
import { when } from './details.js';
import { ago, counted, duration, plain, timeOf } from './text.js';

const MAX_LINES = 60;

/** What waits, by the name that the server has for it. */
const WORDS = {
  action: 'Requests that change or search',
  prompt: 'Requests answered at once',
  read: 'Requests that read',
  discovery_jobs_waiting: 'Discovery jobs that wait',
  discovery_jobs_running: 'Discovery jobs that run',
};

function isPresent(value) {
  return value !== undefined && value !== null && value !== '' && value !== false;
}

function facts(entries) {
  const shown = entries.filter(([, ...values]) => values.flat().some(isPresent));
  return make('dl', { class: 'facts' }, shown.flatMap(([title, ...values]) =>
    [make('dt', {}, title), ...values.flat().filter(isPresent).map((value) => make('dd', {}, typeof value === 'number' ? number(value) : value))]));
}

function number(value) {
  return Number.isFinite(value) ? value.toLocaleString('en') : '';
}

function section(title, content) {
  return make('section', {}, make('h3', {}, title), content);
}

/** Figures by name: {"too old": 3}. */
function figures(object) {
  const entries = Object.entries(object ?? {}).filter(([, value]) => typeof value === 'number').slice(0, MAX_LINES);
  return entries.map(([name, value]) => [Object.hasOwn(WORDS, name) ? WORDS[name] : foreign(plain(name, 60)), value]);
}

function lastPass(discovery) {
  const pass = discovery?.lastPass;
  if (!pass) return [['Last pass', 'none yet']];
  return [['Last pass', when(timeOf(pass.began))], ['It took', duration(pass.durationMs)], ['It found', pass.found], ['It listed', pass.listed]];
}

function interfaces(list) {
  return (list ?? []).slice(0, MAX_LINES).map((each) => [
    foreign(plain(each.name, 30)),
    [...(each.ipV4 ?? []), ...(each.ipV6 ?? [])].slice(0, 16).map((address) => foreign(plain(address, 60))),
    each.isJoined ? 'listens to announcements' : make('span', { class: 'health', 'data-level': 'trouble' }, 'does not listen to announcements'),
  ]);
}

function certificate(value) {
  if (!value) return [['Certificate', 'none: this page comes without encryption']];
  return [['Subject', foreign(plain(value.subject))], ['Issuer', value.isSelfSigned ? 'itself' : foreign(plain(value.issuer))],
    ['Fingerprint', make('code', {}, plain(value.fingerprint))], ['Valid from', when(timeOf(value.notBefore))], ['Valid until', when(timeOf(value.notAfter))]];
}

function sections(status) {
  const { discovery, servers, announcements, peers } = status;
  const dropped = figures(announcements?.dropped);
  const failures = figures(peers?.failures);
  return [
    ['Discovery', [['Now', discovery?.isRunning ? 'a pass goes on' : 'waits for the next pass'], ['Passes', discovery?.passes], ...lastPass(discovery)]],
    ['Servers', [['Listed', servers?.listed], ['Verified', servers?.verified], ['Failed', servers?.failed], ['Added by hand', servers?.byHand]]],
    ['Announcements', [['Received', announcements?.received], ...dropped.map(([name, value]) => [[ 'Dropped: ', name ], value])]],
    ['SLP', figures(status.slp)],
    ['Calls to servers', [['Made', peers?.fetches], ...failures.map(([name, value]) => [['Failed: ', name], value])]],
    ['Work', figures(status.queues)],
    ['Interfaces', interfaces(status.interfaces)],
    ['This server', [['Version', foreign(plain(status.version, 40))], ['Build', foreign(plain(status.build, 40))],
      ['Up for', duration((status.uptimeSeconds ?? NaN) * 1000)], ['Listens on', (status.listens ?? []).slice(0, 16).map((each) => foreign(plain(each)))],
      ...certificate(status.certificate)]],
  ];
}

export function showStatus(body, status) {
  if (!status) return refresh(body, make('p', { class: 'hint' }, 'Nothing is known yet.'));
  const shown = sections(status).filter(([, entries]) => entries.length > 0);
  refresh(body, shown.map(([title, entries]) => section(title, facts(entries))));
}

/** The same in one line. */
export function statusLine(status, now) {
  if (!status?.discovery) return '';
  const { lastPass: pass, isRunning } = status.discovery;
  if (pass) return `${counted(pass.found ?? 0, 'server')} found, ${ago(timeOf(pass.began), now)}`;
  return isRunning ? 'first pass' : 'no pass yet';
}
