// SPDX-License-Identifier: MIT
'use strict';

const POLL_MS = 1000;
const ANSWER_MS = 5000;
const SPAN_MS = 10 * 60 * 1000;
const GAP_MS = 150 * 1000; // further apart, two points are not joined
const LEFT = 44, TOP = 8, HEIGHT = 220, BOTTOM = HEIGHT - 24;
const STEPS = [0.01, 0.02, 0.05, 0.1, 0.25];
const MOST_LINES = 5;
const NARROW = 560;
const MANY_NODES = 6;
const SVG = 'http://www.w3.org/2000/svg';
const FLAGS = {
  no_interval: 'nothing was measured',
  no_operations: 'no memory operations were counted: the score says nothing',
  remote_exceeds_operations: 'more remote operations than operations: check the PMU',
  score_differs: 'the score is not what the counts give',
};
const byId = (id) => document.getElementById(id);
let drawn = [];
let cursorTime = null;
let latest = null;

function bytes(value) {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'];
  let unit = 0;
  while (value >= 1024 && unit < units.length - 1) { value /= 1024; ++unit; }
  return (unit === 0 ? String(value) : value.toFixed(value < 100 ? 1 : 0)) + ' ' + units[unit];
}

function duration(seconds) {
  if (seconds < 120) return seconds.toFixed(1) + ' s';
  if (seconds < 7200) return (seconds / 60).toFixed(0) + ' min';
  if (seconds < 172800) return (seconds / 3600).toFixed(1) + ' h';
  return (seconds / 86400).toFixed(1) + ' days';
}

function element(parent, name, text, attributes) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  for (const [key, value] of Object.entries(attributes || {})) made.setAttribute(key, value);
  parent.appendChild(made);
  return made;
}

function svg(parent, name, attributes, text) {
  const made = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  if (text !== undefined) made.textContent = text;
  parent.appendChild(made);
  return made;
}

// The coarsest step that a few grid lines need from 1 down to the lowest score shown.
function scale(shown) {
  const lowest = shown.reduce((low, point) => Math.min(low, point[1]), 0.95);
  const step = STEPS.find((size) => (1 - lowest) / size <= MOST_LINES) || STEPS[STEPS.length - 1];
  return { step, lines: Math.ceil((1 - lowest) / step - 1e-9) };
}

function drawChart(history, now) {
  const chart = byId('chart');
  const width = Math.max(280, chart.clientWidth || 0);
  const right = width - 8;
  chart.setAttribute('viewBox', '0 0 ' + width + ' ' + HEIGHT);
  const first = now - SPAN_MS;
  const shown = history.filter((point) => point[1] !== null && point[0] >= first && point[0] <= now)
      .sort((one, other) => one[0] - other[0]); // the clock may have been set back
  const { step, lines } = scale(shown);
  const floor = 1 - step * lines;
  const x = (time) => LEFT + (time - first) / SPAN_MS * (right - LEFT);
  const y = (score) => BOTTOM - (score - floor) / (1 - floor) * (BOTTOM - TOP);
  drawn = shown.map((point) => ({ x: x(point[0]), y: y(point[1]), time: point[0], score: point[1] }));

  let path = '';
  const marks = byId('marks');
  marks.replaceChildren();
  drawn.forEach((point, index) => {
    const joined = index > 0 && point.time - drawn[index - 1].time <= GAP_MS;
    path += (joined ? 'L' : 'M') + point.x.toFixed(1) + ',' + point.y.toFixed(1);
    const goesOn = index + 1 < drawn.length && drawn[index + 1].time - point.time <= GAP_MS;
    if (!goesOn) svg(marks, 'circle', { cx: point.x.toFixed(1), cy: point.y.toFixed(1), r: 3.5 });
  });
  byId('line').setAttribute('d', path);

  const grid = byId('grid');
  grid.replaceChildren();
  for (let line = 0; line <= lines; ++line) {
    const score = 1 - step * line;
    svg(grid, 'line', { x1: LEFT, x2: right, y1: y(score), y2: y(score) });
    svg(grid, 'text', { x: LEFT - 8, y: y(score) + 4, 'text-anchor': 'end' }, score.toFixed(2));
  }
  for (let minute = 0; minute <= 10; minute += width < NARROW ? 5 : 2) {
    svg(grid, 'text', { x: right - minute / 10 * (right - LEFT), y: HEIGHT - 6,
                        'text-anchor': minute === 0 ? 'end' : minute === 10 ? 'start' : 'middle' },
        minute === 0 ? 'now' : '\u2212' + minute + ' min');
  }
  if (cursorTime !== null) showPoint(nearest((point) => Math.abs(point.time - cursorTime)), false);
}

function nearest(distance) {
  let best = 0;
  drawn.forEach((point, index) => { if (distance(point) < distance(drawn[best])) best = index; });
  return best;
}

