// Walks of the native models, node by node, as whole sequences of calls.
#pragma once

#include <optional>

#include "native_models.h"
#include "plugin_fixture.h"

class NativeModelTest : public PluginTest {
  protected:
    void SetUp() override {
        all_amplifiers_exist();
        lightweight_on();
        client_request(container("optical-amplifier"));
    }
    /// The port that the walk stands in, for handlers that ask for it.
    void stand_in(const NativeModule &module) {
        platform.node_key = module.port.c_str();
        native_list(container("optics-port-history", {leaf("name", module.port).key()}));
    }
    /// A read or edit of this kind; none: a request without kind word.
    void kind_or_none(std::optional<uint32_t> request_kind) {
        if (request_kind)
            kind(*request_kind);
        else
            request.request_kind = nullptr;
    }

    /// The tree that ends in the last node of `path`, which has these children.
    yfw_datatree *native_tree(const std::vector<NativeNode> &path, std::vector<Node> children) {
        Node inner = container(path.back().tag, std::move(children));
        return native_tree_around(path, std::move(inner));
    }
    /// The same around `last`, which stands for the last node.
    yfw_datatree *native_tree_around(const std::vector<NativeNode> &path, Node last) {
        for (size_t i = path.size() - 1; i-- > 0;)
            last = container(path[i].tag, {std::move(last)});
        return tree(std::move(last).in(path.front().module->ns));
    }

    /// What the node's own handler does, learnt from the handler.
    Lines handler_calls(const NativeNode &native_node) {
        platform.forget_calls();
        const yfw_datatree *in = tree(container(native_node.tag).in(native_node.module->ns));
        if (native_node.is_list())
            call(native_node.handler, in);
        else
            call_container(native_node.handler, in, 0);
        Lines calls = named_calls();
        platform.forget_calls();
        return calls;
    }

    /// A node that is entered, its children walked, and left.
    Lines walk_of(const NativeNode &native_node, const Lines &inside) {
        const std::string shown = node(native_node.tag);
        const Lines begin{trc_of(native_node.walker(), "Start")};
        const Lines end{trc_of(native_node.walker(), "End")};
        const Lines handler = handler_calls(native_node);
        if (!native_node.is_list())
            return lines(begin, push(shown, 1), handler, inside, pop(shown), end);
        return lines(begin, push(shown, 2), current_list(native_node.list_path), handler, into_output_list(shown),
                     inside, pop(shown), out_of_output_list(shown), end);
    }
    /// The nodes of `path` but for the last, one in another, around what happens with the last.
    Lines walk_down_to(const std::vector<NativeNode> &path, Lines calls_of_last) {
        for (size_t i = path.size() - 1; i-- > 0;)
            calls_of_last = walk_of(path[i], calls_of_last);
        return calls_of_last;
    }

    static std::string ignored(const NativeNode &parent, const std::string &tag) {
        return trc_of(parent.walker(), parent.module->names_unknown_tags ? "Unsupported tag `" + tag + "`. Ignoring."
                                                                         : "Unsupported tag. Ignoring.");
    }
};
