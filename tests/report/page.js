// Makes reports of invented fleets with the tool, and looks at them as people do: in a browser.
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { createRequire } from "node:module";
import { FileSystemConfigLoader, HtmlValidate } from "html-validate";
import puppeteer from "puppeteer-core";

const tool = path.resolve(process.argv[2]);
const axe = fs.readFileSync(createRequire(import.meta.url).resolve("axe-core"), "utf8");
const hostile = "</bdi><script>alert(1)</script>\"'&\u202e";
let failures = 0;

function expect(holds, what) {
  if (holds) return;
  failures += 1;
  console.log(`FAILED: ${what}`);
}

// --- Fleets: a list of [server, document]

const system = (at) => ({ BIOSVersion: at % 9 ? "C41200.04.17.0031" : "C41200.04.12.0004", FWBootVersion: "0.18" });
const setting = (section, key, file, machine, file_text = "", machine_text = "") => ({ section, key, file, file_text, machine, machine_text });
const verified = (at, different, messages = []) => ({
  schema: "saverestore-verify/1", file: "base.ini", mode: "all", compared: 48, system: system(at), different, messages,
});

function fleet() {
  const quiet = setting("BIOS::Main", "Quiet Boot", "1", "0", "Enabled", "Disabled");
  const power = setting("POWER", "PowerRestorePolicy", "RESTORE", "OFF");
  const threads = setting("BIOS::Processor Configuration", "Hyper-Threading Tech", "1", "0", "Enabled", "Disabled");
  const waits = { setting: "POWER::PowerRestorePolicy", time: "", fault: false, waiting: true, text: "waits for the boot" };
  return Array.from({ length: 40 }, (_, at) => {
    const name = `web-${String(at + 1).padStart(2, "0")}`;
    if (at === 39) return [name, verified(at, [setting(hostile, hostile, hostile, hostile)])];
    if (at === 38) return [name, { ...verified(at, []), own: [setting("CHANNEL::LAN1", "HostName", "web", name)] }];
    if (at === 11) return [name, { schema: "saverestore-failure/1", exit: 69, text: "error 2048: the target does not answer" }];
    if (at === 23) return [name, { schema: "saverestore-failure/1", exit: 77, text: "error 2055: the login was refused" }];
    if (at % 13 === 5) return [name, verified(at, [quiet, power], [waits])];
    if (at % 8 === 2) return [name, verified(at, [quiet])];
    if (at % 16 === 7) return [name, verified(at, [threads, power])];
    return [name, verified(at, [])];
  });
}

function large(servers) {
  return Array.from({ length: servers }, (_, at) => [`node-${at + 1}`, verified(at, Array.from({ length: 6 }, (_, n) => {
    const which = (at * 7 + n * 97) % 600;
    return setting(`BIOS::Menu ${which % 24}`, `Setting ${which}`, "1", "0", "Enabled", "Disabled");
  }))]);
}

function restored() {
  const change = (section, key, from, from_text, to, to_text) => ({ section, key, path: "", from, from_text, to, to_text });
  const outcome = (of, name, reason = "") => ({ section: of.section, key: of.key, path: "", outcome: name, wanted: of.to, present: of.from, reason });
  const changes = [
    change("POWER", "PowerRestorePolicy", "RESTORE", "Restore", "OFF", "Off"),
    change("BIOS::Main", "Quiet Boot", "1", "Enabled", "0", "Disabled"),
    change("BIOS::Main", "Boot Guard", "0", "Disabled", "1", "Enabled"),
  ];
  return [["web-01", {
    schema: "saverestore-restore/1", file: "base.ini", mode: "all", backup: "/var/lib/saverestore/web-01/000001.ini", system: system(1), changes, messages: [],
    settings: [outcome(changes[0], "applied"), outcome(changes[1], "pending until the next boot"), outcome(changes[2], "not applied", "the setup does not allow it at present")],
  }]];
}

