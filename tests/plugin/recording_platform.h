// The platform that the plug-in meets in these tests: every function of the seam, implemented so that each call is
// written down as one readable line with all its arguments. Knows the seam only, nothing of what the plug-in should do.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "yfw_platform.h"

namespace recording {

/// One token of a scripted bag. `number` fills the scalar word, `text` the text word that the type uses.
struct Token {
    bag_token_type_td type;
    const char *name;
    int64_t number = 0;
    std::string text = {};
};

struct Bag {
    std::string name = "record";
    uint32_t length = 64;
    uint32_t version_major = 1;
    uint32_t version_minor = 0;
    std::vector<Token> tokens;
};

struct MessageSite {
    uint32_t value_when_passed;
    std::set<std::string> formats;
};

struct LightweightLine {
    yfw_ltrace_handle *trace;
    uint64_t flags;
    std::string text = {};
};

class Platform {
  public:
    /// Forgets every call and every scripted answer. The answers are then the sensible ones.
    void reset();

    /// The context and output tree of the test. Lines name them "ctx" and "out"; any other is shown as a stranger.
    void know(yfw_map_ctx ctx, const yfw_datatree *out);
    /// Lines show `node` under this name instead of its tag.
    void name_node(const yfw_datatree *node, const std::string &name);

    /// The calls in order, without the questions and bounded copies that change nothing (see is_pure).
    std::vector<std::string> calls() const;
    /// The same without the lines of the functions named.
    std::vector<std::string> calls_without(const std::set<std::string> &functions) const;
    /// Only the lines of the functions named.
    std::vector<std::string> calls_of(const std::set<std::string> &functions) const;
    /// Every call there was.
    std::vector<std::string> all_calls() const;
    void forget_calls();

    /// The function answers `code` instead of success: always, or at its nth call, or when its line holds `part`.
    void answer(const std::string &function, cerrno code, unsigned nth = 0, const std::string &part = "");
    void debug_log_takes(int level, bool taken);
    /// The nth call of all, from 1, answers `code` if it is one that gives a code.
    void fail_call(size_t nth, cerrno code);
    /// The nth call of all succeeds and hands out nothing, if it is one that hands out something.
    void empty_call(size_t nth);
    /// The function that the nth call of all, from 1, called.
    const std::string &function_of_call(size_t nth) const { return calls_.at(nth - 1).function; }
    size_t call_count() const { return calls_.size(); }

    /// Inventory name of an amplifier that exists on the node.
    void put_amplifier(const std::string &amplifier);
    void put_item(const std::string &bind_point, const std::string &item_path, Bag bag);
    /// The item exists and reads as success, without a record.
    void put_empty_item(const std::string &bind_point, const std::string &item_path);
    /// What the listing under any binding gives.
    std::vector<std::string> listing;
    /// A listing that fails is handed out all the same.
    bool failed_listing_is_given = false;
    bool library_present = true;
    bool bind_gives_handle = true;
    bool request_adds = false;
    bool output_list_grows = true;
    /// What yfw_map_get_node_info hands out; NULL for none.
    const char *node_key = nullptr;
    std::vector<const yfw_datatree *> list_instances;
    /// Told of every call as it is made, so that a test can look at the request at that moment.
    std::function<void(const std::string &function, const std::string &line)> watch;

    const std::map<uint32_t *, MessageSite> &message_sites() const { return sites_; }
    const std::vector<LightweightLine> &lightweight() const { return lightweight_; }
    /// Copies handed out by yfw_strdup and not freed yet; texts of bag tokens not released yet; walks not ended yet.
    size_t live_copies() const { return copies_.size(); }
    size_t live_token_texts() const { return token_texts_.size(); }
    int open_walks() const { return open_walks_; }
    int open_bindings() const { return open_bindings_; }
    int open_listings() const { return open_listings_; }
    /// Nodes pushed and not popped.
    int hierarchy_depth() const { return hierarchy_depth_; }

    /// For the functions of the seam.
    struct Access;

  private:
    friend struct Access;
    struct Call {
        std::string function;
        std::string line;
    };
    struct Rule {
        std::string function;
        cerrno code;
        unsigned nth;
        std::string part;
        unsigned seen = 0;
    };

    std::vector<Call> calls_;
    std::vector<Rule> rules_;
    std::map<std::pair<std::string, std::string>, Bag> items_;
    std::set<std::pair<std::string, std::string>> empty_items_;
    std::map<uint32_t *, MessageSite> sites_;
    std::vector<LightweightLine> lightweight_;
    std::map<const yfw_datatree *, std::string> names_;
    std::set<char *> copies_;
    std::set<char *> token_texts_;
    std::set<int> silent_levels_;
    std::string bind_point_;
    size_t failing_call_ = 0;
    cerrno failing_code_ = 0;
    size_t empty_call_ = 0;
    size_t next_item_ = 0;
    uint32_t trace_index_ = 0;
    int open_walks_ = 0;
    int open_bindings_ = 0;
    int open_listings_ = 0;
    int hierarchy_depth_ = 0;
    yfw_map_ctx ctx_ = nullptr;
    const yfw_datatree *out_ = nullptr;
};

Platform &platform();

/// Questions that the answer of depends on nothing but their arguments, bounded copies, and the release of token
/// texts (which the fixture checks by count). `access` belongs here because its answer is latched by the plug-in.
bool is_pure(const std::string &function);

/// How a node is shown in a line: "<tag>", with "op=N" when its operation is not a merge; "none" for NULL.
std::string show_node(const std::string &tag, uint32_t operation = YFW_OP_MERGE);
/// How a text is shown in a line: in quotes, or "none" for NULL.
std::string show_text(const char *text);

} // namespace recording
