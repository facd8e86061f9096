// Sets the target gain of an amplifier with grpc-js: ADDRESS:PORT CERTIFICATE AMPLIFIER GAIN PROTOS.
'use strict';
const fs = require('fs');
const grpc = require('@grpc/grpc-js');
const loader = require('@grpc/proto-loader');

const [address, certificate, amplifier, gain, protos] = process.argv.slice(2);
const definition = loader.loadSync('gnmi.proto', { keepCase: true, includeDirs: [protos], enums: String });
const { gnmi } = grpc.loadPackageDefinition(definition);
const client = new gnmi.gNMI(address, grpc.credentials.createSsl(fs.readFileSync(certificate)));
const metadata = new grpc.Metadata();
metadata.set('username', 'olga');
metadata.set('password', 'amplifier');
const path = {
  elem: [{ name: 'optical-amplifier' }, { name: 'amplifiers' }, { name: 'amplifier', key: { name: amplifier } },
    { name: 'config' }, { name: 'target-gain' }],
};
client.Set({ update: [{ path, val: { double_val: Number(gain) } }] }, metadata, (error, response) => {
  client.close();
  if (error) {
    console.error(String(error));
    process.exitCode = 1;
  } else {
    console.log(`grpc-js: ${response.response[0].op}, target-gain ${gain}`);
  }
});
