// The report in a real browser: made by tarnhost, opened in Chromium, used as a person would.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const {after, before, test} = require('node:test');
const {performance} = require('node:perf_hooks');

const {contrastMistakes} = require('./contrast.js');
const {many, hostile} = require('./events.js');
const {drawn, folder, launch, makeReport, open, picture, tarnhost} = require('./browser.js');

const mostRowsInPage = 120;
const rowsOfMany = 100000;
let browser;
let bundled;
let bundledEvents;
let large;

before(async () => {
  browser = await launch();
  const run = tarnhost('--json', '--map', '10.20.30.10=192.0.2.10', 'replay', 'tests/captures');
  const lines = run.stdout.split('\n').filter(Boolean);
  bundledEvents = lines.map(line => JSON.parse(line));
  bundled = makeReport('bundled', run.stdout, '--policy', 'companions/tarn-policy.toml');
  large = makeReport('large', many(rowsOfMany));
});

after(() => browser?.close());

const textOf = (page, selector) => page.$eval(selector, element => element.textContent);
const shownRows = page => page.$$eval('#table .row',
  rows => rows.map(row => [...row.cells].map(cell => cell.textContent)));
const isQuiet = seen => {
  assert.deepEqual(seen.complaints, []);
  assert.deepEqual(seen.requests.filter(url => !url.startsWith('file:')), []);
  assert.equal(seen.requests.length, 1, 'the page alone is loaded');
};
const timed = async (t, what, action) => {
  const start = performance.now();
  await action();
  t.diagnostic(`${what}: ${Math.round(performance.now() - start)} ms`);
};

test('the report of the bundled captures tells what the events tell', async () => {
  assert.equal(bundled.code, 0, bundled.text);
  const verdicts = bundledEvents.filter(event => event.type === 'verdict');
  const blocked = verdicts.filter(event => event.verdict === 'blocked');
  assert.ok(verdicts.length > 50 && blocked.length > 5, 'the captures hold requests of both kinds');
  const {page, seen} = await open(browser, bundled.file);
  const tiles = Object.fromEntries(await page.$$eval('.tiles li', items => items.map(
    item => [item.querySelector('span').textContent, item.querySelector('b').textContent.replaceAll(',', '')])));
  assert.equal(tiles.requests, String(verdicts.length));
  assert.equal(tiles.blocked, String(blocked.length));
  const events = bundledEvents.filter(event => event.type !== 'stats').length;
  assert.equal(await textOf(page, '#count'), `${events.toLocaleString('en')} rows`);
  const hosts = new Set(blocked.map(event => event.host));
  const listed = await page.$$eval('.pair > section:last-child [data-find]',
    cells => cells.map(cell => cell.textContent));
  assert.ok(listed.length > 0 && listed.every(host => hosts.has(host)));
  await picture(page, 'light', {fullPage: true});
  isQuiet(seen);
  await page.close();
});

test('a hundred thousand rows stay quick, and few of them stand in the page', async t => {
  assert.equal(large.code, 0, large.text);
  t.diagnostic(`page of ${(fs.statSync(large.file).size / 1e6).toFixed(1)} MB`);
  let opened;
  await timed(t, 'open', async () => { opened = await open(browser, large.file); });
  const {page, seen} = opened;
  assert.match(await textOf(page, '#rows .note'), /100,000 of 100,056 events.*56 are left out/);
  assert.equal(await textOf(page, '#count'), '100,000 rows');
  const bounded = async () => {
    const count = (await page.$$('#table .row')).length;
    assert.ok(count > 10 && count < mostRowsInPage, `${count} rows in the page`);
  };
  await bounded();
  const scrollTo = async share => {
    await page.$eval('#scroller', (element, part) => {
      element.scrollTop = part * (element.scrollHeight - element.clientHeight);
    }, share);
    await drawn(page);
  };
  const indexOfFirst = () => page.$eval('#table .row', row => Number(row.getAttribute('aria-rowindex')));
  await timed(t, 'scroll to the middle', () => scrollTo(0.5));
  assert.ok(Math.abs(await indexOfFirst() - 50000) < 60);
  await bounded();
  const times = (await shownRows(page)).map(row => row[0]);
  assert.deepEqual(times, [...times].sort(), 'rows are in the order of time');
  await timed(t, '40 steps of scrolling', async () => { for (let i = 0; i < 40; ++i) await scrollTo(i / 40); });
  await bounded();

  await timed(t, 'filter by a text', () => page.type('#find', '/item/31250'));
  assert.equal(await textOf(page, '#count'), '1 of 100,000 rows');
  const [only] = await shownRows(page);
  assert.equal(only[3], `www${31250 % 700}.shop.example/item/31250`);
  assert.equal(only[2], 'blocked');
  await page.click('#clear');
  assert.equal(await textOf(page, '#count'), '100,000 rows');
  const choose = async (id, words) => {
    const value = await page.$eval(id,
      (select, text) => [...select.options].find(one => one.text.startsWith(text)).value, words);
    await page.select(id, value);
  };
  await timed(t, 'filter by verdict', () => choose('#verdict', 'blocked'));
  assert.equal(await textOf(page, '#count'), '2,032 of 100,000 rows');
  assert.ok((await shownRows(page)).every(row => row[2] === 'blocked'));
  await choose('#type', 'attack');
  assert.equal(await textOf(page, '#count'), '32 of 100,000 rows');
  await page.click('#clear');
  await timed(t, 'sort by text', () => page.click('thead .c-what button'));
  const what = (await shownRows(page)).map(row => row[3]);
  assert.deepEqual(what, [...what].sort());
  await timed(t, 'sort by number', async () => {
    await page.click('thead .c-latency button');
    await page.click('thead .c-latency button');
  });
  assert.equal(await page.$eval('thead .c-latency', head => head.getAttribute('aria-sort')), 'descending');
  assert.equal((await shownRows(page))[0][9], '40.8 µs');
  isQuiet(seen);
  await page.close();
});

