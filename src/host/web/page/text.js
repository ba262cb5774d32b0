// Texts for people: what peers send made harmless and short, times and figures made readable. Pure.

// Controls, and what turns the direction of writing or takes no room: whoever sends them wants a name to look like another.
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff\ufff9-\ufffb\u{e0000}-\u{e0fff}]+/gu;
const MARKS = /(\p{M}{3})\p{M}+/gu;
const ELLIPSIS = '…';

/** What came from the network as one line of at most `max` characters. Anything but a text or a number is "". */
export function plain(value, max = 120) {
  if (typeof value === 'number') return String(value);
  if (typeof value !== 'string') return '';
  // Cut before anything is looked for, so that a long text costs no more than a short one.
  const begin = value.slice(0, max * 8);
  const text = begin.replace(UNSEEN, ' ').replace(MARKS, '$1').replace(/\s+/gu, ' ').trim();
  const characters = Array.from(text, (each) => (/^[\ud800-\udfff]$/.test(each) ? '\ufffd' : each));
  const isWhole = characters.length <= max && begin.length === value.length;
  return isWhole ? characters.join('') : characters.slice(0, max - 1).join('') + ELLIPSIS;
}

/** Milliseconds since 1970 of a time as the server writes it, 0 for anything else. */
export function timeOf(text) {
  const time = typeof text === 'string' ? Date.parse(text) : NaN;
  return Number.isFinite(time) ? time : 0;
}

/** "just now", "3 min ago". */
export function ago(time, now) {
  if (!time) return '';
  const seconds = Math.max(0, Math.round((now - time) / 1000));
  if (seconds < 45) return 'just now';
  if (seconds < 45 * 60) return `${Math.max(1, Math.round(seconds / 60))} min ago`;
  if (seconds < 36 * 3600) return `${Math.max(1, Math.round(seconds / 3600))} h ago`;
  return `${Math.round(seconds / 86400)} days ago`;
}

/** The moment in the reader's own time zone: "2026-11-21 17:50:03". */
export function moment(time) {
  if (!time) return '';
  const date = new Date(time);
  const two = (number) => String(number).padStart(2, '0');
  const day = [date.getFullYear(), two(date.getMonth() + 1), two(date.getDate())].join('-');
  return `${day} ${[date.getHours(), date.getMinutes(), date.getSeconds()].map(two).join(':')}`;
}

/** "4 d 3 h", "12 min 5 s", "350 ms": the two largest units that there are. */
export function duration(milliseconds) {
  if (!Number.isFinite(milliseconds) || milliseconds < 0) return '';
  if (milliseconds < 1000) return `${Math.round(milliseconds)} ms`;
  let seconds = Math.round(milliseconds / 1000);
  const parts = [];
  for (const [unit, length] of [['d', 86400], ['h', 3600], ['min', 60], ['s', 1]]) {
    const number = Math.floor(seconds / length);
    seconds -= number * length;
    if (number > 0) parts.push(`${number} ${unit}`);
    else if (parts.length > 0) break;
  }
  return parts.slice(0, 2).join(' ');
}

/** "1 server", "10,000 servers". */
export function counted(number, one, many = `${one}s`) {
  return `${number.toLocaleString('en')} ${number === 1 ? one : many}`;
}

const SOURCE_NAMES = { announcement: 'Announced', slp: 'SLP', search: 'Search', hand: 'By hand' };

/** How a person calls a way on which servers come in. */
export function sourceName(source) {
  return Object.hasOwn(SOURCE_NAMES, source) ? SOURCE_NAMES[source] : plain(source, 20);
}
