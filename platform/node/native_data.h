// What the node's native models hold: the running configuration and the operational data, and which of it a native
// request selects. Knows neither OpenConfig nor the plug-in.
#pragma once

#include "framework/output_tree.h"
#include "framework/request_tree.h"
#include "sysdb/sqlite.h"
#include "yang/tree.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ocamp {

/// A stored document, whose text becomes a tree when it is first looked into, or a tree that came from elsewhere.
class NativeDocument {
  public:
    NativeDocument() = default;
    NativeDocument(YangTree tree) : tree_(std::move(tree)) {} // NOLINT: a tree is a document, too
    /// `schema` outlives the document. `place` stands before complaints about the text. `valid`: it is known to be.
    NativeDocument(const Schema &schema, std::string name, std::string text, bool valid, const std::string &place);

    /// The tree. Throws YangError when the text does not fit the schema.
    const YangTree &tree() const;
    /// What is written in the document: as tree, but nodes that are there by default may be missing, so that a document
    /// which is known to be valid takes half of the time.
    const YangTree &written() const;
    /// As written, for one look at what the request selects below that root. Where the document has not been looked
    /// into yet, what the request surely does not select is not parsed; whoever looks again has it whole.
    const YangTree &written_for(const lysc_node &root, const OutputNode &request) const;
    /// As tree, to be changed: the document is no longer the stored one.
    YangTree &to_change();

    /// Whether this is the stored document of that name and text, unchanged.
    bool is_stored(std::string_view name, std::string_view text) const noexcept;
    /// False when the document is stored as that of another module.
    bool may_be_of(std::string_view module) const noexcept;

  private:
    struct Stored {
        std::string name, text;
        bool valid;
    };

    YangTree parsed(YangTree (Schema::*parse)(std::string_view, LYD_FORMAT) const, std::string_view text) const;

    mutable const Schema *schema_ = nullptr; // NULL once the tree is there
    std::string place_;
    std::optional<Stored> stored_;
    mutable YangTree tree_, written_;
    mutable std::optional<YangTree> part_; // of the first look
};

/// All native data of a node, as one read of the database found them.
struct NativeData {
    NativeDocument running;
    std::vector<NativeDocument> operational; ///< one document a module

    /// Root instance of that schema node; NULL when there is no such data. Throws YangError as NativeDocument::tree.
    const lyd_node *root(const lysc_node &schema) const;
    /// The same of what is written and the request, which is for this root, may select; see
    /// NativeDocument::written_for.
    const lyd_node *selected_root(const lysc_node &schema, const OutputNode &request) const;

  private:
    template <class TreeOf>
    const lyd_node *root_in(TreeOf tree_of, const lysc_node &schema) const;
};

/// What tables with live data are called where they are attached to the connection with a node's own; see LiveData.
inline constexpr const char *live_schema = "live";

/// The statements that make the table of native documents, which are JSON. They want the table of seals.
std::vector<std::string> native_table_sql();
/// Each replaces one document: the running configuration, or the operational data of the module. Throw SqliteError, and
/// YangError for a tree that could not be read back.
void store_running(Database &database, const YangTree &tree);
void store_operational(Database &database, std::string_view module, const YangTree &tree);
/// The same with a document that is known to be one of the module's: it is stored as it stands. Throws SqliteError.
void store_document(Database &database, std::string_view module, std::string_view document);
/// Whether live data are read instead of the document of that module. Throws SqliteError.
bool is_live(Database &database, std::string_view module);
/// Within a transaction. Throws DamageError when any document is not what was stored or is missing. Trees of `earlier`
/// whose documents are the same to the byte are taken over. `schema` outlives the data. When the connection has the
/// live data attached, their documents stand for those of the same modules.
NativeData load_native(Database &database, const Schema &schema, NativeData earlier = {});

/// One entry of an outermost native list, by itself: `tree` leads from the root container to this entry and no other.
struct NativeEntry {
    const lys_module *module;
    std::string path; ///< data path of the entry
    RequestNode tree;
};

/// The entries that a native request selects, in the order of the data: the keys written in an entry select, an entry
/// without keys selects all, and lists that are not mentioned are not restricted. Every leaf of a selected entry is
/// there, or of its configuration only.
std::vector<NativeEntry> select_entries(const Schema &schema, const NativeData &data,
                                        const std::vector<OutputNode> &request, bool configuration_only);

/// The first configuration entry that the request names with all its keys, as a tree of the entry and its keys alone.
std::optional<RequestNode> named_configuration_entry(const Schema &schema, const std::vector<OutputNode> &request);

} // namespace ocamp
