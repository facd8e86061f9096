// Wrong input as an exception. Knows nothing of what the input is.
#pragma once

#include <stdexcept>

namespace ocamp {

/// What someone gave cannot be used, and nothing has been done with it: an argument, a document, a file or a folder.
/// The text says what, where and what was expected. Rooms derive their own from it.
class InputError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace ocamp
