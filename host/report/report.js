// The table of events: filters, order, and only those rows in the page that are seen. Texts are set as texts, never as
// markup; nothing is fetched.
'use strict';
(() => {
  const byId = id => document.getElementById(id);
  const data = JSON.parse(byId('data').textContent);
  const texts = data.texts;                  // each text once; rows have its number, 0 stands for none
  const rowCount = data.columns.time.length;
  const at = {};                             // the columns: numbers of texts, or values where -1 stands for none
  for (const [name, values] of Object.entries(data.columns)) at[name] = Float64Array.from(values);

  const columns = [
    {key: 'time', title: 'Time', isNumber: true},
    {key: 'type', title: 'Type'},
    {key: 'verdict', title: 'Verdict'},
    {key: 'what', title: 'What'},
    {key: 'flow', title: 'From → to'},
    {key: 'reason', title: 'Reason'},
    {key: 'entry', title: 'Policy entry'},
    {key: 'capture', title: 'Capture'},
    {key: 'frame', title: 'Frame', isNumber: true},
    {key: 'latency', title: 'Latency', isNumber: true},
  ];
  const searched = ['type', 'verdict', 'what', 'flow', 'reason', 'entry', 'capture', 'more'];
  const choices = ['type', 'verdict', 'reason', 'entry', 'capture'];
  const mostChoices = 500;
  const mostPrinted = 200;
  const spare = 8;                           // rows above and below those that are seen
  const number = value => value.toLocaleString('en');

  const timeText = micros => {
    if (micros < 0) return '';
    const text = new Date(Math.floor(micros / 1000)).toISOString();
    return `${text.slice(0, 10)} ${text.slice(11, 23)}`;
  };
  // In the table a time has what differs: the rows stand in the order of time at first.
  const known = at.time.filter(micros => micros >= 0);
  const [firstTime, lastTime] = [timeText(known[0] ?? -1), timeText(known.at(-1) ?? -1)];
  const sameUpTo = end => firstTime.slice(0, end) === lastTime.slice(0, end);
  const timeBegin = sameUpTo(10) ? 11 : sameUpTo(4) ? 5 : 0;
  const latencyText = nanos => {
    if (nanos < 0) return '';
    if (nanos < 1e3) return `${nanos} ns`;
    if (nanos < 1e6) return `${(nanos / 1e3).toPrecision(3)} µs`;
    if (nanos < 1e9) return `${(nanos / 1e6).toPrecision(3)} ms`;
    return `${(nanos / 1e9).toPrecision(3)} s`;
  };
  const shown = (key, row, isInFull = false) => {
    const value = at[key][row];
    if (key === 'time') return timeText(value).slice(isInFull ? 0 : timeBegin);
    if (key === 'latency') return latencyText(value);
    if (key === 'frame') return value < 0 ? '' : String(value);
    return texts[value];
  };

  // Order: a permutation of all rows for the column that sorts, so that a filter only walks along it.
  let sorting = {key: 'time', descending: false};
  let ranks = null;
  const rankOf = () => {
    if (ranks) return ranks;
    const order = Uint32Array.from(texts.keys());
    order.sort((a, b) => (texts[a] < texts[b] ? -1 : texts[a] > texts[b] ? 1 : 0));
    ranks = new Float64Array(texts.length);
    order.forEach((text, rank) => { ranks[text] = rank; });
    return ranks;
  };
  let permutation = Uint32Array.from({length: rowCount}, (_, i) => i);
  const sortRows = () => {
    const column = columns.find(one => one.key === sorting.key);
    const values = at[column.key];
    const keys = column.isNumber ? values : values.map(value => rankOf()[value]);
    permutation = Uint32Array.from({length: rowCount}, (_, i) => i);
    if (sorting.descending) permutation.sort((a, b) => keys[b] - keys[a] || a - b);
    else permutation.sort((a, b) => keys[a] - keys[b] || a - b);
  };

  // Filters: every word has to stand in one of the row's texts; each text is looked at once.
  const searchedColumns = searched.map(key => at[key]);
  let lower = null;
  const textsWith = word => {
    lower ??= texts.map(text => text.toLowerCase());
    const found = new Uint8Array(texts.length);
    for (let i = 0; i < found.length; ++i) if (lower[i].includes(word)) found[i] = 1;
    return found;
  };
  const hasWord = (found, row) => {
    for (const column of searchedColumns) if (found[column[row]] === 1) return true;
    return false;
  };
  let matching = permutation;
  let current = -1;                          // place in matching
  const filterRows = () => {
    const words = byId('find').value.toLowerCase().split(/\s+/).filter(Boolean).map(textsWith);
    const wanted = choices.map(key => [at[key], byId(key).value]).filter(([, value]) => value !== '');
    const isWanted = ([values, value], row) => (value === 'any' ? values[row] !== 0 : values[row] === Number(value));
    const found = new Uint32Array(rowCount);
    let count = 0;
    next: for (const row of permutation) {
      for (const one of wanted) if (!isWanted(one, row)) continue next;
      for (const word of words) if (!hasWord(word, row)) continue next;
      found[count++] = row;
    }
    matching = found.subarray(0, count);
    current = -1;
    byId('count').textContent = count === rowCount ? `${number(count)} rows`
      : `${number(count)} of ${number(rowCount)} rows`;
  };

  // Drawing.
  const scroller = byId('scroller');
  const table = byId('table');
  const body = table.tBodies[0];
  const isNarrow = matchMedia('(max-width: 640px)');
  const rowHeight = () => (isNarrow.matches ? 78 : 32);
  const headHeight = () => table.tHead.offsetHeight;
  const spaceRow = () => {
    const row = document.createElement('tr');
    row.className = 'space';
    row.setAttribute('role', 'presentation');
    const cell = document.createElement('td');
    cell.colSpan = columns.length;
    row.append(cell);
    return row;
  };
  const above = spaceRow();
  const below = spaceRow();
  const pool = [];
  const pooled = index => {
    if (pool[index]) return pool[index];
    const row = document.createElement('tr');
    row.setAttribute('role', 'row');
    for (const column of columns) {
      const cell = document.createElement('td');
      cell.setAttribute('role', 'gridcell');
      cell.className = `c-${column.key}`;
      row.append(cell);
    }
    pool[index] = row;
    return row;
  };
  const fill = (element, place) => {
    const row = matching[place];
    element.className = `row${place % 2 ? ' odd' : ''}${place === current ? ' current' : ''}`;
    element.id = `row-${place}`;
    element.dataset.place = place;
    element.setAttribute('aria-rowindex', place + 2);
    element.setAttribute('aria-selected', place === current);
    columns.forEach((column, i) => {
      const cell = element.cells[i];
      const text = shown(column.key, row);
      if (cell.textContent !== text) cell.textContent = text;
      if (column.key === 'verdict') cell.className = `c-verdict is-${text}`;
    });
  };
  let isPrinting = false;
  const draw = () => {
    const height = rowHeight();
    let first = Math.max(0, Math.floor(scroller.scrollTop / height) - spare);
    let last = Math.min(matching.length, first + Math.ceil(scroller.clientHeight / height) + 2 * spare);
    if (isPrinting) [first, last] = [0, Math.min(matching.length, mostPrinted)];
    first = Math.min(first, last);
    const rows = [];
    for (let place = first; place < last; ++place) {
      const element = pooled(place - first);
      fill(element, place);
      rows.push(element);
    }
    above.cells[0].style.height = `${isPrinting ? 0 : first * height}px`;
    below.cells[0].style.height = `${isPrinting ? 0 : (matching.length - last) * height}px`;
    const wanted = [above, ...rows, below];
    if (body.children.length !== wanted.length) body.replaceChildren(...wanted);
    table.setAttribute('aria-rowcount', matching.length + 1);
    if (current >= first && current < last) table.setAttribute('aria-activedescendant', `row-${current}`);
    else table.removeAttribute('aria-activedescendant');
  };
  let isAsked = false;
  const drawSoon = () => {
    if (isAsked) return;
    isAsked = true;
    requestAnimationFrame(() => { isAsked = false; draw(); });
  };
  const refresh = () => {
    filterRows();
    scroller.scrollTop = 0;
    draw();
  };

  // The head, the choices and what they do.
  const setSorting = (key, descending) => {
    sorting = {key, descending};
    sortRows();
    showSorting();
    refresh();
  };
  const heads = columns.map(column => {
    const head = document.createElement('th');
    head.scope = 'col';
    head.setAttribute('role', 'columnheader');
    head.className = `c-${column.key}`;
    const button = document.createElement('button');
    button.type = 'button';
    button.addEventListener('click', () => setSorting(column.key, sorting.key === column.key && !sorting.descending));
    head.append(button);
    table.tHead.rows[0].append(head);
    return {column, head, button};
  });
  const showSorting = () => {
    for (const {column, head, button} of heads) {
      const isIt = column.key === sorting.key;
      head.setAttribute('aria-sort', !isIt ? 'none' : sorting.descending ? 'descending' : 'ascending');
      button.textContent = column.title + (!isIt ? '' : sorting.descending ? ' ▼' : ' ▲');
    }
    byId('sort').value = `${sorting.key} ${sorting.descending}`;
  };
  const addOption = (select, value, text) => {
    const option = document.createElement('option');
    option.value = value;
    option.textContent = text;
    select.append(option);
  };
  for (const column of columns)
    for (const descending of [false, true])
      addOption(byId('sort'), `${column.key} ${descending}`, `${column.title} ${descending ? '▼' : '▲'}`);
  byId('sort').addEventListener('change', event => {
    const [key, descending] = event.target.value.split(' ');
    setSorting(key, descending === 'true');
  });
  for (const key of choices) {
    const counts = new Map();
    for (const value of at[key]) if (value !== 0) counts.set(value, (counts.get(value) ?? 0) + 1);
    const select = byId(key);
    addOption(select, '', 'all');
    if (key === 'entry') addOption(select, 'any', `with an entry`);
    const most = [...counts].sort((a, b) => b[1] - a[1] || a[0] - b[0]).slice(0, mostChoices);
    for (const [value, count] of most) addOption(select, value, `${texts[value].slice(0, 80)} (${number(count)})`);
    if (counts.size > mostChoices) addOption(select, 'any', `the ${mostChoices} most frequent are listed; use Find`);
    select.addEventListener('change', refresh);
  }
  byId('find').addEventListener('input', refresh);
  byId('filters').addEventListener('submit', event => event.preventDefault());
  const clear = () => {
    byId('find').value = '';
    for (const key of choices) byId(key).value = '';
  };
  byId('clear').addEventListener('click', () => { clear(); refresh(); byId('find').focus(); });
  for (const cell of document.querySelectorAll('[data-find]')) {
    const button = document.createElement('button');
    button.type = 'button';
    button.className = 'find';
    button.title = 'Show its events';
    button.textContent = cell.textContent;
    button.addEventListener('click', () => {
      clear();
      byId('find').value = cell.dataset.find;
      refresh();
      byId('rows').scrollIntoView();
      byId('find').focus({preventScroll: true});
    });
    (cell.querySelector('span') ?? cell).replaceChildren(button);
  }

  // One row in full.
  const details = byId('details');
  const open = place => {
    const row = matching[place];
    const list = details.querySelector('dl');
    list.replaceChildren();
    for (const {key, title} of [...columns, {key: 'more', title: 'More'}]) {
      const text = shown(key, row, true);
      if (!text) continue;
      const name = document.createElement('dt');
      name.textContent = title;
      const value = document.createElement('dd');
      value.textContent = text;
      list.append(name, value);
    }
    details.showModal();
  };
  const moveTo = place => {
    if (matching.length === 0) return;
    current = Math.max(0, Math.min(matching.length - 1, place));
    const height = rowHeight();
    const top = current * height;
    const room = scroller.clientHeight - headHeight();
    if (top < scroller.scrollTop) scroller.scrollTop = top;
    if (top + height > scroller.scrollTop + room) scroller.scrollTop = top + height - room;
    draw();
  };
  const pageRows = () => Math.max(1, Math.floor(scroller.clientHeight / rowHeight()) - 2);
  const moves = {
    ArrowDown: () => current + 1,
    ArrowUp: () => current - 1,
    PageDown: () => Math.max(0, current) + pageRows(),
    PageUp: () => current - pageRows(),
    Home: () => 0,
    End: () => matching.length - 1,
  };
  table.addEventListener('keydown', event => {
    if (event.target !== table || event.altKey || event.ctrlKey || event.metaKey) return;
    if (moves[event.key]) moveTo(moves[event.key]());
    else if (event.key === 'Enter' && current >= 0) open(current);
    else return;
    event.preventDefault();
  });
  body.addEventListener('click', event => {
    const element = event.target.closest('.row');
    if (!element || String(getSelection())) return;
    current = Number(element.dataset.place);
    draw();
    open(current);
  });
  scroller.addEventListener('scroll', drawSoon, {passive: true});
  new ResizeObserver(drawSoon).observe(scroller);

  // Paper takes the first rows in full.
  const print = isIt => {
    isPrinting = isIt;
    byId('printed').textContent = matching.length > mostPrinted
      ? `Printed are the first ${mostPrinted} of ${number(matching.length)} rows.` : '';
    draw();
  };
  addEventListener('beforeprint', () => print(true));
  addEventListener('afterprint', () => print(false));
  matchMedia('print').addEventListener('change', event => print(event.matches));

  if (rowCount === 0) return;
  table.classList.toggle('with-day', timeBegin === 5);
  table.classList.toggle('with-year', timeBegin === 0);
  for (const id of ['filters', 'scroller', 'keys']) byId(id).hidden = false;
  showSorting();
  refresh();
})();
