// Where values come from, on the example node with the real plug-in: the source of every served leaf is altered, and
// the answer follows; and each reason for a value that is not there.
#include "node/mapping_rows.h"
#include "node/reach.h"
#include "node/service.h"
#include "node/why_edit.h"
#include "node/why_text.h"
#include "support/files.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"

#include <charconv>
#include <filesystem>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ocamp;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

namespace {

const std::string amplifier = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";
const std::string channel = "/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/1/0/4']";
constexpr const char *inventory = "/oper/inventory/gl/entity/";
constexpr const char *history_point = "/oper/perfmgmt/gl/periodic/optics/interface/";
constexpr const char *partner_item = "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1";
constexpr std::size_t served_leaves = 40; // of one amplifier and one channel

void replace_all(std::string &text, const std::string &from, const std::string &to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

lyd_node *leaf_at(lyd_node *first, const std::string &path) {
    for (lyd_node *node = first; node != nullptr; node = node->next) {
        if (plain_path(*node) == path)
            return node;
        if (lyd_node *found = leaf_at(lyd_child(node), path); found != nullptr)
            return found;
    }
    return nullptr;
}

BagToken *token_at(std::vector<BagToken> &tokens, std::string_view path) {
    const std::string_view name = path.substr(0, path.find('.'));
    for (BagToken &token : tokens) {
        if (token.name == name)
            return name.size() == path.size() ? &token : token_at(token.tokens, path.substr(name.size() + 1));
    }
    return nullptr;
}

class Why : public testing::Test {
  protected:
    void SetUp() override {
        Node::init(folder_, EXAMPLE_NODE);
        intact_ = support::read_file(folder_ / "node.db");
    }
    void make_intact() const { support::write_file(folder_ / "node.db", intact_); }

    WhyReport why(const std::string &path, std::uint32_t kind = YFW_KIND_GET) const {
        Service service({.node = folder_, .plugin = PLUGIN_FILE});
        const Filter filter = Filter::from_path(openconfig_schema(), path);
        return service.why(kind, filter);
    }
    WhyLeaf why_leaf(const std::string &path, std::uint32_t kind = YFW_KIND_GET) const {
        const WhyReport report = why(path, kind);
        EXPECT_EQ(report.leaves.size(), 1U) << path;
        return report.leaves.empty() ? WhyLeaf{} : report.leaves.front();
    }

    // `change` gets every native document, whether configuration or not.
    template <class Change>
    void change_native(Change change) const {
        Node node(folder_, Node::Access::write);
        Transaction transaction(node.database());
        NativeData data = load_native(node.database(), native_schema());
        if (change(data.running.to_change()))
            store_running(node.database(), data.running.tree());
        for (NativeDocument &document : data.operational) {
            const std::string module = document.tree().first()->schema->module->name;
            if (change(document.to_change()))
                store_operational(node.database(), module, document.tree());
        }
        transaction.commit("altered");
    }

    void set_native(const std::string &path, const std::string &value) const {
        bool done = false;
        change_native([&](YangTree &tree) {
            lyd_node *leaf = leaf_at(tree.first(), path);
            if (leaf != nullptr) {
                tree.set_leaf(reinterpret_cast<lyd_node *>(leaf->parent), *leaf->schema, value);
                done = true;
            }
            return leaf != nullptr;
        });
        EXPECT_TRUE(done) << path;
    }

    void remove_native(const std::string &path) const {
        bool done = false;
        change_native([&](YangTree &tree) {
            lyd_node *node = leaf_at(tree.first(), path);
            if (node != nullptr) {
                tree.remove(node);
                done = true;
            }
            return node != nullptr;
        });
        EXPECT_TRUE(done) << path;
    }

    // Everywhere in the documents of one module.
    void rename_native(const std::string &root, const std::string &from, const std::string &to) const {
        change_native([&](YangTree &tree) {
            const lyd_node *found = tree.first();
            while (found != nullptr && found->schema->name != root)
                found = found->next;
            if (found == nullptr)
                return false;
            std::string text = tree.print(LYD_JSON);
            replace_all(text, to, "Ots9/9/9/9"); // whoever has the name already
            replace_all(text, from, to);
            tree = native_schema().parse(text, LYD_JSON);
            return true;
        });
    }

    template <class Change>
    void change_record(const std::string &bind_point, const std::string &item, Change change) const {
        Node node(folder_, Node::Access::write);
        Transaction transaction(node.database());
        change(node.system_database(), bind_point, item);
        transaction.commit("altered");
    }
    void set_element(const std::string &bind_point, const std::string &item, const std::string &element,
                     const std::string &text) const {
        change_record(bind_point, item, [&](SystemDatabase &database, const auto &point, const auto &name) {
            BagRecord record = decode_bag(*read_record(database, point, name));
            token_at(record.tokens, element)->value = text;
            write_record(database, point, name, record);
        });
    }
    void remove_item(const std::string &bind_point, const std::string &item) const {
        change_record(bind_point, item, [](SystemDatabase &database, const auto &point, const auto &name) {
            EXPECT_TRUE(database.remove(point, name));
        });
    }
    void put_into_slot_3() const {
        change_record(inventory, "0%2f3-AMP-PRE/attrib/inv_basic_bag",
                      [](SystemDatabase &database, const auto &point, const auto &name) {
                          const auto bag = read_record(database, point, "0%2f1-AMP-PRE/attrib/inv_basic_bag");
                          database.put(point, name, *bag);
                      });
    }

    support::TemporaryFolder made_;
    fs::path folder_ = made_.path() / "node";
    std::string intact_;
};

// What a source is changed to, and what the leaf is then.
struct Altered {
    std::string text, value;
};

Altered altered(const WhyLeaf &leaf) {
    const std::string &text = leaf.from->text;
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size()) {
        const int divisor = leaf.rule == "native tenths" ? 10 : 100;
        std::string value = fmt::format("{:.2f}", (number + 7) / static_cast<double>(divisor));
        value.erase(value.find_last_not_of('0') + 1);
        return {std::to_string(number + 7), value};
    }
    if (text == "true" || text == "false")
        return {text == "true" ? "false" : "true", text};
    if (text == "amplifier-gain-range-normal")
        return {"amplifier-gain-range-ext-end-ed", "HIGH_GAIN_RANGE"};
    return {"  3.21 ", "3.21"};
}

std::vector<WhyLeaf> leaves_with_values(const WhyReport &report) {
    std::vector<WhyLeaf> leaves;
    for (const WhyLeaf &leaf : report.leaves) {
        if (leaf.value)
            leaves.push_back(leaf);
    }
    return leaves;
}

TEST_F(Why, FollowsTheSourceOfEveryServedLeaf) {
    std::vector<WhyLeaf> leaves = leaves_with_values(why(amplifier));
    const std::vector<WhyLeaf> of_channel = leaves_with_values(why(channel));
    leaves.insert(leaves.end(), of_channel.begin(), of_channel.end());
    ASSERT_EQ(leaves.size(), served_leaves);
    for (const WhyLeaf &before : leaves) {
        SCOPED_TRACE(before.path);
        make_intact();
        ASSERT_TRUE(before.from);
        ASSERT_FALSE(before.from->place.empty());
        std::string path = before.path;
        Altered expected;
        if (before.from->text.find("Ots") == 0 || before.from->text.find("Optics") == 0) {
            expected.text = before.from->text;
            replace_all(expected.text, "0/1/0", "0/3/0");
            const std::string root = before.from->place.substr(1, before.from->place.find('/', 1) - 1);
            rename_native(root, before.from->text, expected.text);
            put_into_slot_3();
            replace_all(path, "0/1-AMP", "0/3-AMP");
            replace_all(path, "Optics0/1", "Optics0/3");
            expected.value = *before.value;
            for (const auto &[from, to] : {std::pair{"0/1-", "0/3-"}, std::pair{"Optics0/1", "Optics0/3"}})
                replace_all(expected.value, from, to);
        } else if (before.from->database) {
            expected = altered(before);
            set_element(before.from->place, before.from->item, before.from->element, expected.text);
        } else {
            expected = altered(before);
            set_native(before.from->place, expected.text);
        }
        const WhyLeaf after = why_leaf(path);
        ASSERT_TRUE(after.value) << after.reason;
        EXPECT_EQ(*after.value, expected.value);
        ASSERT_TRUE(after.from);
        EXPECT_EQ(after.from->text, expected.text);
        EXPECT_EQ(after.from->database, before.from->database);
        EXPECT_EQ(after.converter, before.converter);
        EXPECT_FALSE(after.converter.empty());
        EXPECT_FALSE(after.rule.empty());
    }
}

TEST_F(Why, ValuesAreThoseOfARead) {
    Service service({.node = folder_, .plugin = PLUGIN_FILE});
    const Filter filter(openconfig_schema());
    const YangTree answer = service.read(YFW_KIND_GET, filter).answer;
    std::size_t compared = 0;
    for (const WhyLeaf &leaf : leaves_with_values(why("/"))) {
        lyd_node *node = leaf_at(answer.first(), leaf.path);
        ASSERT_NE(node, nullptr) << leaf.path;
        EXPECT_EQ(leaf_text(*node), *leaf.value) << leaf.path;
        ++compared;
    }
    EXPECT_EQ(compared, 4 * 30U + 2 * 10U);
}

// A statistic comes from the database even where the node's own would be another text, and a native leaf that only
// looks like the record's text is none of its source.
TEST_F(Why, EqualTextsAreNotTakenForOneAnother) {
    const std::string path = amplifier + "/state/input-power-c-band/avg";
    const std::string native = why_leaf(path).passed_over.front().source.place;
    set_native(native, " -15.38 ");
    const WhyLeaf leaf = why_leaf(path);
    ASSERT_TRUE(leaf.from);
    EXPECT_TRUE(leaf.from->database);
    ASSERT_EQ(leaf.passed_over.size(), 1U);
    EXPECT_EQ(leaf.passed_over.front().source.place, native);
    // The inventory's record holds the very name, and the name is none the less made of the port's.
    EXPECT_FALSE(why_leaf(amplifier + "/state/name").from->database);
}

TEST_F(Why, ReplacedValueIsPassedOver) {
    const WhyLeaf leaf = why_leaf(amplifier + "/state/input-power-c-band/instant");
    EXPECT_THAT(leaf.from->place, HasSubstr("/receive-power-dbm"));
    ASSERT_EQ(leaf.passed_over.size(), 1U);
    EXPECT_THAT(leaf.passed_over.front().source.place, testing::EndsWith("/receive-power"));
    EXPECT_EQ(leaf.passed_over.front().reason, "gave -15.43 and was replaced");
}

void expect_absent(const WhyLeaf &leaf, Absence absence, const std::string &reason) {
    EXPECT_FALSE(leaf.value);
    ASSERT_TRUE(leaf.absence);
    EXPECT_EQ(word_of(*leaf.absence), word_of(absence));
    EXPECT_THAT(leaf.reason, HasSubstr(reason));
    EXPECT_EQ(leaf.reason.find('\n'), std::string::npos);
}

TEST_F(Why, AmplifierThatTheInventoryLacks) {
    remove_item(inventory, "0%2f1-AMP-PRE/attrib/inv_basic_bag");
    for (const char *leaf : {"/name", "/config/enabled", "/state/actual-gain/instant", "/state/actual-gain/avg"})
        expect_absent(why_leaf(amplifier + leaf), Absence::not_in_inventory,
                      "/oper/inventory/gl/entity/ 0%2f1-AMP-PRE/attrib/inv_basic_bag");
    expect_absent(why_leaf(channel + "/state/input-power/instant"), Absence::not_in_inventory, "0%2f1-AMP-PRE");
}

TEST_F(Why, NativeLeafThatIsAbsent) {
    const std::string native = "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain";
    remove_native(native);
    expect_absent(why_leaf(amplifier + "/state/actual-gain/instant"), Absence::no_native_leaf,
                  "the native leaf " + native + " is absent");
    expect_absent(why("/optical-amplifier/amplifiers/amplifier/state/actual-gain/instant").leaves.front(),
                  Absence::no_native_leaf, native);
}

TEST_F(Why, NativeLeavesThatAreAllAbsent) {
    const std::string lane = "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/lane-data/";
    remove_native(lane + "receive-power");
    EXPECT_EQ(why_leaf(amplifier + "/state/input-power-c-band/instant").value, "-15.43");
    remove_native(lane + "receive-power-dbm");
    const std::string reason = why_leaf(amplifier + "/state/input-power-c-band/instant").reason;
    EXPECT_THAT(reason, StartsWith("the native leaves " + lane));
    EXPECT_THAT(reason, HasSubstr(" and " + lane));
    EXPECT_THAT(reason, testing::EndsWith(" are absent"));
}

TEST_F(Why, NativeEntryThatIsAbsent) {
    remove_native("/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']");
    expect_absent(why_leaf(amplifier + "/state/enabled"), Absence::no_native_entry,
                  "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']");
}

TEST_F(Why, DamagedRecord) {
    std::string file = intact_;
    replace_all(file, "pm_optics_paras", "pm_opticX_paras");
    support::write_file(folder_ / "node.db", file);
    const WhyReport report = why(amplifier + "/state/input-power-c-band/avg");
    expect_absent(report.leaves.front(), Absence::damaged, std::string(partner_item) + " is damaged");
    EXPECT_THAT(report.failure, HasSubstr("is damaged"));
    EXPECT_TRUE(why_leaf(amplifier + "/state/actual-gain/instant").value) << "not touched by the damage";
}

TEST_F(Why, RecordThatIsMissing) {
    remove_item(history_point, partner_item);
    expect_absent(why_leaf(amplifier + "/state/input-power-c-band/min"), Absence::no_record,
                  "the system database has no " + std::string(history_point) + " " + partner_item);
}

TEST_F(Why, RecordWithoutTheElement) {
    change_record(history_point, partner_item, [](SystemDatabase &database, const auto &point, const auto &name) {
        BagRecord record = decode_bag(*read_record(database, point, name));
        token_at(record.tokens, "pm_optics_paras.OPR")->tokens.clear();
        write_record(database, point, name, record);
    });
    expect_absent(why_leaf(amplifier + "/state/input-power-c-band/max"), Absence::no_record, "lacks the element");
}

TEST_F(Why, LeafThatTheDeviceDoesNotServe) {
    expect_absent(why_leaf(amplifier + "/state/min-gain"), Absence::not_served, "does not serve");
    expect_absent(why_leaf("/optical-amplifier/amplifiers/amplifier/state/min-gain"), Absence::not_served, "");
}

TEST_F(Why, ValueThatFitsNoType) {
    set_element(history_point, partner_item, "pm_optics_paras.OPR.Average", " n/a ");
    expect_absent(why_leaf(amplifier + "/state/input-power-c-band/avg"), Absence::unfit,
                  "\"n/a\" from " + std::string(history_point) + " " + partner_item + " fits no type of the leaf: ");
}

// No walk of this plug-in writes values and no key without a cause that comes before; that of another might.
TEST_F(Why, EntryWithoutKey) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    TakenNode node{.path = "/ots-oper/ots-ports/ots-port[name='X']/ots-info/osri-config-val",
                   .place = "/ots-oper/ots-ports/ots-port/ots-info/osri-config-val"};
    node.leaf = true;
    node.writes.push_back({.number = 0, .path = list + "/state/enabled", .value = "true"});
    for (const std::string &path : {list + "/state/enabled", list + "[name='0/1-AMP-PRE']/state/enabled"}) {
        const Filter filter = Filter::from_path(openconfig_schema(), path);
        ObservedRead read{.kind = YFW_KIND_GET, .filter = filter};
        NativeWalkReport walk{.module = "Korvex-controller-orvo8-ots-oper",
                              .entry = "/ots-oper/ots-ports/ots-port[name='X']",
                              .tree = {.tag = "ots-oper", .ns = ""}};
        walk.trace.push_back(node);
        walk.placements.push_back({list + "/state/enabled", 0, "true", "its list entry has no key"});
        RunReport run{.request = filter.requests().front()};
        run.native_request.push_back({.tag = "ots-oper", .ns = ""});
        run.walks.push_back(walk);
        read.report.push_back(run);
        const WhyReport report = ocamp::why(read);
        ASSERT_EQ(report.leaves.size(), 1U);
        expect_absent(report.leaves.front(), Absence::no_key,
                      "its entry has no key: \"true\" was written for /ots-oper");
    }
}

