import assert from 'node:assert/strict';
import { test } from 'node:test';

import { live, names, row, rows, until } from '../browser.mjs';
import { fillWithExamples, HOSTILE_NAME, makeRecord, makeSighting } from '../fake-server.mjs';
import { enter, useBrowser } from './setting.mjs';

const inPage = useBrowser();
const withExamples = { prepare: fillWithExamples };
const MANY = 10_000;

function fillWithMany(server) {
  for (let number = 0; number < MANY; number += 1) {
    const address = `10.${number >> 16}.${(number >> 8) & 255}.${number & 255}`;
    server.put(makeRecord(`server-${String(number).padStart(5, '0')}`, address), makeSighting(address, ''));
  }
}

test('servers come, change and go while one watches', () => inPage(async (page, server) => {
  await enter(page);
  await page.getByText('No server is known yet').waitFor();
  server.put(makeRecord('one', '10.0.0.1', { isPivot: true }));
  await row(page, 'one').waitFor();
  assert.equal(await row(page, 'one').locator('.badge').textContent(), 'this server');
  assert.equal(await page.title(), 'one – Server Discovery');
  server.put(makeRecord('two', '10.0.0.2'), makeSighting('10.0.0.2', 'two'));
  await row(page, 'two').waitFor();
  assert.deepEqual(await row(page, 'two').locator('.cell').allTextContents(), ['two', '10.0.0.2', '008.0.1', 'OK', 'AnnouncedSLP', 'just now']);
  server.put(makeRecord('two', '10.0.0.2', { health: { state: 'degraded' } }));
  await row(page, 'two').getByText('degraded').waitFor();
  server.drop('10.0.0.2');
  await row(page, 'two').waitFor({ state: 'detached' });
  assert.deepEqual(await names(page), ['one']);
  assert.equal(await page.locator('#count').textContent(), '1 server');
}));

test('what the server says that changed while the lists are fetched is not lost', () => inPage(async (page, server) => {
  await enter(page);
  for (let number = 0; number < 50; number += 1) {
    server.send('reset', {});
    server.put(makeRecord(`n-${number}`, `10.0.0.${number}`));
  }
  await until(async () => (await page.locator('#count').textContent()) === '50 servers', 'all are there');
}));

test('every column sorts both ways', () => inPage(async (page) => {
  await enter(page);
  for (const [title, first] of [['Addresses', '10.88.0.1'], ['Build', ''], ['Health', 'degraded'], ['Found by', ''], ['Last seen', '10 days ago']]) {
    const head = page.getByRole('columnheader', { name: title });
    const column = (await head.getAttribute('class')).split(' ')[1];
    await head.getByRole('button').click();
    assert.equal(await head.getAttribute('aria-sort'), 'ascending');
    const upwards = await rows(page).locator(`.${column}`).allTextContents();
    if (first) assert.ok(upwards[0].startsWith(first), `${title}: ${upwards[0]}`);
    await head.getByRole('button').click();
    assert.equal(await head.getAttribute('aria-sort'), 'descending');
    assert.notDeepEqual(await rows(page).locator(`.${column}`).allTextContents(), upwards, title);
  }
}, withExamples));

test('the filter and its scope narrow the list, and the count says so', () => inPage(async (page) => {
  await enter(page);
  await page.getByLabel('Filter').fill('fd88::1');
  await until(async () => (await page.locator('#count').textContent()).startsWith('3 of'), 'three have such an address');
  await page.getByLabel('Filter').fill('no such server');
  await page.getByText('No server fits the filter').waitFor();
  await page.getByRole('button', { name: 'Show all' }).click();
  await page.locator('#scope').selectOption('trouble');
  await until(async () => (await rows(page).count()) === 2, 'two have problems');
  assert.deepEqual(await names(page), ['storage-05', 'storage-40']);
}, withExamples));

test('the details tell what is known, why it is there, and the record', () => inPage(async (page) => {
  await enter(page);
  await row(page, 'archive-berlin').click();
  const panel = page.locator('#panel');
  await panel.getByRole('heading', { name: 'Why it is here' }).waitFor();
  assert.deepEqual(await panel.locator('.why tbody th').allTextContents(), ['Search', 'By hand']);
  await panel.getByText('Verified: its record comes from it itself.').waitFor();
  await panel.getByText('"archive-berlin"').waitFor();
  assert.equal(await panel.getByRole('link').getAttribute('href'), 'https://192.168.40.7:8443/');
}, withExamples));

test('the details tell why a server has left in the words of the one who knows', () => inPage(async (page, server) => {
  await enter(page);
  server.see(makeSighting('10.88.0.7', 'storage-07', 'left', { reason: 'The last discovery pass did not find it' }));
  await row(page, 'storage-07').click();
  await page.locator('.verdict[data-state="left"]').getByText('The last discovery pass did not find it').waitFor();
  assert.doesNotMatch(await page.locator('#panel').textContent(), /It said/);
}, withExamples));

