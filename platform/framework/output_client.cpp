// The calls of the seam by which handlers write their output and look into list entries. They check what they are
// given and hand it to the run; they know no model.
#include "framework/client_words.h"
#include "seam/path_text.h"

#include <string>

using namespace ocamp;

namespace {

cerrno check_output(const char *function, MappingRun &run, const yfw_datatree *out) {
    return out == run.output() ? CERR_SUCCESS : refuse(function, rc_invalid_argument, "not the output of this run");
}

// `value`: the text of the write that was made last.
void tell_write(const MappingRun &run, cerrno written, const char *value) noexcept {
    if (written == CERR_SUCCESS)
        tell_data_flow([&](DataFlowObserver &observer) {
            observer.on_write(run.writes().size() - 1, run.writes().back().path, value);
        });
}

} // namespace

extern "C" {

cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns,
                                         const char *value, const yfw_datatree *source, uint32_t zero,
                                         uint32_t list_flag, uint32_t follow_flag) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        if (const cerrno bad = check_output(function, run, out); bad != CERR_SUCCESS)
            return bad;
        if (path == nullptr || ns == nullptr)
            return refuse(function, rc_invalid_argument, "no path or no namespace");
        if (zero != 0 || list_flag > 1 || follow_flag > 1)
            return refuse(function, rc_invalid_argument, "the zero is not 0, or a flag is neither 0 nor 1");
        Write made{.path = path, .ns = ns, .opens_list = list_flag == 1};
        if (value != nullptr)
            made.value = value;
        const cerrno written = run.write(function, std::move(made), source);
        tell_write(run, written, value);
        return written;
    });
    record_call(function, Code{result}, context_word, output_word, Quoted{path}, Quoted{ns}, Quoted{value},
                NodeWord{source}, zero, list_flag, follow_flag);
    return result;
}

cerrno yfw_map_search_or_add_list(yfw_map_ctx ctx, yfw_datatree *out, yfw_datatree *plist, const char *list_path,
                                  const char *key_value, const char *key_name, const char *ns) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        if (const cerrno bad = check_output(function, run, out); bad != CERR_SUCCESS)
            return bad;
        if (plist != &run.state().plist)
            return refuse(function, rc_invalid_argument, "not the key list of this run");
        if (list_path == nullptr || key_value == nullptr || key_name == nullptr || ns == nullptr)
            return refuse(function, rc_invalid_argument, "a path, a key or the namespace is missing");
        const cerrno written = run.find_or_add_entry(function, list_path, key_value, key_name, ns);
        tell_write(run, written, key_value);
        return written;
    });
    record_call(function, Code{result}, context_word, output_word, "plist", Quoted{list_path}, Quoted{key_value},
                Quoted{key_name}, Quoted{ns});
    return result;
}

cerrno yfw_map_get_node_info(yfw_map_ctx ctx, const yfw_datatree *entry, const char *list_path, const char *key_name,
                             const char **key_value) {
    const char *const function = __func__;
    if (key_value != nullptr)
        *key_value = nullptr;
    const cerrno result = with_run(function, ctx, [&](MappingRun &) {
        if (entry == nullptr || list_path == nullptr || key_name == nullptr || key_value == nullptr)
            return refuse(function, rc_invalid_argument, "the entry, its path, its key or the result is missing");
        if (entry->tag == nullptr || last_step(list_path) != entry->tag)
            return refuse(function, rc_unknown_path, "the path is not that of the entry");
        const uint32_t count = entry->children != nullptr ? entry->child_count : 0;
        for (uint32_t i = 0; i < count && *key_value == nullptr; ++i) {
            if (yfw_datatree &child = entry->children[i];
                child.tag != nullptr && std::string_view(key_name) == child.tag)
                *key_value = child.value;
        }
        return CERR_SUCCESS;
    });
    record_call(function, Code{result}, context_word, NodeWord{entry}, Quoted{list_path}, Quoted{key_name},
                Quoted{key_value != nullptr ? *key_value : nullptr});
    return result;
}

cerrno yfw_add_to_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        if (const cerrno bad = check_output(function, run, out); bad != CERR_SUCCESS)
            return bad;
        return entry == nullptr ? refuse(function, rc_invalid_argument, "no entry") : run.add_to_output_list(entry);
    });
    record_call(function, Code{result}, context_word, NodeWord{entry}, output_word);
    return result;
}

cerrno yfw_remove_from_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        if (const cerrno bad = check_output(function, run, out); bad != CERR_SUCCESS)
            return bad;
        return entry == nullptr ? refuse(function, rc_invalid_argument, "no entry")
                                : run.remove_from_output_list(function, entry);
    });
    record_call(function, Code{result}, context_word, NodeWord{entry}, output_word);
    return result;
}

} // extern "C"
