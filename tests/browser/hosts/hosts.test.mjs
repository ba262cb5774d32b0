// The page of a real server, in a browser on its host, while other real servers come and go in the network.
// hosts.py runs it, and starts and stops those servers.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import net from 'node:net';
import { createInterface } from 'node:readline';
import { after, before, test } from 'node:test';

import { assertAccessible, launch, live, logIn, names, openPage, picture, row, until } from '../browser.mjs';

const PASSWORD = 'a lantern of borrowed rain';
const SECONDS = 60;
// No blank and no bracket in it, which do not survive a registration.
const HOSTILE = '<img/src=x/onerror=self.owned=1>';

/** Asks hosts.py. */
class Control {
  #socket = net.connect(process.env.KVT_CONTROL);
  #lines = createInterface({ input: this.#socket });

  async ask(what, ...parameters) {
    this.#socket.write(`${JSON.stringify({ do: what, with: parameters })}\n`);
    const [line] = await once(this.#lines, 'line');
    const { value, problem } = JSON.parse(line);
    if (problem) throw new Error(`${what}(${parameters}): ${problem}`);
    return value;
  }

  end() {
    this.#socket.end();
  }
}

let browser;
let control;
let opened;
let page;

before(async () => {
  control = new Control();
  await control.ask('start', 'one');
  browser = await launch();
  opened = await openPage(browser);
  page = opened.page;
});

after(async () => {
  await browser?.close();
  control?.end();
});

// The tests follow one another as what they watch does.

test('from another address of the host the first account is not to be made', async () => {
  const away = await openPage(browser);
  const { ipv4 } = await control.ask('addresses', 'one');
  await away.page.goto(`https://${ipv4}:8443/`);
  await away.page.getByText('kvtctl user add').waitFor();
  await away.finish();
});

test('first run: the account is made on the loopback address, and the list is there with this server in it', async () => {
  await page.goto('https://127.0.0.1:8443/');
  await page.getByRole('heading', { name: 'Welcome' }).waitFor();
  await assertAccessible(page, 'first run');
  await page.getByLabel('User name').fill('admin');
  await page.getByLabel('Password', { exact: true }).fill(PASSWORD);
  await page.getByLabel('The same password again').fill(PASSWORD);
  await page.getByRole('button', { name: 'Create the account' }).click();
  await live(page, 'live');
  await row(page, 'one').locator('.badge').waitFor();
});

test('log out, a wrong password, log in', async () => {
  await page.getByRole('button', { name: 'Log out' }).click();
  await page.getByLabel('User name').fill('admin');
  await page.getByLabel('Password').fill('not this one');
  await page.keyboard.press('Enter');
  await page.getByText('The user name or the password is wrong').waitFor();
  await page.getByLabel('Password').fill(PASSWORD);
  await page.keyboard.press('Enter');
  await live(page, 'live');
});

test('the list fills by discovery while one watches', async () => {
  await control.ask('start', 'two');
  await control.ask('start', 'three');
  await until(async () => (await names(page)).join() === 'one,three,two', 'two and three are listed', SECONDS);
  await until(async () => /Announced|SLP/.test(await row(page, 'two').textContent()), 'how it came in is told', SECONDS);
  await row(page, 'two').click();
  await page.getByText('Verified: its record comes from it itself.').first().waitFor({ timeout: SECONDS * 1000 });
  await picture(page, 'hosts-details');
  await assertAccessible(page, 'details of a real server');
  await page.keyboard.press('Escape');
});

test('discovery tells how it fares', async () => {
  await page.locator('#status-button').click();
  await page.getByRole('heading', { name: 'Interfaces' }).waitFor();
  await page.locator('#panel').getByText('eth0').first().waitFor();
  await picture(page, 'hosts-discovery');
  await assertAccessible(page, 'discovery of a real server');
  await page.locator('#panel-close').click();
});

test('without a mouse: to the filter, into the table, the details and back', async () => {
  const focused = () => page.evaluate(() => document.activeElement.querySelector('.cell-name')?.textContent ?? document.activeElement.id);
  await page.keyboard.press('/');
  assert.equal(await focused(), 'filter');
  await page.keyboard.type('two');
  await until(async () => (await names(page)).join() === 'two', 'the list is narrowed');
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(), 'two');
  await page.keyboard.press('Enter');
  assert.equal(await focused(), 'panel-title');
  await page.keyboard.press('Escape');
  assert.equal(await focused(), 'two');
  await page.keyboard.press('/');
  await page.keyboard.press('Delete');
  await until(async () => (await names(page)).length === 3, 'all are there again');
});

test('dark and 320 pixels wide', async () => {
  await page.emulateMedia({ colorScheme: 'dark' });
  await page.setViewportSize({ width: 320, height: 640 });
  await row(page, 'two').waitFor();
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'it fits');
  await picture(page, 'hosts-phone-dark');
  await assertAccessible(page, 'the list on a phone');
  await page.emulateMedia({ colorScheme: 'light' });
  await page.setViewportSize({ width: 1280, height: 800 });
});

test('a peer that leaves is seen to leave', async () => {
  assert.equal(await control.ask('stop', 'three'), 0);
  await row(page, 'three').waitFor({ state: 'detached', timeout: SECONDS * 1000 });
});