test('discovery tells what waits in words', () => inPage(async (page) => {
  await enter(page);
  await page.locator('#status-button').click();
  const work = page.locator('#panel section', { has: page.getByRole('heading', { name: 'Work' }) });
  assert.deepEqual(await work.locator('dt').allTextContents(), ['Requests answered at once', 'Requests that read',
    'Requests that change or search', 'Discovery jobs that wait', 'Discovery jobs that run', 'of_tomorrow']);
}, withExamples));

test('the details follow what changes, and keep what was folded', () => inPage(async (page, server) => {
  await enter(page);
  await row(page, 'storage-07').click();
  const os = page.locator('.json summary', { hasText: 'os' });
  await os.click();
  server.see(makeSighting('10.88.0.7', 'storage-07', 'failed', { reason: 'it does not answer' }));
  await page.locator('#panel').getByText('it does not answer').waitFor();
  assert.equal(await os.evaluate((element) => element.parentElement.open), false);
  server.drop('10.88.0.7');
  server.sightings.delete('10.88.0.7');
  server.send('sightings', { changed: [], removed: ['10.88.0.7'] });
  await page.locator('#panel').waitFor({ state: 'hidden' });
}, withExamples));

test('the details stay open when the server is called at an address, and its row has another key', () => inPage(async (page, server) => {
  await enter(page);
  const before = { properties: { displayId: 'newcomer', health: { state: 'ok' } } };
  server.send('servers', { changed: [{ key: 'newcomer', record: before }], removed: [], count: 1 });
  await row(page, 'newcomer').click();
  await page.getByRole('heading', { name: 'Record' }).waitFor();
  server.send('servers', { changed: [{ key: '10.0.0.7', record: makeRecord('newcomer', '10.0.0.7') }], removed: ['newcomer'], count: 1 });
  await page.locator('#panel .facts').getByText('10.0.0.7', { exact: true }).waitFor();
  assert.equal(await page.locator('.grid-row[aria-selected="true"] .cell-name').textContent(), 'newcomer');
}));

test('text from peers is text: markup, controls, other directions and lengths do nothing', () => inPage(async (page, server) => {
  await enter(page);
  const hostile = makeRecord(HOSTILE_NAME, '10.0.0.66', {
    build: '<script>document.title="owned"</script>', health: { state: '<svg onload=alert(1)>' },
    agents: [{ address: '"><img src=x>', port: 8443, scheme: 'javascript' }],
    ['<img src=x onerror=alert(1)>']: 'x'.repeat(100_000), deep: Array(200).fill(0).reduce((inner) => [inner], '</pre><script>alert(1)</script>'),
    many: Array.from({ length: 20_000 }, (_, number) => number),
  });
  hostile.properties.os.name = `\u202e${'W'.repeat(5000)}`;
  server.put(hostile, makeSighting('10.0.0.66', '<b>x</b>', 'failed', { reason: '<a href="javascript:alert(1)">click</a>', sources: { '<i>new</i>': { first: '<b>', last: 5 } } }));
  await row(page, '<img src=x').click();
  await page.locator('#panel').getByText('Why it is here').waitFor();
  const found = await page.evaluate(() => ({
    title: document.title, images: [...document.images].map((image) => image.getAttribute('src')), scripts: document.scripts.length,
    bold: document.querySelectorAll('#app b, #app i, #app svg, #app script').length,
    links: [...document.links].map((link) => link.href), elements: document.querySelectorAll('*').length,
    unsafe: /[\u202a-\u202e\u2066-\u2069\u0007]/.test(document.body.textContent),
    isolated: getComputedStyle(document.querySelector('.cell-name')).unicodeBidi, width: document.documentElement.scrollWidth, view: innerWidth,
  }));
  assert.deepEqual([...new Set(found.images)], ['web/icon.svg']);
  assert.equal(found.scripts, 1);
  assert.equal(found.bold, 0);
  assert.deepEqual(found.links, []);
  assert.equal(found.unsafe, false);
  assert.equal(found.isolated, 'isolate');
  assert.ok(found.elements < 12_000, `${found.elements} elements`);
  assert.ok(found.width <= found.view, 'nothing makes the page wider than the window');
  assert.doesNotMatch(found.title, /owned/);
}));

