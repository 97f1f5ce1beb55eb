// ZENFIT browser host: the page. It drives the session's engine through the
// JSON API one command line at a time and shows the typed results (model,
// last fit, run, observations) and the plots the engine draws.
'use strict';

const $ = (selector, root = document) => root.querySelector(selector);
const $$ = (selector, root = document) => Array.from(root.querySelectorAll(selector));

function element(tag, props = {}, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(props)) {
    if (value === undefined || value === null || value === false) continue;
    if (key === 'class') node.className = value;
    else if (key === 'text') node.textContent = value;
    else if (key.startsWith('on')) node.addEventListener(key.slice(2), value);
    else if (key in node && key !== 'list') node[key] = value;
    else node.setAttribute(key, value === true ? '' : value);
  }
  for (const child of children) {
    if (child === null || child === undefined || child === false) continue;
    node.append(child instanceof Node ? child : String(child));
  }
  return node;
}

// ---- Numbers as an astronomer reads them.

const MINUS = '\u2212';
function signed(value, digits) {
  if (value === null || value === undefined || !Number.isFinite(value)) return '';
  const text = Math.abs(value).toFixed(digits);
  if (Number(text) === 0) return ' ' + text;
  return (value < 0 ? MINUS : '+') + text;
}
function fixed(value, digits) {
  if (value === null || value === undefined || !Number.isFinite(value)) return '';
  return value.toFixed(digits).replace('-', MINUS);
}
// Sexagesimal: sign, units, minutes and seconds with `decimals` figures.
function sexagesimal(value, decimals, width) {
  if (!Number.isFinite(value)) return '';
  const sign = value < 0 ? MINUS : '+';
  const scale = Math.pow(10, decimals);
  let total = Math.round(Math.abs(value) * 3600 * scale);
  const units = Math.floor(total / (3600 * scale));
  total -= units * 3600 * scale;
  const minutes = Math.floor(total / (60 * scale));
  total -= minutes * 60 * scale;
  const seconds = (total / scale).toFixed(decimals).padStart(decimals ? 3 + decimals : 2, '0');
  return `${sign}${String(units).padStart(width, '0')} ${String(minutes).padStart(2, '0')} ${seconds}`;
}
function bytes(size) {
  if (size < 1024) return `${size} B`;
  if (size < 1024 * 1024) return `${(size / 1024).toFixed(1)} KiB`;
  return `${(size / 1048576).toFixed(1)} MiB`;
}

// ---- The API.

class ApiError extends Error {
  constructor(status, body) {
    super(body && body.error ? body.error : `HTTP ${status}`);
    this.status = status;
    this.reason = body && body.reason;
    this.body = body;
  }
}

async function request(method, path, body, contentType) {
  const options = { method, headers: {}, credentials: 'same-origin' };
  if (body !== undefined) {
    options.body = body;
    if (contentType) options.headers['Content-Type'] = contentType;
  }
  const response = await fetch(path, options);
  const type = response.headers.get('Content-Type') || '';
  const payload = type.startsWith('application/json') ? await response.json() : await response.text();
  if (!response.ok) throw new ApiError(response.status, typeof payload === 'object' ? payload : null);
  return payload;
}

// Every call goes through here: a session that has ended is replaced once.
async function api(method, path, body, contentType) {
  try {
    return await request(method, path, body, contentType);
  } catch (error) {
    if (error instanceof ApiError && error.reason === 'no-session') {
      await startSession(true);
      return await request(method, path, body, contentType);
    }
    throw error;
  }
}

// ---- Page state.

const page = {
  state: null,
  vocabulary: { commands: [], terms: [], plots: [] },
  history: JSON.parse(sessionStorage.getItem('zenfit-history') || '[]'),
  historyIndex: -1,
  selected: new Set(),
  sort: { key: 'n', ascending: true },
  plot: 'residuals',
  plots: {},          // plot name -> {svg, marks} for the data version drawn
  dataVersion: '',
  knownFiles: null,
  queue: Promise.resolve(),
  idleMinutes: 60,
};

function notice(text, kind) {
  const box = $('#notice');
  notice.fromCommand = false;
  if (!text) { box.hidden = true; return; }
  box.textContent = text;
  box.className = 'notice' + (kind === 'error' ? ' error' : '');
  box.hidden = false;
  clearTimeout(notice.timer);
  notice.timer = setTimeout(() => { box.hidden = true; }, 9000);
}

async function startSession(expired) {
  const created = await request('POST', '/api/session');
  page.idleMinutes = created.idleMinutes || page.idleMinutes;
  addTranscript(created.text, true, 'startup');
  if (expired) {
    notice('Your session had ended (idle too long), and its files went with it: a new session was started.', 'error');
  }
  page.plots = {};
  page.dataVersion = '';
}

