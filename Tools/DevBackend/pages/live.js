'use strict';

const $ = (id) => document.getElementById(id);

async function call(method, path, body) {
  const reply = await fetch(path, { method, body: body && JSON.stringify(body) });
  const result = await reply.json();
  if (!reply.ok) throw new Error(result.message || reply.statusText);
  return result;
}

const decimals = (value, digits) => value.toLocaleString('en', {
  minimumFractionDigits: digits, maximumFractionDigits: digits,
});

/** Draws the last levels as bars, from -60 dBFS (nothing) to -6 dBFS (full height). */
class LevelHistory {
  constructor(canvas) {
    this.canvas = canvas;
    this.levels = [];
  }
  push(dbfs) {
    this.levels.push(Math.max(0, Math.min(1, (dbfs + 60) / 54)));
    this.levels = this.levels.slice(-160);
    this.draw();
  }
  draw() {
    const scale = window.devicePixelRatio || 1;
    const width = this.canvas.width = this.canvas.clientWidth * scale;
    const height = this.canvas.height = this.canvas.clientHeight * scale;
    const context = this.canvas.getContext('2d');
    const style = getComputedStyle(document.documentElement);
    const step = width / 160;
    const floor = 3 * scale;
    this.levels.forEach((level, index) => {
      const bar = Math.max(floor, level * (height - 12 * scale));
      const x = width - (this.levels.length - index) * step;
      context.fillStyle = style.getPropertyValue(level > 0.02 ? '--accent' : '--meter');
      context.beginPath();
      context.roundRect(x, (height - bar) / 2, step * 0.65, bar, step * 0.3);
      context.fill();
    });
  }
}

function showStatistics(audio) {
  const values = audio ? [
    ['Audio', `${decimals(audio.seconds, 1)} s`],
    ['Messages', audio.messages.toLocaleString('en')],
    ['Frames/message', audio.min_frames === audio.max_frames
      ? audio.min_frames : `${audio.min_frames} to ${audio.max_frames}`],
    ['Longest gap', `${decimals(audio.max_gap_ms, 0)} ms`],
  ] : [];
  $('statistics').replaceChildren(...values.map(([name, value]) => {
    const group = document.createElement('div');
    const term = document.createElement('dt');
    const detail = document.createElement('dd');
    term.textContent = name;
    detail.textContent = value;
    group.append(term, detail);
    return group;
  }));
}

function recordingElement(session) {
  const element = document.createElement('div');
  element.className = 'recording';
  const base = `/dev/sessions/${encodeURIComponent(session.session_id)}`;
  const line = document.createElement('div');
  line.className = 'row spread';
  const title = document.createElement('a');
  title.href = `/interviews/${encodeURIComponent(session.interview_id)}`;
  title.textContent = session.interview_id;
  const facts = document.createElement('span');
  facts.className = 'soft small';
  facts.textContent = `${new Date(session.started).toLocaleTimeString()} · `
    + `${decimals(session.audio.seconds, 1)} s · ${session.audio.messages.toLocaleString('en')} messages · `;
  const log = document.createElement('a');
  log.href = `${base}/messages.csv`;
  log.textContent = 'arrivals';
  facts.append(log);
  line.append(title, facts);
  const audio = document.createElement('audio');
  audio.controls = true;
  audio.preload = 'metadata';
  audio.src = `${base}/audio.wav`;
  element.append(line, audio);
  return element;
}

let shownRecordings = null;

/** Renews the list only when it changed, so that nothing stops playing. */
function showRecordings(sessions) {
  const finished = sessions.filter((each) => each.audio && each.audio.messages && each.phase !== 'streaming');
  const key = finished.map((each) => `${each.session_id}:${each.audio.messages}`).join();
  if (key === shownRecordings) return;
  shownRecordings = key;
  $('recordings').replaceChildren(...finished.reverse().map(recordingElement));
  $('no-recordings').hidden = finished.length > 0;
}

const phaseTexts = {
  pending: 'Waiting for the companion',
  streaming: 'Streaming',
  completed: 'Completed',
};

function showPhase(session) {
  const phase = session ? session.phase : 'none';
  $('phase').className = `badge ${phase}`;
  const text = phaseTexts[phase] || 'No session';
  if ($('phase').textContent !== text) $('phase').textContent = text;
}

/** Calls `update` with the server's status again and again. */
async function watch(update) {
  for (;;) {
    try {
      update(await call('GET', '/dev/status'));
      $('offline').hidden = true;
    } catch (error) {
      $('offline').hidden = false;
    }
    await new Promise((resolve) => setTimeout(resolve, document.hidden ? 1000 : 100));
  }
}
