// Names of the native modules' exported functions, and the declarations that all modules expand from their rows.
#pragma once

#include "ymap_exports.h"
#include "ymap_rows.h"

#define OPTICS_CFG(name) ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_##name
#define IFMGR_CFG(name) ymap_xo_oc_opt_amp_korvexifmgrcfg_##name
#define OTS_OPER(name) ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_##name
#define OPTICS_OPER(name) ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_##name
#define PMENGINE_OPER(name) ymap_xo_oc_opt_amp_korvexpmengineoper_##name

namespace ymap::native {

/// Converter of a leaf without OpenConfig leaf.
inline cerrno nothing(yfw_map_ctx /*ctx*/, const yfw_datatree * /*in*/, yfw_datatree * /*out*/) {
    return CERR_SUCCESS;
}

/// True when `tag` is one of a list's keys; a list may have none.
inline bool is_one_of(const char * /*tag*/) {
    return false;
}
template <class... Keys>
bool is_one_of(const char *tag, const char *key, Keys... further_keys) {
    return yfw_map_do_these_match(tag, key) != 0 || is_one_of(tag, further_keys...);
}

} // namespace ymap::native

#define NATIVE_EXPORT YMAP_DECLARE
#include "native_modules_exports.h"
