// A platform whose calls do as little as they can and still answer right, so that a measurement shows the plug-in. The
// inventory holds every amplifier, every controller is known to the system database, and every port has a record of its
// input power. Knows no walker. One request at a time.
#pragma once

#include "call_record.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "yfw_platform.h"

namespace null_platform {

/// Which messages the platform takes. What it takes it drops, unformatted.
enum class Messages { none, debug_log, lightweight_trace };

/// Settles it for the process and for the context.
void take_messages(yfw_map_ctx_s &context, Messages messages);

/// While set, every call is noted there. nullptr: none is. Messages off, a call costs one test more than its work.
void note_calls(CallRecord *record);

/// One token of a record. `text`: NULL when it has no value.
struct RecordField {
    bag_token_type_td type;
    const char *name;
    const char *text;
};

/// Input powers of ports as the system database holds them. Stays where it is made.
class InputPowers {
  public:
    /// `controller`: the port's key, such as "Ots0_1_0_1". The texts may have white space around them.
    void add(const std::string &controller, const std::string &minimum, const std::string &average,
             const std::string &maximum);

    struct Record {
        std::string item_start, minimum, average, maximum;
        std::vector<RecordField> fields;
    };
    /// NULL when no port's item has that name.
    const Record *find(const char *item) const;

  private:
    std::deque<Record> records_;
};

/// The records from here on, which stay the caller's. nullptr: every port has the same one.
void set_input_powers(const InputPowers *powers);

/// What a walk wrote, in the platform's own form. Paths are the plug-in's constants; values are copied.
class Writes {
  public:
    struct Write {
        const char *path;
        uint32_t value; ///< where its text begins, which ends with a NUL
        bool key;       ///< finds or opens the entry of this key in the list at `path`
    };

    void clear() {
        writes_.clear();
        texts_.clear();
    }
    void add(const char *path, const char *value, bool key) {
        writes_.push_back({path, static_cast<uint32_t>(texts_.size()), key});
        texts_.append(value != nullptr ? value : "").push_back('\0');
    }
    const std::vector<Write> &all() const { return writes_; }
    const char *value_of(const Write &write) const { return texts_.data() + write.value; }

  private:
    std::vector<Write> writes_;
    std::string texts_;
};

/// While set, writes are kept there. nullptr: they are dropped.
void keep_writes(Writes *writes);

} // namespace null_platform
