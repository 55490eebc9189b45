#include "report/PageAssets.h"

namespace Vexalor::MachineLearning
{

const char* const PAGE_STYLE = R"css(
:root {
  color-scheme: light dark;
  --ground: #ffffff; --raised: #f3f5f8; --text: #1a1f27; --quiet: #525c6b; --line: #c9d0da; --link: #0b57a8;
  --target: #0b62b8; --decided: #b45309; --error: #c81e3a; --annotated: #3f7d20; --signal: #9aa5b4;
  --output0: #7a1fa2; --output1: #00796b; --output2: #8d5a00; --output3: #ad1457; --shade: 11, 98, 184;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #12161c; --raised: #1c222b; --text: #e6eaf0; --quiet: #a3aebd; --line: #3a4452; --link: #7db8f5;
    --target: #5aa9f0; --decided: #f0a04b; --error: #ff6b81; --annotated: #8bc66a; --signal: #5b6675;
    --output0: #d7a3ee; --output1: #5fd0c0; --output2: #e3c063; --output3: #f49ac0; --shade: 90, 169, 240;
  }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 76rem; padding: 1rem; background: var(--ground); color: var(--text);
  font: 1rem/1.45 system-ui, "DejaVu Sans", sans-serif; }
h1 { font-size: 1.6rem; margin: 0 0 .5rem; }
h2 { font-size: 1.25rem; margin: 2rem 0 .5rem; }
h3 { font-size: 1.05rem; margin: 1.25rem 0 .25rem; overflow-wrap: anywhere; }
p { margin: .25rem 0 .75rem; max-width: 50rem; }
a { color: var(--link); }
nav ul { list-style: none; display: flex; flex-wrap: wrap; gap: .25rem 1rem; padding: 0; margin: .75rem 0; }
dl.about { display: grid; grid-template-columns: max-content 1fr; gap: .1rem 1rem; margin: 0; }
dl.about dt { color: var(--quiet); }
dl.about dd { margin: 0; overflow-wrap: anywhere; }
.warning { border: 2px solid var(--error); border-radius: .4rem; padding: .5rem .75rem; }
.figures { display: grid; grid-template-columns: repeat(auto-fit, minmax(9.5rem, 1fr)); gap: .75rem; margin: 1rem 0; }
.figures div { background: var(--raised); border-radius: .4rem; padding: .6rem .8rem; }
.figures b { display: block; font-size: 1.35rem; }
.figures span, .note, .caption { color: var(--quiet); font-size: .9rem; }
.scroll { overflow: auto; margin-bottom: 1.25rem; }
[aria-labelledby=recordings] .scroll { max-height: 34rem; }
.scroll:focus-visible, a:focus-visible, input:focus-visible, select:focus-visible { outline: 3px solid var(--link); }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
.caption { margin-bottom: .25rem; }
th, td { padding: .25rem .6rem; border-bottom: 1px solid var(--line); text-align: right; white-space: nowrap; }
th { font-weight: 600; }
tbody th, thead th:first-child, [aria-labelledby=findings] th { text-align: left; }
tbody th { white-space: normal; overflow-wrap: anywhere; min-width: 7rem; position: sticky; left: 0;
  background: var(--ground); }
.timeline tbody th { background: var(--raised); }
thead th { position: sticky; top: 0; background: var(--raised); }
td.share { background: rgba(var(--shade), var(--s)); }
td.share .note { color: inherit; }
td.right { font-weight: 700; }
.curves { display: flex; flex-wrap: wrap; gap: 1rem; }
.curve { margin: 0; flex: 1 1 17rem; max-width: 26rem; }
.curve svg { width: 100%; height: auto; display: block; }
.curve text { font-size: 11px; fill: var(--text); }
.grid { stroke: var(--line); fill: none; }
.line { stroke: var(--target); fill: none; stroke-width: 2; }
.point { fill: var(--error); stroke: var(--ground); stroke-width: 1.5; }
.timeline { background: var(--raised); border-radius: .4rem; padding: .1rem .8rem .6rem; margin: 1rem 0; }
.plot { overflow-y: hidden; margin-bottom: .25rem; }
.inner { position: relative; width: calc(100% * var(--zoom, 1)); padding-bottom: .1rem; }
.lane { margin-bottom: .25rem; }
.lane svg { display: block; width: 100%; background: var(--ground); }
.label { position: sticky; left: 0; display: inline-block; max-width: 100%; font-size: .8rem; color: var(--quiet); }
.key::before { content: ""; display: inline-block; width: .75em; height: .75em; margin-right: .25em;
  background: currentColor; }
