import assert from 'node:assert/strict';
import { test } from 'node:test';

import { row, until } from '../browser.mjs';
import { fillWithExamples, makeRecord, makeSighting } from '../fake-server.mjs';
import { enter, useBrowser } from './setting.mjs';

const inPage = useBrowser();
const withExamples = { prepare: fillWithExamples };

test('a server is searched for, and added', () => inPage(async (page, server) => {
  server.searched.set('10.7.0.1', makeRecord('far-away', '10.7.0.1'));
  server.slowSearch = 300;
  await enter(page);
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill(' 10.7.0.1 ');
  await page.keyboard.press('Enter');
  await page.getByText('Searching').waitFor();
  await page.getByRole('dialog').getByText('far-away').waitFor();
  await page.getByRole('button', { name: 'Add to the list' }).click();
  await row(page, 'far-away').waitFor();
  assert.equal(await page.getByRole('dialog').count(), 0);
  await until(async () => /far-away was added/.test(await page.locator('#announcer').textContent()), 'it is said');
}, withExamples));

test('a search that finds nobody says so, and what to look at', () => inPage(async (page) => {
  await enter(page);
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill('10.7.0.2');
  await page.keyboard.press('Enter');
  await page.getByText('No server was found at 10.7.0.2.').waitFor();
  await page.getByText('does the server run').waitFor();
}, withExamples));

test('a search that finds nobody tells the reason where one is known', () => inPage(async (page, server) => {
  await enter(page);
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill('10.7.0.2');
  server.sightings.set('10.7.0.2', makeSighting('10.7.0.2', '', 'failed', { reason: '<b>it took too long</b>', sources: {} }));
  await page.keyboard.press('Enter');
  await page.getByRole('dialog').getByText('<b>it took too long</b>').waitFor();
  assert.equal(await page.getByText('does the server run').count(), 0);
}, withExamples));

test('what is listed already is not offered to be added again', () => inPage(async (page, server) => {
  server.searched.set('10.88.0.7', makeRecord('storage-07', '10.88.0.7'));
  await enter(page);
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill('10.88.0.7');
  await page.keyboard.press('Enter');
  await page.getByText('It is on the list already.').waitFor();
  assert.equal(await page.getByRole('button', { name: 'Add to the list' }).count(), 0);
}, withExamples));

test('what somebody else has added meanwhile cannot be added again, and the reason is told', () => inPage(async (page, server) => {
  server.searched.set('10.7.0.1', makeRecord('far-away', '10.7.0.1'));
  await enter(page);
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill('10.7.0.1');
  await page.keyboard.press('Enter');
  await page.getByRole('button', { name: 'Add to the list' }).waitFor();
  server.records.set('10.7.0.1', makeRecord('far-away', '10.7.0.1'));
  await page.getByRole('button', { name: 'Add to the list' }).click();
  await page.getByText('Server already discovered').waitFor();
}, withExamples));

test('a server is removed once that has been confirmed, and not before', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  await page.getByRole('button', { name: 'Cancel' }).click();
  assert.ok(server.records.has('10.88.0.7'));
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  await page.getByRole('button', { name: 'Remove', exact: true }).click();
  await row(page, 'storage-07').waitFor({ state: 'detached' });
  await page.locator('#panel').waitFor({ state: 'hidden' });
}, withExamples));

test('a removal that fails says so', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  server.records.delete('10.88.0.7');
  await page.getByRole('button', { name: 'Remove', exact: true }).click();
  await page.getByRole('alert').getByText('The server answered with status 400').waitFor();
  await page.getByRole('button', { name: 'Dismiss' }).click();
  assert.equal(await page.locator('#notice').isVisible(), false);
}, withExamples));

test('this server itself cannot be removed', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'storage-01').click();
  await page.getByText('This is the server that shows this page.').waitFor();
  assert.equal(await page.getByRole('button', { name: 'Remove from the list' }).count(), 0);
}, withExamples));

const onPhone = { prepare: fillWithExamples, options: { viewport: { width: 320, height: 640 } } };

/** A click reaches a button only where nothing lies above it. */
async function dismiss(page, text) {
  await page.getByRole('alert').getByText(text).waitFor();
  await page.getByRole('button', { name: 'Dismiss' }).click({ timeout: 5000 });
  assert.equal(await page.locator('#notice').isVisible(), false);
}

test('on a phone, where the details cover the list, what fails is seen too', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-40').click();
  await page.getByText('has changed.').waitFor();
  const { peers } = server;
  server.peers = [];
  await page.getByRole('button', { name: 'Trust the new certificate' }).click();
  await page.getByRole('button', { name: 'Trust', exact: true }).click();
  await dismiss(page, 'There is no such peer');
  server.peers = peers;
  await page.locator('#panel-close').click();
  await row(page, 'storage-07').click();
  await page.getByRole('heading', { name: 'Certificate' }).waitFor();
  server.peers = [];
  await page.getByRole('button', { name: 'Forget' }).click();
  await page.getByRole('dialog').getByRole('button', { name: 'Forget' }).click();
  await dismiss(page, 'There is no such peer');
  server.records.delete('10.88.0.7');
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  await page.getByRole('button', { name: 'Remove', exact: true }).click();
  await dismiss(page, 'The server answered with status 400');
}, onPhone));

test('a certificate that has changed is told in the list, and trusted after a question', () => inPage(async (page, server) => {
  server.searched.set('10.88.0.40', makeRecord('storage-40', '10.88.0.40'));
  await enter(page);
  assert.match(await row(page, 'storage-40').textContent(), /Not verified/);
  await row(page, 'storage-40').click();
  const panel = page.locator('#panel');
  await panel.getByText('The certificate of 10.88.0.40:8443 has changed.').waitFor();
  await panel.getByText('SHA256:77ab0e41d2c94f5e8a1b', { exact: true }).waitFor();
  await page.getByRole('button', { name: 'Trust the new certificate' }).click();
  await page.getByRole('button', { name: 'Trust', exact: true }).click();
  await panel.getByText('Pinned').waitFor();
  assert.equal(server.peers[0].fingerprint, 'SHA256:77ab0e41d2c94f5e8a1b');
  await page.getByRole('alert').getByText('The server at 10.88.0.40 has answered with the certificate that is trusted now.').waitFor();
}, withExamples));

test('a server that does not answer although its certificate is trusted now is told of, with the reason', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-40').click();
  await page.getByRole('button', { name: 'Trust the new certificate' }).click();
  server.sightings.get('10.88.0.40').reason = 'it refused the connection';
  await page.getByRole('button', { name: 'Trust', exact: true }).click();
  await page.getByRole('alert').getByText('no server was found at 10.88.0.40. it refused the connection').waitFor();
}, withExamples));

test('a certificate is forgotten after a question', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.getByRole('button', { name: 'Forget' }).click();
  await page.getByRole('dialog').getByRole('button', { name: 'Forget' }).click();
  await until(() => server.peers.length === 1, 'it is forgotten');
  await page.getByRole('heading', { name: 'Certificate' }).waitFor({ state: 'detached' });
}, withExamples));