// --- Looking at a page

async function look(browser, name, documents, isShown) {
  fs.rmSync(name, { recursive: true, force: true });
  fs.mkdirSync(name);
  for (const [server, document] of documents) fs.writeFileSync(`${name}/${server}.json`, JSON.stringify(document));
  const line = execFileSync(tool, ["report", "--overwrite", `${name}.html`, name], { encoding: "utf8" }).trim();
  const html = fs.readFileSync(`${name}.html`, "utf8");

  const page = await browser.newPage();
  page.on("console", (message) => expect(false, `${name}: the browser says ${message.text()}`));
  page.on("pageerror", (fault) => expect(false, `${name}: ${fault}`));
  page.on("dialog", () => expect(false, `${name}: a text of a server became a script`));
  await page.setViewport({ width: 1280, height: 900 });
  const begin = performance.now();
  await page.goto(`file://${path.resolve(name)}.html`);
  await page.evaluate(() => new Promise(requestAnimationFrame));
  console.log(`${name}: ${documents.length} servers, ${Math.round(html.length / 1000)} kB, shown in ${Math.round(performance.now() - begin)} ms: ${line}`);
  expect((await page.$eval("h1", (heading) => heading.textContent)) === line, `${name}: the first line is the tool's`);
  if (isShown) {
    await check(page, name, html);
    await filter(page, name);
  }
  await page.close();
  return html;
}

async function check(page, name, html) {
  const validate = new HtmlValidate(new FileSystemConfigLoader({ root: true, extends: ["html-validate:recommended"] }));
  for (const result of (await validate.validateString(html)).results) {
    for (const found of result.messages) expect(false, `${name}: ${found.line}: ${found.ruleId}: ${found.message}`);
  }
  await page.evaluate(axe);
  for (const scheme of ["light", "dark"]) {
    await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    const { violations, passes } = await page.evaluate(() => globalThis.axe.run({ preload: false }));
    for (const found of violations) expect(false, `${name}, ${scheme}: ${found.id}: ${found.nodes[0].html}`);
    expect(passes.length > 20, `${name}: axe has looked`);
  }
  await page.screenshot({ path: `${name}-dark.png` });
  await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: "light" }]);
  for (const width of [1280, 400]) {
    await page.setViewport({ width, height: 900 });
    await page.screenshot({ path: `${name}-${width}.png` });
    const isWider = await page.evaluate(() => document.documentElement.scrollWidth > innerWidth);
    expect(!isWider, `${name}: the page is wider than ${width} pixels`);
  }
}

async function filter(page, name) {
  const shown = () => page.$$eval("details.server", (all) => all.filter((one) => !one.hidden).length);
  const all = await shown();
  await page.type("#filter input", "web-01");
  expect((await shown()) === 1, `${name}: the filter leaves one server of ${all}, not ${await shown()}`);
  await page.$eval("#filter input", (input) => { input.value = ""; input.dispatchEvent(new Event("input")); });
  expect((await shown()) === all, `${name}: without a filter all servers are there again`);
  await page.$eval("details.group:last-of-type", (group) => { group.open = false; });
  const summary = await page.$("details.group:last-of-type > summary");
  await summary.click();
  expect(await page.$eval("details.group:last-of-type", (group) => group.open), `${name}: a click opens a group`);
}

const browser = await puppeteer.launch({ executablePath: "/usr/bin/chromium", args: ["--no-sandbox", "--disable-gpu"] });
try {
  await look(browser, "fleet", fleet(), true);
  await look(browser, "one", restored(), true);
  const html = await look(browser, "large", large(200), false);
  expect(html.length < 500_000, "200 servers of 600 settings, 1 % of them different, need less than 500 kB");
  await look(browser, "larger", large(2000), false);
} finally {
  await browser.close();
}
console.log(failures ? `${failures} failed` : "the report is as it should be");
process.exitCode = failures ? 1 : 0;
