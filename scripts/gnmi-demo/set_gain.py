"""Sets the target gain of an amplifier with Debian's grpcio: ADDRESS:PORT CERTIFICATE AMPLIFIER GAIN, and where protoc put
the messages in PYTHONPATH."""

import sys

import gnmi_pb2 as gnmi
import grpc

address, certificate, amplifier, gain = sys.argv[1:]
with open(certificate, "rb") as file:
    channel = grpc.secure_channel(address, grpc.ssl_channel_credentials(file.read()))
path = gnmi.Path(elem=[
    gnmi.PathElem(name="optical-amplifier"), gnmi.PathElem(name="amplifiers"),
    gnmi.PathElem(name="amplifier", key={"name": amplifier}), gnmi.PathElem(name="config"),
    gnmi.PathElem(name="target-gain"),
])
call = channel.unary_unary("/gnmi.gNMI/Set", request_serializer=gnmi.SetRequest.SerializeToString,
                           response_deserializer=gnmi.SetResponse.FromString)
response = call(gnmi.SetRequest(update=[gnmi.Update(path=path, val=gnmi.TypedValue(double_val=float(gain)))]),
                metadata=[("username", "olga"), ("password", "amplifier")], timeout=15)
print("grpcio: %s, target-gain %s" % (gnmi.UpdateResult.Operation.Name(response.response[0].op), gain))
