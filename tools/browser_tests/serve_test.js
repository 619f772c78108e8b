// A browser that goes through tarnhost serve, set up by its proxy.pac; and its block page and status page.
'use strict';
const assert = require('node:assert/strict');
const fs = require('node:fs');
const http = require('node:http');
const net = require('node:net');
const path = require('node:path');
const {after, before, test} = require('node:test');
const {createRequire} = require('node:module');

const {contrastMistakes} = require('./contrast.js');
const {folder, picture} = require('./browser.js');
const {startServe} = require('./serve_program.js');
const {openSites} = require('./web_sites.js');
const puppeteer = createRequire(path.join(folder, 'package.json'))('puppeteer-core');

const own = path.join(folder, 'serve_test');
const policy = path.join(own, 'tarn-policy.toml');
const names = ['good.example', 'bad.example', 'games.example', 'docs.example'];
const waitTime = 30000;

const days = ['sunday', 'monday', 'tuesday', 'wednesday', 'thursday', 'friday', 'saturday'];
// The day after tomorrow, by the clock of this machine.
const allowedDay = days[(new Date().getDay() + 2) % 7];
const rules = ({blocked = '/secret', schedule = false} = {}) => `[features]
browsing_protection = true
[category_names]
41 = "Games"
[[malicious_sites]]
host = "bad.example"
threat = "Trojan.Demo"
[[sites]]
address = "games.example"
categories = [41]
[parental]
mode = 1
[[parental.users]]
profile = true
block_list = true
categories = true
blocked_categories = [41]
[[parental.users.blocked_sites]]
host = "docs.example"
path = "${blocked}"
${schedule ? `[parental.users.schedule]
on = true
${allowedDay} = ["08:30-20:00"]
` : ''}`;
const lineOf = text => 1 + rules().split('\n').findIndex(line => line.includes(text));

let plain;
let secure;
let serve;
let browser;

before(async () => {
  fs.rmSync(own, {recursive: true, force: true});
  fs.mkdirSync(own, {recursive: true});
  fs.writeFileSync(policy, rules());
  plain = await openSites(own, {secure: false});
  secure = await openSites(own);
  serve = await startServe(policy, ...names.flatMap(name => ['--hosts', `${name}=127.0.0.1`]));
  browser = await puppeteer.launch({
    executablePath: process.env.TARN_CHROMIUM || '/usr/bin/chromium', headless: true, pipe: true,
    args: ['--no-sandbox', '--disable-gpu', '--force-color-profile=srgb', '--ignore-certificate-errors', '--lang=en',
      `--proxy-pac-url=http://${serve.status}/proxy.pac`],
  });
});

after(async () => {
  await browser?.close();
  const code = await serve?.stop();
  await plain?.close();
  await secure?.close();
  if (serve) assert.equal(code, 0, serve.errors);
});

async function newPage({width = 1280, height = 900, dark = false} = {}) {
  const page = await browser.newPage();
  page.complaints = [];
  page.on('console', message => page.complaints.push(message.text()));
  page.on('pageerror', error => page.complaints.push(String(error)));
  await page.setViewport({width, height});
  await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: dark ? 'dark' : 'light'}]);
  return page;
}
const site = (name, where = '/') => `http://${name}:${plain.port}${where}`;
const textOf = (page, selector) => page.$eval(selector, element => element.textContent);
const fits = page => page.evaluate(() => document.documentElement.scrollWidth <= innerWidth);
const asked = (sites, name) => sites.seen.filter(one => one.startsWith(name));

// Answers by another policy once that is taken over; each answer meanwhile is a right one by the policy before.
async function untilAnswers(page, url, status) {
  const end = Date.now() + waitTime;
  for (;;) {
    const response = await page.goto(url, {waitUntil: 'load'});
    if (response.status() === status) return;
    assert.ok(Date.now() < end, `${url} still answers ${response.status()}`);
  }
}

test('a page that no rule blocks comes through', async () => {
  const page = await newPage();
  const response = await page.goto(site('good.example', '/open?x=1'));
  assert.equal(response.status(), 200);
  assert.equal(await textOf(page, '#path'), '/open?x=1');
  assert.deepEqual(asked(plain, 'good.example').filter(one => one.endsWith('/open?x=1')).length, 1);
  await page.close();
});

