// Programs and pages for the tests: tarnhost, and a headless Chromium that is closed at the end.
'use strict';
const {spawnSync} = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const {createRequire} = require('node:module');
const {pathToFileURL} = require('node:url');

const root = path.resolve(__dirname, '..', '..');
const folder = path.join(root, 'build', 'browser');
const puppeteer = createRequire(path.join(folder, 'package.json'))('puppeteer-core');

// What tarnhost printed, with its exit code.
function tarnhost(...words) {
  const run = spawnSync('cmake/wine-run', ['build/windows/bin/tarnhost.exe', ...words],
    {cwd: root, encoding: 'utf-8', maxBuffer: 1 << 30, env: {...process.env, TARN_WINE_KEEP: '60'}});
  if (run.error) throw run.error;
  return run;
}

// The page of these events, made by tarnhost; name.jsonl and name.html stay for whoever wants to look.
function makeReport(name, events, ...words) {
  const input = path.join('build', 'browser', `${name}.jsonl`);
  const output = path.join('build', 'browser', `${name}.html`);
  const text = typeof events === 'string' ? events : events.map(event => `${JSON.stringify(event)}\n`).join('');
  fs.writeFileSync(path.join(root, input), text);
  fs.rmSync(path.join(root, output), {force: true});
  const run = tarnhost('report', input, '-o', output, ...words);
  return {file: path.join(root, output), code: run.status, text: run.stdout + run.stderr};
}

function launch() {
  return puppeteer.launch({executablePath: process.env.TARN_CHROMIUM || '/usr/bin/chromium', headless: true, pipe: true,
    args: ['--no-sandbox', '--disable-gpu', '--force-color-profile=srgb']});
}

// Opens a page; everything that it asks for or complains of is kept.
async function open(browser, file, {width = 1280, height = 900, dark = false, script = true} = {}) {
  const page = await browser.newPage();
  const seen = {requests: [], complaints: []};
  page.on('request', request => seen.requests.push(request.url()));
  page.on('console', message => seen.complaints.push(message.text()));
  page.on('pageerror', error => seen.complaints.push(String(error)));
  page.on('dialog', dialog => { seen.complaints.push(`dialog: ${dialog.message()}`); dialog.dismiss(); });
  await page.setJavaScriptEnabled(script);
  await page.setViewport({width, height, isMobile: width < 640, hasTouch: width < 640});
  await page.emulateMediaFeatures([{name: 'prefers-color-scheme', value: dark ? 'dark' : 'light'}]);
  await page.goto(pathToFileURL(file).href, {waitUntil: 'load'});
  return {page, seen};
}

async function picture(page, name, options = {}) {
  const shots = path.join(folder, 'screenshots');
  fs.mkdirSync(shots, {recursive: true});
  await page.screenshot({path: path.join(shots, `${name}.png`), ...options});
}

// Two frames later everything that was asked for is drawn.
const drawn = page => page.evaluate(
  () => new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done))));

module.exports = {root, folder, tarnhost, makeReport, launch, open, picture, drawn};
