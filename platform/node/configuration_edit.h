// An edit of both sides of a node: what one document asks of the OpenConfig data and of the native data. Knows neither
// where edits come from nor where data is kept.
#pragma once

#include "node/edit_request.h"
#include "node/editor.h"
#include "node/native_data.h"

#include <optional>
#include <string>
#include <string_view>

namespace ocamp {

/// What a document asks for, side by side.
class ConfigurationEdit {
  public:
    /// With `replace` as default operation, a document with native nodes replaces the whole native configuration and
    /// merges its OpenConfig nodes into that; one without replaces the OpenConfig configuration. Throws as EditRequest.
    ConfigurationEdit(std::string_view document, DefaultOperation default_operation);

    /// Data path of the first native node; none when the document has no native nodes.
    std::optional<std::string> first_native_node() const;

    /// Changes `data.running`, native side first: the OpenConfig side is what a client reads afterwards. The result is
    /// valid. Throws RequestError, also when the sides contradict each other; the data is to be thrown away then.
    void carry_out(const Editor &editor, NativeData &data) const;

  private:
    std::optional<EditRequest> native_;
    std::optional<EditRequest> openconfig_;
};

/// Throws RequestError, with the app-tag of RFC 7950 section 15 where there is one, unless the native configuration is
/// valid as a whole.
void check_native_configuration(YangTree &running);

} // namespace ocamp
