// Events as tarnhost prints them, made up: many, and hostile ones.
'use strict';

const begin = Date.parse('2026-03-07T08:00:00Z');
const iso = millis => new Date(millis).toISOString().replace('Z', '000Z');

const base = (type, i) => ({type, version: 1, written: iso(begin + 7200000 + i)});
const flow = (i, port = 443) => ({transport: 'tcp', client: `192.168.1.${20 + i % 9}`, client_port: 40000 + i % 20000,
  server: `198.51.100.${1 + i % 200}`, server_port: port});

// One request of many: every fiftieth is blocked, and each has its number in its path.
function request(i) {
  const isBlocked = i % 50 === 0;
  const event = {...base('verdict', i), time: iso(begin + i * 350 + (i % 7) * 20000), 
    capture: `day-${1 + i % 4}.pcapng`, frame: i + 1, flow: flow(i), 
    verdict: isBlocked ? 'blocked' : i % 33 === 0 ? 'none' : 'allowed', judged: 'whole', protocol: i % 3 ? 'tls' : 'http', host: `www${i % 700}.shop.example`, path: `/item/${i}`, reason: isBlocked ? 4 : 0,
    reason_text: isBlocked ? 'malicious site' : 'no rule decided', rule_text: '', latency_ns: 800 + (i * 7919) % 40000};
  if (isBlocked)
    event.entry = {list: 'malicious_sites', text: event.host, file: 'tarn-policy.toml', line: 20 + i % 14};
  return event;
}

function many(count) {
  const events = [];
  for (let i = 0; i < count; ++i) events.push(request(i));
  for (let i = 0; i < 40; ++i)
    events.push({...base('attack', i), time: iso(begin + i * 900000 % 30000000), capture: 'day-1.pcapng', frame: 7 + i,
      flow: flow(i, 445), verdict: i % 5 ? 'blocked' : 'allowed', direction: 'inbound', reason: 12,
      reason_text: 'attack on a service', rule: 3, rule_name: 'Overlong name in SMB', description: 'An overlong name.',
      details: 'at byte 90', alert: 1, latency_ns: 2500 + i * 100});
  for (let i = 0; i < 12; ++i)
    events.push({...base('file', i), time: iso(begin + i * 1000000), capture: 'day-2.pcapng', frame: 90 + i,
      flow: flow(i, 445), share: '\\\\files\\team', file: `plans\\draft ${i % 5}.docx`,
      action: i % 2 ? 'created' : 'replaced',
      latency_ns: 1200 + i});
  for (const what of ['quic', 'ech', 'smb_encrypted', 'other_datagram'])
    events.push({...base('not_examined', 1), time: iso(begin + 5000), capture: 'day-3.pcapng', frame: 5, what,
      flow: flow(3), ...(what === 'ech' ? {outer_name: 'cover.example'} : {})});
  events.push({...base('stats', 9), requests: count, captures: 4, frames: count * 12, bytes: count * 9000,
    not_examined: {quic: 812, ech: 4, smb_encrypted: 37, other_datagram: 96},
    latency_ns: {url: {calls: count, p50: 900, p90: 3100, p99: 39000, max: 41000},
      packet: {calls: count * 12, p50: 210, p90: 480, p99: 2900, max: 880000}}});
  return events;
}

// Each text tries to be something else: markup, the end of the data, another direction of writing, control characters.
const evil = ['</script><script>window.pwned=1</script>', '<img src=x onerror="window.pwned=1">', 
  '"><svg onload=pwned=1>', "';window.pwned=1;//", '{{script}}', '<!--', '&lt;b&gt;', '\u202Egnp.exe',
  'a\u0000b\u0007c\u001B[2J',
  '=cmd|x', '__proto__', '\u2028next line', 'x'.repeat(5000)];

function hostile() {
  return evil.flatMap((text, i) => [
    {...request(i * 50), host: text, path: text, reason_text: text, rule_text: text, user: text, capture: text,
      protocol: text, entry: {list: text, text, file: text, line: 3}},
    {...base('attack', i), time: text, capture: text, frame: 1, verdict: text, direction: text, reason_text: text,
      rule: 1, rule_name: text, description: text, details: text, flow: {client: text, server: text, server_port: -1}},
    {...base('file', i), share: text, file: text, action: text, capture: text, frame: 3},
    {...base('not_examined', i), what: text, outer_name: text},
    {...base('error', i), text, input: text},
    {...base('policy', i), event: text, file: text, text},
    {...base('logon', i), account: text, event: text, verdict: text, reason_text: text},
    {...base('stats', i), not_examined: {[text]: 3}, latency_ns: {[text]: {calls: 1}}},
  ]);
}

module.exports = {many, hostile, request, evil};
