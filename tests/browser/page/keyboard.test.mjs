import assert from 'node:assert/strict';
import { test } from 'node:test';

import { live, row, until } from '../browser.mjs';
import { fillWithExamples, makeRecord } from '../fake-server.mjs';
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

test('changes are told politely, those of some seconds together', () => inPage(async (page, server) => {
  await enter(page);
  const said = page.locator('#announcer[role="status"]');
  await until(async () => /listed/.test(await said.textContent()), 'the number at the beginning is said');
  for (let number = 0; number < 30; number += 1) server.put(makeRecord(`n-${number}`, `10.1.0.${number}`));
  await until(async () => /30 servers more, 43 listed/.test(await said.textContent()), 'one sentence for thirty changes');
}, withExamples));