test('a listed site gets the block page, and is never asked', async () => {
  const page = await newPage();
  const response = await page.goto(site('bad.example', '/setup?<script>alert(1)</script>'));
  assert.equal(response.status(), 403);
  assert.match(response.headers()['content-type'], /^text\/html/);
  assert.equal(await textOf(page, 'h1'), 'This site is known to be malicious');
  const said = await textOf(page, 'main');
  assert.match(said, /Trojan\.Demo/);
  assert.match(said, new RegExp(`tarn-policy\\.toml, line ${lineOf('malicious_sites')}`));
  assert.equal(await page.$('script'), null);
  assert.deepEqual(await contrastMistakes(page, 10), []);
  await picture(page, 'block-light', {fullPage: true});
  assert.deepEqual(asked(plain, 'bad.example'), []);
  await page.close();
});

test('a category blocks; the page speaks German, and fits a phone in the dark', async () => {
  const page = await newPage({width: 360, height: 760, dark: true});
  await page.setExtraHTTPHeaders({'Accept-Language': 'fr,de;q=0.9,en;q=0.5'});
  const response = await page.goto(site('games.example', `/${'long'.repeat(60)}`));
  assert.equal(response.status(), 403);
  assert.equal(await page.$eval('html', element => element.lang), 'de');
  assert.match(await textOf(page, 'main'), /Games/);
  assert.match(await page.title(), /^Gesperrt: games\.example/);
  assert.ok(await fits(page));
  assert.deepEqual(await contrastMistakes(page, 10), []);
  await picture(page, 'block-phone-dark', {fullPage: true});
  await page.close();
});

test('the block page says the same to a screen reader', async () => {
  const page = await newPage();
  await page.setJavaScriptEnabled(false);
  await page.goto(site('bad.example'));
  const tree = await page.accessibility.snapshot({interestingOnly: false});
  const roles = [];
  const walk = node => { roles.push(`${node.role} ${node.name || ''}`); (node.children || []).forEach(walk); };
  walk(tree);
  assert.ok(roles.includes('main This site is known to be malicious'), roles.join('\n'));
  for (const heading of ['What was asked for', 'Why', 'How to allow it'])
    assert.ok(roles.includes(`heading ${heading}`), heading);
  assert.ok(roles.some(role => role.startsWith('contentinfo')));
  await page.close();
});

test('a secure site is blocked by its name and reached otherwise', async () => {
  const page = await newPage();
  await assert.rejects(page.goto(`https://bad.example:${secure.port}/`), /net::ERR_/);
  assert.deepEqual(asked(secure, 'bad.example'), []);
  const response = await page.goto(`https://good.example:${secure.port}/safe`);
  assert.equal(response.status(), 200);
  assert.equal(await textOf(page, '#path'), '/safe');
  await page.close();
});

test('a changed policy counts while somebody browses', async () => {
  const page = await newPage();
  await page.goto(site('docs.example', '/open'));
  assert.equal((await page.goto(site('docs.example', '/secret'))).status(), 403);
  fs.writeFileSync(policy, rules({blocked: '/open'}));
  await untilAnswers(page, site('docs.example', '/secret'), 200);
  assert.equal((await page.goto(site('docs.example', '/open'))).status(), 403);
  await page.close();
});

test('outside the allowed time the page says when it is allowed again', async () => {
  const page = await newPage();
  fs.writeFileSync(policy, rules({schedule: true}));
  await untilAnswers(page, site('good.example'), 403);
  assert.equal(await textOf(page, 'h1'), 'The web is not allowed at this time');
  const name = allowedDay[0].toUpperCase() + allowedDay.slice(1);
  // At midnight the day after tomorrow becomes tomorrow.
  assert.match(await textOf(page, 'main'), new RegExp(`(${name}|tomorrow) at 08:30`));
  await picture(page, 'block-schedule', {fullPage: true});
  fs.writeFileSync(policy, rules());
  await untilAnswers(page, site('good.example'), 200);
  await page.close();
});

const rowOf = (page, text) => page.waitForFunction(
  wanted => [...document.querySelectorAll('#live tbody tr')].find(row => row.textContent.includes(wanted)),
  {timeout: waitTime, polling: 100}, text);