// ---- The console.

function addTranscript(text, ok, extra) {
  const transcript = $('#transcript');
  const entry = element('div', { class: `entry${ok ? '' : ' failed'}${extra ? ' ' + extra : ''}` });
  const lines = (text || '').replace(/\n$/, '').split('\n');
  if (lines.length && lines[0].startsWith('* ')) {
    entry.append(element('span', { class: 'echo', text: lines.shift() }), '\n');
  }
  entry.append(lines.join('\n'));
  transcript.append(entry);
  while (transcript.children.length > 400) transcript.firstChild.remove();
  transcript.scrollTop = transcript.scrollHeight;
}

function commandWord(line) {
  return (line.trim().split(/[\s,]+/)[0] || '').toUpperCase();
}

// Runs one command line in order after any already sent; resolves to
// {ok, text}.
function run(line, options = {}) {
  const job = page.queue.then(async () => {
    let outcome;
    try {
      outcome = await api('POST', '/api/command', JSON.stringify({ line }), 'application/json');
    } catch (error) {
      addTranscript(`* ${line}\n${error.message}`, false);
      notice(error.message, 'error');
      return { ok: false, text: error.message };
    }
    if (options.echo !== false || !outcome.ok) addTranscript(outcome.text || `* ${line}`, outcome.ok);
    if (outcome.ok && notice.fromCommand) notice(null);
    if (!outcome.ok && options.quiet !== true) {
      const reason = outcome.text.split('\n').slice(1).filter((l) => l && l !== '?' && l !== '!').join(' ');
      notice(`${commandWord(line)} failed${reason ? ': ' + reason : ''}`, 'error');
      notice.fromCommand = true;
    }
    await refresh(commandWord(line));
    return outcome;
  });
  page.queue = job.catch(() => {});
  return job;
}

function remember(line) {
  if (line && page.history[page.history.length - 1] !== line) page.history.push(line);
  page.history = page.history.slice(-200);
  sessionStorage.setItem('zenfit-history', JSON.stringify(page.history));
  page.historyIndex = -1;
}

function completeWord(input) {
  const value = input.value;
  const words = value.split(/(\s+)/);
  const last = words[words.length - 1].toUpperCase();
  if (!last) return;
  const first = words.length === 1;
  const pool = first
    ? page.vocabulary.commands.concat(['END', 'QUIT'])
    : page.vocabulary.terms.concat((page.state ? page.state.model : []).map((t) => t.name));
  const matches = [...new Set(pool.filter((w) => w.startsWith(last)))];
  if (matches.length === 0) return;
  let common = matches[0];
  for (const match of matches) {
    while (!match.startsWith(common)) common = common.slice(0, -1);
  }
  words[words.length - 1] = matches.length === 1 ? matches[0] + ' ' : common;
  input.value = words.join('');
  if (matches.length > 1) notice(matches.slice(0, 40).join('  '));
}

function setupConsole() {
  const input = $('#command');
  $('#prompt').addEventListener('submit', (event) => {
    event.preventDefault();
    const line = input.value;
    if (!line.trim()) return;
    remember(line);
    input.value = '';
    run(line);
  });
  input.addEventListener('keydown', (event) => {
    if (event.key === 'ArrowUp' || event.key === 'ArrowDown') {
      if (page.history.length === 0) return;
      event.preventDefault();
      if (event.key === 'ArrowUp') {
        page.historyIndex = page.historyIndex < 0 ? page.history.length - 1 : Math.max(0, page.historyIndex - 1);
      } else if (page.historyIndex >= 0) {
        page.historyIndex += 1;
        if (page.historyIndex >= page.history.length) page.historyIndex = -1;
      }
      input.value = page.historyIndex < 0 ? '' : page.history[page.historyIndex];
      input.setSelectionRange(input.value.length, input.value.length);
    } else if (event.key === 'Tab' && input.value.trim()) {
      event.preventDefault();
      completeWord(input);
    }
  });
}

// ---- State: everything shown is drawn again from the typed results.

async function refresh(word) {
  let state;
  try {
    state = await api('GET', '/api/state');
  } catch (error) {
    notice(error.message, 'error');
    return;
  }
  page.state = state;
  renderHeader(state);
  renderModel(state);
  renderFit(state);
  renderRun(state);
  renderObservations(state);
  await refreshFiles();
  const version = dataVersion(state);
  const plotWord = page.vocabulary.plots.includes(word);
  if (plotWord) {
    await showLastPlot(word);
  } else if (version !== page.dataVersion) {
    page.dataVersion = version;
    page.plots = {};
    await drawPlots(word === 'FIT' || word === 'CALL');
  }
}

