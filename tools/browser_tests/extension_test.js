// The extension in a real browser, with tarnhost started by the browser as install.sh says.
'use strict';
const assert = require('node:assert/strict');
const {execFileSync, spawnSync} = require('node:child_process');
const {createHash} = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const {after, before, test} = require('node:test');
const {createRequire} = require('node:module');

const {contrastMistakes} = require('./contrast.js');
const {folder, picture, root} = require('./browser.js');
const {openSites} = require('./web_sites.js');
const puppeteer = createRequire(path.join(folder, 'package.json'))('puppeteer-core');

const extension = path.join(root, 'extension');
const own = path.join(folder, 'extension_test');
const profile = path.join(own, 'profile');
const policy = path.join(own, 'tarn-policy.toml');
const program = process.env.TARN_HOST_PROGRAM || path.join(root, 'build/windows/bin/tarnhost.exe');
const environment = {...process.env, XDG_DATA_HOME: path.join(own, 'data'), TARN_WINE_KEEP: '60'};
const waitTime = 30000;

// Of addresses that are reported only categories are asked for with their path.
const rules = secret => `[features]
browsing_protection = true
[category_names]
40 = "Shopping"
41 = "Secrets"
[[sites]]
address = "shop.example"
categories = [40]
[[sites]]
address = "${secret}"
categories = [41]
[parental]
mode = 1
[[parental.users]]
block_list = true
profile = true
categories = true
blocked_categories = [40, 41]
[[parental.users.blocked_sites]]
host = "listed.example"
`;
const lineOf = (text, of) => 1 + of.split('\n').findIndex(line => line.includes(text));

// Browsers make the id of the key: the first half of its SHA-256, with letters for digits.
function idOf(folderOfExtension) {
  const {key} = JSON.parse(fs.readFileSync(path.join(folderOfExtension, 'manifest.json'), 'utf-8'));
  const hash = createHash('sha256').update(Buffer.from(key, 'base64')).digest('hex').slice(0, 32);
  return [...hash].map(digit => String.fromCharCode(97 + parseInt(digit, 16))).join('');
}

let sites;
let browser;

const install = (...words) => spawnSync(path.join(extension, 'install.sh'), [...words, '--folder',
  path.join(profile, 'NativeMessagingHosts')], {encoding: 'utf-8', env: environment});

const launch = () => puppeteer.launch({
  executablePath: process.env.TARN_CHROMIUM || '/usr/bin/chromium', headless: true, pipe: true,
  enableExtensions: [extension], userDataDir: profile, env: environment,
  args: ['--no-sandbox', '--disable-gpu', '--force-color-profile=srgb', '--ignore-certificate-errors', '--lang=en',
    `--host-resolver-rules=MAP * 127.0.0.1:${sites.port}`],
});

// The extension's own context, in which its icon can be asked for.
async function worker(of) {
  const target = await of.waitForTarget(one => one.type() === 'service_worker' &&
    one.url().startsWith('chrome-extension://'), {timeout: waitTime});
  return target.worker();
}
async function untilTitle(of, pattern) {
  const context = await worker(of);
  const end = Date.now() + waitTime;
  for (;;) {
    const title = await context.evaluate(() => chrome.action.getTitle({}));
    if (pattern.test(title)) return title;
    assert.ok(Date.now() < end, `the icon says "${title}"`);
    await new Promise(done => setTimeout(done, 50));
  }
}

async function newPage({width = 1280, height = 900, dark = false} = {}) {
  const page = await browser.newPage();
  await page.setViewport({width, height});
  await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: dark ? 'dark' : 'light'}]);
  return page;
}
// The block page ends the navigation that it replaces.
const go = (page, url) => page.goto(url, {waitUntil: 'load'}).catch(mistake => {
  if (!/ERR_ABORTED|detached/.test(String(mistake))) throw mistake;
});
const untilBlocked = page => page.waitForFunction(
  () => location.protocol === 'chrome-extension:' && document.querySelector('h1'), {timeout: waitTime, polling: 100});
const untilSite = (page, where) => page.waitForFunction(
  expected => location.href === expected && document.querySelector('#path'), {timeout: waitTime, polling: 100}, where);
const textOf = (page, selector) => page.$eval(selector, element => element.textContent);

before(async () => {
  fs.rmSync(own, {recursive: true, force: true});
  fs.mkdirSync(profile, {recursive: true});
  sites = await openSites(own);
  fs.writeFileSync(policy, rules('docs.example/secret'));
  const installed = install('install', '--program', program, '--policy', policy);
  assert.equal(installed.status, 0, installed.stderr);
  browser = await launch();
  await untilTitle(browser, /pages are judged/);
});

after(async () => {
  await browser?.close();
  await sites?.close();
});

test('a page that no rule blocks opens', async () => {
  const page = await newPage();
  await go(page, 'https://docs.example/open');
  await untilSite(page, 'https://docs.example/open');
  await page.close();
});

test('a page that is blocked by its path is replaced by the page that says why', async () => {
  const page = await newPage();
  await go(page, 'https://docs.example/secret?<b>=1');
  await untilBlocked(page);
  assert.equal(await textOf(page, 'h1'), 'Sites of this category are blocked by parental control');
  assert.match(await page.title(), /^Blocked: docs\.example$/);
  assert.equal(await page.$eval('html', element => element.lang), 'en');
  const said = await textOf(page, 'main');
  assert.match(said, /https:\/\/docs\.example\/secret\?/);
  assert.match(said, /Secrets/);
  const line = lineOf('docs.example/secret', rules('docs.example/secret')) - 1;
  assert.match(said, new RegExp(`tarn-policy\\.toml, line ${line}`));
  assert.equal(await page.$('script:not([src])'), null);
  assert.deepEqual(await contrastMistakes(page, 10), []);
  await picture(page, 'extension-blocked-light', {fullPage: true});
  await page.close();
});

