// Walkers of the plug-in that are called by name: where a request, a list entry, or an answer of each module begins.
// Knows no tree.
#pragma once

#include "yfw_platform.h"

using Walker = cerrno(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);

extern "C" {
Walker ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier;
Walker ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier_amplifiers_amplifier;
Walker ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier_amplifier_config;
Walker ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_augment_lvla_interface_configuration;
Walker ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations;
Walker ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_globalinterfaceconfiguration;
Walker ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper;
Walker ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper;
Walker ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory;
}