// What the plots depend on: each observation's use and residuals, and the fit.
function dataVersion(state) {
  const rows = state.observations.rows;
  let hash = rows.length;
  for (const row of rows) {
    hash = (hash * 31 + (row.active ? 1 : 2) + Math.round((row.dR || 0) * 1000)) % 1000000007;
  }
  const fit = state.fit ? `${state.fit.stars}/${state.fit.skyRms}` : '';
  return `${rows.length}:${hash}:${fit}:${state.settings.adjust}`;
}

function renderHeader(state) {
  $('#caption').textContent = state.caption;
  const headline = $('#headline');
  headline.replaceChildren();
  const obs = state.observations;
  if (state.fit) {
    headline.append('Sky RMS ', element('b', { text: `${fixed(state.fit.skyRms, 2)}″` }), '  ');
  }
  headline.append(`${obs.active}/${obs.count} stars · ${state.model.length} terms`);
}

function renderModel(state) {
  const body = $('#model tbody');
  body.replaceChildren();
  const names = new Set(state.model.map((t) => t.name));
  for (const name of [...page.selected]) if (!names.has(name)) page.selected.delete(name);
  state.model.forEach((term, index) => {
    const selected = page.selected.has(term.name);
    const box = element('input', { type: 'checkbox', checked: selected, 'aria-label': `Select ${term.name}` });
    const value = element('td', { class: 'num value', title: 'Click to set the value (arcseconds)', text: signed(term.value, 2) });
    const row = element('tr', { class: selected ? 'selected' : '', 'data-term': term.name },
      element('td', {}, box),
      element('td', { class: 'num', text: index + 1 }),
      element('td', { class: 'name', text: (term.chained || index === 0 ? '' : '& ') + term.name }),
      value,
      element('td', { class: 'num', text: term.sigma === null ? '' : fixed(term.sigma, 3) }),
      element('td', {}, element('span', { class: `tag ${term.floating ? 'float' : 'fixed'}`, text: term.floating ? 'floating' : 'fixed' })),
      element('td', {}, element('span', { class: `tag ${term.chained ? '' : 'par'}`, text: term.chained ? 'chained' : 'parallel' })));
    row.addEventListener('click', (event) => {
      if (event.target.closest('td.value')) return editValue(value, term);
      if (event.target !== box) box.checked = !box.checked;
      if (box.checked) page.selected.add(term.name); else page.selected.delete(term.name);
      row.classList.toggle('selected', box.checked);
      updateModelButtons();
    });
    body.append(row);
  });
  if (state.model.length === 0) {
    body.append(element('tr', {}, element('td', { colspan: 7, class: 'empty', text: 'The model is empty: add terms above (e.g. IH ID CH NP ME MA TF).' })));
  }
  $('#model-count').textContent = state.model.length ? `${state.model.length} terms, ${state.model.filter((t) => t.floating).length} floating` : '';
  updateModelButtons();
}

function updateModelButtons() {
  const any = page.selected.size > 0;
  for (const button of $$('#model-panel button[data-verb]')) button.disabled = !any;
  const all = page.state && page.state.model.length > 0 && page.selected.size === page.state.model.length;
  $('#select-all').checked = all;
}

function editValue(cell, term) {
  if (cell.querySelector('input')) return;
  const input = element('input', { type: 'text', value: fixed(term.value, 2).replace(MINUS, '-'), 'aria-label': `Value of ${term.name}` });
  cell.replaceChildren(input);
  input.focus();
  input.select();
  let done = false;
  const finish = (commit) => {
    if (done) return;
    done = true;
    const text = input.value.trim();
    if (commit && text !== '' && Number.isFinite(Number(text))) run(`${term.name} ${text}`);
    else cell.textContent = signed(term.value, 2);
  };
  input.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') finish(true);
    if (event.key === 'Escape') finish(false);
    event.stopPropagation();
  });
  input.addEventListener('blur', () => finish(false));
}

function setupModel() {
  $('#add').addEventListener('click', addTerms);
  $('#add-terms').addEventListener('keydown', (event) => {
    if (event.key === 'Enter') { event.preventDefault(); addTerms(); }
  });
  for (const button of $$('#model-panel button[data-verb]')) {
    button.addEventListener('click', () => {
      if (page.selected.size === 0) return;
      const names = [...page.selected];
      if (button.dataset.verb === 'LOSE') page.selected.clear();
      run(`${button.dataset.verb} ${names.join(' ')}`);
    });
  }
  $('#select-all').addEventListener('change', (event) => {
    page.selected = new Set(event.target.checked && page.state ? page.state.model.map((t) => t.name) : []);
    renderModel(page.state);
  });
  $('#fit').addEventListener('click', () => run('FIT'));
  $('#reset').addEventListener('click', () => run('RESET'));
}

