// grpc-js over the project's own .proto files, for tests in another language. Takes commands from standard input and
// tells what comes of them, JSON, one object a line; knows nothing of what is asked or expected.
//
// Argument: the folder of the .proto files. Commands, with the `id` of a call or of a connection:
//   {"connect": ADDRESS, "credentials": {"ca": PEM, "key": PEM, "certificate": PEM}}      or null for no TLS
//   {"disconnect": true}
//   {"open": "Get", "on": CONNECTION, "metadata": {}, "request": {}, "seconds": 60}       a stream without request
//   {"send": {}} {"half_close": true} {"cancel": true} {"pause": true} {"resume": true}   on a stream
// What comes of a call is {"id": 1, "response": {}} and at last {"id": 1, "code": 0, "details": ""}.
'use strict';
const readline = require('readline');
const grpc = require('@grpc/grpc-js');
const loader = require('@grpc/proto-loader');

const [protos] = process.argv.slice(2);
// Enumerations as numbers, as the server may tell those that no name is known of.
const definition = loader.loadSync('gnmi.proto',
  { keepCase: true, includeDirs: [protos], longs: String, enums: Number, bytes: String, json: true });
const { gnmi } = grpc.loadPackageDefinition(definition);

const clients = new Map();
const calls = new Map();
const tell = (message) => process.stdout.write(`${JSON.stringify(message)}\n`);

function connect({ id, connect: address, credentials }) {
  const pem = (text) => (text === undefined ? null : Buffer.from(text));
  clients.set(id, new gnmi.gNMI(address, credentials === null
    ? grpc.credentials.createInsecure()
    : grpc.credentials.createSsl(pem(credentials.ca), pem(credentials.key), pem(credentials.certificate)),
  { 'grpc.use_local_subchannel_pool': 1 }));
}

function open({ id, open: name, on, metadata: words, request, seconds }) {
  const client = clients.get(on);
  const metadata = new grpc.Metadata();
  for (const [key, value] of Object.entries(words)) metadata.set(key, value);
  const options = { deadline: Date.now() + seconds * 1000 };
  const end = (status) => tell({ id, code: status.code, details: status.details });
  if (request !== undefined) {
    client[name](request, metadata, options, (error, response) => {
      if (!error) tell({ id, response });
      end(error || { code: 0, details: '' });
    });
    return;
  }
  const call = client[name](metadata, options);
  calls.set(id, call);
  call.on('data', (response) => tell({ id, response }));
  call.on('error', () => {}); // its status is told below
  call.on('status', (status) => {
    calls.delete(id);
    end(status);
  });
}

function carryOut(command) {
  if (command.connect !== undefined) {
    connect(command);
  } else if (command.disconnect) {
    clients.get(command.id).close();
    clients.delete(command.id);
  } else if (command.open !== undefined) {
    open(command);
  } else {
    const call = calls.get(command.id);
    if (call === undefined) return; // it has ended
    if (command.send !== undefined) call.write(command.send);
    else if (command.half_close) call.end();
    else if (command.cancel) call.cancel();
    else if (command.pause) call.pause();
    else if (command.resume) call.resume();
  }
}

readline.createInterface({ input: process.stdin })
  .on('line', (line) => carryOut(JSON.parse(line)))
  .on('close', () => process.exit(0));