test('the table is used by keys alone', async () => {
  const {page, seen} = await open(browser, large.file);
  await page.focus('#table');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  assert.equal(await page.$eval('#table', table => table.getAttribute('aria-activedescendant')), 'row-1');
  await page.keyboard.press('End');
  await drawn(page);
  assert.equal(await page.$eval('#table', table => table.getAttribute('aria-activedescendant')), 'row-99999');
  const isSeen = await page.$eval('#row-99999', row => {
    const box = row.getBoundingClientRect();
    const around = document.getElementById('scroller').getBoundingClientRect();
    return box.top >= around.top && box.bottom <= around.bottom + 1;
  });
  assert.ok(isSeen, 'the last row is in sight');
  await page.keyboard.press('Enter');
  assert.ok(await page.$eval('#details', dialog => dialog.open));
  assert.match(await textOf(page, '#details dl'), /Time2026-03-07/);
  await page.keyboard.press('Escape');
  assert.ok(!await page.$eval('#details', dialog => dialog.open));
  assert.equal(await page.evaluate(() => document.activeElement.id), 'table');
  isQuiet(seen);
  await page.close();
});

test('hostile texts stay texts', async () => {
  const made = makeReport('hostile', hostile());
  assert.equal(made.code, 0, made.text);
  const bytes = fs.readFileSync(made.file, 'utf-8');
  assert.ok(!/[\u0000-\u0008\u000B-\u001F\u202E\u2028]/.test(bytes), 'no control or direction characters');
  const {page, seen} = await open(browser, made.file, {height: 4000});
  assert.equal(await page.evaluate(() => window.pwned), undefined);
  const rows = await shownRows(page);
  assert.ok(rows.some(row => row[3].includes('</script><script>window.pwned=1</script>')), 'the text is shown');
  assert.ok(rows.some(row => row[3].includes('\\xe2\\x80\\xae')), 'the direction mark is shown by its bytes');
  assert.equal(await page.$('main img, main b:not(.tiles b), #table script'), null);
  for (const button of await page.$$('.find')) await button.evaluate(element => element.click());
  await page.evaluate(() => document.querySelector('#table .row')?.click());
  assert.equal(await page.evaluate(() => window.pwned), undefined);
  isQuiet(seen);
  await page.close();
});

for (const dark of [false, true]) {
  const scheme = dark ? 'dark' : 'light';
  test(`${scheme}: every text stands out from its ground`, async () => {
    const {page} = await open(browser, bundled.file, {dark});
    assert.deepEqual(await contrastMistakes(page), []);
    if (dark) await picture(page, 'dark', {fullPage: true});
    await page.close();
  });

  test(`${scheme}: a phone needs no sideways scrolling`, async () => {
    for (const file of [bundled.file, path.join(folder, 'hostile.html')]) {
      const {page, seen} = await open(browser, file, {width: 360, height: 740, dark});
      const wide = await page.evaluate(() => document.documentElement.scrollWidth);
      assert.ok(wide <= 360, `${file} is ${wide} wide`);
      assert.ok((await page.$$('#table .row')).length < mostRowsInPage);
      if (file === bundled.file) {
        await picture(page, `phone-${scheme}`, {fullPage: true});
        await page.$eval('#filters', element => element.scrollIntoView());
        await picture(page, `phone-table-${scheme}`);
      }
      isQuiet(seen);
      await page.close();
    }
  });
}

test('paper gets the first rows and says so', async () => {
  const {page} = await open(browser, large.file);
  await page.emulateMediaType('print');
  await drawn(page);
  assert.equal((await page.$$('#table .row')).length, 200);
  assert.equal(await textOf(page, '#printed'), 'Printed are the first 200 of 100,000 rows.');
  await picture(page, 'print', {fullPage: true});
  await page.emulateMediaType('screen');
  await drawn(page);
  assert.ok((await page.$$('#table .row')).length < mostRowsInPage);
  const pdf = await page.pdf({format: 'A4', path: path.join(folder, 'screenshots', 'print.pdf')});
  assert.ok(pdf.length > 10000);
  await page.close();
});

test('without script the totals stand, and the page says what is missing', async () => {
  const {page, seen} = await open(browser, bundled.file, {script: false});
  const text = await page.$eval('body', body => body.innerText);
  assert.match(text, /The table of events needs JavaScript/);
  assert.match(text, /Hosts asked for most/);
  assert.equal(await page.$eval('#filters', form => getComputedStyle(form).display), 'none');
  isQuiet(seen);
  await page.close();
});