function addTerms() {
  const input = $('#add-terms');
  const names = input.value.toUpperCase().split(/[\s,]+/).filter(Boolean);
  if (names.length === 0) return;
  input.value = '';
  run(`USE ${names.join(' ')}`);
}

// Blue for -1, white for 0, red for +1.
function correlationColour(r) {
  const t = Math.max(-1, Math.min(1, r));
  const end = t < 0 ? [44, 95, 184] : [192, 57, 43];
  const a = Math.abs(t);
  const mix = (c) => Math.round(255 + (c - 255) * a);
  return `rgb(${mix(end[0])}, ${mix(end[1])}, ${mix(end[2])})`;
}

function stat(label, value, unit, title) {
  return element('div', { class: 'stat', title },
    element('div', { class: 'k', text: label }),
    element('div', { class: 'v' }, value, unit ? element('small', { text: unit }) : null));
}

// A bar for |value|/sigma on a logarithmic scale (1000 sigma fills it). Its
// width is set through the CSSOM, which the page's policy allows.
function significance(ratio, width) {
  const bar = element('span');
  bar.style.width = `${width}%`;
  return element('div', { class: 'significance', title: `|value| = ${fixed(ratio, 1)} σ` },
    element('span', { class: 'ratio', text: ratio >= 100 ? fixed(ratio, 0) : fixed(ratio, 1) }),
    element('div', { class: `sig${ratio < 2 ? ' weak' : ''}` }, bar));
}

function renderFit(state) {
  const fit = state.fit;
  const stats = $('#fit-stats');
  const table = $('#coefficients');
  const warnings = $('#fit-warnings');
  const heat = $('#correlations');
  stats.replaceChildren();
  warnings.replaceChildren();
  heat.replaceChildren();
  table.hidden = !fit;
  $('#corr-title').hidden = !fit || fit.fitted < 2;
  const stale = fit && (!fit.current || fit.stars !== state.observations.active);
  $('#fit-stale').textContent = stale ? 'the model or the stars in use have changed since: FIT again' : '';
  if (!fit) {
    stats.append(element('p', { class: 'empty', text: 'No fit yet: read observations, choose terms, then FIT.' }));
    return;
  }
  const dof = fit.stars - fit.fitted;
  stats.append(
    stat('Sky RMS', fixed(fit.skyRms, 2), '″', 'Root mean square distance on the sky between corrected and observed positions'),
    stat('Popn SD', fit.popSd === null ? '—' : fixed(fit.popSd, 2), fit.popSd === null ? '' : '″', 'Sky RMS × √(n/(n−q))'),
    stat('Stars', String(fit.stars), '', 'Observations in use (n)'),
    stat('Fitted', String(fit.fitted), dof > 0 ? ` of ${fit.terms.length}` : '', 'Coefficients fitted (q) of the terms in the model'),
    stat('Freedom', String(dof), '', 'Degrees of freedom, n − q'));

  const body = table.tBodies[0];
  body.replaceChildren();
  fit.terms.forEach((term, index) => {
    const ratio = term.fitted && term.sigma > 0 ? Math.abs(term.value) / term.sigma : null;
    const width = ratio === null ? 0 : Math.min(100, 100 * Math.log10(1 + ratio) / 3);
    body.append(element('tr', { class: term.fitted ? '' : 'held', title: term.fitted ? '' : 'held (fixed): not adjusted by this fit' },
      element('td', { class: 'num', text: index + 1 }),
      element('td', { class: 'name', text: (term.parallel ? '& ' : '') + term.name }),
      element('td', { class: 'num', text: term.fitted ? signed(term.change, 3) : '' }),
      element('td', { class: 'num', text: signed(term.value, 2) }),
      element('td', { class: 'num', text: term.fitted ? fixed(term.sigma, 3) : 'held' }),
      element('td', { class: 'num sigcell' }, ratio === null ? '' : significance(ratio, width))));
  });

  const weak = fit.terms.filter((t) => t.fitted && t.sigma > 0 && Math.abs(t.value) < 2 * t.sigma).map((t) => t.name);
  if (weak.length) warnings.append(element('div', { class: 'warning', text: `Less than 2σ from zero: ${weak.join(', ')} — the data hardly determine ${weak.length > 1 ? 'them' : 'it'}.` }));
  if (fit.alwaysZero.length) warnings.append(element('div', { class: 'warning', text: `Always zero (no effect on these stars): ${fit.alwaysZero.join(', ')}.` }));
  if (fit.illConditioned) {
    const ratios = fit.smallestRatio === fit.largestRatio ? fixed(fit.smallestRatio, 3) : `${fixed(fit.smallestRatio, 3)} to ${fixed(fit.largestRatio, 3)}`;
    warnings.append(element('div', { class: 'warning', text: `Ill-conditioned: singular values at ${ratios} of the largest, under FITTOL ${state.settings.fittol}, were set to zero.` }));
  }
  if (fit.withdrawn) warnings.append(element('div', { class: 'warning', text: `${fit.withdrawn} observation(s) where a term could not be evaluated were masked for good.` }));

  const names = fit.fittedNames;
  const q = names.length;
  if (q < 2) return;
  const pairs = [];
  const grid = element('table', { 'aria-label': 'Correlation matrix' });
  for (let i = 1; i < q; i++) {
    const row = element('tr', {}, element('th', { text: names[i], scope: 'row' }));
    for (let j = 0; j < q - 1; j++) {
      if (j >= i) { row.append(element('td')); continue; }
      const r = fit.correlations[i][j];
      const alarm = Math.abs(r) > 0.995;
      if (Math.abs(r) >= 0.9) pairs.push(`${names[i]}–${names[j]} ${signed(r, 3)}`);
      const cell = element('td', { class: `cell${alarm ? ' alarm' : ''}`, title: `${names[i]} / ${names[j]}: ${signed(r, 4)}`,
        text: (r < 0 ? MINUS : '') + Math.abs(r).toFixed(2).replace(/^0/, '') });
      cell.style.background = correlationColour(r);
      cell.style.color = Math.abs(r) > 0.6 ? '#fff' : '#222';
      row.append(cell);
    }
    grid.append(row);
  }
  const foot = element('tr', {}, element('th'));
  for (let j = 0; j < q - 1; j++) foot.append(element('th', { class: 'col', text: names[j], scope: 'col' }));
  grid.append(foot);
  heat.append(grid, element('div', { class: 'legend' }, `${MINUS}1`, element('span', { class: 'ramp' }), '+1',
    pairs.length ? element('span', { text: ` · strongly correlated: ${pairs.join(', ')}` }) : ''));
}

