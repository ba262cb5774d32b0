import assert from 'node:assert/strict';
import { test } from 'node:test';

import { live, row, until } from '../browser.mjs';
import { fillWithExamples, makeRecord, makeSighting } from '../fake-server.mjs';
import { enter, PASSWORD, useBrowser } from './setting.mjs';

const inPage = useBrowser();
const withExamples = { prepare: fillWithExamples };

const focused = (page) => page.evaluate(() => {
  const element = document.activeElement;
  return element.querySelector?.('.cell-name')?.textContent ?? (element.id || element.textContent);
});
const press = async (page, ...keys) => {
  for (const key of keys) await page.keyboard.press(key);
};

test('everything is done without a mouse: log in, find, read, remove, search, add, log out', () => inPage(async (page, server) => {
  server.searched.set('10.7.0.1', makeRecord('far-away', '10.7.0.1'));
  await page.getByLabel('User name').waitFor();
  await page.keyboard.type('admin');
  await press(page, 'Tab');
  await page.keyboard.type(PASSWORD);
  await press(page, 'Enter');
  await live(page, 'live');
  await row(page, 'storage-07').waitFor();

  await press(page, 'Tab', '/');
  assert.equal(await focused(page), 'filter');
  await page.keyboard.type('storage-07');
  await until(async () => (await page.locator('.cell-name').count()) === 1, 'the list is narrowed');
  await press(page, 'ArrowDown');
  assert.equal(await focused(page), 'storage-07');
  await press(page, 'Enter');
  assert.equal(await focused(page), 'panel-title');
  const tabTo = async (text) => {
    for (let step = 0; step < 40; step += 1) {
      if ((await focused(page)) === text) return;
      await press(page, 'Tab');
    }
    throw new Error(`Tab does not lead to "${text}"`);
  };
  await tabTo('Remove from the list');
  await press(page, 'Enter');
  assert.equal(await focused(page), 'Cancel');
  await press(page, 'Shift+Tab', 'Enter');
  await row(page, 'storage-07').waitFor({ state: 'detached' });
  await until(async () => (await focused(page)) !== '', 'the focus is somewhere');

  await tabTo('search-button');
  await press(page, 'Enter');
  assert.equal(await focused(page), 'search-address');
  await page.keyboard.type('10.7.0.1');
  await press(page, 'Enter');
  await page.getByRole('button', { name: 'Add to the list' }).waitFor();
  await tabTo('Add to the list');
  await press(page, 'Enter');
  await until(() => server.records.has('10.7.0.1'), 'it is added');
  await tabTo('logout-button');
  await press(page, 'Enter');
  await page.getByRole('heading', { name: 'Log in' }).waitFor();
}, withExamples));

test('the keys of the table lead through it', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'storage-07').waitFor();
  await page.getByLabel('Filter').focus();
  await press(page, 'ArrowDown');
  assert.equal(await focused(page), 'archive-berlin');
  await press(page, 'ArrowUp');
  assert.equal(await focused(page), 'archive-berlin');
  await press(page, 'ArrowDown', 'ArrowDown');
  assert.equal(await focused(page), 'storage-02');
  await press(page, 'End');
  assert.equal(await focused(page), 'storage-40');
  await press(page, 'ArrowDown');
  assert.equal(await focused(page), 'storage-40');
  await press(page, 'Home');
  assert.equal(await focused(page), 'archive-berlin');
  await press(page, 'PageDown');
  assert.notEqual(await focused(page), 'archive-berlin');
  await press(page, 'PageUp');
  assert.equal(await focused(page), 'archive-berlin');
  assert.equal(await page.locator('.grid-space .grid-row[tabindex="0"]').count(), 1);
}, withExamples));

test('Enter opens the details, Escape closes them and leads back', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'storage-07').waitFor();
  await page.getByLabel('Filter').focus();
  await press(page, 'ArrowDown', 'ArrowDown', 'Enter');
  assert.equal(await focused(page), 'panel-title');
  assert.equal(await page.locator('.grid-row[aria-selected="true"] .cell-name').textContent(), 'storage-01');
  await press(page, 'Escape');
  assert.equal(await focused(page), 'storage-01');
  assert.equal(await page.locator('#panel').isVisible(), false);
  assert.equal(await page.locator('.grid-row[aria-selected="true"]').count(), 0);
}, withExamples));

test('a slash in a text field is a slash', () => inPage(async (page) => {
  await enter(page);
  await page.getByLabel('Filter').focus();
  await page.keyboard.type('a/b');
  assert.equal(await page.getByLabel('Filter').inputValue(), 'a/b');
}, withExamples));

