// A refusal because of an attribute of a node in a client's document. Knows no document.
#pragma once

#include "yang/request_error.h"

#include <string>
#include <utility>

namespace ocamp {

/// missing_attribute, bad_attribute or unknown_attribute, with the attribute's name.
class AttributeError : public RequestError {
  public:
    /// `path`: of the node, as RequestError has it.
    AttributeError(ErrorTag tag, const std::string &path, std::string attribute, const std::string &reason)
        : RequestError(tag, path, reason), attribute_(std::move(attribute)) {}

    const std::string &attribute() const noexcept { return attribute_; } ///< without prefix

  private:
    std::string attribute_;
};

} // namespace ocamp
