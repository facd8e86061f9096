// The status codes that gNMI answers refusals with. Knows no refusal but by its tag.
#pragma once

#include "yang/request_error.h"

namespace ocamp::server {

/// The canonical status code (google.rpc.Code) of a refusal, as docs/errors.md lists them.
int status_code(ErrorTag tag) noexcept;

} // namespace ocamp::server
