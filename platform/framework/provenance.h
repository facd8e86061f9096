// Where the values that a walk writes come from, as it was observed: the native node that was in hand, and what was
// looked up in the system database meanwhile. Knows no model, and not what is made of it.
#pragma once

#include "framework/request_tree.h"
#include "seam/data_flow.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// One look into the system database.
struct DatabaseLook {
    enum class Result {
        found,  ///< the item was there; of a listing: it was left at the name in `element`
        absent, ///< there is no such item; of a listing: it was read to its end
        failed  ///< nobody can tell: `failure` says why
    };
    std::string bind_point;
    std::string item; ///< of a listing: the folder, empty for the bind point itself
    bool listing = false;
    Result result = Result::found;
    std::string failure = {};
    std::string record = {};              ///< name of the record; empty when its header was not read
    std::string element = {};             ///< path of the element read last, with dots; empty: read to its end
    std::optional<std::string> text = {}; ///< of that element; none for a structure or at the end
    bool operator==(const DatabaseLook &) const = default;
};

/// A write, and what its value was made of.
struct TracedWrite {
    enum class Source {
        node,      ///< a copy of the text of the native node in hand, or that text itself
        database,  ///< a copy of what `look` read
        converter, ///< no text that was seen: the function's own
    };
    std::size_t number;     ///< place among the writes of the walk
    std::string path = {};  ///< as the plug-in gave it: without keys
    std::string value = {}; ///< empty for none too
    Source source = Source::converter;
    std::size_t look = 0;       ///< for database: index among the looks of the node
    std::string converter = {}; ///< the function that copied the text; empty when none was seen
};

/// A native node that the plug-in took up, with what it did until it took up the next.
struct TakenNode {
    std::string path = {};                ///< data path with keys; empty before the first node
    std::string place = {};               ///< the same without keys
    std::optional<std::string> text = {}; ///< as the node held it
    bool leaf = false;
    std::vector<DatabaseLook> looks = {};
    std::vector<TracedWrite> writes = {};
};

/// One walk in its order. The first entry is what was done before any node was taken up.
using WalkTrace = std::vector<TakenNode>;

/// Records what the runs of this thread do while it lives.
class ProvenanceRecorder final : public DataFlowObserver {
  public:
    /// Appends to `trace`. `native`: the tree of the walk, before any walker has seen it; NULL for a walk over a
    /// request, whose nodes are no sources. Both outlive the recorder.
    ProvenanceRecorder(WalkTrace &trace, const DataTree *native);

    void on_match(const char *tag) override;
    void on_copy(const char *caller, const char *to, std::size_t size, const char *from) override;
    void on_item(std::string_view bind_point, std::string_view item, cerrno code, std::string_view failure) override;
    void on_record(std::string_view name) override;
    void on_token(const SeenToken &token) override;
    void on_listing(std::string_view bind_point, std::string_view folder) override;
    void on_listed(std::string_view name) override;
    void on_write(std::size_t number, std::string_view path, const char *value) override;

  private:
    struct NativeNode {
        const yfw_datatree *node;
        std::string path, place;
        std::optional<std::string> text;
    };
    /// A copy whose source is known.
    struct Copy {
        const char *to;
        std::size_t size;
        TracedWrite origin;
    };

    void index(const yfw_datatree &node, const std::string &path, const std::string &place);
    TakenNode &in_hand() { return trace_.back(); }
    DatabaseLook *last_look();
    bool is_text_in_hand(const char *text) const noexcept;

    WalkTrace &trace_;
    std::vector<NativeNode> nodes_;
    const NativeNode *node_ = nullptr; ///< in hand
    std::vector<Copy> copies_;         ///< since it was taken up
    std::vector<std::string> open_;    ///< structures of the record being read
    DataFlowObservation observation_;
};

} // namespace ocamp
