// Puts the tables of the rooms below together.
#include "node/tables.h"

#include "node/native_data.h"
#include "sysdb/seal.h"
#include "sysdb/system_database.h"

namespace ocamp {

const std::vector<std::string> &node_tables() {
    static const std::vector<std::string> statements = [] {
        std::vector<std::string> all = seal_table_sql();
        for (const std::vector<std::string> &table : {native_table_sql(), item_table_sql()})
            all.insert(all.end(), table.begin(), table.end());
        return all;
    }();
    return statements;
}

} // namespace ocamp
