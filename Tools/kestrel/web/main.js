'use strict';
// The frame: which view is in sight, and when it is read again.

(() => {
const {make, ask, show, views} = Kestrel;
const ShortestPause = 2000; // milliseconds between two readings
let present = null;
let isPaused = Kestrel.isSaved;
let timer = 0;
let readings = 0; // under way
const main = document.getElementById('main');
const state = document.getElementById('state');

function say(kind, text) {
  state.className = kind;
  state.textContent = text;
}

async function readTarget() {
  const target = await ask('target');
  document.getElementById('ident').textContent = show(target.ident) || 'without a name';
  document.getElementById('details').textContent = `process ${target.process} at ${show(target.name)}`;
  document.title = `${show(target.ident)} · kestrel inspect`;
}

// What has failed is tried again, and the last that was there stays in sight.
async function refresh() {
  clearTimeout(timer);
  const start = performance.now();
  ++readings;
  try {
    await readTarget();
    if (present.isStarted) await (present.refresh ?? (() => {})).call(present);
    else await open(present);
    for (const view of views) if (view.sample) await view.sample();
    if (Kestrel.isSaved) say('saved', 'saved ' + Kestrel.moment);
    else if (!isPaused || readings === 1) say(isPaused ? 'paused' : 'live', isPaused ? 'paused' : 'live');
  } catch (failure) {
    say('lost', show(failure.message));
  } finally {
    --readings;
  }
  // A level that takes long is not read all the time. Of two readings at a time, one goes on.
  clearTimeout(timer);
  if (!isPaused) timer = setTimeout(refresh, Math.max(ShortestPause, 5 * (performance.now() - start)));
}

async function open(view) {
  if (view.isStarted || view.isStarting) return;
  view.isStarting = true;
  view.panel.replaceChildren();
  try {
    await view.start(view.panel);
    view.isStarted = true;
  } finally {
    view.isStarting = false;
  }
}

Kestrel.choose = (id) => {
  present = views.find((view) => view.id === id) ?? views[0];
  for (const view of views) {
    const isPresent = view === present;
    view.panel.hidden = !isPresent;
    view.tab.setAttribute('aria-selected', String(isPresent));
    view.tab.tabIndex = isPresent ? 0 : -1;
  }
  present.tab.scrollIntoView({block: 'nearest', inline: 'nearest'});
  Kestrel.hint(null, '');
  if (location.hash !== '#' + present.id) history.replaceState(null, '', '#' + present.id);
  return refresh();
};

const tabs = document.getElementById('views');
for (const view of views) {
  view.panel = make('section', {class: 'view', id: 'view-' + view.id, role: 'tabpanel', ariaLabelledby: 'tab-' + view.id, hidden: true});
  view.tab = make('button', {type: 'button', id: 'tab-' + view.id, role: 'tab', ariaControls: 'view-' + view.id,
    onclick: () => Kestrel.choose(view.id)}, view.title);
  tabs.append(view.tab);
  main.append(view.panel);
}
tabs.addEventListener('keydown', (event) => {
  const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
  if (!step) return;
  const next = views[(views.indexOf(present) + step + views.length) % views.length];
  Kestrel.choose(next.id);
  next.tab.focus();
});

const pause = document.getElementById('pause');
pause.addEventListener('click', () => {
  isPaused = !isPaused;
  pause.setAttribute('aria-pressed', String(isPaused));
  pause.textContent = isPaused ? 'Go on' : 'Pause';
  if (isPaused) {
    clearTimeout(timer);
    if (!readings) say('paused', 'paused'); // else when the last of them is done
  } else {
    refresh();
  }
});
document.getElementById('refresh').addEventListener('click', refresh);
if (Kestrel.isSaved) pause.hidden = document.getElementById('refresh').hidden = true;

Kestrel.choose(location.hash.slice(1));
})();