.key { color: var(--text); white-space: nowrap; }
.key.signal::before { background: var(--signal); } .key.target::before { background: var(--target); }
.key.decided::before { background: var(--decided); } .key.error::before { background: var(--error); }
.key.output0::before { background: var(--output0); } .key.output1::before { background: var(--output1); }
.key.output2::before { background: var(--output2); } .key.output3::before { background: var(--output3); }
.lane path { vector-effect: non-scaling-stroke; stroke-width: 1px; }
path.signal { fill: var(--signal); stroke: var(--signal); }
.histogram { display: block; width: 10rem; height: 2rem; }
.histogram path { vector-effect: non-scaling-stroke; stroke-width: 1px; }
.histogram path.outline { fill: none; }
td.text { text-align: left; white-space: normal; overflow-wrap: anywhere; min-width: 14rem; }
path.output { fill-opacity: .3; stroke-opacity: .6; }
path.output0 { fill: var(--output0); stroke: var(--output0); } path.output1 { fill: var(--output1); stroke: var(--output1); }
path.output2 { fill: var(--output2); stroke: var(--output2); } path.output3 { fill: var(--output3); stroke: var(--output3); }
path.annotated { fill: var(--annotated); stroke: var(--annotated); }
path.target { fill: var(--target); stroke: var(--target); }
path.decided { fill: var(--decided); stroke: var(--decided); }
path.error { fill: var(--error); stroke: var(--error); }
.ticks { position: relative; height: 1.4rem; font-size: .75rem; color: var(--quiet); }
.ticks span { position: absolute; transform: translateX(-50%); }
.ticks span:first-child { transform: none; } .ticks span:last-child { transform: translateX(-100%); }
.cursor { position: absolute; top: 0; bottom: 1.4rem; width: 0; border-left: 2px solid var(--text); pointer-events: none; }
.controls { display: flex; flex-wrap: wrap; align-items: center; gap: .25rem 1rem; margin: .25rem 0 .5rem; }
.controls label { display: flex; align-items: center; gap: .4rem; }
.controls input { width: min(18rem, 55vw); }
.controls output { font-variant-numeric: tabular-nums; min-height: 1.5em; }
@media (max-width: 30rem) {
  body { padding: .6rem; }
  th, td { padding: .2rem .4rem; }
  .timeline { padding: .1rem .5rem .5rem; }
  .ticks span:nth-child(even) { display: none; }
}
)css";

const char* const PAGE_SCRIPT = R"js(
"use strict";
for (const figure of document.querySelectorAll(".timeline")) {
  const seconds = Number(figure.dataset.seconds);
  const inner = figure.querySelector(".inner");
  const cursor = figure.querySelector(".cursor");
  const slider = figure.querySelector("input");
  const output = figure.querySelector("output");
  let boxes;
  const readBoxes = () => [...figure.querySelectorAll("path.box")].map(path => ({
    kind: path.dataset.kind, name: path.dataset.name,
    spans: [...path.getAttribute("d").matchAll(/M(\d+) 0h(\d+)/g)].map(([, start, length]) => {
      const from = Number(path.dataset.offset) + start * path.dataset.unit;
      return [from, from + length * path.dataset.unit];
    })
  }));
  const toTime = time => {
    const hundredths = Math.round(time * 100), whole = Math.floor(hundredths / 100);
    const two = number => String(number).padStart(2, "0");
    const minutes = Math.floor(whole / 60), hours = Math.floor(minutes / 60);
    return (hours ? hours + ":" + two(minutes % 60) : minutes) + ":" + two(whole % 60) + "." + two(hundredths % 100);
  };
  const show = time => {
    boxes ??= readBoxes();
    const namesOf = kind => boxes.filter(box => box.kind === kind &&
      box.spans.some(([from, to]) => from <= time && time < to)).map(box => box.name);
    const parts = [toTime(time)];
    const annotated = namesOf("annotated");
    if (annotated.length) parts.push("annotated " + annotated.join(", "));
    for (const kind of ["target", "decided"])
      parts.push(kind + " " + (namesOf(kind).join(" or ") || figure.dataset.background || "none"));
    if (namesOf("error").length) parts.push("misclassified");
    cursor.hidden = false;
    cursor.style.left = 100 * time / seconds + "%";
    output.textContent = parts.join(", ");
    slider.setAttribute("aria-valuetext", output.textContent);
  };
  slider.addEventListener("input", () => {
    show(Number(slider.value));
    const plot = inner.parentElement, x = inner.clientWidth * slider.value / seconds;
    if (x < plot.scrollLeft || x > plot.scrollLeft + plot.clientWidth) plot.scrollLeft = x - plot.clientWidth / 2;
  });
  inner.addEventListener("pointermove", event => {
    const box = inner.getBoundingClientRect();
    const time = Math.min(Math.max((event.clientX - box.left) / box.width, 0), 1) * seconds;
    slider.value = time;
    show(time);
  });
  figure.querySelector("select").addEventListener("change", event => {
    inner.style.setProperty("--zoom", event.target.value);
    slider.dispatchEvent(new Event("input"));
  });
}
)js";

} // namespace Vexalor::MachineLearning