TEST_F(Why, ElementThatHoldsBlanksOnly) {
    set_element(history_point, partner_item, "pm_optics_paras.OPR.Average", " ");
    expect_absent(why_leaf(amplifier + "/state/input-power-c-band/avg"), Absence::no_record,
                  std::string("in ") + history_point + " " + partner_item + " is \" \"");
}

// What no read of the example node shows, told of one leaf whose row and native leaf are those of the real plug-in.
class WhyOfAnotherNode : public Why {
  protected:
    void SetUp() override {} // no node is needed
    static constexpr const char *native_place = "/ots-oper/ots-ports/ots-port/ots-info/osri-config-val";
    static constexpr const char *native_path = "/ots-oper/ots-ports/ots-port[name='X']/ots-info/osri-config-val";

    // One run that asked for the native leaf.
    RunReport run() const {
        RunReport asked{.request = filter_.requests().front()};
        asked.native_request.push_back({.tag = "ots-oper", .ns = ""});
        return asked;
    }
    // The walk over one entry that takes this node in hand.
    static NativeWalkReport walk_over(TakenNode node) {
        NativeWalkReport walk{.module = "Korvex-controller-orvo8-ots-oper",
                              .entry = "/ots-oper/ots-ports/ots-port[name='X']",
                              .tree = {.tag = "ots-oper", .ns = ""}};
        walk.trace.push_back(std::move(node));
        return walk;
    }
    WhyLeaf told(ReadReport report, const std::string &refusal = "") const {
        const WhyReport all = ocamp::why(
            {.kind = YFW_KIND_GET, .filter = filter_, .report = std::move(report), .result = {}, .refusal = refusal});
        EXPECT_EQ(all.leaves.size(), 1U);
        return all.leaves.empty() ? WhyLeaf{} : all.leaves.front();
    }

