// The client preview's player page in a real browser (Debian's Chromium, headless): for each of the
// three formats it loads cleanly, lists the disc, plays its audio, answers the transport and the
// keys, cycles the time modes and builds the approval mail; hostile titles stay text.
//
// Self-contained: orvane-cli (ORVANE_CLI) writes a demo project from synthesised audio into a private
// folder, the test gives it hostile CD-Text, and orvane-cli preview makes the pages.

import { test, before, after } from "node:test";
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { pathToFileURL } from "node:url";
import { chromium } from "playwright-core";

const CLI = process.env.ORVANE_CLI;
const CHROMIUM = process.env.ORVANE_CHROMIUM || "/usr/bin/chromium";

const ALBUM_TITLE = "A/B: Live";
const HOSTILE_TITLE = "</script><script>window.__pwned = 'title'</script>";
const HOSTILE_PERFORMER = "<img src=x onerror=\"window.__pwned = 'performer'\">";
const LONG_TITLE = "A title far too long to fit the window of the CD-Text display at any width";
const EMAIL = "client@example.com";

let work;
let browser;
const pages = {}; // format -> { url, manifest }

function cli(...args) {
  return execFileSync(CLI, args, { encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] }).trim();
}

// The manifest as the page holds it, read back from the page's own script text.
function manifestOf(html) {
  const start = html.indexOf("const MANIFEST = ") + "const MANIFEST = ".length;
  const end = html.indexOf(";\nconst M = MANIFEST;");
  return JSON.parse(html.slice(start, end));
}

before(() => {
  assert.ok(CLI, "ORVANE_CLI must name the orvane-cli to test");
  work = fs.mkdtempSync(path.join(os.tmpdir(), "orvane-player-"));
  cli("demo", path.join(work, "demo"));
  const projectPath = path.join(work, "demo", "Demo.ovproj");
  const doc = JSON.parse(fs.readFileSync(projectPath, "utf8"));
  const p = doc.project;
  p.albumTitle = ALBUM_TITLE;
  p.albumPerformer = HOSTILE_PERFORMER;
  p.tracks[1].title = HOSTILE_TITLE;
  p.tracks[1].performer = HOSTILE_PERFORMER;
  p.tracks[2].title = LONG_TITLE;
  p.tracks[2].preEmphasis = true;
  p.tracks[3].copyPermitted = true;
  fs.writeFileSync(projectPath, JSON.stringify(doc));

  const out = path.join(work, "out");
  fs.mkdirSync(out);
  for (const format of ["quality", "light", "smartphone"]) {
    const result = cli("preview", projectPath, out, "--format", format, "--email", EMAIL);
    const file = format === "smartphone" ? result : path.join(result, "player.html");
    pages[format] = { url: pathToFileURL(file).href, manifest: manifestOf(fs.readFileSync(file, "utf8")) };
  }
  // A second smartphone page without an address, in a folder of its own.
  const bare = path.join(work, "bare");
  fs.mkdirSync(bare);
  const file = cli("preview", projectPath, bare, "--format", "smartphone");
  pages.bare = { url: pathToFileURL(file).href, manifest: manifestOf(fs.readFileSync(file, "utf8")) };
});

after(async () => {
  if (browser) await browser.close();
  if (work) fs.rmSync(work, { recursive: true, force: true });
});

// A fresh page on the player with every console error and page error collected, and the approval
// link caught where the page hands it to the browser.
async function open(format) {
  if (!browser) {
    browser = await chromium.launch({
      executablePath: CHROMIUM,
      args: ["--no-sandbox", "--autoplay-policy=no-user-gesture-required", "--mute-audio"],
    });
  }
  const page = await browser.newPage({ viewport: { width: 720, height: 900 } });
  const errors = [];
  page.on("console", (m) => { if (m.type() === "error") errors.push(m.text()); });
  page.on("pageerror", (e) => errors.push(String(e)));
  page.on("dialog", (d) => { errors.push("dialog: " + d.message()); d.dismiss(); });
  await page.addInitScript(() => {
    window.__links = [];
    HTMLAnchorElement.prototype.click = function () { window.__links.push(this.getAttribute("href")); };
  });
  await page.goto(pages[format].url);
  // Ready when the audio knows its length.
  await page.waitForFunction(() => document.getElementById("audio").readyState >= 1, null, { timeout: 20000 });
  return { page, errors, manifest: pages[format].manifest };
}

const text = (page, id) => page.$eval("#" + id, (el) => el.textContent);
const audioState = (page) =>
  page.$eval("#audio", (a) => ({ t: a.currentTime, paused: a.paused, duration: a.duration }));
async function seek(page, seconds) {
  await page.$eval("#audio", (a, s) => { a.currentTime = s; }, seconds);
  await page.waitForFunction(() => !document.getElementById("audio").seeking);
}

