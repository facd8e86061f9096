// How nodes are looked into.
#include "node_contents.h"

#include "node/native_data.h"
#include "node/node.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"

#include <functional>
#include <stdexcept>

namespace line_tests {

using namespace ocamp;
using Json = nlohmann::json;

namespace fs = std::filesystem;

Json native(const fs::path &node) {
    Node opened(node, Node::Access::read);
    const ReadTransaction snapshot(opened.database());
    const NativeData data = load_native(opened.database(), native_schema());
    Json all = Json::object();
    const auto add = [&](const NativeDocument &document) {
        if (!document.tree().empty())
            all.update(Json::parse(document.tree().print(LYD_JSON)));
    };
    add(data.running);
    for (const NativeDocument &document : data.operational)
        add(document);
    return all;
}

const Json &port(const Json &native, const std::string &name) {
    for (const Json &entry : native.at("Korvex-controller-orvo8-ots-oper:ots-oper").at("ots-ports").at("ots-port"))
        if (entry.at("name") == name)
            return entry.at("ots-info");
    throw std::runtime_error("no port " + name);
}

std::optional<BagRecord> record(const fs::path &node, const std::string &bind_point, const std::string &item) {
    Node opened(node, Node::Access::read);
    const ReadTransaction snapshot(opened.database());
    const auto bag = read_record(opened.system_database(), bind_point, item);
    return bag ? std::optional(decode_bag(*bag)) : std::nullopt;
}

namespace {

void change_interfaces(const fs::path &node, const std::function<void(Json &entries)> &change) {
    Node opened(node, Node::Access::write);
    Transaction transaction(opened.database());
    const NativeData data = load_native(opened.database(), native_schema());
    Json running = Json::parse(data.running.tree().print(LYD_JSON));
    change(running.at("Korvex-ifmgr-cfg:interface-configurations").at("interface-configuration"));
    store_running(opened.database(), native_schema().parse(running.dump(), LYD_JSON));
    transaction.commit();
}

} // namespace

void configure(const fs::path &node, const std::string &interface, const std::string &leaf, const Json &value) {
    change_interfaces(node, [&](Json &entries) {
        for (Json &entry : entries) {
            if (entry.at("interface-name") != interface)
                continue;
            Json &optics = entry.at("Korvex-controller-optics-cfg:optics");
            if (value.is_null())
                optics.erase(leaf);
            else
                optics[leaf] = value;
        }
    });
}

void configure_ahead(const fs::path &node, const std::string &interface, const std::string &leaf, const Json &value,
                     Place place) {
    change_interfaces(node, [&](Json &entries) {
        const Json entry = {
            {"active", "pre"}, {"interface-name", interface}, {"Korvex-controller-optics-cfg:optics", {{leaf, value}}}};
        entries.insert(place == Place::first ? entries.begin() : entries.end(), entry);
    });
}

} // namespace line_tests
