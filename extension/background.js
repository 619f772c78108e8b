// Asks the filter about every page that a tab opens, and puts the block page in the place of a blocked one.
// The filter is a program that the browser starts (tarnhost messaging); what it answers alone decides.
'use strict';

const hostName = 'tarn.messaging';
const answerTime = 5000;    // milliseconds; then the page stays, and the icon turns grey
const rememberTime = 2000;  // for which an answer counts: one page is reported more than once
const mostRemembered = 50;

let port = null;
let nextId = 1;
const pending = new Map();   // id -> what takes the answer
const remembered = new Map();  // address -> {answer, time}
const newest = new Map();    // tab -> the address that it opens

const isWeb = url => /^https?:\/\//i.test(url);

function setIcon(state, why = '') {
  const path = Object.fromEntries([16, 32, 48].map(size => [size, `icons/${state}-${size}.png`]));
  chrome.action.setIcon({path});
  chrome.action.setTitle({title: chrome.i18n.getMessage(state, [why])});
}

// Everybody who waits gets nothing, and the next page tries anew.
function lose(lost, why) {
  if (port !== lost) return;
  port = null;
  setIcon('off', why);
  for (const take of pending.values()) take(null);
  pending.clear();
  remembered.clear();
}

function take(message) {
  const waiting = pending.get(message.id);
  pending.delete(message.id);
  if (message.error) console.warn(`The filter says: ${message.error}`);
  if (waiting) waiting(message);
}

function connect() {
  if (port) return port;
  const opened = chrome.runtime.connectNative(hostName);
  let told = '';  // why it ends, in its own words
  opened.onMessage.addListener(message => {
    if (message.error && message.id === undefined) told = message.error;
    take(message);
  });
  opened.onDisconnect.addListener(() => lose(opened, told || chrome.runtime.lastError?.message || ''));
  port = opened;
  return port;
}

// The answer, or null when there is none in time.
function send(message) {
  return new Promise(done => {
    const id = nextId++;
    const timer = setTimeout(() => {
      pending.delete(id);
      setIcon('off');
      done(null);
    }, answerTime);
    pending.set(id, answer => {
      clearTimeout(timer);
      if (answer) setIcon('on');
      done(answer);
    });
    try {
      connect().postMessage({...message, id});
    } catch (mistake) {
      lose(port, String(mistake));  // it has ended, and its end is not told yet
    }
  });
}

async function languages() {
  const names = await chrome.i18n.getAcceptLanguages();
  return names.slice(0, 9).map((name, i) => (i ? `${name};q=${(1 - i / 10).toFixed(1)}` : name)).join(',');
}

async function ask(url) {
  return send({type: 'judge', url, languages: await languages()});
}

function askOnce(url) {
  const now = Date.now();
  const known = remembered.get(url);
  if (known && now - known.time < rememberTime) return known.answer;
  remembered.delete(url);
  if (remembered.size >= mostRemembered) remembered.delete(remembered.keys().next().value);
  const answer = ask(url);
  remembered.set(url, {answer, time: now});
  return answer;
}

async function judge(tab, url) {
  newest.set(tab, url);
  if (!isWeb(url)) return;
  const answer = await askOnce(url);
  // A tab that went on meanwhile shows another page, which is judged itself.
  if (answer?.verdict !== 'blocked' || newest.get(tab) !== url) return;
  try {
    await chrome.tabs.update(tab, {url: chrome.runtime.getURL(`blocked.html?url=${encodeURIComponent(url)}`)});
  } catch (mistake) {
    console.warn(String(mistake));  // the tab is gone
  }
}

// As early as possible; a page that is only prepared is not shown yet.
chrome.webNavigation.onBeforeNavigate.addListener(details => {
  if (details.frameId === 0 && details.documentLifecycle !== 'prerender') judge(details.tabId, details.url);
});
// Where a redirect led, what a script made of the address, and a prepared page that is shown now.
chrome.tabs.onUpdated.addListener((tab, change) => { if (change.url) judge(tab, change.url); });
chrome.tabs.onRemoved.addListener(tab => newest.delete(tab));

// The block page asks for itself, and again when it is loaded again.
chrome.runtime.onMessage.addListener((message, sender, respond) => {
  if (sender.id !== chrome.runtime.id || message?.type !== 'page' || !isWeb(message.url)) return false;
  remembered.delete(message.url);
  ask(message.url).then(respond);
  return true;
});

send({type: 'hello'});
chrome.runtime.onStartup.addListener(() => {});  // a browser that starts starts this, too
