// The recorder's status page: what it hears, what it was sent, and how its firmware is. It asks the test calls each
// second, so it works from this machine only.
#pragma once

namespace lumo::recorder
{

inline constexpr const char* kStatusPage = R"html(<!doctype html>
<html lang="en"><meta charset="utf-8"><title>Recorder status</title>
<style>
body { font: 15px/1.5 system-ui, sans-serif; margin: 2rem auto; max-width: 60rem; padding: 0 1rem; color: #1d2730; }
h1 { font-size: 1.3rem; } h2 { font-size: 1.05rem; margin: 1.6rem 0 .4rem; }
table { border-collapse: collapse; width: 100%; } th, td { text-align: left; padding: .25rem .8rem .25rem 0; }
th { font-weight: 600; border-bottom: 1px solid #ccd4da; } td { border-bottom: 1px solid #eef1f3; }
code { font-size: .8rem; word-break: break-all; } progress { width: 16rem; } .quiet { color: #74808a; }
</style>
<h1>Recorder status</h1>
<p id="lost" class="quiet" hidden>The recorder does not answer.</p>
<h2>Firmware</h2><p id="firmware"></p>
<h2>Alarms</h2><p id="events"></p><table id="alarms"><thead><tr><th>Kind<th>Channel<th><th></thead><tbody></table>
<p><select id="kind"></select> <input id="channel" type="number" min="0" value="0"> <button id="raise">Raise</button></p>
<h2>Talk</h2><table id="talk"><thead><tr><th>Channel<th>Heard<th>Largest gap<th>Says back<th>Talk<th>File</thead><tbody></table>
<h2>Two lenses</h2><table id="lenses"><thead><tr><th>Channel<th>Stream<th>Scale</thead><tbody></table>
<h2>Received</h2><table id="files"><thead><tr><th>What<th>Bytes<th>SHA-256<th>File</thead><tbody></table>
<script>
const states = ["receiving", "done", "writing", "failed"];
function fill(id, rows, none) {
  const body = document.querySelector(`#${id} tbody`);
  body.replaceChildren(...(rows.length ? rows : [[none]]).map(cells => {
    const tr = document.createElement("tr");
    for (const text of cells) {
      const td = document.createElement("td");
      td.append(text);
      tr.append(td);
    }
    return tr;
  }));
}
async function ask(path) {
  const reply = await fetch(path);
  return reply.ok ? reply.json() : null;
}
async function setAlarm(kind, channel, on) {
  await fetch("/api/alarm", { method: "POST", body: JSON.stringify({ kind, channel, on }) });
  await show();
}
for (const kind of ["motion", "tamper", "loss", "input", "storage", "network", "human", "face"])
  document.querySelector("#kind").append(new Option(kind));
document.querySelector("#raise").onclick = () =>
  setAlarm(document.querySelector("#kind").value, +document.querySelector("#channel").value, true);
function clearButton(alarm) {
  const button = document.createElement("button");
  button.textContent = "Clear";
  button.onclick = () => setAlarm(alarm.kind, alarm.channel, false);
  return button;
}
async function show() {
  try {
    const device = await ask("/api/device");
    const up = device.upgrade;
    const bar = up.busy && up.total > 0 ? `<progress max="${+up.total}" value="${+up.sent}"></progress>` : "";
    document.querySelector("#firmware").innerHTML =
      `<code></code> ${up.total > 0 ? "last upgrade: " + states[up.state] : "never upgraded"} ${bar}`;
    document.querySelector("#firmware code").textContent = device.firmware;
    const alarms = await ask("/api/alarm");
    document.querySelector("#events").textContent = `${alarms.subscriptions} subscribed, ${alarms.changes} changes, ` +
      `${alarms.sent} events sent, ${alarms.kept} kept, ${alarms.dropped} dropped`;
    fill("alarms", alarms.on.map(a => [a.kind, a.channel, "on", clearButton(a)]), "all is quiet");
    const rooms = [];
    for (let c = 0; ; ++c) {
      const room = await ask(`/api/talk?channel=${c}`);
      if (!room) break;
      rooms.push([c, `${(room.bytes / 8000).toFixed(1)} s`, `${room.largestGapMs.toFixed(0)} ms`,
        room.tone ? `${room.tone} Hz` : "silence", room.talking ? "running" : "none", room.file]);
    }
    fill("talk", rooms, "no channel has a loudspeaker");
    fill("lenses", device.lenses.map(l => [l.channel < 0 ? "device" : l.channel, l.stream, l.times.toFixed(1)]), "as they were");
    fill("files", device.files.map(f => [f.kind, f.size, f.sha256, f.path]).reverse(), "nothing yet");
    document.querySelector("#lost").hidden = true;
  } catch {
    document.querySelector("#lost").hidden = false;
  }
}
show();
setInterval(show, 1000);
</script>
</html>
)html";

} // namespace lumo::recorder
