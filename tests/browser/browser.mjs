// Debian's Chromium, driven by Playwright from the folder where npm has put it, and what every test of the page looks at.

import assert from 'node:assert/strict';
import { mkdirSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';

const modules = process.env.KVT_BROWSER_MODULES;
if (!modules) throw new Error('KVT_BROWSER_MODULES must name the folder that holds node_modules; tests/browser/run sets it');
const require = createRequire(path.join(path.resolve(modules), 'package.json'));
const { chromium } = require('playwright-core');
const axe = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');
const pictures = path.join(path.resolve(modules), 'pictures');
mkdirSync(pictures, { recursive: true });

export const WAIT = 15_000;

export async function launch() {
  const browser = await chromium.launch({
    executablePath: process.env.KVT_CHROMIUM ?? '/usr/bin/chromium',
    args: [...(process.getuid() === 0 ? ['--no-sandbox'] : []), '--disable-gpu', '--disable-dev-shm-usage'],
    // Chromium opens a pipe, so that nothing of this needs a network.
    env: { ...process.env, DBUS_SESSION_BUS_ADDRESS: 'disabled:' },
  });
  return browser;
}

/** A page whose errors, foreign requests and breaches of its policy are noted; `finish()` asserts that there were none. */
export async function openPage(browser, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ignoreHTTPSErrors: true, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(WAIT);
  const troubles = [];
  let origin;
  page.on('pageerror', (error) => troubles.push(`error: ${error.stack ?? error}`));
  page.on('console', (message) => {
    // Chromium reports every answer that is no success; those are for the tests of the page to judge.
    if (message.type() === 'error' && !/Failed to load resource/.test(message.text())) troubles.push(`console: ${message.text()}`);
  });
  page.on('dialog', (dialog) => troubles.push(`dialog: ${dialog.message()}`) && dialog.dismiss());
  page.on('request', (request) => {
    const url = new URL(request.url());
    origin ??= url.origin;
    if (url.origin !== origin && url.protocol !== 'data:') troubles.push(`foreign request: ${request.url()}`);
  });
  const finish = async () => {
    await context.close();
    assert.deepEqual(troubles, []);
  };
  return { page, context, finish, troubles };
}

/** What axe-core objects to, by the rules of WCAG 2.2 AA and its best practices. Put in from outside the page's policy. */
export async function violations(page) {
  await page.waitForTimeout(150); // the browser paints what has just been shown, or contrast is measured on the way
  const session = await page.context().newCDPSession(page);
  await session.send('Runtime.evaluate', { expression: axe });
  const { result, exceptionDetails } = await session.send('Runtime.evaluate', {
    expression: `axe.run(document, {runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice']})
      .then((found) => JSON.stringify({passes: found.passes.length, violations: found.violations.map((each) =>
        ({id: each.id, help: each.help, nodes: each.nodes.map((node) => node.html.slice(0, 200) + ' | ' + node.failureSummary)}))}))`,
    awaitPromise: true,
    returnByValue: true,
  });
  if (exceptionDetails) throw new Error(`axe-core: ${exceptionDetails.exception?.description}`);
  const found = JSON.parse(result.value);
  assert.ok(found.passes > 10, 'axe-core has looked at the page');
  return found.violations;
}

export async function assertAccessible(page, what) {
  assert.deepEqual(await violations(page), [], what);
}

export async function picture(page, name) {
  await page.screenshot({ path: path.join(pictures, `${name}.png`) });
}

/** Waits for a condition inside the page or out of it. */
export async function until(condition, what, seconds = WAIT / 1000) {
  const deadline = Date.now() + seconds * 1000;
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`not within ${seconds} s: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 25));
  }
}

// ---- the page's parts

export const rows = (page) => page.locator('.grid-space .grid-row');
export const row = (page, name) => rows(page).filter({ has: page.locator('.cell-name', { hasText: name }) });
export const names = (page) => page.locator('.grid-space .cell-name').allTextContents();
export const live = (page, state) => page.locator(`#live[data-state="${state}"]`).waitFor();

export async function logIn(page, user, password) {
  await page.getByLabel('User name').fill(user);
  await page.getByLabel('Password').fill(password);
  await page.getByRole('button', { name: 'Log in' }).click();
}