test('of 10,000 servers only the visible rows are in the document, wherever one scrolls', (t) => inPage(async (page) => {
  const begin = Date.now();
  await enter(page);
  await until(async () => (await page.locator('#count').textContent()) === '10,000 servers', 'all are known');
  t.diagnostic(`from the login to 10,000 rows: ${Date.now() - begin} ms`);
  const grid = page.getByRole('grid');
  assert.equal(await grid.getAttribute('aria-rowcount'), String(MANY + 1));
  const scroll = await page.evaluate(async () => {
    const scroller = document.querySelector('.grid-scroller');
    const frame = () => new Promise((resolve) => requestAnimationFrame(resolve));
    const steps = 300;
    const times = [];
    let most = 0;
    for (let step = 0; step <= steps; step += 1) {
      const at = performance.now();
      scroller.scrollTop = (scroller.scrollHeight * step) / steps;
      await frame();
      times.push(performance.now() - at);
      most = Math.max(most, document.querySelectorAll('.grid-space .grid-row').length);
    }
    await frame();
    times.sort((a, b) => a - b);
    return { most, median: times[steps / 2], worst: times.at(-1), last: [...document.querySelectorAll('.cell-name')].at(-1).textContent };
  });
  t.diagnostic(`scrolling through all: median ${scroll.median.toFixed(1)} ms a frame, worst ${scroll.worst.toFixed(1)} ms, at most ${scroll.most} rows in the document`);
  assert.ok(scroll.most > 10 && scroll.most < 60, `${scroll.most} rows`);
  assert.equal(scroll.last, 'server-09999');
  const index = await row(page, 'server-09999').getAttribute('aria-rowindex');
  assert.equal(index, String(MANY + 1));
  const times = await page.evaluate(async () => {
    const button = document.querySelector('.col-address button');
    const at = performance.now();
    button.click();
    await new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve)));
    return performance.now() - at;
  });
  t.diagnostic(`sorting 10,000 rows: ${times.toFixed(0)} ms`);
}, { prepare: fillWithMany }));

test('a storm of changes neither stops the page nor moves what is read', (t) => inPage(async (page, server) => {
  await enter(page);
  await until(async () => (await page.locator('#count').textContent()) === '10,000 servers', 'all are known');
  await page.evaluate(() => { document.querySelector('.grid-scroller').scrollTop = 5000 * document.querySelector('.grid-probe').offsetHeight; });
  await row(page, 'server-05000').waitFor();
  const place = async () => (await row(page, 'server-05000').boundingBox()).y;
  const before = await place();
  await page.evaluate(() => {
    window.longest = 0;
    let last = performance.now();
    const tick = () => { window.longest = Math.max(window.longest, performance.now() - last); last = performance.now(); requestAnimationFrame(tick); };
    tick();
  });
  for (let burst = 0; burst < 20; burst += 1) {
    for (let number = 0; number < 50; number += 1) server.put(makeRecord(`aaa-${burst}-${number}`, `10.200.${burst}.${number}`));
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
  await until(async () => (await page.locator('#count').textContent()) === '11,000 servers', 'the storm has arrived');
  t.diagnostic(`longest time between two frames in a storm of 1,000 changes: ${(await page.evaluate(() => window.longest)).toFixed(0)} ms`);
  assert.ok(Math.abs((await place()) - before) < 2, 'what is read stays in its place');
}, { prepare: fillWithMany }));

test('it follows by polling where streams do not hold, says so, and goes back to live', () => inPage(async (page, server) => {
  await page.clock.install();
  await page.goto(server.url);
  server.breaksStreams = true;
  await page.getByLabel('User name').fill('admin');
  await page.getByLabel('Password').fill('correct horse battery');
  await page.getByRole('button', { name: 'Log in' }).click();
  await until(async () => { await page.clock.runFor(1000); return (await page.locator('#live').getAttribute('data-state')) === 'polling'; }, 'it polls');
  assert.equal(await page.locator('#live').textContent(), 'Polling');
  server.put(makeRecord('polled', '10.9.9.9'));
  await until(async () => { await page.clock.runFor(2000); return row(page, 'polled').isVisible(); }, 'the new one is there');
  const before = server.requests.length;
  await until(async () => { await page.clock.runFor(2000); return server.requests.slice(before).includes('GET /1.0/servers 304'); }, 'what has not changed is not sent again');
  server.breaksStreams = false;
  await until(async () => { await page.clock.runFor(5000); return (await page.locator('#live').getAttribute('data-state')) === 'live'; }, 'it is live again', 30);
}, withExamples));

test('a server that is gone is told, and its return too', () => inPage(async (page, server) => {
  await enter(page);
  server.isDown = true;
  server.endStreams();
  await live(page, 'offline');
  await row(page, 'storage-07').waitFor();
  server.isDown = false;
  server.put(makeRecord('while-away', '10.9.9.8'));
  await live(page, 'live');
  await row(page, 'while-away').waitFor();
}, withExamples));