for (const format of ["quality", "light", "smartphone"]) {
  test(`${format}: the page shows the disc and hostile text stays text`, async () => {
    const { page, errors, manifest } = await open(format);
    assert.equal(await text(page, "album"), ALBUM_TITLE);
    assert.equal(await text(page, "perf"), HOSTILE_PERFORMER);
    assert.equal(await text(page, "badge"), format === "quality" ? "OPRQ" : "OPRL");
    assert.equal(await text(page, "meta"),
      ["5 tracks", manifest.album.totalMSF + " (M:S:F)", "UPC " + manifest.album.mcn,
        format === "quality" ? "FLAC" : "AAC"].join("   \u2022   "));
    const rows = await page.$$eval("#rows tr", (trs) => trs.map((tr) => [...tr.cells].map((c) => c.textContent)));
    assert.equal(rows.length, 5);
    assert.deepEqual(rows.map((r) => r[0]), ["01", "02", "03", "04", "05"]);
    assert.equal(rows[1][1], HOSTILE_TITLE);
    assert.equal(rows[1][2], HOSTILE_PERFORMER);
    assert.equal(rows[2][1], LONG_TITLE + "PRE");
    assert.equal(rows[3][1], manifest.tracks[3].title + "DCP");
    assert.equal(rows[0][3], "0:23"); // 25.49 s end - 2.0 s start
    // Nothing of the hostile text became markup or ran.
    assert.equal(await page.evaluate(() => window.__pwned), undefined);
    assert.equal(await page.$$eval("img", (imgs) => imgs.length), 0);
    assert.equal(await page.$$eval("script", (s) => s.length), 1);
    // One mark per track start after the first.
    assert.equal(await page.$$eval("#ticks .tick", (t) => t.length), 4);
    assert.equal(await text(page, "cdtLabel"), "TITLE");
    assert.equal(await text(page, "cdtStrip"), manifest.tracks[0].title);
    assert.equal(await text(page, "footnote"), "Approval will be sent to " + EMAIL);
    // The CD-Text column wraps at both ends, and shows a dash for an empty item.
    assert.equal(await text(page, "cdColLabel"), "PERFORMER");
    await page.click("#cdColL");
    assert.equal(await text(page, "cdColLabel"), "MESSAGE");
    assert.equal(await page.$eval("#rows tr td.cdv", (td) => td.textContent), "\u2014");
    await page.click("#cdColR");
    await page.click("#cdColR");
    assert.equal(await text(page, "cdColLabel"), "SONGWRITER");
    assert.deepEqual(errors, []);
    await page.close();
  });

  test(`${format}: the transport and the keys move the real audio`, async () => {
    const { page, errors, manifest } = await open(format);
    const starts = manifest.tracks.map((t) => t.startSeconds);
    const total = manifest.album.totalSeconds;
    const near = (a, b) => Math.abs(a - b) < 0.05;

    // The audio is the whole disc.
    assert.ok(Math.abs((await audioState(page)).duration - total) < 0.1);

    await page.click("#play");
    await page.waitForFunction(() => document.getElementById("audio").currentTime > 0.3, null, { timeout: 15000 });
    assert.equal((await audioState(page)).paused, false);
    // Next while playing goes on playing from track 2.
    await page.click("#next");
    let s = await audioState(page);
    // The element reports its position rounded to the sample, so a start on a frame edge may read a
    // hair early; the page itself treats anything within a millisecond as the track.
    assert.ok(s.t >= starts[1] - 0.001 && s.t < starts[1] + 1, `next: ${s.t}`);
    assert.equal(s.paused, false);
    await page.waitForFunction((t) => document.getElementById("audio").currentTime > t + 0.2, starts[1],
      { timeout: 15000 });
    assert.equal(await text(page, "trk"), "TRK 02");
    await page.click("#play");
    assert.equal((await audioState(page)).paused, true);

    // Previous: 1.5 s into track 3 goes to track 2, 2.5 s in to the start of track 3.
    await seek(page, starts[2] + 1.5);
    await page.click("#prev");
    assert.ok(near((await audioState(page)).t, starts[1]));
    await seek(page, starts[2] + 2.5);
    await page.click("#prev");
    assert.ok(near((await audioState(page)).t, starts[2]));
    // At the first track, back to its start; next stops at the last.
    await seek(page, 1.0);
    await page.click("#prev");
    assert.ok(near((await audioState(page)).t, starts[0]));
    await seek(page, starts[4] + 1);
    await page.click("#next");
    assert.ok(near((await audioState(page)).t, starts[4] + 1));

    // Five seconds either way, clamped at the disc's ends.
    await seek(page, 10);
    await page.click("#fwd5");
    assert.ok(near((await audioState(page)).t, 15));
    await page.click("#back5");
    await page.click("#back5");
    assert.ok(near((await audioState(page)).t, 5));
    await page.click("#back5");
    await page.click("#back5");
    assert.ok(near((await audioState(page)).t, 0));

    // A click on the bar seeks in proportion.
    const box = await page.$eval("#bar", (b) => { const r = b.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width, h: r.height }; });
    await page.mouse.click(box.x + box.w * 0.5, box.y + box.h / 2);
    assert.ok(Math.abs((await audioState(page)).t - total * 0.5) < total * 0.01);
    // A click on a row's title seeks to its track.
    await page.click("#rows tr:nth-child(4) td.ttl");
    assert.ok(near((await audioState(page)).t, starts[3]));

    // Keys: Space plays and pauses without scrolling, the arrows act as next and previous.
    await page.evaluate(() => document.activeElement && document.activeElement.blur());
    await page.keyboard.press("Space");
    await page.waitForFunction(() => !document.getElementById("audio").paused);
    await page.keyboard.press("Space");
    assert.equal((await audioState(page)).paused, true);
    assert.equal(await page.evaluate(() => window.scrollY), 0);
    await seek(page, starts[1] + 0.5);
    await page.keyboard.press("ArrowRight");
    assert.ok(near((await audioState(page)).t, starts[2]));
    await page.keyboard.press("ArrowLeft");
    assert.ok(near((await audioState(page)).t, starts[1]));

    // Stop pauses and returns to the top.
    await page.click("#play");
    await page.click("#stop");
    s = await audioState(page);
    assert.equal(s.paused, true);
    assert.equal(s.t, 0);
    assert.deepEqual(errors, []);
    await page.close();
  });

  test(`${format}: the time modes cycle and the CD-Text follows the track`, async () => {
    const { page, errors, manifest } = await open(format);
    const t2 = manifest.tracks[1];
    await seek(page, t2.startSeconds + 3.2);
    await page.evaluate(() => document.getElementById("audio").dispatchEvent(new Event("timeupdate")));
    const compact = format === "smartphone";
    const labels = compact ? ["ELAP", "RMN", "TTL"] : ["ELAPSED", "REMAIN", "TOTAL"];
    const fmt = (t) => Math.floor(t / 60) + ":" + String(Math.floor(t) % 60).padStart(2, "0");
    assert.equal(await text(page, "mode"), labels[0]);
    assert.equal(await text(page, "time"), "0:03");
    await page.click("#timeblock");
    assert.equal(await text(page, "mode"), labels[1]);
    assert.equal(await text(page, "time"), "-" + fmt(t2.endSeconds - t2.startSeconds - 3.2));
    await page.click("#timeblock");
    assert.equal(await text(page, "mode"), labels[2]);
    assert.equal(await text(page, "time"), fmt(manifest.album.totalSeconds));
    await page.click("#timeblock");
    assert.equal(await text(page, "mode"), labels[0]);
    assert.equal(await text(page, "durHead"), compact ? "Dur" : "Duration");

    // Track 2's items: its hostile title, then the performer, as text; the arrows walk them.
    assert.equal(await text(page, "trk"), "TRK 02");
    assert.ok((await text(page, "cdtStrip")).startsWith(HOSTILE_TITLE));
    await page.click("#cdtR");
    assert.equal(await text(page, "cdtLabel"), "PERFORMER");
    // The item index survives a change of track where it still fits.
    await page.click("#next");
    assert.equal(await text(page, "cdtLabel"), "PERFORMER");
    // Track 3's long title shows twice and moves; a short value stands still, once.
    await page.click("#cdtL");
    assert.equal(await text(page, "cdtLabel"), "TITLE");
    assert.equal(await text(page, "cdtStrip"), LONG_TITLE + " ".repeat(10) + LONG_TITLE + " ".repeat(10));
    const shift = () => page.$eval("#cdtStrip", (el) => el.style.transform);
    const first = await shift();
    await page.waitForFunction((f) => document.getElementById("cdtStrip").style.transform !== f, first);
    await page.click("#cdtR");
    assert.equal(await text(page, "cdtStrip"), manifest.tracks[2].performer);
    assert.equal(await shift(), "");
    assert.deepEqual(errors, []);
    await page.close();
  });

  test(`${format}: Approve opens the exact approval mail`, async () => {
    const { page, errors, manifest } = await open(format);
    await page.click("#approve");
    const links = await page.evaluate(() => window.__links);
    const body = [
      "Album: " + ALBUM_TITLE,
      "Performer: " + HOSTILE_PERFORMER,
      "Format: " + manifest.format,
      "Token: " + manifest.token,
      "",
      "I approve this preview for release.",
    ].join("%0D%0A");
    assert.deepEqual(links, [
      "mailto:" + encodeURIComponent(EMAIL) + "?subject=" + encodeURIComponent("Preview APPROVED: " + ALBUM_TITLE)
        + "&body=" + body,
    ]);
    assert.match(manifest.token, /^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$/);
    assert.deepEqual(errors, []);
    await page.close();
  });
}

test("without an address the mail has no recipient and the footnote says so", async () => {
  const { page, errors, manifest } = await open("bare");
  assert.equal(await text(page, "footnote"), "Approve opens your email app with the approval message ready to send.");
  await page.click("#approve");
  const [link] = await page.evaluate(() => window.__links);
  assert.ok(link.startsWith("mailto:?subject=" + encodeURIComponent("Preview APPROVED: " + ALBUM_TITLE) + "&body="));
  // Every export has a token of its own.
  assert.notEqual(manifest.token, pages.smartphone.manifest.token);
  assert.deepEqual(errors, []);
  await page.close();
});
