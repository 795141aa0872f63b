// A complete host in Node: converts a file, shows how far it has come, cancels on Ctrl-C.
//
//     node host.mjs SOURCE RESULT LOGS
//
// Set in the environment: as for host.py.
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import path from 'node:path';

const { ZANBURY_PROGRAM, ZANBURY_SERVERS, ZANBURY_SERVER_COMMAND } = process.env;
const { ZANBURY_IDENTITY_FILE, ZANBURY_PUBLIC_KEY_FILE } = process.env;

function environment(source, result, logs, privateDirectory) {
  return {
    ...process.env,
    EXPORT_FILE_PATH: source,
    EXPORT_DEST_PATH: result,
    EXPORT_LOGS_DIR_PATH: logs,
    EXPORT_INPUT_FIFO_PATH: path.join(privateDirectory, 'input'),
    EXPORT_OUTPUT_FIFO_PATH: path.join(privateDirectory, 'output'),
    EXPORT_TOOL: 'ZanburyConverter',
    EXPORT_TOOL_VERSION: '1.0',
    EXPORT_SERVER_DESTINATIONS: ZANBURY_SERVERS,
    EXPORT_SERVER_COMMAND_PATH: ZANBURY_SERVER_COMMAND,
    // Key texts are passed as they stand, their final line feed too.
    EXPORT_SERVER_IDENTITY: fs.readFileSync(ZANBURY_IDENTITY_FILE, 'utf8'),
    EXPORT_PUBLIC_KEY: fs.readFileSync(ZANBURY_PUBLIC_KEY_FILE, 'utf8'),
    EXPORT_RETRY_DELAY: '10',
    EXPORT_HOST_PID: String(process.pid),
  };
}

// Open for both directions: it neither waits for the program nor ends before it has begun.
function newFifo(file) {
  execFileSync('mkfifo', ['-m', '600', file]);
  return fs.openSync(file, fs.constants.O_RDWR | fs.constants.O_NONBLOCK);
}

// The value under a key of an XML property list; undefined when it is not there.
function valueOf(list, key) {
  const value = list.match(new RegExp(`<key>${key}</key>\\s*<[a-z]+>([^<]*)<`))?.[1];
  const characters = { '&lt;': '<', '&gt;': '>', '&amp;': '&' };
  return value?.replace(/&(lt|gt|amp);/g, (entity) => characters[entity]);
}

function show(list) {
  const type = valueOf(list, 'messageType');
  if (type === 'progressSection') console.log(valueOf(list, 'progressTitle') ?? '');
  if (type === 'progressStatus') console.log(`  ${valueOf(list, 'progressValue')}`);
}

// Cuts what comes into messages: a length in decimal, a line feed, an XML property list.
class Messages {
  pending = Buffer.alloc(0);

  take(bytes) {
    this.pending = Buffer.concat([this.pending, bytes]);
    for (let end; (end = this.pending.indexOf('\n') + 1) > 0; ) {
      const length = Number(this.pending.subarray(0, end - 1).toString('latin1'));
      if (!Number.isInteger(length)) this.pending = Buffer.alloc(0); // not a message: dropped
      if (!(this.pending.length >= end + length)) return;
      show(this.pending.subarray(end, end + length).toString());
      this.pending = this.pending.subarray(end + length);
    }
  }
}

// A byte, after two seconds SIGTERM, after five more SIGKILL; a further Ctrl-C: the next now.
class Cancellation {
  constructor(program, fifo) {
    const byte = () => fs.writeSync(fifo, '\x18');
    const kill = (signal) => () => program.kill(signal);
    this.steps = [[byte, 2], [kill('SIGTERM'), 5], [kill('SIGKILL'), 0]];
    process.on('SIGINT', () => this.next());
  }

  next() {
    clearTimeout(this.timer);
    const [step, patience] = this.steps.shift() ?? [() => {}, 0];
    step();
    if (patience > 0) this.timer = setTimeout(() => this.next(), patience * 1000);
  }
}

// What is left in a FIFO whose writer has ended.
function* rest(fifo) {
  const buffer = Buffer.alloc(65536);
  try {
    for (;;) yield buffer.subarray(0, fs.readSync(fifo, buffer));
  } catch (error) {
    if (error.code !== 'EAGAIN') throw error;
  }
}

const [source, result, logs] = process.argv.slice(2, 5).map((name) => path.resolve(name));
fs.mkdirSync(logs, { recursive: true });
const privateDirectory = fs.mkdtempSync(result + '.');
const fresh = path.join(privateDirectory, 'result');
const input = newFifo(path.join(privateDirectory, 'input'));
const output = newFifo(path.join(privateDirectory, 'output'));
const program = spawn(ZANBURY_PROGRAM, [], {
  env: environment(source, fresh, logs, privateDirectory),
  stdio: ['ignore', 'inherit', 'inherit'],
  detached: true, // the terminal's Ctrl-C is for the host alone
});
const messages = new Messages();
new Cancellation(program, input);
new net.Socket({ fd: output, writable: false }).on('data', (bytes) => messages.take(bytes));
program.on('exit', (code, signal) => {
  for (const bytes of rest(output)) messages.take(bytes);
  const hasResult = fs.existsSync(fresh);
  if (hasResult && code === 0) fs.renameSync(fresh, result);
  fs.rmSync(privateDirectory, { recursive: true });
  console.log(`Status ${code ?? signal}, ${hasResult ? 'a' : 'no'} result`);
  process.exit(code === 0 && !hasResult ? 1 : (code ?? 1));
});