test('a category blocks, in the dark and as wide as a phone', async () => {
  const page = await newPage({width: 360, height: 760, dark: true});
  await go(page, 'https://www.shop.example/');
  await untilBlocked(page);
  assert.match(await textOf(page, 'main'), /Shopping/);
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'nothing is cut off');
  assert.deepEqual(await contrastMistakes(page, 10), []);
  await picture(page, 'extension-blocked-phone-dark', {fullPage: true});
  await page.close();
});

test('a site that a list blocks is blocked at every path', async () => {
  const page = await newPage();
  await go(page, 'https://listed.example/any/page');
  await untilBlocked(page);
  assert.equal(await textOf(page, 'h1'), 'This site is blocked by parental control');
  const line = lineOf('blocked_sites', rules('docs.example/secret'));
  assert.match(await textOf(page, 'main'), new RegExp(`tarn-policy\\.toml, line ${line}`));
  await page.close();
});

test('redirects, links and scripts do not lead around it', async () => {
  const page = await newPage();
  await go(page, `https://docs.example/redirect?to=${encodeURIComponent('https://docs.example/secret')}`);
  await untilBlocked(page);
  await go(page, 'https://docs.example/open');
  await untilSite(page, 'https://docs.example/open');
  await page.evaluate(() => history.pushState({}, '', '/secret'));
  await untilBlocked(page);
  await page.close();
});

test('a change of the policy counts for the next page and for the block page itself', async () => {
  const page = await newPage();
  await go(page, 'https://docs.example/secret');
  await untilBlocked(page);
  fs.writeFileSync(policy, rules('docs.example/next'));
  // The follower reads a file at rest; until then the old policy counts.
  const end = Date.now() + waitTime;
  while (page.url().startsWith('chrome-extension:')) {
    assert.ok(Date.now() < end, 'the new policy counts');
    await Promise.all([page.waitForNavigation({timeout: waitTime}).catch(() => {}), page.reload().catch(() => {})]);
    await page.waitForFunction(() => document.querySelector('h1, #path'), {timeout: waitTime, polling: 100});
  }
  await untilSite(page, 'https://docs.example/secret');
  await page.click('#next');
  await untilBlocked(page);
  await page.close();
});

test('without its program the icon turns grey, and pages open', async () => {
  await browser.close();
  const removed = install('remove');
  assert.equal(removed.status, 0, removed.stderr);
  assert.deepEqual(fs.readdirSync(path.join(profile, 'NativeMessagingHosts')), []);
  browser = await launch();
  const title = await untilTitle(browser, /does not answer/);
  assert.match(title, /host/i);
  const page = await newPage();
  await go(page, 'https://docs.example/next');
  await untilSite(page, 'https://docs.example/next');
  await page.close();
});

const wine = (words, options = {}) => spawnSync(path.join(root, 'cmake/wine-run'), words,
  {cwd: root, env: environment, encoding: 'utf-8', ...options});
const framed = message => {
  const text = Buffer.from(JSON.stringify(message));
  const length = Buffer.alloc(4);
  length.writeUInt32LE(text.length);
  return Buffer.concat([length, text]);
};

test('install.cmd tells the browsers of Windows, and takes it back', () => {
  const key = 'HKCU\\Software\\Google\\Chrome\\NativeMessagingHosts\\tarn.messaging';
  const installed = wine(['cmd', '/c', 'extension\\install.cmd', 'install', `Z:${program.replaceAll('/', '\\')}`]);
  assert.equal(installed.status, 0, installed.stderr);
  const file = /REG_SZ\s+(.*\.json)/.exec(wine(['reg', 'query', key]).stdout)?.[1];
  assert.ok(file, 'the registry names the manifest');
  const manifest = JSON.parse(wine(['cmd', '/c', 'type', file]).stdout);
  assert.deepEqual(manifest.allowed_origins, [`chrome-extension://${idOf(extension)}/`]);
  // As a browser starts it: beside the manifest, with the extension and a window.
  const launcher = file.replace(/[^\\]*$/, manifest.path);
  const answered = wine(['cmd', '/c', launcher, manifest.allowed_origins[0], '--parent-window=7'],
    {encoding: 'buffer', input: framed({type: 'hello', id: 3})});
  const length = answered.stdout.readUInt32LE(0);
  assert.equal(answered.stdout.length, 4 + length, String(answered.stderr));
  assert.equal(JSON.parse(answered.stdout.subarray(4)).id, 3);
  assert.equal(wine(['cmd', '/c', 'extension\\install.cmd', 'remove']).status, 0);
  assert.notEqual(wine(['reg', 'query', key]).status, 0);
});

test('the extension has the version of the project', () => {
  const {version} = JSON.parse(fs.readFileSync(path.join(extension, 'manifest.json'), 'utf-8'));
  const project = fs.readFileSync(path.join(root, 'CMakeLists.txt'), 'utf-8');
  assert.equal(version, /project\(tarn VERSION (\S+)/.exec(project)[1]);
});

test('the icons are those that the script draws', () => {
  const copy = path.join(own, 'icons');
  fs.mkdirSync(copy, {recursive: true});
  fs.copyFileSync(path.join(extension, 'make_icons.py'), path.join(copy, 'make_icons.py'));
  execFileSync('python3', [path.join(copy, 'make_icons.py')]);
  const drawn = fs.readdirSync(path.join(copy, 'icons'));
  assert.ok(drawn.length === 7);
  for (const name of drawn)
    assert.ok(fs.readFileSync(path.join(copy, 'icons', name)).equals(fs.readFileSync(path.join(extension, 'icons', name))),
      `${name} was drawn anew`);
});
