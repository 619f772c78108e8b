// Sites of the tests: one server on the loopback that answers for every name, with or without TLS.
'use strict';
const {execFileSync} = require('node:child_process');
const fs = require('node:fs');
const http = require('node:http');
const https = require('node:https');
const path = require('node:path');

const escaped = text => text.replace(/[&<>"]/g, c => `&#${c.charCodeAt(0)};`);

// /redirect?to=… leads on, /missing is not there; every other path is a page that says what was asked for.
function answer(seen, request, response) {
  const host = request.headers.host || '';
  seen.push(`${host}${request.url}`);
  const to = new URL(request.url, 'http://x/').searchParams.get('to');
  if (request.url.startsWith('/redirect') && to) {
    response.writeHead(302, {Location: to}).end();
    return;
  }
  response.writeHead(request.url === '/missing' ? 404 : 200, {'Content-Type': 'text/html; charset=utf-8'});
  response.end(`<!doctype html><title>Site</title><link rel="icon" href="data:,"><h1>${escaped(host)}</h1>` +
    `<p id="path">${escaped(request.url)}</p><a id="next" href="/next">next</a>`);
}

// folder: for the certificate, which is made for this run alone.
async function openSites(folder, {secure = true} = {}) {
  const seen = [];
  let server;
  if (secure) {
    const [key, certificate] = ['key.pem', 'certificate.pem'].map(name => path.join(folder, name));
    execFileSync('openssl', ['req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-days', '2', '-subj', '/CN=tests',
      '-keyout', key, '-out', certificate], {stdio: 'ignore'});
    server = https.createServer({key: fs.readFileSync(key), cert: fs.readFileSync(certificate)},
      (request, response) => answer(seen, request, response));
  } else {
    server = http.createServer((request, response) => answer(seen, request, response));
  }
  await new Promise((done, fail) => server.once('error', fail).listen(0, '127.0.0.1', done));
  return {
    port: server.address().port,
    seen,  // "host/path" of each request, in order
    close: () => new Promise(done => { server.close(done); server.closeAllConnections(); }),
  };
}

module.exports = {openSites};
