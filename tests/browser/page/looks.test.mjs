import assert from 'node:assert/strict';
import { test } from 'node:test';

import { assertAccessible, live, logIn, picture, row, rows, until } from '../browser.mjs';
import { fillWithExamples, HOSTILE_NAME, makeRecord } from '../fake-server.mjs';
import { enter, useBrowser } from './setting.mjs';

const inPage = useBrowser();

const SIZES = { wide: { width: 1280, height: 800 }, phone: { width: 320, height: 640 } };

async function fits(page, what) {
  const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
  assert.ok(wider <= 0, `${what}: ${wider} pixels wider than the window`);
  const cut = await page.locator('dialog[open], #panel:visible, #panel-body:visible, .notice:visible')
    .evaluateAll((all) => all.filter((each) => each.scrollWidth > each.clientWidth).map((each) => `${each.tagName}#${each.id}`));
  assert.deepEqual(cut, [], `${what}: cut at the side`);
}

for (const colorScheme of ['light', 'dark']) {
  for (const [size, viewport] of Object.entries(SIZES)) {
    const options = { colorScheme, viewport };
    const look = async (page, state) => {
      await fits(page, state);
      await picture(page, `${state}-${colorScheme}-${size}`);
      await assertAccessible(page, state);
    };

    test(`the way in is accessible, and fits: ${colorScheme}, ${size}`, () => inPage(async (page, server) => {
      await page.getByRole('heading', { name: 'Welcome' }).waitFor();
      await look(page, 'first-run');
      server.isLoopback = false;
      await page.reload();
      await page.getByRole('heading', { name: 'Not set up yet' }).waitFor();
      await look(page, 'not-set-up');
      server.users.set('admin', { password: 'x', role: 'operator' });
      await page.reload();
      await logIn(page, 'admin', 'wrong');
      await page.getByText('is wrong.').waitFor();
      await look(page, 'login-wrong');
    }, { options, prepare: (server) => server.users.clear() }));

    test(`the list and what is beside it is accessible, and fits: ${colorScheme}, ${size}`, () => inPage(async (page, server) => {
      const close = () => page.locator('#panel-close').click();
      await enter(page);
      await page.getByText('No server is known yet').waitFor();
      await look(page, 'empty');
      fillWithExamples(server);
      server.put(makeRecord(HOSTILE_NAME, '10.88.0.66'));
      await row(page, 'archive-berlin').waitFor();
      await look(page, 'list');
      await row(page, 'archive-berlin').click();
      await page.getByRole('heading', { name: 'Record' }).waitFor();
      await look(page, 'details');
      await close();
      await page.locator('#scope').selectOption('trouble');
      await row(page, 'storage-40').click();
      await page.getByText('has changed.').waitFor();
      await look(page, 'certificate');
      await page.getByRole('button', { name: 'Trust the new' }).click();
      await look(page, 'confirm');
      await page.getByRole('button', { name: 'Cancel' }).click();
      server.peers = server.peers.slice(1);
      await page.getByRole('button', { name: 'Forget' }).click();
      await page.getByRole('dialog').getByRole('button', { name: 'Forget' }).click();
      await page.getByText('There is no such peer').waitFor();
      await look(page, 'failure');
      await page.getByRole('button', { name: 'Dismiss' }).click();
      await close();
      await page.locator('#status-button').click();
      await page.getByRole('heading', { name: 'Announcements' }).waitFor();
      await look(page, 'discovery');
      await close();
      await page.getByRole('button', { name: 'Search by address' }).click();
      await page.getByLabel('IP address or host name').fill('10.9.9.9');
      await page.keyboard.press('Enter');
      await page.getByText('No server was found').waitFor();
      await look(page, 'search');
      await page.getByRole('button', { name: 'Close' }).click();
      server.isDown = true;
      server.endStreams();
      await live(page, 'offline');
      await look(page, 'offline');
    }, { options }));
  }
}

test('where the list is made of cards there is a control to sort them, whatever made it so narrow', () => inPage(async (page) => {
  await enter(page);
  const sort = page.getByLabel('Sort by');
  const titles = page.locator('.grid-top');
  assert.deepEqual([await sort.isVisible(), await titles.isVisible()], [false, true]);
  await row(page, 'storage-07').click();
  await sort.waitFor();
  assert.equal(await titles.isVisible(), false);
  await fits(page, 'narrow by the panel');
  await picture(page, 'narrow-by-panel');
  await sort.selectOption('address');
  await until(async () => (await page.locator('.cell-name').first().textContent()) === 'storage-01', 'it is sorted');
}, { prepare: fillWithExamples, options: { viewport: { width: 900, height: 700 } } }));

test('with the text twice as large everything is still there', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'archive-berlin').waitFor();
  const before = await page.locator('.grid-probe').evaluate((element) => element.offsetHeight);
  await page.evaluate(() => { document.documentElement.style.fontSize = '187.5%'; });
  await until(async () => (await page.locator('.grid-probe').evaluate((element) => element.offsetHeight)) > 1.9 * before, 'rows grow along');
  await fits(page, 'large text');
  await picture(page, 'large-text');
  const boxes = await rows(page).evaluateAll((elements) => elements.map((element) => element.getBoundingClientRect().top).sort((a, b) => a - b));
  for (let at = 1; at < boxes.length; at += 1) assert.ok(boxes[at] - boxes[at - 1] > 1.9 * before - 2, 'rows do not overlap');
}, { prepare: fillWithExamples }));

test('who wants no motion gets none', () => inPage(async (page) => {
  await enter(page);
  const moving = await page.evaluate(() => document.getAnimations().filter((each) => each.playState === 'running').length);
  assert.equal(moving, 0);
}, { prepare: fillWithExamples, options: { reducedMotion: 'reduce' } }));
