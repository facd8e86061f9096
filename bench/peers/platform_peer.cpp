// The plug-in with its platform as a peer: from native text to the answer of a read as text. Everything that a node
// does for a read is done: the native data, found valid when the node came to hold it, is parsed with its values
// checked, the request goes through the plug-in, the answer is cut and checked.
#include "peer.h"

#include "node/native_data.h"
#include "node/node.h"
#include "node/reader.h"
#include "sysdb/bag_record.h"
#include "sysdb/current_system_database.h"
#include "sysdb/seal.h"
#include "sysdb/system_database.h"
#include "yang/models.h"

#include <deque>

namespace peers {

namespace {

using namespace ocamp;

BagToken text_token(const char *name, const std::string &value) {
    return {BagType::text, name, value, {}};
}
BagToken structure(const char *name, std::vector<BagToken> tokens) {
    return {BagType::structure, name, {}, std::move(tokens)};
}
std::vector<std::uint8_t> record(const char *name, BagToken token) {
    return encode_bag({.name = name, .version_major = 1, .version_minor = 0, .tokens = {std::move(token)}});
}

// A system database in memory with the inventory and the input powers of one node.
class NodeDatabase {
  public:
    explicit NodeDatabase(const NativeNode &node)
        : database_(":memory:", Database::Mode::create), system_database_(database_) {
        run_all(database_, seal_table_sql());
        run_all(database_, item_table_sql());
        for (const Record &power : node.records) {
            const std::string slot = power.controller.substr(sizeof "Ots0_" - 1, 1);
            const std::string amplifier = "0/" + slot + (power.controller.back() == '1' ? "-AMP-BST" : "-AMP-PRE");
            std::string item = amplifier + "/attrib/inv_basic_bag";
            item.replace(1, 1, "%2f");
            system_database_.put(
                "/oper/inventory/gl/entity/", item,
                record("inv_basic_bag", structure("inv_phy_entity_basic_info", {text_token("Name", amplifier)})));
            system_database_.put(
                "/oper/perfmgmt/gl/periodic/optics/interface/", power.controller + "/30sec/optics/1/timeline_rev/0x1",
                record("pm_optics_bag",
                       structure("pm_optics_paras", {structure("OPR", {text_token("Minimum", power.minimum),
                                                                       text_token("Average", power.average),
                                                                       text_token("Maximum", power.maximum)})})));
        }
    }
    SystemDatabase &system_database() { return system_database_; }

  private:
    Database database_;
    SystemDatabase system_database_;
};

class PlatformPeer : public Peer {
  public:
    explicit PlatformPeer(const std::vector<NativeNode> &nodes)
        : nodes_(nodes), logs_(LogSettings{}), plugin_(Plugin::default_file()),
          amplifiers_(Filter::from_path(openconfig_schema(), "/optical-amplifier/amplifiers")) {
        for (const NativeNode &node : nodes) {
            databases_.emplace_back(node);
            static_cast<void>(native_schema().parse(node.xml, LYD_XML)); // throws unless it is valid
        }
    }

    std::vector<Measure> measures() override {
        return {{"text", [this] { results_ = answers(); }, [this] { results_.clear(); }}};
    }
    std::vector<std::string> answers() override {
        std::vector<std::string> answers;
        for (size_t node = 0; node < nodes_.size(); ++node)
            answers.push_back(answer(nodes_[node], databases_[node]));
        return answers;
    }

  private:
    std::string answer(const NativeNode &node, NodeDatabase &database) {
        const CurrentSystemDatabase current(database.system_database());
        NativeData data;
        data.operational.push_back(native_schema().parse_valid(node.xml, LYD_XML));
        const ReadResult result = Reader(plugin_, logs_).read(data, YFW_KIND_GET, amplifiers_, nullptr);
        return result.answer.print(LYD_XML);
    }

    const std::vector<NativeNode> &nodes_;
    LogSession logs_;
    Plugin plugin_;
    Filter amplifiers_;
    std::deque<NodeDatabase> databases_;
    std::vector<std::string> results_;
};

} // namespace

std::unique_ptr<Peer> make_peer(const std::vector<NativeNode> &nodes) {
    return std::make_unique<PlatformPeer>(nodes);
}

} // namespace peers
