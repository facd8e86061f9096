// A stream, a Set and a Get with grpc-js over the project's own .proto files. Prints what it saw, as JSON, one a line.
// Arguments: the folder of the .proto files, the server's port, and user and password.
'use strict';
const grpc = require('@grpc/grpc-js');
const loader = require('@grpc/proto-loader');

const [protos, port, username, password] = process.argv.slice(2);
const definition = loader.loadSync('gnmi.proto', { keepCase: true, includeDirs: [protos], enums: String, longs: String, oneofs: true });
const { gnmi } = grpc.loadPackageDefinition(definition);
const client = new gnmi.gNMI(`127.0.0.1:${port}`, grpc.credentials.createInsecure());
const metadata = new grpc.Metadata();
metadata.set('username', username);
metadata.set('password', password);

const gain = {
  elem: [{ name: 'optical-amplifier' }, { name: 'amplifiers' }, { name: 'amplifier', key: { name: '0/1-AMP-PRE' } },
    { name: 'config' }, { name: 'target-gain' }],
};
const unary = (name, request) => new Promise((resolve, reject) =>
  client[name](request, metadata, (error, response) => (error ? reject(error) : resolve(response))));
const show = (word, value) => console.log(JSON.stringify({ [word]: value }));

async function main() {
  const capabilities = await unary('Capabilities', {});
  show('version', capabilities.gNMI_version);
  const stream = client.Subscribe(metadata);
  stream.write({ subscribe: { mode: 'STREAM', encoding: 'PROTO', subscription: [{ path: gain, mode: 'ON_CHANGE' }] } });
  let synchronized = false;
  await new Promise((resolve, reject) => {
    stream.on('error', reject);
    stream.on('data', async (response) => {
      try {
        if (response.sync_response) {
          synchronized = true;
          const set = await unary('Set', { update: [{ path: gain, val: { double_val: 11.3 } }] });
          show('set', set.response.map((one) => one.op));
        } else if (synchronized) {
          show('seen', response.update.update[0].val.double_val);
          stream.removeListener('error', reject);
          stream.on('error', () => {});
          stream.cancel();
          resolve();
        }
      } catch (error) {
        reject(error);
      }
    });
  });
  const answer = await unary('Get', { path: [gain], encoding: 'JSON_IETF' });
  show('got', answer.notification[0].update[0].val.json_ietf_val.toString());
  const refusal = await unary('Set', { update: [{ path: gain, val: { double_val: -1 } }] }).catch((error) => error.code);
  show('refused', refusal);
  client.close();
}

main().catch((error) => {
  console.error(String(error));
  process.exit(1);
});
