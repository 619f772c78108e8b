'use strict';
(() => {
  const texts = JSON.parse(document.getElementById('texts').textContent);
  const say = key => texts[key] || key;
  const at = id => document.getElementById(id);
  const mostRows = 100;
  const language = document.documentElement.lang;
  const number = count => Number(count || 0).toLocaleString(language);

  // Whatever the filter says is put in as text alone. Characters that turn the direction or cannot be seen are shown.
  const clean = text => String(text ?? '').replace(/[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2066-\u2069\ufeff]/g,
    c => `\\u${c.charCodeAt(0).toString(16).padStart(4, '0')}`);
  const make = (tag, text, name) => {
    const element = document.createElement(tag);
    if (text !== undefined) element.textContent = clean(text);
    if (name) element.className = name;
    return element;
  };
  const word = verdict => make('span', say(`status.${verdict}`), `word ${verdict}`);
  const reason = (code, text) => say(`reason.${code}`) === `reason.${code}` ? text : say(`reason.${code}`);
  const place = entry => entry ? `${entry.text} (${entry.file}:${entry.line})` : '';

  function setConnection(state) {
    at('connection').textContent = say(`status.${state}`);
    at('connection').className = state;
  }

  function fillCounts(id, rows, cells) {
    const body = at(id).tBodies[0];
    body.replaceChildren(...rows.map(row => {
      const line = make('tr');
      const [name, count] = cells(row);
      line.append(make('td', name), make('td', number(count), 'number'));
      return line;
    }));
    if (!rows.length) {
      const cell = make('td', say('status.nothingBlocked'));
      cell.colSpan = 2;
      const line = make('tr');
      line.append(cell);
      body.append(line);
    }
  }

  function fillNotes(id, notes) {
    at(id).hidden = !notes.length;
    at(id).querySelector('ul').replaceChildren(...notes.map(
      note => make('li', `${note.file}:${note.line}${note.column ? `:${note.column}` : ''}: ${note.text}`)));
  }

  function fillPolicy(policy) {
    const lines = [];
    if (!policy.file) lines.push(say('status.policyNone'));
    else lines.push(`${say('status.policyUsed')} ${policy.file}.`);
    if (policy.kept) lines.push(say('status.policyKept').replace('{text}', () => policy.text));
    else if (policy.file && !policy.mistakes.length) lines.push(say('status.policyGood'));
    if (policy.at_restart) lines.push(say('status.policyAtRestart'));
    const text = clean(lines.join(' '));
    if (at('policy').textContent !== text) at('policy').textContent = text;
    at('policy').className = policy.kept ? 'strong' : '';
    fillNotes('mistakes', policy.mistakes);
    fillNotes('warnings', policy.warnings);
  }

  function fillState(state) {
    at('requests').textContent = number(state.blocked + state.allowed + state.none + state.refused);
    for (const id of ['blocked', 'allowed', 'none', 'refused', 'connections', 'unknown_clients', 'turned_away',
      'internal_errors'])
      at(id).textContent = number(state[id]);
    fillCounts('reasons', state.reasons.slice().sort((a, b) => b.count - a.count),
      row => [reason(row.reason, row.reason_text), row.count]);
    fillCounts('sites', state.sites, row => [row.host, row.count]);
    fillPolicy(state.policy);
  }

  // At most once in a second and a half, however much happens, and now and then when nothing does.
  let isAsking = false;
  let asksAgain = false;
  async function askState() {
    if (isAsking) { asksAgain = true; return; }
    isAsking = true;
    asksAgain = false;
    try {
      const answer = await fetch('/api/state');
      if (answer.ok) fillState(await answer.json());
    } catch { /* the stream says when the filter is gone */ }
    setTimeout(() => { isAsking = false; if (asksAgain) askState(); }, 1500);
  }
  setInterval(askState, 5000);

  function unexaminedAddress(event) {
    if (event.outer_name) return event.outer_name;
    const server = event.flow.server;
    return `${server.includes(':') ? `[${server}]` : server}:${event.flow.server_port}`;
  }

  // A path of HTTP that is none names the server once more, as CONNECT does; that of FTP is a whole command.
  function verdictAddress(event) {
    if (event.url) return event.url;
    const host = event.host || '';
    const path = event.path || '';
    if (event.protocol === 'ftp') return [host, path].filter(Boolean).join(' ');
    if (event.protocol !== 'http') return host + path;
    return path.startsWith('/') ? `http://${host}${path}` : host;
  }

  // Of what is refused without being blocked, too.
  function rowReason(event) {
    if (event.type === 'not_examined') return say(`status.unexamined.${event.what}`);
    if (event.verdict !== 'blocked' && event.passed === false) return event.why_refused;
    return event.reason === undefined ? event.why_not_whole : reason(event.reason, event.reason_text);
  }

  // The latest stand first. A pause keeps what comes meanwhile.
  let isPaused = false;
  let waiting = [];
  function showRow(event) {
    if (isPaused) {
      waiting.push(event);
      if (waiting.length > mostRows) waiting.shift();
      return;
    }
    const isUnexamined = event.type === 'not_examined';
    const isRefused = event.passed === false && event.verdict !== 'blocked';
    const verdictName = isUnexamined ? 'none' : event.verdict;
    const row = make('tr', undefined, isRefused ? 'blocked' : verdictName);
    const time = make('td', new Date(event.written).toLocaleTimeString(language));
    const verdict = make('td');
    verdict.append(isRefused ? make('span', say('status.refused'), 'word blocked') : word(verdictName));
    const address = isUnexamined ? unexaminedAddress(event) : verdictAddress(event);
    row.append(time, verdict, make('td', address || event.protocol), make('td', rowReason(event)),
      make('td', place(event.entry)));
    const body = at('live').tBodies[0];
    row.hidden = at('only').checked && row.className !== 'blocked';
    body.prepend(row);
    while (body.rows.length > mostRows) body.lastChild.remove();
    at('empty').hidden = true;
  }

  let skipped = 0;
  const stream = new EventSource('/api/events');
  stream.onopen = () => {
    setConnection('live');
    at('live').tBodies[0].replaceChildren();
    waiting = [];
    askState();
  };
  stream.onerror = () => setConnection('lost');
  stream.addEventListener('verdict', message => { showRow(JSON.parse(message.data)); askState(); });
  stream.addEventListener('not_examined', message => { showRow(JSON.parse(message.data)); askState(); });
  stream.addEventListener('policy', askState);
  stream.addEventListener('skipped', message => {
    skipped += Number(message.data);
    at('skipped').hidden = false;
    at('skipped').textContent = `${say('status.skipped')} ${number(skipped)}`;
  });

  at('pause').addEventListener('click', () => {
    isPaused = !isPaused;
    at('pause').setAttribute('aria-pressed', String(isPaused));
    at('pause').textContent = say(isPaused ? 'status.resume' : 'status.pause');
    if (isPaused) return;
    const kept = waiting;
    waiting = [];
    kept.forEach(showRow);
  });
  at('only').addEventListener('change', () => {
    for (const row of at('live').tBodies[0].rows) row.hidden = at('only').checked && row.className !== 'blocked';
  });

  function showExplanation(told) {
    const target = at('explanation');
    if (told.error) { target.replaceChildren(make('p', told.error, 'strong')); return; }
    const verdict = make('p', undefined, 'strong');
    verdict.append(word(told.verdict));
    if (told.reason !== undefined) verdict.append(make('span', `: ${reason(told.reason, told.reason_text)}`));
    const parts = [verdict];
    if (told.entry) parts.push(make('p', `${say('status.decided')} ${told.entry.list}: ${place(told.entry)}`));
    if (told.why) parts.push(make('p', told.why));
    if (told.remedy) {
      const key = told.remedy.write ? (told.remedy.to === 'allow' ? 'remedyAllow' : 'remedyBlock') : 'remedy';
      parts.push(make('p', `${say(`status.${key}`)} ${told.remedy.where}`));
      if (told.remedy.write) {
        const text = make('pre');
        text.textContent = told.remedy.write;
        text.tabIndex = 0;
        parts.push(text);
      }
    }
    const table = make('table');
    table.append(make('caption', say('status.steps'), 'note'));
    const head = table.createTHead().insertRow();
    for (const key of ['rule', 'found']) {
      const cell = make('th', say(`status.${key}`));
      cell.scope = 'col';
      head.append(cell);
    }
    const body = table.createTBody();
    for (const step of told.steps || []) {
      const row = body.insertRow();
      const found = [step.note, ...(step.entries || []).map(place)].filter(Boolean).join('; ');
      row.append(make('td', step.step), make('td', found || '–'));
      if (step.found === 'decided') row.className = 'strong';
    }
    target.replaceChildren(...parts, table);
  }

  at('judge').addEventListener('submit', async event => {
    event.preventDefault();
    const target = at('explanation');
    target.replaceChildren(make('p', say('status.judgeBusy'), 'note'));
    try {
      const answer = await fetch(`/api/explain?url=${encodeURIComponent(at('address').value.trim())}`);
      showExplanation(await answer.json());
    } catch {
      target.replaceChildren(make('p', say('status.judgeFailed'), 'strong'));
    }
  });
})();
