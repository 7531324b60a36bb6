// SPDX-License-Identifier: Apache-2.0
// The frame of every page drelsim writes: its inline style and the inline script that draws the
// VLAN pictures (from the runs each picture carries), counts what they show, shows a VLAN's
// mapping under the pointer, and filters the parameter rows to the differences (also when the
// page is opened with #differences).
#include "html.h"

namespace drelsim {
namespace {

constexpr const char *kStyle = R"CSS(
:root { --pass: #2e9e4f; --charged: #d62728; --tolerated: #f0a30a; --absent: #e6e8eb;
  --ink: #1f2328; --muted: #59636e; --line: #d1d9e0; --band: #f6f8fa; }
* { box-sizing: border-box; }
body { margin: 0; font: 14px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, sans-serif;
  color: var(--ink); background: #fff; }
main { max-width: 1180px; margin: 0 auto; padding: 24px 28px 60px; }
h1 { font-size: 22px; margin: 0 0 4px; }
h2 { font-size: 18px; margin: 32px 0 8px; padding-bottom: 4px; border-bottom: 1px solid var(--line); }
h3 { font-size: 15px; margin: 0 0 8px; }
.lede { color: var(--muted); margin: 0 0 12px; }
code, .mono { font-family: ui-monospace, "SFMono-Regular", Menlo, Consolas, monospace; font-size: 12.5px; }
table { border-collapse: collapse; width: 100%; margin: 8px 0 12px; }
th, td { text-align: left; padding: 5px 8px; border-bottom: 1px solid var(--line); vertical-align: top; }
th { background: var(--band); font-weight: 600; font-size: 12.5px; }
td.num { font-variant-numeric: tabular-nums; white-space: nowrap; }
.badge { display: inline-block; min-width: 44px; text-align: center; padding: 1px 7px; border-radius: 10px;
  font-size: 12px; font-weight: 700; color: #fff; background: var(--pass); }
.fail .badge, .badge.fail { background: var(--charged); }
tr.fail td.verdict, tr.fail td:first-child { color: var(--charged); font-weight: 700; }
tr.pass td.verdict { color: var(--pass); font-weight: 700; }
.hazard { color: #9a6700; }
.warnings li, .notes li { color: var(--muted); }
.scope { border: 1px solid var(--line); border-left: 5px solid var(--pass); border-radius: 6px;
  padding: 14px 16px; margin: 16px 0; }
.scope.fail { border-left-color: var(--charged); }
.scope.tolerated { border-left-color: var(--tolerated); }
.sides { display: grid; grid-template-columns: 1fr 1fr; gap: 8px 24px; margin: 10px 0; }
.side h4 { margin: 0 0 4px; font-size: 13px; }
.side ul { margin: 2px 0 6px; padding-left: 18px; max-height: 180px; overflow: auto; }
.side .codes { color: var(--muted); font-size: 12.5px; }
.vlanmap { margin: 10px 0 6px; }
.vlanmap canvas { display: block; image-rendering: pixelated; }
.legend { display: flex; flex-wrap: wrap; gap: 4px 16px; font-size: 12.5px; color: var(--muted); margin: 4px 0; }
.legend i { display: inline-block; width: 11px; height: 11px; border-radius: 2px; margin-right: 4px;
  vertical-align: -1px; }
.legend b { color: var(--ink); font-weight: 600; }
.charged-list { font-size: 12.5px; margin: 2px 0; }
.charged-list .chip { display: inline-block; background: var(--charged); color: #fff; border-radius: 3px;
  padding: 0 5px; margin: 1px 3px 1px 0; font-weight: 600; }
.tip { position: fixed; pointer-events: none; background: #1f2328; color: #fff; padding: 4px 8px;
  border-radius: 4px; font-size: 12px; display: none; z-index: 9; white-space: nowrap; }
table.rows td.val { font-family: ui-monospace, Menlo, Consolas, monospace; font-size: 12px; word-break: break-all; }
table.rows tr.charged td.mark { color: var(--charged); font-weight: 700; }
table.rows tr.tolerated td.mark { color: #9a6700; font-weight: 700; }
table.rows tr.reason td { color: var(--muted); border-bottom: 1px solid var(--line); padding-top: 0; }
table.rows tr.differs td { border-bottom: none; }
.filter { position: sticky; top: 0; background: #fffe; padding: 8px 0; border-bottom: 1px solid var(--line);
  z-index: 5; font-size: 13px; }
.rowcount { color: var(--muted); font-size: 12.5px; }
)CSS";

constexpr const char *kScript = R"JS(
(function () {
  const COLORS = { 0: '#e6e8eb', 1: '#2e9e4f', 2: '#d62728', 3: '#f0a30a' };
  const NAMES = { 1: 'pass', 2: 'charged', 3: 'tolerated', 0: 'absent' };
  const CELL = 7, COLS = 128, ROWS = 32, GUTTER = 34;
  const tip = document.createElement('div');
  tip.className = 'tip';
  document.body.appendChild(tip);
  function expand(runs) {
    const vni = new Uint32Array(4096), state = new Uint8Array(4096);
    for (const [vlan, count, first, st] of runs)
      for (let i = 0; i < count; i++) { vni[vlan + i] = first + i; state[vlan + i] = st; }
    return { vni, state };
  }
  function draw(canvas, side) {
    canvas.width = GUTTER + COLS * CELL; canvas.height = ROWS * CELL;
    const g = canvas.getContext('2d');
    g.fillStyle = '#fff'; g.fillRect(0, 0, canvas.width, canvas.height);
    g.fillStyle = '#59636e'; g.font = '10px system-ui, sans-serif'; g.textBaseline = 'top';
    for (let r = 0; r < ROWS; r += 4) g.fillText(String(r * COLS), 2, r * CELL);
    for (let v = 0; v < 4096; v++) {
      const x = GUTTER + (v % COLS) * CELL, y = Math.floor(v / COLS) * CELL;
      g.fillStyle = v === 0 || v === 4095 ? '#ffffff' : COLORS[side.state[v]];
      g.fillRect(x, y, CELL - 1, CELL - 1);
    }
    // A charged VLAN is one cell: its row gets a marker in the gutter, so it is seen at once.
    g.fillStyle = COLORS[2];
    for (let r = 0; r < ROWS; r++)
      for (let c = 0; c < COLS; c++)
        if (side.state[r * COLS + c] === 2) {
          g.beginPath();
          g.moveTo(GUTTER - 8, r * CELL); g.lineTo(GUTTER - 2, r * CELL + CELL / 2);
          g.lineTo(GUTTER - 8, r * CELL + CELL); g.fill();
          break;
        }
  }
  for (const box of document.querySelectorAll('.vlanmap')) {
    const data = JSON.parse(box.querySelector('script').textContent);
    const sides = { A: expand(data.A), B: expand(data.B) };
    for (const name of ['A', 'B']) {
      const side = sides[name];
      draw(box.querySelector('canvas[data-side="' + name + '"]'), side);
      const count = { 0: 0, 1: 0, 2: 0, 3: 0 };
      const charged = [];
      for (let v = 1; v < 4095; v++) {
        count[side.state[v]]++;
        if (side.state[v] === 2) charged.push(v);
      }
      for (const st of [1, 2, 3, 0])
        box.querySelector('.n[data-side="' + name + '"][data-state="' + NAMES[st] + '"]')
          .textContent = count[st];
      const list = box.querySelector('.charged-list[data-side="' + name + '"]');
      list.dataset.vlans = charged.join(',');
      list.innerHTML = charged.length
        ? 'Charged on ' + name + ': ' + charged.slice(0, 64).map(function (v) {
            return '<span class="chip" title="VNI ' + side.vni[v] + '">' + v + '</span>';
          }).join('') + (charged.length > 64 ? ' and ' + (charged.length - 64) + ' more' : '')
        : 'Nothing charged on ' + name + '.';
    }
    for (const canvas of box.querySelectorAll('canvas')) {
      canvas.addEventListener('mousemove', function (e) {
        const rect = canvas.getBoundingClientRect();
        const col = Math.floor((e.clientX - rect.left - GUTTER) / CELL);
        const row = Math.floor((e.clientY - rect.top) / CELL);
        const v = row * COLS + col;
        if (col < 0 || col >= COLS || v < 1 || v > 4094) { tip.style.display = 'none'; return; }
        const part = function (n) {
          const s = sides[n];
          return n + ' ' + (s.state[v] ? '\u2192 VNI ' + s.vni[v] + ' (' + NAMES[s.state[v]] + ')' : 'maps nothing');
        };
        tip.textContent = 'VLAN ' + v + ': ' + part('A') + ' \u00b7 ' + part('B');
        tip.style.left = (e.clientX + 12) + 'px'; tip.style.top = (e.clientY + 12) + 'px';
        tip.style.display = 'block';
      });
      canvas.addEventListener('mouseleave', function () { tip.style.display = 'none'; });
    }
  }
  const only = document.getElementById('only-diff');
  function filter() {
    const on = only && only.checked;
    for (const table of document.querySelectorAll('table.rows')) {
      let shown = 0, all = 0;
      for (const tr of table.querySelectorAll('tbody tr')) {
        const differs = tr.dataset.differs === '1';
        tr.hidden = on && !differs;
        if (!tr.classList.contains('reason')) { all++; if (!tr.hidden) shown++; }
      }
      const counter = table.parentNode.querySelector('.rowcount .shown');
      if (counter) counter.textContent = shown;
    }
  }
  if (only) {
    only.checked = location.hash === '#differences';
    only.addEventListener('change', filter);
  }
  filter();
})();
)JS";

} // namespace

std::string html_escape(const std::string &s) {
    std::string out;
    out.reserve(s.size());
    for (char c : s)
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c;
        }
    return out;
}

void html_begin(std::ostream &os, const std::string &title) {
    os << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
          "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
          "<title>"
       << html_escape(title) << "</title>\n<style>" << kStyle
       << "</style>\n</head>\n<body>\n<main>\n";
}

void html_end(std::ostream &os) {
    os << "</main>\n<script>" << kScript << "</script>\n</body>\n</html>\n";
}

} // namespace drelsim
