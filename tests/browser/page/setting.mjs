// What the tests of the page with the made-up server begin with.

import { after, before } from 'node:test';

import { launch, live, logIn, openPage } from '../browser.mjs';
import { FakeServer } from '../fake-server.mjs';

export const PASSWORD = 'correct horse battery';

/** One browser for the tests of a file. `inPage(options, work)` gives each a server and a page of its own, and looks at the end for troubles. */
export function useBrowser() {
  let browser;
  before(async () => {
    browser = await launch();
  });
  after(() => browser.close());
  return async (work, { options = {}, prepare = () => {} } = {}) => {
    const server = await new FakeServer().start();
    server.users.set('admin', { password: PASSWORD, role: 'operator' });
    server.users.set('guest', { password: PASSWORD, role: 'viewer' });
    prepare(server);
    const { page, finish } = await openPage(browser, options);
    try {
      await page.goto(server.url);
      await work(page, server);
      await finish();
    } finally {
      await page.context().close();
      await server.stop();
    }
  };
}

/** Logs in and waits until the list is there and live. */
export async function enter(page, user = 'admin') {
  await logIn(page, user, PASSWORD);
  await live(page, 'live');
}