function renderRun(state) {
  const run = state.run;
  const list = $('#run');
  list.replaceChildren();
  const add = (label, value, title) => {
    if (value === '' || value === undefined || value === null) return;
    list.append(element('dt', { text: label, title }), element('dd', { text: value }));
  };
  const obs = state.observations;
  if (!run.present) {
    list.append(element('dd', { class: 'empty', text: 'No run yet: upload an observation file and read it (INDAT).' }));
    add('Model sense', state.settings.adjust === 'T' ? 'adjusts the telescope' : 'adjusts the stars');
    return;
  }
  add('Caption', run.caption);
  add('Latitude', sexagesimal(run.latitude, 0, 2).replace(/ /, '° ').replace(/ (\d\d)$/, '′ $1″').replace(/ (\d\d)′/, ' $1′'));
  if (run.dated) {
    const day = Math.floor(run.date.day);
    const minutes = Math.round((run.date.day - day) * 1440);
    add('Date', `${run.date.year}-${String(run.date.month).padStart(2, '0')}-${String(day).padStart(2, '0')}  ${String(Math.floor(minutes / 60)).padStart(2, '0')}:${String(minutes % 60).padStart(2, '0')} UT`);
    add('MJD', fixed(run.mjd, 4));
  } else {
    add('Date', 'none (:NODA or latitude only)');
  }
  const frames = { A: 'apparent places', B: 'FK4 mean places', J: 'FK5 mean places' };
  add('Telescope reads', frames[run.frame] || run.frame);
  if (run.allSky) add('Limits', ':ALLSKY (none)');
  if (run.meteorology) {
    add('Temperature', `${fixed(run.temperature, 1)} °C`);
    add('Pressure', `${fixed(run.pressure, 1)} mB`);
    add('Height', `${fixed(run.height, 0)} m`);
    add('Humidity', `${fixed(run.humidity * 100, 0)} %`);
    add('Wavelength', `${fixed(run.wavelength, 3)} µm`);
    add('Lapse rate', `${fixed(run.lapseRate * 1000, 2)} K/km`);
  } else {
    add('Weather', 'not given: no refraction');
  }
  add('Refraction A', `${signed(run.refA, 3)}″`, 'A in R = A tan z + B tan³ z');
  add('Refraction B', `${signed(run.refB, 4)}″`, 'B in R = A tan z + B tan³ z');
  add('Observations', `${obs.count} (${obs.active} in use, ${obs.count - obs.active} masked)`);
  add('Model sense', state.settings.adjust === 'T' ? 'adjusts the telescope (ADJUST T)' : 'adjusts the stars (ADJUST S)');
  add('FITTOL', String(state.settings.fittol));
}

