// Runs the journeys, each in a browser profile of its own, and reports them.
import { createRequire } from 'node:module';
import { parseArgs } from 'node:util';
import { join, resolve } from 'node:path';
import { mkdirSync } from 'node:fs';
import { Gateway } from './gateway.mjs';
import { Visit } from './visit.mjs';
import { postAll, records } from './seed.mjs';
import { liveJourneys } from './live.mjs';
import { exploreJourneys } from './explore.mjs';
import { hostileJourneys } from './hostile.mjs';
import { accessJourneys } from './access.mjs';
import { longJourneys } from './long.mjs';

const kSeeded = 1200; // records in the store
const kAtOnce = 3;    // journeys; they wait more than they compute

const { values: options, positionals: chosen } = parseArgs({
  allowPositionals: true,
  options: {
    gateway: { type: 'string' }, browser: { type: 'string' }, folder: { type: 'string' },
    store: { type: 'string', default: 'tav.db' }, pictures: { type: 'string' }, long: { type: 'boolean', default: false },
  },
});
// The driver is installed in the build folder, not beside this file.
const { chromium } = createRequire(join(options.folder, 'package.json'))('playwright-core');

async function run([name, journey], world) {
  const begin = performance.now();
  const visit = await Visit.begin(world, name);
  let failure = null;
  try {
    await journey(visit, world);
    visit.checkProblems();
  } catch (error) {
    failure = error;
    await visit.keepPicture(join(options.folder, `failed-${name}.png`));
  }
  await visit.end();
  const time = `${((performance.now() - begin) / 1000).toFixed(1)} s`;
  console.log(`${failure ? 'FAILED' : 'ok    '}  ${name.padEnd(24)} ${time}`);
  if (failure) {
    console.log(`${failure.stack ?? failure}\n${visit.problems.join('\n')}\n  at ${visit.lastAddress}`);
  }
  return failure === null;
}

async function main() {
  const journeys = { ...liveJourneys, ...exploreJourneys, ...hostileJourneys, ...accessJourneys,
                     ...(options.long ? longJourneys : {}) };
  const unknown = chosen.filter((name) => !(name in journeys));
  if (unknown.length > 0) {
    throw new Error(`no such journey: ${unknown}; there are ${Object.keys(journeys)}`);
  }
  if (options.pictures) {
    mkdirSync(options.pictures, { recursive: true });
  }
  const folder = (name) => join(options.folder, name);
  const world = { pictures: options.pictures, folder, seeded: records(kSeeded),
                  storeOption: ['--store', options.store] };
  const gateways = [];
  world.start = async (...parameters) => {
    gateways.push(await Gateway.start(resolve(options.gateway), ...parameters));
    return gateways.at(-1);
  };
  let passed = true;
  try {
    world.store = await world.start(folder('store'), world.storeOption);
    await postAll(world.store.url, world.seeded);
    world.browser = await chromium.launch({ executablePath: options.browser, args: ['--no-sandbox'] });
    const waiting = Object.entries(journeys)
      .filter(([name]) => chosen.length === 0 || chosen.includes(name));
    const work = async () => {
      while (waiting.length > 0) {
        passed = (await run(waiting.shift(), world)) && passed;
      }
    };
    await Promise.all(Array.from({ length: kAtOnce }, work));
  } finally {
    const ends = await Promise.allSettled([world.browser?.close(),
                                           ...gateways.map((gateway) => gateway.stop())]);
    for (const { reason } of ends.filter(({ status }) => status === 'rejected')) {
      console.log(`FAILED  at the end: ${reason}`);
      passed = false;
    }
  }
  return passed;
}

process.exitCode = (await main()) ? 0 : 1;
