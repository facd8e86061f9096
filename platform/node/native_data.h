// What the node's native models hold: the running configuration and the operational data, and which of it a native
// request selects. Knows neither OpenConfig nor the plug-in.
#pragma once

#include "framework/output_tree.h"
#include "framework/request_tree.h"
#include "sysdb/sqlite.h"
#include "yang/tree.h"

#include <string>
#include <vector>

namespace ocamp {

/// All native data of a node, as one read of the database found them.
struct NativeData {
    YangTree running;
    std::vector<YangTree> operational; ///< one tree a module

    /// Root instance of that schema node; NULL when there is no such data.
    const lyd_node *root(const lysc_node &schema) const;
};

/// The statements that make the table of native documents, which are JSON. They want the table of seals.
std::vector<std::string> native_table_sql();
/// Each replaces one document: the running configuration, or the operational data of the module. Throw SqliteError, and
/// YangError for a tree that could not be read back.
void store_running(Database &database, const YangTree &tree);
void store_operational(Database &database, std::string_view module, const YangTree &tree);
/// Within a transaction. Throws DamageError when a document is not what was stored or is missing, and YangError when
/// one does not fit the modules that this program carries.
NativeData load_native(Database &database, const Schema &schema);

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