    const Filter filter_ = Filter::from_path(openconfig_schema(), amplifier + "/state/enabled");
};

TEST_F(WhyOfAnotherNode, ReadThatIsRefused) {
    expect_absent(told({}, "too early"), Absence::refused, "the request is refused: too early");
}

TEST_F(WhyOfAnotherNode, LeafThatTheNativeRequestLeavesOut) {
    expect_absent(told({}), Absence::not_asked,
                  std::string("the native request of the plug-in leaves out ") + native_place);
}

TEST_F(WhyOfAnotherNode, ControllerThatTheRequestDidNotFind) {
    const DatabaseLook look{.bind_point = "/a/", .item = "b", .result = DatabaseLook::Result::absent};
    RunReport asked = run();
    asked.request_trace.push_back({.looks = {look}});
    expect_absent(told({asked}), Absence::not_in_inventory, "not in the inventory: the system database has no /a/ b");
    asked.request_trace.front().looks = {
        {.bind_point = "/a/", .item = "", .listing = true, .result = DatabaseLook::Result::absent}};
    expect_absent(told({asked}), Absence::not_in_inventory, "knows no such controller: looked through /a/");
    asked.request_trace.front().looks.push_back(
        {.bind_point = "/a/", .item = "c", .result = DatabaseLook::Result::failed, .failure = "/a/ c is damaged"});
    expect_absent(told({asked}), Absence::damaged, "/a/ c is damaged");
}

TEST_F(WhyOfAnotherNode, NativeLeafThatGivesNoValue) {
    TakenNode node{.path = native_path, .place = native_place, .text = "odd", .leaf = true};
    RunReport asked = run();
    asked.walks = {walk_over(node)};
    const std::string no_value = std::string(" makes no value of ") + native_path + " = \"odd\"";
    expect_absent(told({asked}), Absence::no_value, no_value);
    // The same when it is written without one.
    node.writes.push_back({.number = 0, .path = "/optical-amplifier/amplifiers/amplifier/state/enabled"});
    asked.walks = {walk_over(node)};
    asked.walks.front().placements.push_back({amplifier + "/state/enabled", 0, "", "it is empty"});
    expect_absent(told({asked}), Absence::no_value, no_value);
    asked.walks.front().trace.front().text = " \t";
    expect_absent(told({asked}), Absence::no_native_leaf,
                  std::string("the native leaf ") + native_path + " is \" \t\"");
}

// Answers to a path for which these runs were made.
WhyReport why_of(const std::string &path, ReadReport report, std::uint32_t kind = YFW_KIND_GET,
                 const std::string &answer = "{}") {
    const Filter filter = Filter::from_path(openconfig_schema(), path);
    for (RunReport &run : report)
        run.request = filter.requests().front();
    return ocamp::why({.kind = kind,
                       .filter = filter,
                       .report = std::move(report),
                       .result = {.answer = openconfig_schema().parse(answer, LYD_JSON), .dropped = {}}});
}

// An answer in which these amplifiers are enabled.
std::string enabled(const std::vector<std::string> &names) {
    std::string entries;
    for (const std::string &name : names)
        entries += fmt::format(R"({}{{"name":"{}","config":{{"name":"{}"}},"state":{{"enabled":true}}}})",
                               entries.empty() ? "" : ",", name, name);
    return R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[)" + entries + "]}}}";
}

TEST_F(WhyOfAnotherNode, ValueWhoseSourceIsNotKnown) {
    const std::string path = amplifier + "/state/enabled";
    const auto expect_value_alone = [](const WhyReport &report, const std::string &written) {
        ASSERT_EQ(report.leaves.size(), 1U);
        EXPECT_EQ(report.leaves.front().value, "true");
        EXPECT_EQ(report.leaves.front().written, written);
        EXPECT_FALSE(report.leaves.front().from);
    };
    expect_value_alone(why_of(path, {}, YFW_KIND_GET, enabled({"0/1-AMP-PRE"})), "");
    // No node is known to have made the write.
    RunReport asked = run();
    asked.walks = {walk_over({.path = native_path, .place = native_place, .leaf = true})};
    asked.walks.front().placements.push_back({path, 7, "true", ""});
    expect_value_alone(why_of(path, {asked}, YFW_KIND_GET, enabled({"0/1-AMP-PRE"})), "");
    // It was written twice, and neither was taken.
    asked.walks = {walk_over({.path = native_path, .place = native_place, .leaf = true, .writes = {{.number = 0}}})};
    asked.walks.front().placements.push_back({path, 0, "maybe", "no boolean"});
    expect_value_alone(why_of(path, {asked}, YFW_KIND_GET, enabled({"0/1-AMP-PRE"})), "");
    // It was written before any node was in hand.
    asked.walks = {walk_over({.writes = {{.number = 0, .value = "true"}}})};
    asked.walks.front().placements.push_back({path, 0, "true", ""});
    expect_value_alone(why_of(path, {asked}, YFW_KIND_GET, enabled({"0/1-AMP-PRE"})), "true");
}

