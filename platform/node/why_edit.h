// What becomes of the leaves of an edit: where they are stored, as what, and what is lost. Knows neither how edits are
// carried out nor how this is shown.
#pragma once

#include "framework/output_tree.h"
#include "node/edit_request.h"
#include "yang/tree.h"

#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// A leaf that an edit asks for, or a node that it removes, and what becomes of it.
struct WhyEdit {
    std::string path;                           ///< data path of the OpenConfig node, without module names
    std::optional<std::string> asked = {};      ///< none when it is removed
    std::string unit = {};                      ///< of the OpenConfig leaf
    std::string native = {};                    ///< data path of the native node; empty: none holds it
    std::optional<std::string> stored = {};     ///< as the native node holds it; none when it is removed
    std::string native_unit = {};               ///< such as "0.1 dB"
    bool carried_out = false;                   ///< the edit came as far as to be read back, which fills in the rest
    std::optional<std::string> reads_back = {}; ///< what a read gives then; none: nothing
    std::string lost = {};                      ///< what is lost on the way; empty: nothing
};

/// What the edit asks for, in its order; nothing is known yet of what becomes of it. Keys of entries are left out.
std::vector<WhyEdit> asked_leaves(const EditRequest &request);
/// Takes over what one native edit does for these leaves.
void note_native_edit(std::vector<WhyEdit> &leaves, const std::vector<OutputNode> &native_edit);
/// Takes over what the configuration gives afterwards.
void note_read_back(std::vector<WhyEdit> &leaves, const YangTree &configuration);

} // namespace ocamp