function renderObservations(state) {
  const obs = state.observations;
  $('#obs-count').textContent = obs.count ? `${obs.count}, ${obs.active} in use · click a column to sort, a box to mask or unmask` : '';
  const rows = obs.rows.slice();
  const { key, ascending } = page.sort;
  const value = (row) => {
    const v = row[key];
    if (typeof v === 'boolean') return v ? 1 : 0;
    return v === undefined || v === null ? -Infinity : v;
  };
  rows.sort((a, b) => (value(a) - value(b) || a.n - b.n) * (ascending ? 1 : -1));
  for (const th of $$('#observations th')) {
    th.setAttribute('aria-sort', th.dataset.key === key ? (ascending ? 'ascending' : 'descending') : 'none');
  }
  const hot = 3 * (obs.rms.dR || Infinity);
  const body = $('#observations tbody');
  const fragment = document.createDocumentFragment();
  for (const row of rows) {
    const box = element('input', { type: 'checkbox', checked: row.active, 'aria-label': `Use observation ${row.n}` });
    box.addEventListener('change', () => run(`${box.checked ? 'UNMASK' : 'MASK'} ${row.n}`));
    const cell = (v, digits) => element('td', { class: 'num', text: row.active ? signed(v, digits) : '' });
    const dR = element('td', { class: `num${row.active && row.dR > hot ? ' hot' : ''}`, text: row.active ? fixed(row.dR, 2) : '' });
    fragment.append(element('tr', { class: row.active ? '' : 'masked', 'data-n': row.n },
      element('td', { class: 'num', text: row.n }),
      element('td', {}, box),
      element('td', { text: row.overPole ? 'b' : '' }),
      element('td', { class: 'num', text: sexagesimal(row.ha, 0, 2) }),
      element('td', { class: 'num', text: sexagesimal(row.dec, 0, 2) }),
      element('td', { class: 'num', text: fixed(row.az, 2) }),
      element('td', { class: 'num', text: fixed(row.zd, 2) }),
      cell(row.dX, 2), cell(row.dD, 2), cell(row.dS, 2), cell(row.dZ, 2), dR));
  }
  body.replaceChildren(fragment);
  const foot = $('#observations tfoot');
  foot.replaceChildren();
  if (obs.active) {
    foot.append(element('tr', {}, element('td', { colspan: 7, text: `RMS over ${obs.active} stars in use` }),
      ...['dX', 'dD', 'dS', 'dZ', 'dR'].map((k) => element('td', { class: 'num', text: fixed(obs.rms[k], 2) }))));
  }
}

function setupObservations() {
  for (const th of $$('#observations th')) {
    th.tabIndex = 0;
    const sort = () => {
      page.sort = page.sort.key === th.dataset.key ? { key: th.dataset.key, ascending: !page.sort.ascending }
        : { key: th.dataset.key, ascending: !th.dataset.key.startsWith('d') };
      if (page.state) renderObservations(page.state);
    };
    th.addEventListener('click', sort);
    th.addEventListener('keydown', (event) => { if (event.key === 'Enter' || event.key === ' ') { event.preventDefault(); sort(); } });
  }
}

// ---- Files.

async function refreshFiles() {
  let listing;
  try {
    listing = await api('GET', '/api/files');
  } catch (error) {
    return;
  }
  const body = $('#files tbody');
  body.replaceChildren();
  const previous = page.knownFiles;
  page.knownFiles = new Map(listing.files.map((f) => [f.name, f.modified]));
  for (const file of listing.files) {
    const fresh = previous && previous.get(file.name) !== file.modified;
    const select = element('select', { 'aria-label': `Read ${file.name} as` },
      element('option', { value: '', text: '…' }),
      element('option', { value: 'INDAT', text: 'observations' }),
      element('option', { value: 'INMOD', text: 'model' }),
      element('option', { value: 'INST', text: 'catalogue' }),
      element('option', { value: 'INPRO', text: 'procedures' }));
    select.addEventListener('change', () => {
      if (select.value) run(`${select.value} ${file.name}`);
      select.value = '';
    });
    const remove = element('button', { type: 'button', class: 'icon', title: `Delete ${file.name}`, 'aria-label': `Delete ${file.name}`, text: '×' });
    remove.addEventListener('click', async () => {
      try { await api('DELETE', `/api/files/${encodeURIComponent(file.name)}`); } catch (error) { notice(error.message, 'error'); }
      refreshFiles();
    });
    body.append(element('tr', { class: fresh ? 'new' : '', title: new Date(file.modified).toLocaleString() },
      element('td', { text: file.name, title: file.name }),
      element('td', { class: 'num', text: bytes(file.size) }),
      element('td', {}, select),
      element('td', {}, element('a', { href: `/api/files/${encodeURIComponent(file.name)}`, download: file.name, title: `Download ${file.name}`, 'aria-label': `Download ${file.name}`, text: '⤓' }), remove)));
  }
  if (!listing.files.length) body.append(element('tr', {}, element('td', { colspan: 4, class: 'empty', text: 'No files yet.' })));
  $('#files-use').textContent = `${bytes(listing.used)} of ${bytes(listing.quota)}`;
  $('#files-hint').textContent = `Files stay while the session lives (${page.idleMinutes} minutes idle ends it): download what you want to keep.`;
}