TEST_F(WhyOfAnotherNode, OneOfSeveralLooksGaveTheValueAndTheOthersWereChecks) {
    RunReport asked = run();
    asked.walks = {
        walk_over({.path = native_path,
                   .place = native_place,
                   .text = "true",
                   .leaf = true,
                   .looks = {{.bind_point = "/a/", .item = "absent", .result = DatabaseLook::Result::absent},
                             {.bind_point = "/a/", .item = "used", .record = "r", .element = "e", .text = "true"},
                             {.bind_point = "/a/", .item = "other"}},
                   .writes = {{.number = 0, .value = "true", .source = TracedWrite::Source::database, .look = 1}}})};
    asked.walks.front().placements.push_back({amplifier + "/state/enabled", 0, "true", ""});
    const WhyReport report = why_of(amplifier + "/state/enabled", {asked}, YFW_KIND_GET, enabled({"0/1-AMP-PRE"}));
    ASSERT_EQ(report.leaves.size(), 1U);
    const WhyLeaf &leaf = report.leaves.front();
    ASSERT_TRUE(leaf.from);
    EXPECT_EQ(leaf.from->item, "used");
    ASSERT_EQ(leaf.checked.size(), 1U);
    EXPECT_EQ(leaf.checked.front().item, "other");
    ASSERT_EQ(leaf.passed_over.size(), 1U);
    EXPECT_EQ(leaf.passed_over.front().reason, "is not used for amplifiers");
}

TEST_F(WhyOfAnotherNode, WalkThatWritesTwoEntries) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    RunReport asked = run();
    asked.walks = {walk_over({.path = native_path,
                              .place = native_place,
                              .text = "false",
                              .leaf = true,
                              .writes = {{.number = 0, .path = list + "/state/enabled", .value = "true"},
                                         {.number = 1, .path = list + "/state/enabled", .value = "true"}}})};
    asked.walks.front().placements = {{list + "[name='a']/state/enabled", 0, "true", ""},
                                      {list + "[name='b']/state/enabled", 1, "true", ""}};
    const WhyReport report = why_of(list + "/state/enabled", {asked}, YFW_KIND_GET, enabled({"a", "b"}));
    ASSERT_EQ(report.leaves.size(), 1U) << "the entries of a walk that writes several are known by the last";
    EXPECT_EQ(report.leaves.front().path, list + "[name='b']/state/enabled");
    ASSERT_TRUE(report.leaves.front().from);
    const WhyReport other = why_of(list + "[name='a']/state/enabled", {asked}, YFW_KIND_GET, enabled({"a", "b"}));
    EXPECT_EQ(other.leaves.front().value, "true");
    ASSERT_TRUE(other.leaves.front().from);
    EXPECT_EQ(other.leaves.front().from->place, native_path);
}

TEST_F(WhyOfAnotherNode, ValuesWithoutAnEntryAreToldWhereTheyWereAskedFor) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const std::string channels = "/optical-amplifier/supervisory-channels/supervisory-channel";
    RunReport asked = run();
    asked.walks = {walk_over({.path = native_path, .place = native_place, .leaf = true})};
    for (const std::string &path : {list + "/state/enabled", list + "/config/enabled", channels + "/config/interface"})
        asked.walks.front().placements.push_back({path, 0, "true", "its list entry has no key"});
    const auto orphans = [&](const std::string &path) {
        std::vector<std::string> paths;
        for (const WhyLeaf &leaf : why_of(path, {asked}).leaves)
            paths.push_back(leaf.path);
        return paths;
    };
    using testing::ElementsAre;
    EXPECT_THAT(orphans(list + "/state"), ElementsAre(list + "/state/enabled"));
    EXPECT_THAT(orphans(list + "/state/enabled"), ElementsAre(list + "/state/enabled"));
    EXPECT_THAT(orphans(list), ElementsAre(list + "/state/enabled", list + "/config/enabled"));
    EXPECT_THAT(orphans("/optical-amplifier"),
                ElementsAre(list + "/state/enabled", list + "/config/enabled", channels + "/config/interface"));
}

TEST_F(WhyOfAnotherNode, EntryWhoseKeyNodeLacksWhatIsChecked) {
    const DatabaseLook look{.bind_point = "/a/", .item = "b", .result = DatabaseLook::Result::absent};
    RunReport asked = run();
    asked.walks = {walk_over({.path = "/ots-oper/ots-ports/ots-port[name='X']/name",
                              .place = "/ots-oper/ots-ports/ots-port/name",
                              .text = "X",
                              .leaf = true,
                              .looks = {look}})};
    expect_absent(told({asked}), Absence::not_in_inventory, "not in the inventory: the system database has no /a/ b");
    // What was written without the key that it lacks has the same reason.
    asked.walks.front().placements.push_back(
        {"/optical-amplifier/amplifiers/amplifier/state/enabled", 0, "true", "its list entry has no key"});
    const WhyReport report = why_of("/optical-amplifier/amplifiers/amplifier/state/enabled", {asked});
    ASSERT_EQ(report.leaves.size(), 1U);
    expect_absent(report.leaves.front(), Absence::not_in_inventory, "the system database has no /a/ b");
}

TEST_F(WhyOfAnotherNode, EntryThatWasNeverWrittenOrAskedFor) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const WhyReport report = why_of(list + "/state/enabled", {run()});
    ASSERT_EQ(report.leaves.size(), 1U);
    expect_absent(report.leaves.front(), Absence::no_native_entry, "the node has no native entry /ots-oper");
    EXPECT_EQ(report.leaves.front().path, list + "/state/enabled");
}

TEST_F(WhyOfAnotherNode, NativeEntriesThatAreAbsentAreToldOnceEach) {
    RunReport asked = run();
    OutputNode port{.tag = "ots-port", .ns = ""};
    port.list_entry = true;
    port.children = {{.tag = "name", .ns = "", .value = "X"}, {.tag = "ots-info", .ns = ""}};
    OutputNode ports{.tag = "ots-ports", .ns = ""};
    ports.children = {{.tag = "empty", .ns = ""}, port};
    asked.native_request.front().children = {ports};
    asked.native_request.push_back(asked.native_request.front());
    asked.native_request.push_back({.tag = "interface-configurations", .ns = ""});
    const WhyLeaf leaf = told({asked, asked});
    EXPECT_EQ(leaf.reason, "the node has no native entry /ots-oper/ots-ports/ots-port[name='X']");
    asked.request_trace.push_back({.looks = {{.bind_point = "/a/", .item = "b"}}});
    EXPECT_EQ(told({asked}).reason, leaf.reason) << "what was looked for was found";
}

TEST_F(WhyOfAnotherNode, KeyAndConfigurationInAReadOfConfiguration) {
    for (const char *leaf : {"/name", "/config/target-gain"}) {
        const WhyReport report = why_of(amplifier + leaf, {RunReport{}}, YFW_KIND_GET_CONFIG);
        expect_absent(report.leaves.front(), Absence::not_asked, "the native request of the plug-in leaves out /");
    }
    const WhyReport report = why_of(amplifier + "/state/enabled", {RunReport{}}, YFW_KIND_GET_CONFIG);
    expect_absent(report.leaves.front(), Absence::not_asked, "it reads configuration, and this is state");
}

TEST_F(WhyOfAnotherNode, RecordWhoseElementIsNoReasonForNoValue) {
    TakenNode node{.path = native_path, .place = native_place, .leaf = true};
    node.looks = {{.bind_point = "/a/", .item = "", .listing = true, .result = DatabaseLook::Result::absent},
                  {.bind_point = "/a/", .item = "b", .record = "r", .element = "e"},
                  {.bind_point = "/a/", .item = "c", .record = "r", .element = "e", .text = "x"}};
    node.writes.push_back({.number = 0});
    RunReport asked = run();
    asked.walks = {walk_over(node)};
    asked.walks.front().placements.push_back({amplifier + "/state/enabled", 0, "", "it is empty"});
    expect_absent(told({asked}), Absence::no_value, std::string(" makes no value of ") + native_path + " = \"\"");
}

