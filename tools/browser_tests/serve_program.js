// tarnhost serve for a test: on ports that the system chose, with a policy that the test writes.
'use strict';
const {spawn} = require('node:child_process');
const path = require('node:path');
const readline = require('node:readline');

const {root} = require('./browser.js');

const startTime = 60000;
const endTime = 30000;

// events: what it has told so far. ended: its exit code, once it ended.
async function startServe(policy, ...options) {
  const program = process.env.TARN_HOST_PROGRAM || path.join(root, 'build/windows/bin/tarnhost.exe');
  const child = spawn(path.join(root, 'cmake/wine-run'), [program, '--json', '--policy', `Z:${policy}`, 'serve',
    '--proxy', '127.0.0.1:0', '--status', '127.0.0.1:0', '--socks', 'off', '--dns', 'off', '--drain-seconds', '1',
    ...options], {cwd: root, env: {...process.env, TARN_WINE_KEEP: '60'}, stdio: ['ignore', 'pipe', 'pipe'],
    detached: true});
  const run = {events: [], errors: ''};
  run.ended = new Promise(done => child.on('exit', done));
  child.stderr.on('data', text => { run.errors += text; });
  const started = new Promise((done, fail) => {
    const timer = setTimeout(() => fail(new Error(`serve did not start: ${run.errors}`)), startTime);
    readline.createInterface({input: child.stdout}).on('line', line => {
      const event = JSON.parse(line);
      run.events.push(event);
      if (event.type === 'serve' && event.event === 'started') { clearTimeout(timer); done(event); }
    });
    child.on('exit', code => { clearTimeout(timer); fail(new Error(`serve ended with ${code}: ${run.errors}`)); });
  });
  // Wine makes Ctrl+C of the signal.
  run.stop = async () => {
    const kill = signal => { try { process.kill(-child.pid, signal); } catch { /* it has ended */ } };
    kill('SIGINT');
    const late = setTimeout(() => kill('SIGKILL'), endTime);
    const code = await run.ended;
    clearTimeout(late);
    return code;
  };
  try {
    const event = await started;
    run.proxy = event.proxy;
    run.status = event.status;
  } catch (mistake) {
    await run.stop();
    throw mistake;
  }
  return run;
}

module.exports = {startServe};
