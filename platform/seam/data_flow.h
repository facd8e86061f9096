// Lets one observer see what the plug-in has in hand while it maps: the nodes that it takes up, the texts that it
// copies, what it looks up in the system database, and what it writes. Costs one load when nobody observes. Knows
// neither who observes nor any model.
#pragma once

#include "seam/failure.h"

#include "yfw_platform.h"

#include <cstddef>
#include <string_view>

namespace ocamp {

/// A token of a record, as the plug-in was given it.
struct SeenToken {
    /// What the token does to the structure of the record.
    enum class Kind {
        value,  ///< an element with a value
        opens,  ///< a structure or sequence begins
        closes, ///< the one begun last ends
        end     ///< the record ends
    };
    Kind kind;
    std::string_view name; ///< empty: the token has none
    std::string_view text; ///< of a value: as a text, the way the plug-in writes it
};

/// Sees what one run has in hand, in its order, on the thread of the run. Pointers and texts are valid during the call
/// only. What it throws fails the run: an observation with a gap would be a wrong one.
class DataFlowObserver {
  public:
    virtual ~DataFlowObserver() = default;
    /// The plug-in asked whether a node has a certain tag, and it has. `tag` is the pointer that it asked with.
    virtual void on_match(const char *tag) = 0;
    /// The function `caller` copied the text at `from` to `to`, which has room for `size` bytes. NULL for no caller.
    virtual void on_copy(const char *caller, const char *to, std::size_t size, const char *from) = 0;
    /// An item of the system database was asked for. `failure`: why nobody can tell what it holds; empty when `code`
    /// says that it is there, or that there is none.
    virtual void on_item(std::string_view bind_point, std::string_view item, cerrno code, std::string_view failure) = 0;
    /// The header of the record fetched last was read.
    virtual void on_record(std::string_view name) = 0;
    /// The next token of that record was read.
    virtual void on_token(const SeenToken &token) = 0;
    /// The names below a folder of the system database are listed; each is given by on_listed, an empty one is the end.
    virtual void on_listing(std::string_view bind_point, std::string_view folder) = 0;
    virtual void on_listed(std::string_view name) = 0;
    /// The write with that place among the writes of the walk was made at `path`, with the text at `value`; NULL for
    /// none.
    virtual void on_write(std::size_t number, std::string_view path, const char *value) = 0;
};

namespace detail {
inline thread_local constinit DataFlowObserver *current_data_flow_observer = nullptr;
} // namespace detail

/// Observes the runs of this thread while it lives; afterwards the observer before it, or none, does again.
class DataFlowObservation {
  public:
    /// The observer outlives the observation.
    explicit DataFlowObservation(DataFlowObserver &observer) noexcept : previous_(detail::current_data_flow_observer) {
        detail::current_data_flow_observer = &observer;
    }
    ~DataFlowObservation() { detail::current_data_flow_observer = previous_; }
    DataFlowObservation(const DataFlowObservation &) = delete;
    DataFlowObservation &operator=(const DataFlowObservation &) = delete;

  private:
    DataFlowObserver *previous_;
};

/// Runs `tell` with the observer of this thread, if there is one.
template <class Tell>
void tell_data_flow(Tell tell) noexcept {
    DataFlowObserver *observer = detail::current_data_flow_observer;
    if (observer == nullptr)
        return;
    try {
        tell(*observer);
    } catch (...) {
        note_failure("out of memory for what is observed of a run");
    }
}

} // namespace ocamp