TEST_F(WhyOfAnotherNode, LeafThatAnotherNodeWrote) {
    TakenNode node{.path = "/ots-oper/other", .place = "/ots-oper/other", .text = "x", .leaf = true};
    node.writes.push_back({.number = 0});
    RunReport asked = run();
    asked.walks = {walk_over(node)};
    asked.walks.front().placements = {{amplifier + "/state/enabled", 1, "", "it is empty"}, // by no node
                                      {amplifier + "/state/type", 0, "", ""},
                                      {amplifier + "/state/enabled", 0, "true", ""}, // and taken away again
                                      {amplifier + "/state/enabled", 0, "", "it is empty"}};
    expect_absent(told({asked}), Absence::no_value, "the plug-in makes no value of /ots-oper/other = \"x\"");
}

TEST_F(WhyOfAnotherNode, RecordThatTheLeafsOwnNodeLacks) {
    TakenNode node{.path = native_path, .place = native_place, .text = "x", .leaf = true};
    node.looks = {{.bind_point = "/a/", .item = "b", .result = DatabaseLook::Result::absent}};
    RunReport asked = run();
    asked.walks = {walk_over(node)};
    expect_absent(told({asked}), Absence::not_in_inventory, "the system database has no /a/ b");
}

TEST_F(WhyOfAnotherNode, NativeLeafInAContainerThatIsAbsent) {
    RunReport asked = run();
    asked.walks = {
        walk_over({.path = "/ots-oper/ots-ports/ots-port[name='X']", .place = "/ots-oper/ots-ports/ots-port"})};
    expect_absent(told({asked}), Absence::no_native_leaf,
                  std::string("the native leaf ") + native_place + " is absent");
}

TEST_F(WhyOfAnotherNode, KeyOfTheNativeEntryThatWasRead) {
    RunReport asked = run();
    asked.walks = {
        walk_over({.path = "/ots-oper/ots-ports/ots-port[name='X']", .place = "/ots-oper/ots-ports/ots-port"})};
    const WhyReport report = why_of(amplifier + "/name", {asked});
    expect_absent(report.leaves.front(), Absence::no_native_leaf,
                  "the native leaf /ots-oper/ots-ports/ots-port/name is absent");
}

TEST_F(WhyOfAnotherNode, EntryThatIsNotKnownButWasWalkedOver) {
    RunReport asked = run();
    asked.walks = {
        walk_over({.path = "/ots-oper/ots-ports/ots-port[name='X']", .place = "/ots-oper/ots-ports/ots-port"})};
    const WhyReport report = why_of("/optical-amplifier/amplifiers/amplifier/state/enabled", {asked});
    ASSERT_EQ(report.leaves.size(), 1U);
    expect_absent(report.leaves.front(), Absence::no_native_leaf, native_place);
}

TEST_F(WhyOfAnotherNode, EveryLeafThatIsServedHasARow) {
    std::size_t served = 0;
    for (const WhyLeaf &leaf : why_of("/", {}).leaves) {
        if (leaf.absence == Absence::not_served)
            continue;
        ++served;
        EXPECT_TRUE(std::any_of(mapping_rows().begin(), mapping_rows().end(), [&](const MappingRow &row) {
            return row.openconfig == leaf.path;
        })) << leaf.path;
    }
    EXPECT_EQ(served, served_leaves);
}

TEST_F(WhyOfAnotherNode, ListingsLeaveNoneOut) {
    RunReport asked = run();
    asked.request_trace.push_back(
        {.looks = {{.bind_point = "/a/", .item = "", .listing = true, .result = DatabaseLook::Result::absent},
                   {.bind_point = "/a/", .item = "b", .result = DatabaseLook::Result::absent},
                   {.bind_point = "/a/", .item = "b", .result = DatabaseLook::Result::absent},
                   {.bind_point = "/a/", .item = "c"}}});
    EXPECT_THAT(why_of("/optical-amplifier/amplifiers/amplifier/state/enabled", {asked}).left_out,
                testing::ElementsAre("not in the inventory: the system database has no /a/ b"));
}

// Parts of native entries that answer a request

TEST_F(WhyOfAnotherNode, NodesWhoseValueIsTheirOwnAreNotPassedOver) {
    const auto row = std::find_if(mapping_rows().begin(), mapping_rows().end(),
                                  [](const MappingRow &known) { return !known.getter.empty(); });
    ASSERT_NE(row, mapping_rows().end());
    TakenNode node{.path = "/x", .place = std::string(row->native), .leaf = true};
    EXPECT_TRUE(passed_over_leaves(walk_over(node)).empty()) << "nothing was looked for";
    node.looks.push_back({.bind_point = "/a/", .item = "b"});
    EXPECT_EQ(passed_over_leaves(walk_over(node)).size(), 1U);
    node.writes.push_back({.number = 0, .source = TracedWrite::Source::database});
    EXPECT_EQ(passed_over_leaves(walk_over(node)).size(), 1U);
    node.writes.push_back({.number = 1, .source = TracedWrite::Source::node});
    EXPECT_TRUE(passed_over_leaves(walk_over(node)).empty());
}

TEST_F(Why, AmplifiersThatAListLeavesOut) {
    const std::string path = "/optical-amplifier/amplifiers/amplifier/state/enabled";
    EXPECT_THAT(why(path).left_out, testing::Not(testing::Contains(HasSubstr("0%2f1-AMP-PRE"))));
    EXPECT_THAT(why(path).left_out, testing::Contains(HasSubstr("0%2f3-AMP-PRE")));
    remove_item(inventory, "0%2f1-AMP-PRE/attrib/inv_basic_bag");
    EXPECT_THAT(why(path).left_out, testing::Contains(HasSubstr("has no /oper/inventory/gl/entity/ 0%2f1-AMP-PRE")));
    EXPECT_THAT(why(amplifier + "/state/enabled").left_out, testing::IsEmpty());
}

TEST_F(Why, ARequestForOneEntryLeavesNoneOut) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    const auto left_out_of = [](const std::string &path) {
        const Filter filter = Filter::from_path(openconfig_schema(), path);
        ObservedRead read{.kind = YFW_KIND_GET, .filter = filter};
        RunReport run{.request = filter.requests().front()};
        run.request_trace.push_back(
            {.looks = {{.bind_point = inventory, .item = "lost", .result = DatabaseLook::Result::absent}}});
        read.report.push_back(run);
        return ocamp::why(read).left_out;
    };
    EXPECT_THAT(left_out_of(list + "/state/enabled"),
                testing::ElementsAre(HasSubstr(inventory + std::string(" lost"))));
    EXPECT_THAT(left_out_of(list + "[name='0/1-AMP-PRE']/state/enabled"), testing::IsEmpty());
}

// The native models' types keep such values out; those of another node might not.
TEST_F(Why, ValueOfTheNativeLeafThatFitsNoType) {
    const Filter filter = Filter::from_path(openconfig_schema(), amplifier + "/state/enabled");
    TakenNode node{.path = "/ots-oper/ots-ports/ots-port[name='X']/ots-info/osri-config-val",
                   .place = "/ots-oper/ots-ports/ots-port/ots-info/osri-config-val"};
    node.leaf = true;
    node.looks.push_back({.bind_point = inventory, .item = "found on the way"});
    node.writes.push_back({.number = 0, .value = "maybe", .source = TracedWrite::Source::node});
    NativeWalkReport walk{.module = "Korvex-controller-orvo8-ots-oper",
                          .entry = "/ots-oper/ots-ports/ots-port[name='X']",
                          .tree = {.tag = "ots-oper", .ns = ""}};
    walk.trace.push_back(node);
    walk.placements.push_back({amplifier + "/state/enabled", 0, "maybe", "no boolean"});
    RunReport run{.request = filter.requests().front()};
    run.native_request.push_back({.tag = "ots-oper", .ns = ""});
    run.walks.push_back(walk);
    ObservedRead read{.kind = YFW_KIND_GET, .filter = filter};
    read.report.push_back(run);
    expect_absent(ocamp::why(read).leaves.front(), Absence::unfit,
                  "\"maybe\" from " + node.path + " fits no type of the leaf: no boolean");
}

