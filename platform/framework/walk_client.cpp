// The calls of the seam by which walkers match, enter and leave nodes and report where they failed. They check what
// they are given and hand it to the run; they know no model.
#include "framework/client_words.h"
#include "framework/operation_words.h"

#include <cstring>

using namespace ocamp;

extern "C" {

cerrno yfw_map_add_to_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, int level) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        return node == nullptr ? refuse(function, rc_invalid_argument, "no node") : run.push(function, node, level);
    });
    record_call(function, Code{result}, context_word, NodeWord{node}, level);
    return result;
}

cerrno yfw_map_remove_from_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        return node == nullptr ? refuse(function, rc_invalid_argument, "no node") : run.pop(function, node);
    });
    record_call(function, Code{result}, context_word, NodeWord{node});
    return result;
}

int yfw_map_do_these_match(const char *a, const char *b) {
    const int result = a != nullptr && b != nullptr && std::strcmp(a, b) == 0 ? 1 : 0;
    if (result != 0)
        tell_data_flow([&](DataFlowObserver &observer) { observer.on_match(a); });
    record_call(__func__, result, Quoted{a}, Quoted{b});
    return result;
}

int yfw_map_is_request_delete(const yfw_datatree *node) {
    const char *const function = __func__;
    if (node == nullptr)
        refuse(function, rc_invalid_argument, "no node");
    const int result = node != nullptr && deletes(node->operation) ? 1 : 0;
    record_call(function, result, NodeWord{node});
    return result;
}

int yfw_map_is_request_add(yfw_map_ctx ctx) {
    int result = 0;
    with_run(__func__, ctx, [&](MappingRun &run) {
        result = run.adds_data() ? 1 : 0;
        return CERR_SUCCESS;
    });
    record_call(__func__, result, context_word);
    return result;
}

cerrno yfw_map_update_current_list_node(yfw_map_ctx ctx, const char *list_path) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        return list_path == nullptr ? refuse(function, rc_invalid_argument, "no path")
                                    : run.make_current(function, list_path);
    });
    record_call(function, Code{result}, context_word, Quoted{list_path});
    return result;
}

cerrno yfw_map_check_oc_leafref(yfw_map_ctx ctx, const char *list_path, const char *container, const yfw_datatree *key,
                                yfw_datatree *out) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        if (list_path == nullptr || container == nullptr || key == nullptr || out == nullptr)
            return refuse(function, rc_invalid_argument, "a path, a container, a key or the output is missing");
        return run.check_leafref(function, container, *key);
    });
    record_call(function, Code{result}, context_word, Quoted{list_path}, Quoted{container}, NodeWord{key}, output_word);
    return result;
}

uint32_t yfw_map_util_itree_stack_size(yfw_map_ctx ctx) {
    uint32_t size = 0;
    with_run(__func__, ctx, [&](MappingRun &run) {
        size = static_cast<uint32_t>(run.entry_count());
        return CERR_SUCCESS;
    });
    record_call(__func__, size, context_word);
    return size;
}

const yfw_datatree *yfw_map_util_itree_stack_peak(yfw_map_ctx ctx) {
    const yfw_datatree *top = nullptr;
    with_run(__func__, ctx, [&](MappingRun &run) {
        top = run.top_entry();
        return CERR_SUCCESS;
    });
    record_call(__func__, NodeWord{top}, context_word);
    return top;
}

cerrno yfw_map_util_itree_stack_push(yfw_map_ctx ctx, const yfw_datatree *node) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) {
        return node == nullptr ? refuse(function, rc_invalid_argument, "no node") : run.push_entry(function, node);
    });
    record_call(function, Code{result}, context_word, NodeWord{node});
    return result;
}

cerrno yfw_map_util_itree_stack_pop(yfw_map_ctx ctx) {
    const char *const function = __func__;
    const cerrno result = with_run(function, ctx, [&](MappingRun &run) { return run.pop_entry(function); });
    record_call(function, Code{result}, context_word);
    return result;
}

void yfw_oc_error_path(yfw_map_ctx ctx) {
    with_run(__func__, ctx, [](MappingRun &run) {
        run.note_error_path();
        return CERR_SUCCESS;
    });
    record_call(__func__, NoResult{}, context_word);
}

} // extern "C"
