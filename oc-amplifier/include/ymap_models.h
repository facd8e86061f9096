// Namespaces and paths that more than one file of the plug-in writes. Only texts, no behaviour.
#pragma once

// "amplfier" is the module's published spelling; clients send it so.
#define OPENCONFIG_NS "http://openconfig.net/yang/optical-amplfier"
#define OPTICS_CFG_NS "http://korvex.example/ns/yang/Korvex-controller-optics-cfg"
#define IFMGR_CFG_NS "http://korvex.example/ns/yang/Korvex-ifmgr-cfg"
#define OTS_OPER_NS "http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper"
#define OPTICS_OPER_NS "http://korvex.example/ns/yang/Korvex-controller-optics-oper"
#define PMENGINE_OPER_NS "http://korvex.example/ns/yang/Korvex-pmengine-oper"

#define AMPLIFIER_PATH "/optical-amplifier/amplifiers/amplifier"
#define CHANNEL_PATH "/optical-amplifier/supervisory-channels/supervisory-channel"

#define INTERFACE_PATH "/interface-configurations/interface-configuration"
#define OPTICS_CONFIG_PATH INTERFACE_PATH "/optics"
// As the framework is told of the lists in it.
#define AUGMENTED_OPTICS_PATH "/a1:interface-configurations/a1:interface-configuration/optics"

#define OTS_PORT_PATH "/ots-oper/ots-ports/ots-port"
#define OTS_INFO_PATH OTS_PORT_PATH "/ots-info"
#define OTS_LANE_PATH OTS_INFO_PATH "/lane-data"

#define OPTICS_PORT_PATH "/optics-oper/optics-ports/optics-port"
#define OPTICS_LANE_PATH OPTICS_PORT_PATH "/optics-lanes/optics-lane"

#define PORT_HISTORY_PATH                                                                                              \
    "/performance-management-history/global/periodic/optics-history/optics-port-histories/optics-port-history"
#define SECOND30_PATH                                                                                                  \
    PORT_HISTORY_PATH "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history"
#define TIME_LINE_PATH                                                                                                 \
    SECOND30_PATH                                                                                                      \
    "/optics-second30-optics-time-line-instances/optics-second30-optics-time-line-instance"

// A native leaf as rows name it, namespace and path, by where it stands.
#define OPTICS_CONFIG(leaf)                                                                                            \
    { OPTICS_CFG_NS, OPTICS_CONFIG_PATH leaf }
#define OTS_INFO(leaf)                                                                                                 \
    { OTS_OPER_NS, OTS_INFO_PATH leaf }
#define OTS_LANE(leaf)                                                                                                 \
    { OTS_OPER_NS, OTS_LANE_PATH leaf }
#define OPTICS_LANE(leaf)                                                                                              \
    { OPTICS_OPER_NS, OPTICS_LANE_PATH leaf }
#define TIME_LINE(leaf)                                                                                                \
    { PMENGINE_OPER_NS, TIME_LINE_PATH leaf }