TEST_F(Why, StateThatAReadOfConfigurationNeverAsksFor) {
    expect_absent(why_leaf(amplifier + "/state/enabled", YFW_KIND_GET_CONFIG), Absence::not_asked,
                  "the request never asked for it");
    EXPECT_EQ(why_leaf(amplifier + "/config/enabled", YFW_KIND_GET_CONFIG).value, "true");
}

TEST_F(Why, SlotThatThePlatformDoesNotHave) {
    expect_absent(why_leaf("/optical-amplifier/amplifiers/amplifier[name='0/9-AMP-PRE']/state/enabled"),
                  Absence::no_such_slot, "slots 1 to 3");
}

TEST_F(Why, NameThatNoAmplifierHas) {
    const std::string list = "/optical-amplifier/amplifiers/amplifier";
    for (const char *name : {"bogus", "", "9/9-AMP-PRE", "0/1-AMP-PRE-", "0/1-AMP-XYZ", "0/1", "0/1-AMP-AMP-PRE"})
        expect_absent(why_leaf(list + "[name='" + name + "']/state/name"), Absence::not_in_inventory,
                      "no amplifier has such a name, expected one such as 0/1-AMP-PRE");
    for (const char *name : {"0/3-AMP-PRE", "0/3-AMP-BST"})
        expect_absent(why_leaf(list + "[name='" + name + "']/state/name"), Absence::not_in_inventory,
                      "not in the inventory: the system database has no");
}

TEST_F(Why, TextsOfANodeAreShownHarmless) {
    set_element(history_point, partner_item, "pm_optics_paras.OPR.Average", " -1\x1b[31m ");
    const std::string text = why_text(why(amplifier + "/state/input-power-c-band/avg"));
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(why_json(why(amplifier + "/state/input-power-c-band/avg")).find('\x1b'), std::string::npos);
}

// The past of the same leaves

class History : public Why {
  protected:
    static std::vector<std::string> shown(const std::vector<LeafHistory> &leaves) {
        std::vector<std::string> lines;
        for (const LeafHistory &leaf : leaves) {
            std::string line = leaf.path;
            for (const std::optional<std::string> &value : leaf.values)
                line += " " + value.value_or("-");
            lines.push_back(line);
        }
        return lines;
    }
    std::vector<std::string> history(const std::string &path) const {
        Service service({.node = folder_, .plugin = PLUGIN_FILE});
        return shown(service.history(Filter::from_path(openconfig_schema(), path)));
    }
};

TEST_F(History, RecordsWithoutTheNumberOfAnIntervalAreNone) {
    const std::string path = amplifier + "/state/input-power-c-band";
    const std::vector<std::string> before = history(path);
    ASSERT_EQ(before.size(), 3U);
    EXPECT_THAT(before, testing::Contains(path + "/avg - -15.38"));
    const std::string item = "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x";
    const auto copy_to = [&](const std::string &number) {
        change_record(history_point, item + number, [&](SystemDatabase &database, const auto &point, const auto &name) {
            database.put(point, name, *database.get(point, partner_item));
        });
    };
    for (const char *number : {"", "zz", "2g", "0", "101", "fffffffff", "-1"})
        copy_to(number);
    EXPECT_EQ(history(path), before);
    copy_to("10");
    const std::string values = history(path).front();
    EXPECT_EQ(std::count(values.begin(), values.end(), ' '), 16) << "intervals";
}

TEST_F(History, NodeWithoutAHistoryHasNone) {
    Node node(folder_, Node::Access::read);
    NativeData data = load_native(node.database(), native_schema());
    std::erase_if(data.operational,
                  [](const NativeDocument &document) { return document.may_be_of("Korvex-pmengine-oper"); });
    const Plugin plugin(PLUGIN_FILE);
    LogSession logs({});
    const auto history_now = [&](const std::string &path) {
        return shown(history_of(std::move(data), node.system_database(), Filter::from_path(openconfig_schema(), path),
                                Reader(plugin, logs)));
    };
    EXPECT_THAT(history_now(amplifier + "/state/actual-gain"), testing::IsEmpty());
}

// Texts of reports that no node made

WhyReport report_of(std::vector<WhyLeaf> leaves) {
    return {.leaves = std::move(leaves), .left_out = {}, .failure = {}};
}

TEST(WhyText, AParagraphTellsSourceConverterChecksAndWhatWasPassedOver) {
    WhyLeaf leaf{.path = "/a/gain", .entry = "/a", .value = "17.5", .unit = "dB"};
    leaf.from = WhySource{.place = "/ports/port[name='Ots0/1/0/0']/info/gain", .text = "1750"};
    leaf.converter = "gain_to_high";
    leaf.rule = "native hundredths";
    leaf.written = "17.50";
    leaf.checked = {{.database = true, .place = "/oper/inventory/", .item = "Ots0_1_0_0", .text = {}},
                    {.database = true, .place = "/oper/inventory/", .element = "Slot", .text = {}}};
    leaf.passed_over = {
        {{.database = true, .place = "/oper/", .item = "Ots0/history", .element = "a.b.c", .text = "7"}, "is older"}};
    EXPECT_EQ(why_text(report_of({leaf})),
              "/a/gain = 17.5 dB\n"
              "  from   native /ports/port[name='Ots0/1/0/0']/info/gain = \"1750\"\n"
              "  by     gain_to_high: hundredths of a dB, divided by 100: 1750 is 17.50, which the model writes 17.5\n"
              "  after  system database /oper/inventory/ Ots0_1_0_0 was found\n"
              "  after  system database /oper/inventory/ Slot was found\n"
              "  other  database b.c of Ots0 = \"7\" is older\n");
    std::string json = why_json(report_of({leaf}));
    std::erase_if(json, [](char character) { return character == ' ' || character == '\n'; });
    EXPECT_THAT(json, HasSubstr(R"("checked":[{)"));
    EXPECT_THAT(json, HasSubstr(R"("item":"Ots0_1_0_0")"));
    EXPECT_THAT(json, HasSubstr(R"("passed-over":[{)"));
    EXPECT_THAT(json, HasSubstr(R"("reason":"isolder")"));
}

TEST(WhyText, ARecordIsToldWithItsElement) {
    WhyLeaf leaf{.path = "/a/power", .entry = "/a", .value = "-1"};
    leaf.from = WhySource{
        .database = true, .place = "/oper/", .item = "Ots0", .record = "rec", .element = "x.y", .text = " -1 "};
    leaf.rule = "as it stands";
    leaf.written = "-1";
    EXPECT_EQ(why_text(report_of({leaf})), "/a/power = -1\n"
                                           "  from   system database /oper/ Ots0\n"
                                           "         rec x.y = \" -1 \"\n"
                                           "  by     the plug-in: as it stands, white space removed\n");
    leaf.rule = "";
    leaf.from->element = "";
    EXPECT_EQ(why_text(report_of({leaf})), "/a/power = -1\n"
                                           "  from   system database /oper/ Ots0\n");
    leaf.converter = "power_to_high";
    EXPECT_EQ(why_text(report_of({leaf})), "/a/power = -1\n"
                                           "  from   system database /oper/ Ots0\n"
                                           "  by     power_to_high\n");
}

TEST(WhyText, ALeafWithoutAValueHasItsReasonAndAReadItsFailureOnce) {
    WhyLeaf leaf{.path = "/a/gain", .entry = "/a"};
    leaf.reason = "the record is damaged: offset 0";
    WhyReport report = report_of({leaf});
    report.left_out = {"/a lacks 0/3"};
    report.failure = "offset 0";
    const std::string text = "/a/gain has no value\n  why    the record is damaged: offset 0\nLeft out: /a lacks 0/3\n";
    EXPECT_EQ(why_text(report), text);
    report.failure = "offset 1";
    EXPECT_EQ(why_text(report), text + "A read of this fails: offset 1\n");
}

