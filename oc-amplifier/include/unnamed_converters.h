// The converters that no row names, as an export list: two are called by other functions only, one by none, and all are
// written out by hand. See ymap_export_kinds.h. Without include guard on purpose.
#include "ymap_export_kinds.h"

EXPORT(ConverterByHand, oc_opt_amp_state_instant_output_power_tot_to_low, no_row)
EXPORT(ConverterByHand, oc_opt_amp_state_super_ch_key_to_low, no_row)
EXPORT(ConverterByHand, oc_opt_amp_if_list_cfg_to_high, no_row)

#include "ymap_export_kinds_end.h"