test('the status page shows what happens, as it happens', async () => {
  const page = await newPage();
  await page.goto(`http://${serve.status}/`);
  await page.waitForSelector('#connection.live', {timeout: waitTime});
  const before = Number((await textOf(page, '#blocked')).replace(/\D/g, '') || 0);
  const other = await newPage();
  await other.goto(site('bad.example', '/live'));
  const row = await rowOf(page, '/live');
  assert.match(await row.evaluate(element => element.textContent), /blocked.*malicious site.*tarn-policy\.toml/);
  await page.waitForFunction(count => Number(document.querySelector('#blocked').textContent.replace(/\D/g, '')) > count,
    {timeout: waitTime, polling: 100}, before);
  const [host, port] = serve.proxy.split(':');
  const strange = net.connect(port, host, () => strange.write(`CONNECT good.example:${plain.port} HTTP/1.1\r\n\r\n`));
  strange.once('data', () => strange.write('SSH-2.0-client\r\n'));
  const notJudged = await rowOf(page, 'an unknown protocol');
  assert.match(await notJudged.evaluate(element => element.textContent), /without a verdict127\.0\.0\.1:\d+/);
  strange.destroy();
  // The name of CONNECT is shown once, and counts for its site without the port.
  const named = net.connect(port, host, () => named.write(`CONNECT bad.example:${plain.port} HTTP/1.1\r\n\r\n`));
  named.once('data', () => named.write('SSH-2.0-client\r\n'));
  await rowOf(page, `blockedbad.example:${plain.port}malicious site`);
  named.destroy();
  assert.match(await textOf(page, '#sites'), /bad\.example\d/);
  assert.match(await textOf(page, '#reasons'), /malicious site/);
  assert.match(await textOf(page, '#policy'), /tarn-policy\.toml/);
  assert.match(await textOf(page, '#connections'), /^\d+$/);
  assert.deepEqual(await contrastMistakes(page, 30), []);
  await picture(page, 'status-light', {fullPage: true});
  assert.deepEqual(page.complaints, []);
  await other.close();
  await page.close();
});

test('the status page explains an address, and changes nothing', async () => {
  const page = await newPage({width: 360, height: 760, dark: true});
  await page.goto(`http://${serve.status}/`);
  await page.waitForSelector('#connection.live', {timeout: waitTime});
  await page.type('#address', 'http://bad.example/<img src=x onerror=alert(1)>');
  await page.keyboard.press('Enter');
  await page.waitForSelector('#explanation table', {timeout: waitTime});
  const said = await textOf(page, '#explanation');
  assert.match(said, /blocked: malicious site/);
  assert.match(said, new RegExp(`tarn-policy\\.toml:${lineOf('malicious_sites')}`));
  assert.match(said, /white_lists/);
  assert.equal(await page.$('#explanation img'), null);
  assert.ok(await fits(page));
  assert.deepEqual(await contrastMistakes(page, 30), []);
  await picture(page, 'status-phone-dark', {fullPage: true});
  assert.deepEqual(page.complaints, []);
  await page.close();
});

test('the status page tells the mistakes of a policy that is not used', async () => {
  const page = await newPage({dark: true});
  await page.goto(`http://${serve.status}/`);
  fs.writeFileSync(policy, `${rules()}[features2]\n`);
  await page.waitForSelector('#mistakes:not([hidden]) li', {timeout: waitTime});
  assert.match(await textOf(page, '#mistakes'), /tarn-policy\.toml:\d+.*features2/);
  assert.match(await textOf(page, '#policy'), /stays in force/);
  await picture(page, 'status-mistakes-dark', {fullPage: true});
  fs.writeFileSync(policy, rules({blocked: '/other'}));
  await page.waitForSelector('#mistakes[hidden]', {timeout: waitTime});
  await page.close();
});

// As a page of the web would ask that has its name point at this machine.
const statusOf = (target, headers, method = 'GET') => new Promise((done, fail) => {
  const [host, port] = serve.status.split(':');
  http.request({host, port, path: target, method, headers}, response => {
    response.resume();
    done(response.statusCode);
  }).on('error', fail).end();
});

test('other sites cannot read the status page', async () => {
  assert.equal(await statusOf('/api/state', {}), 200);
  assert.equal(await statusOf('/api/state', {Host: `evil.example:${serve.status.split(':')[1]}`}), 403);
  assert.equal(await statusOf('/api/state', {Origin: 'http://evil.example'}), 403);
  assert.equal(await statusOf('/', {}, 'POST'), 405);
  const page = await newPage();
  await page.goto(site('good.example'));
  const read = await page.evaluate(url => fetch(url).then(() => 'read', () => 'refused'),
    `http://${serve.status}/api/state`);
  assert.equal(read, 'refused');
  await page.close();
});