TEST(WhyText, SeveralLeavesAreATableUnderEachEntry) {
    WhyLeaf gain{.path = "/a[k='1']/gain", .entry = "/a[k='1']", .value = "17.5", .unit = "dB"};
    gain.from = WhySource{.place = "/p/port[name='Ots0/1/0/0']/info/gain", .text = "1750"};
    WhyLeaf key{.path = "/a[k='1']/k", .entry = "/a[k='1']", .value = "1"};
    key.from = WhySource{.place = "/p/port[name='1']/name", .text = "1"};
    WhyLeaf own{.path = "/a[k='2']/type", .entry = "/a[k='2']", .value = "EDFA"};
    WhyLeaf none{.path = "/top", .entry = ""};
    none.reason = "the words of this reason are many and do not fit into one line of that few columns";
    WhyReport report = report_of({gain, key, own, none});
    report.failure = "no such file";
    EXPECT_EQ(why_text(report, 60), "/a[k='1']\n"
                                    "  gain  17.5 dB  native info/gain of Ots0/1/0/0 = \"1750\"\n"
                                    "  k     1        native port/name = \"1\"\n"
                                    "/a[k='2']\n"
                                    "  type  EDFA  the plug-in's own\n"
                                    "  top  -  the words of this reason are many and do not fit\n"
                                    "          into one line of that few columns\n"
                                    "A read of this fails: no such file\n");
}

TEST(WhyText, LongPathsAndWordsGoOnInTheNextLine) {
    WhyLeaf path{.path = "/one", .entry = ""}, word{.path = "/two", .entry = ""};
    path.reason = "/first/part/of/a/path/that/is/too/long/for/a/line";
    word.reason = std::string(45, 'w');
    EXPECT_EQ(why_text(report_of({path, word}), 40), "  one  -  /first/part/of/a/path/that/is\n"
                                                     "          /too/long/for/a/line\n"
                                                     "  two  -  " +
                                                         std::string(30, 'w') + "\n          " + std::string(15, 'w') +
                                                         "\n");
}

TEST(WhyText, EditsTellTheNativeLeafAndWhatIsLost) {
    const std::vector<WhyEdit> edits{{.path = "/a/gain",
                                      .asked = "15.56",
                                      .unit = "dB",
                                      .native = "/n/gain",
                                      .stored = "155",
                                      .native_unit = "0.1 dB",
                                      .carried_out = true,
                                      .reads_back = "15.5",
                                      .lost = "0.06 dB"},
                                     {.path = "/a/tilt", .asked = {}, .native = "/n/tilt", .carried_out = true},
                                     {.path = "/a/name", .asked = "x"},
                                     {.path = "/a/on", .asked = "true", .native = "/n/on", .stored = "1"}};
    EXPECT_EQ(why_text(edits), "/a/gain = 15.56 dB\n"
                               "  native /n/gain = \"155\", in units of 0.1 dB\n"
                               "  back   15.5 dB\n"
                               "  lost   0.06 dB\n"
                               "/a/tilt is removed\n"
                               "  native /n/tilt is removed\n"
                               "  back   nothing\n"
                               "/a/name = x\n"
                               "  native no leaf of its own\n"
                               "/a/on = true\n"
                               "  native /n/on = \"1\"\n");
}

TEST(WhyText, SourcesAreNamedInShort) {
    const auto source_in_table = [](const WhySource &source) {
        WhyLeaf leaf{.path = "/x", .entry = "", .value = "v"}, other{.path = "/y", .entry = "", .value = "w"};
        leaf.from = source;
        const std::string text = why_text(report_of({leaf, other}));
        const std::size_t begin = text.find("v  ") + 3;
        return text.substr(begin, text.find('\n') - begin);
    };
    const std::string text = "t", end = " = \"t\"";
    EXPECT_EQ(source_in_table({.place = "gain", .text = text}), "native gain" + end) << "no path";
    EXPECT_EQ(source_in_table({.place = "/gain", .text = text}), "native gain" + end);
    EXPECT_EQ(source_in_table({.place = "/ports/gain", .text = text}), "native ports/gain" + end);
    EXPECT_EQ(source_in_table({.place = "/p[k=]/gain", .text = text}), "native p/gain" + end) << "no key";
    EXPECT_EQ(source_in_table({.place = "/p[k=\"a'/b\"]/gain", .text = text}), "native p/gain of a'/b" + end);
    const auto of_element = [&](const std::string &element) {
        return source_in_table({.database = true, .place = "/", .item = "i/j", .element = element, .text = text});
    };
    EXPECT_EQ(of_element("e"), "database e of i" + end);
    EXPECT_EQ(of_element("d.e"), "database d.e of i" + end);
    EXPECT_EQ(of_element("c.d.e"), "database d.e of i" + end);
    EXPECT_EQ(of_element(".e"), "database e of i" + end);
}

TEST(WhyText, RulesSayWhatBecameOfTheText) {
    const auto rule = [](const std::string &text, const std::string &written, const std::string &words) {
        WhyLeaf leaf{.path = "/a", .entry = "", .value = written};
        if (!text.empty())
            leaf.from = WhySource{.place = "/n", .text = text};
        leaf.rule = words;
        leaf.written = written;
        const std::string shown = why_text(report_of({leaf}));
        const std::size_t begin = shown.find("by     the plug-in: ");
        return shown.substr(begin + 20, shown.size() - begin - 21);
    };
    EXPECT_EQ(rule("1", "1", "as it stands"), "as it stands");
    EXPECT_EQ(rule(" 1 ", "1", "a name for the other"), "a name for the other, white space removed");
    EXPECT_EQ(rule("2", "1", "a name for the other"), "a name for the other");
    EXPECT_EQ(rule(" \t", "1", "a name for the other"), "a name for the other") << "blanks alone";
    EXPECT_EQ(rule("", "1", "as it stands"), "as it stands") << "no source";
}

TEST(WhyText, WordsThatBeginWithASlashAreCutWhereTheLineEnds) {
    WhyLeaf one{.path = "/one", .entry = ""}, two{.path = "/two", .entry = ""};
    one.reason = "/" + std::string(45, 'w');
    EXPECT_EQ(why_text(report_of({one, two}), 40),
              "  one  -  /" + std::string(29, 'w') + "\n          " + std::string(16, 'w') + "\n  two  -  \n");
}

std::string without_blanks(std::string text) {
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    return text;
}

TEST(WhyJson, LeavesOutWhatIsNotKnown) {
    WhyReport report = report_of({{.path = "/a", .entry = "", .value = "1"}});
    EXPECT_EQ(without_blanks(why_json(report)), R"({"leaves":[{"path":"/a","value":"1","written":""}]})");
    report.left_out = {"b"};
    report.failure = "c";
    EXPECT_EQ(without_blanks(why_json(report)),
              R"({"leaves":[{"path":"/a","value":"1","written":""}],"left-out":["b"],"failure":"c"})");
    const std::vector<WhyEdit> edits{{.path = "/a"},
                                     {.path = "/b",
                                      .asked = "1",
                                      .unit = "dB",
                                      .native = "/n",
                                      .stored = "10",
                                      .native_unit = "0.1 dB",
                                      .carried_out = true,
                                      .reads_back = "1",
                                      .lost = "nothing"}};
    EXPECT_EQ(without_blanks(why_json(edits)),
              R"({"edit":[{"path":"/a","removed":true},{"path":"/b","asked":"1","unit":"dB","native":"/n",)"
              R"("stored":"10","native-unit":"0.1dB","reads-back":"1","lost":"nothing"}]})");
}

// What is lost of the leaves of an edit

