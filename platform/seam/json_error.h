// The complaint of every reader of JSON files. Knows no file.
#pragma once

#include "seam/input_error.h"

namespace ocamp {

/// JSON that is none, or not what was expected. The text gives the place, beginning with "$" for the whole document,
/// what was expected there and what was found.
class JsonError : public InputError {
  public:
    using InputError::InputError;
};

} // namespace ocamp
