import assert from 'node:assert/strict';
import { test } from 'node:test';

import { live, logIn, row, rows, until } from '../browser.mjs';
import { fillWithExamples } from '../fake-server.mjs';
import { enter, PASSWORD, useBrowser } from './setting.mjs';

const inPage = useBrowser();
const empty = { prepare: (server) => server.users.clear() };

test('the first account is made by the page, which is then logged in', () => inPage(async (page, server) => {
  await page.getByLabel('User name').fill('root-admin');
  await page.getByLabel('Password', { exact: true }).fill(PASSWORD);
  await page.getByLabel('The same password again').fill(PASSWORD);
  await page.getByRole('button', { name: 'Create the account' }).click();
  await live(page, 'live');
  assert.equal(server.users.get('root-admin').role, 'operator');
  assert.equal(await page.locator('#who').textContent(), 'root-admin (operator)');
}, empty));

test('a password that is too short, or typed in two ways, is not sent', () => inPage(async (page, server) => {
  await page.getByLabel('User name').fill('root-admin');
  await page.getByLabel('Password', { exact: true }).fill('short');
  await page.getByLabel('The same password again').fill('short');
  await page.getByRole('button', { name: 'Create the account' }).click();
  await page.getByText('at least 12 characters.').last().waitFor();
  await page.getByLabel('Password', { exact: true }).fill(PASSWORD);
  await page.getByRole('button', { name: 'Create the account' }).click();
  await page.getByText('The two passwords differ.').waitFor();
  assert.deepEqual(server.requests.filter((each) => each.startsWith('POST')), []);
}, empty));

test('from elsewhere the page says where the first account is made', () => inPage(async (page, server) => {
  await page.getByText('kvtctl user add NAME --role operator').waitFor();
  assert.equal(await page.locator('input:visible').count(), 0);
  server.users.set('admin', { password: PASSWORD, role: 'operator' });
  await page.getByRole('button', { name: 'Look again' }).click();
  await page.getByRole('heading', { name: 'Log in' }).waitFor();
}, { prepare: (server) => { server.users.clear(); server.isLoopback = false; } }));

test('a wrong password is told, and leaves the name and an empty field to try again', () => inPage(async (page) => {
  await logIn(page, 'admin', 'wrong');
  await page.getByText('The user name or the password is wrong.').waitFor();
  assert.equal(await page.getByLabel('User name').inputValue(), 'admin');
  assert.equal(await page.getByLabel('Password').inputValue(), '');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'password');
  await enter(page);
}));

test('a login where the accounts are gone meanwhile leads to making the first one', () => inPage(async (page, server) => {
  await page.getByLabel('User name').waitFor();
  server.users.clear();
  await logIn(page, 'admin', PASSWORD);
  await page.getByRole('heading', { name: 'Welcome' }).waitFor();
}));

test('who is locked out is told for how long', () => inPage(async (page) => {
  await logIn(page, 'locked', 'x');
  await page.getByText('Too many failed logins. Try again in 30 s.').waitFor();
}));

test('nothing of the servers is asked for or shown before the login', () => inPage(async (page, server) => {
  await page.getByLabel('User name').waitFor();
  assert.deepEqual(server.requests.filter((each) => each.includes('/1.0/')), ['GET /1.0/session 200']);
  assert.equal(await rows(page).count(), 0);
}, { prepare: fillWithExamples }));

test('logging out leads to the login and leaves no data in the document', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'archive-berlin').click();
  await page.getByRole('button', { name: 'Log out' }).click();
  await page.getByRole('heading', { name: 'Log in' }).waitFor();
  assert.doesNotMatch(await page.evaluate(() => document.documentElement.outerHTML), /archive-berlin|storage-0/);
  assert.equal(await page.title(), 'Server Discovery');
  await until(() => server.streamCount === 0, 'the stream ends');
}, { prepare: fillWithExamples }));

test('a session that ends leads to the login, and after it the view is as it was', () => inPage(async (page, server) => {
  await enter(page);
  await page.locator('#scope').selectOption('listed');
  await page.getByLabel('Filter').fill('storage');
  await page.getByRole('button', { name: 'Addresses' }).click();
  await page.getByRole('button', { name: 'Addresses' }).click();
  await row(page, 'storage-07').click();
  await until(async () => (await page.locator('.cell-name').first().textContent()) === 'storage-12', 'it is sorted');
  server.endSessions();
  await page.getByText('Your session has ended').waitFor();
  assert.equal(await rows(page).first().isVisible(), false);
  assert.equal(await page.getByLabel('User name').inputValue(), 'admin');
  await page.getByLabel('Password').fill(PASSWORD);
  await page.keyboard.press('Enter');
  await live(page, 'live');
  assert.equal(await page.getByLabel('Filter').inputValue(), 'storage');
  assert.equal(await page.locator('.cell-name').first().textContent(), 'storage-12');
  assert.equal(await page.locator('#panel-title').textContent(), 'storage-07');
  assert.equal(await page.locator('#count').textContent(), '12 of 14 servers'.replace('14', String(server.records.size + 1)));
}, { prepare: fillWithExamples }));

test('a session that ended shows when one does something, too', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  server.breaksStreams = true;
  server.endSessions();
  await page.getByRole('button', { name: 'Remove', exact: true }).click().catch(() => {});
  await page.getByText('Your session has ended').waitFor();
  assert.ok(server.records.has('10.88.0.7'));
}, { prepare: fillWithExamples }));

test('somebody else who logs in after it does not find that view', () => inPage(async (page, server) => {
  await enter(page);
  await page.getByLabel('Filter').fill('storage-07');
  server.endSessions();
  await page.getByText('Your session has ended').waitFor();
  await enter(page, 'guest');
  assert.equal(await page.getByLabel('Filter').inputValue(), '');
  await row(page, 'archive-berlin').waitFor();
}, { prepare: fillWithExamples }));

test('a viewer has nothing to edit with', () => inPage(async (page) => {
  await enter(page, 'guest');
  assert.equal(await page.locator('#search-button').isVisible(), false);
  await row(page, 'storage-40').click();
  await page.getByText('has changed.').waitFor();
  await row(page, 'storage-07').click();
  await page.getByRole('heading', { name: 'Certificate' }).waitFor();
  const buttons = await page.locator('button:visible').allTextContents();
  for (const name of ['Remove from the list', 'Forget', 'Trust the new certificate']) assert.ok(!buttons.includes(name), name);
}, { prepare: fillWithExamples }));

test('where everybody may read, the list is there at once, with a way to log in', () => inPage(async (page) => {
  await row(page, 'archive-berlin').waitFor();
  assert.equal(await page.locator('#search-button').isVisible(), false);
  await page.getByRole('button', { name: 'Log in' }).click();
  await page.getByRole('button', { name: 'Back' }).click();
  await row(page, 'archive-berlin').waitFor();
  await page.getByRole('button', { name: 'Log in' }).click();
  await enter(page);
  await page.locator('#search-button').waitFor();
}, { prepare: (server) => { fillWithExamples(server); server.anonymous = 'viewer'; } }));