test('the row that has the focus keeps it while rows come, and hands it on when it goes', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').waitFor();
  await page.getByLabel('Filter').focus();
  await press(page, 'ArrowDown', 'ArrowDown', 'ArrowDown');
  assert.equal(await focused(page), 'storage-02');
  server.put(makeRecord('aaa', '10.0.0.200'));
  await row(page, 'aaa').waitFor();
  assert.equal(await focused(page), 'storage-02');
  server.drop('10.88.0.2');
  server.sightings.delete('10.88.0.2');
  server.send('sightings', { removed: ['10.88.0.2'] });
  await row(page, 'storage-02').waitFor({ state: 'detached' });
  assert.equal(await focused(page), 'storage-03');
}, withExamples));

/** Other servers change, this one is seen anew, and everything is fetched again. */
async function changeMuch(page, server) {
  for (let number = 0; number < 3; number += 1) {
    server.put(makeRecord(`other-${number}`, `10.3.0.${number}`));
    server.see(makeSighting('10.88.0.7', 'storage-07', 'verified', { verified: new Date(Date.now() - 60_000 * number).toISOString() }));
    await row(page, `other-${number}`).waitFor();
  }
  const before = server.requests.length;
  server.put(makeRecord('storage-07', '10.88.0.7', { build: '9.9.9' }));
  server.send('reset', {});
  await page.locator('#panel .facts').getByText('9.9.9').waitFor();
  await until(() => server.requests.slice(before).some((each) => each.startsWith('GET /1.0/sightings')), 'it is fetched anew');
  await page.waitForTimeout(400); // longer than between two renderings
}

test('in the details the focus stays where it is, whatever changes', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.getByRole('heading', { name: 'Certificate' }).waitFor();
  for (const selector of ['a', 'button.danger-quiet', '[data-focus^="forget"]', '.json summary >> nth=2']) {
    const element = page.locator('#panel-body').locator(selector).first();
    await element.focus();
    const text = await element.textContent();
    await changeMuch(page, server);
    assert.equal(await focused(page), text, selector);
    server.put(makeRecord('storage-07', '10.88.0.7', { build: '1.1.1' }));
    for (let number = 0; number < 3; number += 1) server.drop(`10.3.0.${number}`);
    await page.locator('#panel .facts').getByText('1.1.1').waitFor();
    await row(page, 'other-2').waitFor({ state: 'detached' });
  }
}, withExamples));

test('in the details a selection stays, whatever changes', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  const fingerprint = page.locator('#panel code').first();
  await fingerprint.waitFor();
  await fingerprint.selectText();
  await changeMuch(page, server);
  assert.equal(await page.evaluate(() => String(getSelection())), 'SHA256:5b1ce08d5f2f4f76a9d0');
}, withExamples));

test('what can be pressed no longer hands the focus to what is around it', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.locator('[data-focus="remove"]').focus();
  server.records.delete('10.88.0.7');
  server.see(makeSighting('10.88.0.7', 'storage-07', 'failed', { reason: 'it is silent' }));
  server.put(makeRecord('storage-07', '10.88.0.7', { isPivot: true }));
  await page.locator('[data-focus="remove"]').waitFor({ state: 'detached' });
  assert.equal(await focused(page), 'panel-body');
}, withExamples));

test('in the panel of discovery a selection stays while its figures change', () => inPage(async (page, server) => {
  await enter(page);
  await page.locator('#status-button').click();
  const fingerprint = page.locator('#panel code');
  await fingerprint.selectText();
  server.status.discovery.passes = 4711;
  server.status.announcements.dropped['of late'] = 5;
  server.send('status', server.status);
  await page.locator('#panel').getByText('4,711').waitFor();
  await page.locator('#panel').getByText('Dropped: of late').waitFor();
  assert.equal(await page.evaluate(() => String(getSelection())), server.status.certificate.fingerprint);
}, withExamples));

test('on a phone with the panel open the focus is never behind it', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'storage-40').click();
  await page.getByText('has changed.').waitFor();
  const seen = new Set();
  for (let step = 0; step < 30; step += 1) {
    await press(page, 'Tab');
    const [name, isSeen] = await page.evaluate(() => {
      const element = document.activeElement;
      const box = element.getBoundingClientRect();
      const top = document.elementFromPoint(box.x + box.width / 2, Math.max(box.y, 0) + Math.min(box.height, 20) / 2);
      return [element.id || element.textContent, element === document.body || element.contains(top)];
    });
    assert.ok(isSeen, `${name} is covered`);
    seen.add(name);
  }
  for (const name of ['panel-close', 'status-button', 'Forget']) assert.ok(seen.has(name), name);
  assert.ok(!seen.has('filter'));
}, { prepare: fillWithExamples, options: { viewport: { width: 320, height: 640 } } }));

test('changes are told politely, those of some seconds together', () => inPage(async (page, server) => {
  await enter(page);
  const said = page.locator('#announcer[role="status"]');
  await until(async () => /listed/.test(await said.textContent()), 'the number at the beginning is said');
  for (let number = 0; number < 30; number += 1) server.put(makeRecord(`n-${number}`, `10.1.0.${number}`));
  await until(async () => /30 servers more, 43 listed/.test(await said.textContent()), 'one sentence for thirty changes');
}, withExamples));
