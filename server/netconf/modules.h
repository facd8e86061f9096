// The YANG modules of the protocol that the program carries. Knows nothing of what they say.
#pragma once

#include "yang/modules.h"

#include <span>

namespace ocamp::netconf {

/// All of them; each text is as old as the program.
std::span<const YangModule> netconf_modules() noexcept;

} // namespace ocamp::netconf