function showPoint(index, tell) {
  const line = byId('cursor');
  if (!drawn.length) {
    line.setAttribute('visibility', 'hidden');
    return;
  }
  const point = drawn[Math.max(0, Math.min(drawn.length - 1, index))];
  cursorTime = point.time;
  for (const [key, value] of Object.entries({ x1: point.x, x2: point.x, y1: TOP, y2: BOTTOM, visibility: 'visible' })) {
    line.setAttribute(key, value);
  }
  if (tell) byId('point').textContent = new Date(point.time).toLocaleTimeString() + ': ' + point.score.toFixed(4);
}

function drawNodes(nodes) {
  const body = byId('nodes');
  body.replaceChildren();
  const highest = Math.max(1, ...nodes.map((node) => node.free_bytes));
  nodes.forEach((node, index) => {
    const row = element(body, 'tr');
    element(row, 'th', String(index), { scope: 'row' });
    const bar = element(element(row, 'td', bytes(node.free_bytes)), 'span', '', { class: 'bar', 'aria-hidden': 'true' });
    bar.style.width = (node.free_bytes / highest * 100).toFixed(1) + '%';
    element(row, 'td', bytes(node.given_up_bytes));
  });
}

function drawMatrix(rows) {
  const table = byId('matrix');
  table.replaceChildren();
  const highest = Math.max(0, ...rows.flat());
  byId('moved').textContent = highest === 0 ? 'Nothing was moved in the last interval.'
      : 'In the last interval, from the node of the row to the node of the column.';
  const head = element(element(table, 'thead'), 'tr');
  element(head, 'th', 'from \\ to', { scope: 'col' });
  rows.forEach((row, index) => element(head, 'th', String(index), { scope: 'col' }));
  const body = element(table, 'tbody');
  rows.forEach((cells, index) => {
    const row = element(body, 'tr');
    element(row, 'th', String(index), { scope: 'row' });
    for (const cell of cells) {
      const made = element(row, 'td', cell === 0 ? '0' : bytes(cell));
      if (cell > 0) made.style.backgroundColor = 'rgba(var(--heat), ' + (0.05 + cell / highest * 0.5).toFixed(3) + ')';
    }
  });
}

function notice(text) {
  const shown = byId('notice');
  if (shown.textContent !== text) shown.textContent = text;
  shown.className = text ? 'bad' : '';
  document.body.classList.toggle('old', text !== '');
}

function noticeOf(state) {
  if (!state.up) return 'No figures: ' + state.fault;
  if (state.age_seconds < -1) return 'These figures are dated ' + duration(-state.age_seconds) + ' ahead of the clock.';
  if (state.stale) return 'These figures are stale: ' + duration(state.age_seconds) + ' old. Is tarnix running?';
  return '';
}

function figure(id, text) {
  byId(id).textContent = text;
}

function show(state) {
  latest = state;
  notice(noticeOf(state));
  drawChart(state.history, state.now_ms);
  byId('quality').textContent = state.up ? state.flags.map((flag) => FLAGS[flag] || flag).join('; ') : '';
  const scored = state.up && !state.flags.includes('no_interval') && !state.flags.includes('no_operations');
  figure('score', scored ? state.score.toFixed(4) : '\u2013');
  figure('remote', scored ? ((1 - state.score) * 100).toFixed(1) + ' % crossed to another node' : '');
  figure('operations', state.up ? Math.round(state.operations_per_second).toLocaleString('en') : '\u2013');
  figure('loops', state.up ? state.loops.toLocaleString('en') : '\u2013');
  figure('age', state.age_seconds === null ? '\u2013' : duration(state.age_seconds));
  byId('detail').hidden = !state.up;
  if (!state.up) return;
  byId('detail').className = state.nodes.length > MANY_NODES ? 'many' : '';
  drawNodes(state.nodes);
  drawMatrix(state.migrated_bytes);
}

async function poll() {
  if (!document.hidden) {
    try {
      const answer = await fetch('state.json', { cache: 'no-store', signal: AbortSignal.timeout(ANSWER_MS) });
      show(await answer.json());
    } catch (error) {
      notice('The exporter does not answer; these figures are stale.');
    }
  }
  setTimeout(poll, POLL_MS);
}

byId('chart').addEventListener('keydown', (event) => {
  const last = drawn.length - 1;
  const at = cursorTime === null ? last + 1 : nearest((point) => Math.abs(point.time - cursorTime));
  const target = { ArrowLeft: at - 1, ArrowRight: at + 1, Home: 0, End: last }[event.key];
  if (target === undefined) return;
  event.preventDefault();
  showPoint(target, true);
});
byId('chart').addEventListener('pointermove', (event) => {
  const at = event.clientX - byId('chart').getBoundingClientRect().left;
  showPoint(nearest((point) => Math.abs(point.x - at)), true);
});
new ResizeObserver(() => { if (latest) drawChart(latest.history, latest.now_ms); }).observe(byId('chart'));
byId('host').textContent = location.host;
byId('notice').textContent = 'Loading\u2026';
poll();
