// Paths as they are typed and shown, and as messages hold them. Knows no model.
#pragma once

#include <string>
#include <string_view>

#include "gnmi.pb.h"

namespace ocamp::gnmi_client {

/// A path from "/a/b[key=value]/c", with ORIGIN: in front or without, and with or without its first '/'. A value may
/// stand in quotes; a backslash makes the character behind it one of the name or value. Throws InputError.
::gnmi::Path path_of(std::string_view text);

/// The path behind its prefix as text that path_of reads. Of origins, the prefix's goes first.
std::string path_text(const ::gnmi::Path &prefix, const ::gnmi::Path &path);

} // namespace ocamp::gnmi_client