TEST(WhyEdits, LossIsADifferenceWhereBothAreNumbers) {
    const YangTree now = openconfig_schema().parse(
        R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[{"name":"a","config":
        {"name":"a","enabled":true,"target-gain":"17.5","target-gain-tilt":"-0.8"}}]}}})",
        LYD_JSON);
    const std::string config = "/optical-amplifier/amplifiers/amplifier[name='a']/config";
    const auto lost = [&](const std::string &leaf, const std::string &asked, const std::string &unit = "dB") {
        std::vector<WhyEdit> leaves{{.path = config + leaf, .asked = asked, .unit = unit}};
        note_read_back(leaves, now);
        EXPECT_TRUE(leaves.front().carried_out);
        return leaves.front().lost;
    };
    EXPECT_EQ(lost("/target-gain", "17.5"), "");
    EXPECT_EQ(lost("/target-gain", "17.56"), "0.06 dB: 17.56 becomes 17.5");
    EXPECT_EQ(lost("/target-gain", "17"), "-0.5 dB: 17 becomes 17.5");
    EXPECT_EQ(lost("/target-gain", "18", ""), "0.5: 18 becomes 17.5");
    EXPECT_EQ(lost("/target-gain-tilt", "-1"), "-0.2 dB: -1 becomes -0.8");
    EXPECT_EQ(lost("/enabled", "false", ""), "false becomes true");
    EXPECT_EQ(lost("/target-gain", "much"), "much becomes 17.5");
    EXPECT_EQ(lost("/target-gain", "1.5x"), "1.5x becomes 17.5");
    EXPECT_EQ(lost("/target-gain", "9223372036854775807"), "9223372036854775807 becomes 17.5") << "too large in tenths";
    EXPECT_EQ(lost("/target-gain-tilt", "922337203685477580.7"), "922337203685477580.7 becomes -0.8") << "to subtract";
    EXPECT_EQ(lost("/target-gain", "1." + std::string(18, '0')), "1.000000000000000000 becomes 17.5");
    EXPECT_EQ(lost("/name", "5"), "5 becomes a") << "a number for a name";
    EXPECT_EQ(lost("/type", "EDFA"), "") << "nothing reads back";
    std::vector<WhyEdit> removed{{.path = config + "/enabled"}};
    note_read_back(removed, now);
    EXPECT_EQ(removed.front().lost, "");
    EXPECT_EQ(removed.front().reads_back, "true");
}

TEST(WhyEdits, WholeNumbersAreSubtractedAsSuch) {
    const YangTree now = native_schema().parse(
        R"({"Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[{"active":"act",
        "interface-name":"Ots0/1/0/0","bandwidth":12}]}})",
        LYD_JSON);
    std::vector<WhyEdit> leaves{{.path = "/interface-configurations/interface-configuration[active='act']"
                                         "[interface-name='Ots0/1/0/0']/bandwidth",
                                 .asked = "10"}};
    note_read_back(leaves, now);
    EXPECT_EQ(leaves.front().lost, "-2: 10 becomes 12");
}

TEST(WhyEdits, RemovedNodesAndNodesOfOtherModulesAreAskedFor) {
    const auto paths = [](const std::string &amplifiers, DefaultOperation operation) {
        std::vector<std::string> shown;
        for (const WhyEdit &leaf : asked_leaves(EditRequest(
                 openconfig_schema(),
                 R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": )" + amplifiers + "}}",
                 operation)))
            shown.push_back(leaf.path + (leaf.asked ? " = " + *leaf.asked : " is removed"));
        return shown;
    };
    const std::string entry = "/optical-amplifier/amplifiers/amplifier[name='a']";
    const std::string mixed =
        R"({"other:group": 1, "amplifier": [{"name": "a", "config": {"enabled": true, "@target-gain":
        {"ietf-netconf:operation": "delete"}}}]})";
    using testing::ElementsAre;
    EXPECT_THAT(
        paths(mixed, DefaultOperation::merge),
        testing::UnorderedElementsAre(entry + "/config/enabled = true", entry + "/config/target-gain is removed"));
    EXPECT_THAT(paths(mixed, DefaultOperation::none), ElementsAre(entry + "/config/target-gain is removed"));
    EXPECT_THAT(paths(R"({"@": {"ietf-netconf:operation": "remove"}})", DefaultOperation::merge),
                ElementsAre("/optical-amplifier/amplifiers is removed"));
}

TEST(WhyEdits, NativeNodesAreThoseThatTheModelsHave) {
    const std::string source = "/optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain";
    const std::string entry = "/interface-configurations/interface-configuration";
    const auto noted = [&](const std::vector<Write> &writes, std::optional<std::string> asked) {
        std::vector<WhyEdit> leaves{{.path = source, .asked = std::move(asked)}};
        note_native_edit(leaves, OutputTree(writes).roots());
        return leaves.front();
    };
    const auto write = [&](const std::string &path, std::optional<std::string> value) {
        return Write{.path = path, .ns = "", .value = std::move(value), .source_path = source};
    };
    const std::vector<Write> gain{write(entry + "/optics/optics-ots-amplifier-gain", "175")};
    EXPECT_EQ(noted(gain, "17.5").native, entry + "/optics/optics-ots-amplifier-gain");
    EXPECT_EQ(noted(gain, "17.5").stored, "175");
    EXPECT_EQ(noted(gain, std::nullopt).native, entry + "/optics/optics-ots-amplifier-gain") << "removed";
    EXPECT_EQ(noted(gain, std::nullopt).stored, std::nullopt);
    EXPECT_EQ(noted({write(entry + "/optics", std::nullopt)}, "17.5").native, "") << "no leaf";
    EXPECT_EQ(noted({write(entry + "/optics", std::nullopt)}, std::nullopt).native, entry + "/optics");
    EXPECT_EQ(noted({write("/no-such-root", "175")}, "17.5").native, "");
    EXPECT_EQ(noted({write(entry + "/description", "first"), write(entry + "/bandwidth", "2")}, "17.5").stored,
              "first");
}

TEST_F(Why, LeavesHaveTheUnitsOfTheirRows) {
    EXPECT_EQ(why_leaf(amplifier + "/config/target-gain").unit, "dB");
    EXPECT_EQ(why_leaf(amplifier + "/state/input-power-c-band/avg").unit, "dBm");
    EXPECT_EQ(why_leaf(amplifier + "/config/enabled").unit, "");
}

TEST(WhyText, LeavesWithoutAValueHaveTheirReasonInJson) {
    WhyLeaf leaf{.path = "/a", .entry = ""};
    leaf.absence = Absence::not_asked;
    leaf.reason = "nobody asks";
    EXPECT_THAT(why_json(report_of({leaf})), HasSubstr(R"("reason": "nobody asks")"));
}

TEST(WhyEdits, WhatIsLostIsTheDifferenceOfTheNumbers) {
    const std::string path = "/optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain";
    const auto lost = [&](const std::string &asked, const std::string &held) {
        std::vector<WhyEdit> leaves{{.path = path, .asked = asked, .unit = "dB"}};
        note_read_back(leaves, openconfig_schema().parse(
                                   R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[)"
                                   R"({"name":"a","config":{"name":"a","target-gain":")" +
                                       held + R"("}}]}}})",
                                   LYD_JSON));
        return leaves.front().lost;
    };
    EXPECT_EQ(lost("15.5", "15.5"), "");
    EXPECT_EQ(lost("15.56", "15.5"), "0.06 dB: 15.56 becomes 15.5");
    EXPECT_EQ(lost("-0.01", "0.0"), "-0.01 dB: -0.01 becomes 0.0");
    EXPECT_EQ(lost("much", "3.0"), "much becomes 3.0");
}

TEST(WhyText, NamesThatFitIntoTheirColumnAreNotWrapped) {
    const std::string name = "a-leaf-with-a-name-of-30-bytes";
    WhyLeaf longest{.path = "/" + name, .entry = ""}, other{.path = "/b", .entry = ""};
    longest.reason = other.reason = "none";
    EXPECT_EQ(why_text(report_of({longest, other}), 200),
              "  " + name + "  -  none\n  b" + std::string(name.size() - 1, ' ') + "  -  none\n");
}

} // namespace