async function upload(files) {
  for (const file of files) {
    try {
      await api('PUT', `/api/files/${encodeURIComponent(file.name)}`, file, 'application/octet-stream');
      addTranscript(`uploaded ${file.name} (${bytes(file.size)})`, true, 'startup');
    } catch (error) {
      notice(`${file.name}: ${error.message}`, 'error');
    }
  }
  await refreshFiles();
}

function setupFiles() {
  const input = $('#upload');
  input.addEventListener('change', () => { upload(Array.from(input.files)); input.value = ''; });
  const drop = $('#drop');
  drop.addEventListener('dragover', (event) => { event.preventDefault(); drop.classList.add('over'); });
  drop.addEventListener('dragleave', () => drop.classList.remove('over'));
  drop.addEventListener('drop', (event) => {
    event.preventDefault();
    drop.classList.remove('over');
    upload(Array.from(event.dataTransfer.files));
  });
  const name = () => $('#save-name').value.trim();
  $('#outmod').addEventListener('click', () => { if (name()) run(`OUTMOD ${name()}`); });
  $('#outdat').addEventListener('click', () => { if (name()) run(`OUTDAT ${name()}`); });
}

// ---- Plots.

function residualPlot() {
  const choice = $('#mount').value;
  if (choice !== 'auto') return choice;
  const rows = page.state ? page.state.observations.rows : [];
  const horizon = rows.filter((r) => r.kind === 4).length;
  return horizon * 2 > rows.length ? 'GAM' : 'GC';
}

function plotCommand(name) {
  return name === 'residuals' ? residualPlot() : name;
}

async function fetchPlot(name) {
  const word = plotCommand(name);
  const cached = page.plots[word];
  if (cached) return cached;
  const plot = await api('GET', `/api/plot/${word}?format=json`);
  page.plots[word] = plot;
  return plot;
}

// The plot is shown as an image of its SVG: nothing in it can run, and it
// keeps its own styles. Marks are in the SVG's units (its viewBox).
function showPlot(plot, word) {
  const box = $('#plot');
  box.classList.remove('busy');
  const viewBox = /viewBox="([-\d.]+) ([-\d.]+) ([\d.]+) ([\d.]+)"/.exec(plot.svg);
  if (!viewBox) {
    box.replaceChildren(element('p', { class: 'empty', text: 'The plot could not be read.' }));
    return;
  }
  if (box.plotUrl) URL.revokeObjectURL(box.plotUrl);
  box.plotUrl = URL.createObjectURL(new Blob([plot.svg], { type: 'image/svg+xml' }));
  const image = element('img', { src: box.plotUrl, alt: `${word} plot`, draggable: false });
  image.dataset.command = word;
  box.replaceChildren(image);
  box.dataset.command = word;
  box.view = viewBox.slice(1, 5).map(Number);
  box.marks = plot.marks || [];
}

async function drawPlots(afterFit) {
  const box = $('#plot');
  if (!page.state || page.state.observations.count === 0) {
    box.replaceChildren(element('p', { class: 'empty', text: 'Plots appear here after INDAT.' }));
    return;
  }
  box.classList.add('busy');
  try {
    const plot = await fetchPlot(page.plot);
    showPlot(plot, plotCommand(page.plot));
  } catch (error) {
    box.classList.remove('busy');
    box.replaceChildren(element('p', { class: 'empty', text: error.reason === 'no-plot' ? 'This engine draws no plots.' : error.message }));
    return;
  }
  if (afterFit) {
    // The residual plots are drawn again now, so that every tab shows this fit.
    for (const name of ['residuals', 'GSCAT', 'GMAP']) {
      if (name !== page.plot) await fetchPlot(name).catch(() => {});
    }
  }
}

async function showLastPlot(word) {
  try {
    const plot = await api('GET', '/api/plot?format=json');
    const tab = ['GC', 'GAM'].includes(word) ? 'residuals' : word;
    if ($(`#plot-tabs [data-plot="${tab}"]`)) selectTab(tab, false);
    page.plots[word] = plot;
    showPlot(plot, word);
  } catch (error) {
    if (error.reason !== 'no-plot') notice(error.message, 'error');
  }
}