test('a server that does not make itself known is searched for, added and removed', async () => {
  const { ipv4 } = await control.ask('start', 'quiet');
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill('10.88.1.250');
  await page.keyboard.press('Enter');
  await page.getByText('No server was found at 10.88.1.250.').waitFor();
  const reason = await page.locator('dialog .problem p').nth(1).textContent();
  assert.ok(reason !== '' && !reason.includes('?'), `the reason is told: ${reason}`);
  await page.getByLabel('IP address or host name').fill(ipv4);
  await page.keyboard.press('Enter');
  await page.getByRole('dialog').getByText('quiet').waitFor();
  await page.getByRole('button', { name: 'Add to the list' }).click();
  await row(page, 'quiet').waitFor();
  await row(page, 'quiet').click();
  await page.getByRole('button', { name: 'Remove from the list' }).click();
  await page.getByRole('button', { name: 'Remove', exact: true }).click();
  await row(page, 'quiet').waitFor({ state: 'detached' });
  assert.equal(await row(page, '10.88.1.250').count(), 0, 'a search in vain leaves no row');
});

async function search(address) {
  await page.getByRole('button', { name: 'Search by address' }).click();
  await page.getByLabel('IP address or host name').fill(address);
  await page.keyboard.press('Enter');
}

test('a peer that comes back with another certificate is told, and is verified again once that is trusted', async () => {
  const { ipv4 } = await control.ask('addresses', 'two');
  await control.ask('renew', 'two');
  // What announces itself is not called; whoever calls it sees the other certificate.
  await search(ipv4);
  await page.getByRole('dialog').getByText(/The certificate of .* has changed/).waitFor();
  await page.getByRole('dialog').getByRole('button', { name: 'Close' }).click();
  const renewed = row(page, 'two');
  await until(async () => /Not verified/.test((await renewed.count()) === 1 ? await renewed.textContent() : ''), 'it is not verified', SECONDS);
  await renewed.click();
  await page.locator('#panel').getByText(/^The certificate of .* has changed\.$/).waitFor();
  const offered = await page.locator('.alarm code').nth(1).textContent();
  assert.match(offered, /^SHA256:[0-9a-f]{64}$/);
  await picture(page, 'hosts-certificate');
  await page.getByRole('button', { name: 'Trust the new certificate' }).click();
  await page.getByRole('dialog').getByText(offered).waitFor();
  await page.getByRole('button', { name: 'Trust', exact: true }).click();
  await page.getByRole('alert').getByText('has answered with the certificate that is trusted now').waitFor();
  await picture(page, 'hosts-trusted');
  await page.getByRole('button', { name: 'Dismiss' }).click();
  await until(async () => /OK/.test((await renewed.count()) === 1 ? await renewed.textContent() : ''), 'it is verified again', SECONDS);
});

test('a certificate is forgotten, and the next call takes the one that is offered', async () => {
  await row(page, 'two').click();
  await page.getByRole('heading', { name: 'Certificate' }).waitFor();
  const pinned = () => page.evaluate(async () => (await (await fetch('1.0/peers')).json()).values.length);
  const before = await pinned();
  await page.getByRole('button', { name: 'Forget' }).click();
  await page.getByRole('dialog').getByRole('button', { name: 'Forget' }).click();
  await until(async () => (await pinned()) < before, 'it is forgotten');
  await search((await control.ask('addresses', 'two')).ipv4);
  await page.getByRole('dialog').getByText('It is on the list already.').waitFor();
  await page.getByRole('dialog').getByRole('button', { name: 'Close' }).click();
  assert.equal(await pinned(), before, 'the one that it offers is taken');
  await page.locator('#panel-close').click();
});

test('a viewer sees the list and has nothing to edit with', async () => {
  await control.ask('add_user', 'one', 'guest', PASSWORD, 'viewer');
  const guest = await openPage(browser);
  await guest.page.goto('https://127.0.0.1:8443/');
  await logIn(guest.page, 'guest', PASSWORD);
  await live(guest.page, 'live');
  await row(guest.page, 'two').click();
  await guest.page.getByRole('heading', { name: 'Record' }).waitFor();
  const buttons = await guest.page.locator('button:visible').allTextContents();
  for (const name of ['Search by address', 'Remove from the list', 'Forget']) assert.ok(!buttons.includes(name), name);
  const refused = await guest.page.evaluate(async () => {
    const { value } = await (await fetch('1.0/session')).json();
    const headers = { 'Content-Type': 'application/json', 'X-CSRF-Token': value.csrfToken };
    return (await fetch('1.0/peers/forget', { method: 'POST', headers, body: '{"address":"192.0.2.7:8443"}' })).status;
  });
  assert.equal(refused, 403);
  await guest.finish();
});

test('a peer whose name is markup is a name like any other', async () => {
  await control.ask('pretend', HOSTILE);
  await row(page, HOSTILE).waitFor({ timeout: SECONDS * 1000 });
  await row(page, HOSTILE).click();
  await page.getByRole('heading', { name: 'Why it is here' }).waitFor();
  assert.deepEqual(await page.evaluate(() => [...new Set([...document.images].map((image) => image.getAttribute('src')))]), ['web/icon.svg']);
  await picture(page, 'hosts-hostile');
  await page.locator('#panel-close').click();
});

test('a server that is stopped and started again is offline and then live', async () => {
  await control.ask('stop', 'one');
  await live(page, 'offline');
  await control.ask('start', 'one');
  await until(async () => (await page.locator('#live').getAttribute('data-state')) === 'live' || (await page.getByText('Your session has ended').isVisible()), 'it goes on', SECONDS);
});

test('nothing of all this broke the page\'s policy, asked another origin or threw', async () => {
  await opened.finish();
});
