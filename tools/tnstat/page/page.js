// SPDX-License-Identifier: MIT
'use strict';

const POLL_MS = 1000;
const SPAN_MS = 10 * 60 * 1000;
const LEFT = 40, RIGHT = 590, TOP = 10, BOTTOM = 180;
const SVG = 'http://www.w3.org/2000/svg';
const FLAGS = {
  no_interval: 'nothing was measured',
  no_operations: 'no memory operations were counted: the score says nothing',
  remote_exceeds_operations: 'more remote operations than operations: check the PMU',
  score_differs: 'the score is not what the counts give',
};
const byId = (id) => document.getElementById(id);
let drawn = [];
let cursor = -1;

function bytes(value) {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB'];
  let unit = 0;
  while (value >= 1024 && unit < units.length - 1) { value /= 1024; ++unit; }
  return (unit === 0 ? String(value) : value.toFixed(1)) + ' ' + units[unit];
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

function drawChart(history) {
  const points = history.filter((point) => point[1] !== null);
  const last = history.length ? history[history.length - 1][0] : Date.now();
  const first = last - SPAN_MS;
  const shown = points.filter((point) => point[0] >= first);
  const lowest = shown.reduce((low, point) => Math.min(low, point[1]), 0.9);
  const floor = Math.max(0, Math.floor(lowest * 10) / 10);
  const x = (time) => LEFT + (time - first) / SPAN_MS * (RIGHT - LEFT);
  const y = (score) => BOTTOM - (score - floor) / (1 - floor) * (BOTTOM - TOP);
  drawn = shown.map((point) => ({ x: x(point[0]), y: y(point[1]), time: point[0], score: point[1] }));
  byId('line').setAttribute('points', drawn.map((point) => point.x.toFixed(1) + ',' + point.y.toFixed(1)).join(' '));
  const grid = byId('grid');
  grid.replaceChildren();
  for (let step = 0; step <= 4; ++step) {
    const score = floor + (1 - floor) * step / 4;
    svg(grid, 'line', { x1: LEFT, x2: RIGHT, y1: y(score), y2: y(score) });
    svg(grid, 'text', { x: LEFT - 4, y: y(score) + 4, 'text-anchor': 'end' }, score.toFixed(3));
  }
  for (let minute = 0; minute <= 10; minute += 2) {
    const at = RIGHT - minute / 10 * (RIGHT - LEFT);
    svg(grid, 'text', { x: at, y: BOTTOM + 16, 'text-anchor': 'middle' }, minute === 0 ? 'now' : '-' + minute + ' min');
  }
  if (cursor >= drawn.length) cursor = drawn.length - 1;
}

function showPoint(index) {
  if (!drawn.length) return;
  cursor = Math.max(0, Math.min(drawn.length - 1, index));
  const point = drawn[cursor];
  const line = byId('cursor');
  line.setAttribute('x1', point.x);
  line.setAttribute('x2', point.x);
  line.setAttribute('visibility', 'visible');
  byId('point').textContent = new Date(point.time).toLocaleTimeString() + ': ' + point.score.toFixed(4);
}

function drawNodes(nodes) {
  const body = byId('nodes');
  body.replaceChildren();
  nodes.forEach((node, index) => {
    const row = element(body, 'tr');
    element(row, 'th', String(index), { scope: 'row' });
    element(row, 'td', bytes(node.free_bytes));
    element(row, 'td', bytes(node.given_up_bytes));
  });
}

function drawMatrix(rows) {
  const table = byId('matrix');
  table.replaceChildren();
  const highest = Math.max(1, ...rows.flat());
  const head = element(element(table, 'thead'), 'tr');
  element(head, 'th', 'from \\ to', { scope: 'col' });
  rows.forEach((row, index) => element(head, 'th', String(index), { scope: 'col' }));
  const body = element(table, 'tbody');
  rows.forEach((cells, index) => {
    const row = element(body, 'tr');
    element(row, 'th', String(index), { scope: 'row' });
    for (const cell of cells) {
      const made = element(row, 'td', cell === 0 ? '0' : bytes(cell));
      made.style.backgroundColor = 'rgba(var(--heat), ' + (cell / highest * 0.6).toFixed(3) + ')';
    }
  });
}

function notice(text) {
  const shown = byId('notice');
  if (shown.textContent !== text) shown.textContent = text;
  shown.className = text ? 'bad' : '';
}

function show(state) {
  if (!state.up) {
    notice('No figures: ' + state.fault);
  } else if (state.stale) {
    notice('These figures are stale: ' + state.age_seconds.toFixed(0) + ' s old. Is tarnix running?');
  } else {
    notice('');
  }
  drawChart(state.history);
  if (!state.up) return;
  byId('score').textContent = state.score.toFixed(4);
  byId('quality').textContent = state.flags.map((flag) => FLAGS[flag] || flag).join('; ');
  byId('operations').textContent = Math.round(state.operations_per_second).toLocaleString('en');
  byId('loops').textContent = String(state.loops);
  byId('age').textContent = state.age_seconds.toFixed(1) + ' s';
  drawNodes(state.nodes);
  drawMatrix(state.migrated_bytes);
}

async function poll() {
  try {
    const answer = await fetch('state.json', { cache: 'no-store' });
    show(await answer.json());
  } catch (error) {
    notice('The exporter does not answer; these figures are stale.');
  }
  setTimeout(poll, POLL_MS);
}

byId('chart').addEventListener('keydown', (event) => {
  const step = { ArrowLeft: -1, ArrowRight: 1, Home: -1e9, End: 1e9 }[event.key];
  if (step === undefined) return;
  event.preventDefault();
  showPoint(cursor < 0 ? drawn.length - 1 : cursor + step);
});
byId('chart').addEventListener('pointermove', (event) => {
  const box = byId('chart').getBoundingClientRect();
  const at = (event.clientX - box.left) / box.width * 600;
  let best = 0;
  drawn.forEach((point, index) => { if (Math.abs(point.x - at) < Math.abs(drawn[best].x - at)) best = index; });
  showPoint(best);
});
poll();
