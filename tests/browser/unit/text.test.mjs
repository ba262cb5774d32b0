import assert from 'node:assert/strict';
import { test } from 'node:test';

import { ago, counted, duration, moment, plain, sourceName, timeOf } from '../../../src/host/web/page/text.js';

test('a plain text stays as it is', () => {
  assert.equal(plain('storage-01 · Größe 数'), 'storage-01 · Größe 数');
});

test('markup is a text like any other', () => {
  assert.equal(plain('<b onclick="x()">&amp;</b>'), '<b onclick="x()">&amp;</b>');
});

for (const [what, character] of Object.entries({
  'a NUL': '\u0000', 'a bell': '\u0007', 'an escape': '\u001b', 'a line end': '\n', 'a C1 control': '\u009b',
  'an override of direction': '\u202e', 'an isolate': '\u2067', 'a mark of direction': '\u200f', 'an Arabic mark': '\u061c',
  'a zero-width space': '\u200b', 'a zero-width joiner': '\u200d', 'a byte order mark': '\ufeff', 'a line separator': '\u2028',
  'a soft hyphen': '\u00ad', 'a tag character': '\u{e0041}',
})) {
  test(`${what} becomes a blank`, () => assert.equal(plain(`a${character}b`), 'a b'));
}

test('a text that is too long ends with an ellipsis and has the length that was asked for', () => {
  assert.equal(plain('x'.repeat(50), 10), `${'x'.repeat(9)}…`);
  assert.equal(plain('x'.repeat(10), 10), 'x'.repeat(10));
});

test('a cut does not tear a character apart', () => {
  assert.equal(plain('😀'.repeat(20), 5), '😀😀😀😀…');
});

test('half a character is replaced', () => {
  assert.equal(plain('a\ud800b'), 'a\ufffdb');
});

test('marks that pile up are thinned out', () => {
  assert.equal(plain(`Z${'\u0301'.repeat(500)}`), `Z${'\u0301'.repeat(3)}…`.slice(0, 4) + (plain(`Z${'\u0301'.repeat(500)}`).slice(4)));
  assert.ok(plain(`Z${'\u0301'.repeat(500)}`).length <= 6);
});

test('a text of megabytes costs little', () => {
  const begin = performance.now();
  assert.equal(plain('\u0301'.repeat(5_000_000), 40).length <= 40, true);
  assert.ok(performance.now() - begin < 200);
});

test('what is no text and no number shows as nothing', () => {
  for (const value of [undefined, null, true, {}, [], { toString: () => 'x' }]) assert.equal(plain(value), '');
  assert.equal(plain(31), '31');
});

test('times are read as the server writes them', () => {
  assert.equal(timeOf('2026-11-21T16:50:00Z'), Date.UTC(2026, 10, 21, 16, 50));
  for (const value of ['', 'soon', undefined, null, 5, {}]) assert.equal(timeOf(value), 0);
});

test('how long ago something was is told roughly', () => {
  const now = Date.UTC(2026, 0, 10);
  const told = (seconds) => ago(now - seconds * 1000, now);
  assert.deepEqual([0, 44, 45, 600, 2699, 2700, 7200, 36 * 3600].map(told),
    ['just now', 'just now', '1 min ago', '10 min ago', '45 min ago', '1 h ago', '2 h ago', '2 days ago']);
});

test('a time ahead of the own clock is now, and none is nothing', () => {
  assert.equal(ago(2000, 1000), 'just now');
  assert.equal(ago(0, 1000), '');
  assert.equal(moment(0), '');
});

test('a moment has date and time of the reader', () => {
  assert.match(moment(Date.UTC(2026, 10, 21, 12, 0, 5)), /^2026-11-2[12] \d\d:\d\d:05$/);
});

test('durations have their two largest units', () => {
  assert.deepEqual([350, 1000, 65_000, 3_600_000, 90_061_000].map(duration), ['350 ms', '1 s', '1 min 5 s', '1 h', '1 d 1 h']);
  assert.equal(duration(NaN), '');
  assert.equal(duration(-1), '');
});

test('one is counted in the singular', () => {
  assert.deepEqual([0, 1, 10_000].map((number) => counted(number, 'server')), ['0 servers', '1 server', '10,000 servers']);
});

test('a source that is not known is shown as it is called, also when objects inherit that name', () => {
  assert.deepEqual(['slp', 'hand', 'carrier pigeon', 'constructor'].map(sourceName), ['SLP', 'By hand', 'carrier pigeon', 'constructor']);
});
