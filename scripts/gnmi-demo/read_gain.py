"""Reads the target gain of an amplifier over NETCONF with ncclient: HOST PORT AMPLIFIER."""

import re
import sys

from ncclient import manager

host, port, amplifier = sys.argv[1:]
wanted = """<optical-amplifier xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier>
<name>%s</name><config><target-gain/></config></amplifier></amplifiers></optical-amplifier>""" % amplifier
with manager.connect(host=host, port=int(port), username="rita", password="amplifier", hostkey_verify=False,
                     look_for_keys=False, allow_agent=False) as session:
    answer = session.get_config("running", filter=("subtree", wanted)).data_xml
print(re.search("<target-gain>(.*)</target-gain>", answer).group(1))