function selectTab(name, draw = true) {
  page.plot = name;
  for (const tab of $$('#plot-tabs [role=tab]')) tab.setAttribute('aria-selected', String(tab.dataset.plot === name));
  if (draw) drawPlots(false);
}

// The observation under the pointer: the nearest mark within 9 pixels.
function markAt(event) {
  const box = $('#plot');
  const image = box.querySelector('img');
  if (!image || !box.marks || box.marks.length === 0) return null;
  const rect = image.getBoundingClientRect();
  const [x0, y0, width, height] = box.view;
  const scale = width / rect.width;
  const x = x0 + (event.clientX - rect.left) * scale;
  const y = y0 + (event.clientY - rect.top) * (height / rect.height);
  const reach = 9 * scale;
  let best = null;
  let bestDistance = reach * reach;
  for (const mark of box.marks) {
    const d = (mark.x - x) ** 2 + (mark.y - y) ** 2;
    if (d <= bestDistance) { best = mark; bestDistance = d; }
  }
  return best;
}

function setupPlots() {
  for (const tab of $$('#plot-tabs [role=tab]')) tab.addEventListener('click', () => selectTab(tab.dataset.plot));
  $('#mount').addEventListener('change', () => { page.plots = {}; drawPlots(false); });
  const box = $('#plot');
  const tooltip = $('#tooltip');
  box.addEventListener('mousemove', (event) => {
    const mark = markAt(event);
    if (!mark || !page.state) { tooltip.hidden = true; box.style.cursor = ''; return; }
    const row = page.state.observations.rows[mark.n - 1];
    if (!row) return;
    tooltip.textContent = `#${row.n}${row.overPole ? ' b' : ''}  ${row.active ? 'in use' : 'masked'}\n` +
      `HA ${sexagesimal(row.ha, 0, 2)}  Dec ${sexagesimal(row.dec, 0, 2)}\n` +
      (row.active ? `dX ${signed(row.dX, 2)}″  dD ${signed(row.dD, 2)}″  dR ${fixed(row.dR, 2)}″\n` : '') +
      `click to ${row.active ? 'mask' : 'unmask'}`;
    tooltip.style.left = `${event.clientX + 14}px`;
    tooltip.style.top = `${event.clientY + 14}px`;
    tooltip.hidden = false;
  });
  box.addEventListener('mouseleave', () => { tooltip.hidden = true; });
  box.addEventListener('click', (event) => {
    const mark = markAt(event);
    if (!mark || !page.state) return;
    const row = page.state.observations.rows[mark.n - 1];
    tooltip.hidden = true;
    run(`${row && row.active ? 'MASK' : 'UNMASK'} ${mark.n}`).then(() => flashRow(mark.n));
  });
}

function flashRow(n) {
  const row = $(`#observations tr[data-n="${n}"]`);
  if (!row) return;
  row.classList.add('flash');
  setTimeout(() => row.classList.remove('flash'), 1500);
}

// ---- Keys and the night theme.

function setupKeys() {
  const night = () => {
    document.body.classList.toggle('night');
    localStorage.setItem('zenfit-night', document.body.classList.contains('night') ? '1' : '');
  };
  if (localStorage.getItem('zenfit-night')) document.body.classList.add('night');
  $('#night').addEventListener('click', night);
  document.addEventListener('keydown', (event) => {
    const target = event.target;
    const typing = target.closest('input, select, textarea');
    if (event.key === 'Escape' && typing) { target.blur(); return; }
    if (typing || event.ctrlKey || event.metaKey || event.altKey) return;
    const tabs = ['residuals', 'GSCAT', 'GMAP', 'GDIST', 'GHYST'];
    if (event.key === '/') { event.preventDefault(); $('#command').focus(); }
    else if (event.key === 'f' || event.key === 'F') { event.preventDefault(); run('FIT'); }
    else if (event.key === 'n' || event.key === 'N') night();
    else if (event.key >= '1' && event.key <= '5') selectTab(tabs[Number(event.key) - 1]);
  });
}

async function main() {
  setupConsole();
  setupModel();
  setupFiles();
  setupPlots();
  setupObservations();
  setupKeys();
  selectTab('residuals', false);
  try {
    page.vocabulary = await request('GET', '/api/vocabulary');
    const list = $('#term-names');
    for (const name of page.vocabulary.terms) list.append(element('option', { value: name }));
  } catch (error) {
    notice(error.message, 'error');
  }
  try {
    await request('GET', '/api/state');
  } catch (error) {
    if (error.reason === 'no-session') await startSession(false);
    else { notice(error.message, 'error'); return; }
  }
  await refresh('');
  document.body.dataset.ready = 'true';
}

main();
