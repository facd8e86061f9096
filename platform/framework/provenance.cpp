// How what is seen at the seam becomes a record of a walk. Knows no model.
#include "framework/provenance.h"

#include "seam/path_text.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

namespace ocamp {

namespace {

// Data paths of nodes as DataTree::path_of gives them.
std::string step_of(const yfw_datatree &node) {
    std::string step = node.tag;
    for (std::uint32_t i = 0; i < node.child_count; ++i) {
        const yfw_datatree &child = node.children[i];
        if ((child.node_flags & YFW_NODE_KEY) != 0 && child.value != nullptr)
            step += step_with_key("", child.tag, child.value);
    }
    return step;
}

bool lies_in(const char *text, const char *begin, std::size_t size) noexcept {
    const std::less_equal<const char *> not_after;
    return not_after(begin, text) && !not_after(begin + size, text);
}

std::string joined(const std::vector<std::string> &names, std::string_view last) {
    std::string path;
    for (const std::string &name : names)
        path.append(name).append(name.empty() ? "" : ".");
    return path.append(last);
}

// Whether a bounded copy of `whole` may have become `text`.
bool is_copy(std::string_view text, std::string_view whole) {
    constexpr std::size_t longest_copy = 199; // the plug-in's buffers
    return text.size() < longest_copy ? text == whole : whole.starts_with(text);
}

} // namespace

ProvenanceRecorder::ProvenanceRecorder(WalkTrace &trace, const DataTree *native) : trace_(trace), observation_(*this) {
    trace_.emplace_back();
    if (native != nullptr)
        index(*native->root(), "", "");
}

void ProvenanceRecorder::index(const yfw_datatree &node, const std::string &path, const std::string &place) {
    NativeNode known{&node, path + "/" + step_of(node), place + "/" + node.tag, std::nullopt};
    if (node.value != nullptr)
        known.text = node.value;
    nodes_.push_back(known);
    for (std::uint32_t i = 0; i < node.child_count; ++i)
        index(node.children[i], known.path, known.place);
}

void ProvenanceRecorder::on_match(const char *tag) {
    // Texts of a data tree are its own: no two nodes share one.
    const auto found =
        std::find_if(nodes_.begin(), nodes_.end(), [&](const NativeNode &known) { return known.node->tag == tag; });
    if (found == nodes_.end())
        return;
    node_ = &*found;
    copies_.clear();
    trace_.push_back(
        {.path = found->path, .place = found->place, .text = found->text, .leaf = found->node->child_count == 0});
}

bool ProvenanceRecorder::is_text_in_hand(const char *text) const noexcept {
    return node_ != nullptr && node_->node->value != nullptr && node_->text &&
           lies_in(text, node_->node->value, node_->text->size() + 1);
}

DatabaseLook *ProvenanceRecorder::last_look() {
    return in_hand().looks.empty() ? nullptr : &in_hand().looks.back();
}

void ProvenanceRecorder::on_copy(const char *caller, const char *to, std::size_t size, const char *from) {
    Copy copy{to, size, {.number = 0, .converter = caller != nullptr ? caller : ""}};
    if (is_text_in_hand(from)) {
        copy.origin.source = TracedWrite::Source::node;
        copies_.push_back(std::move(copy));
        return;
    }
    const DatabaseLook *look = last_look();
    if (look == nullptr || !look->text || look->listing || !is_copy(from, *look->text))
        return;
    copy.origin.source = TracedWrite::Source::database;
    copy.origin.look = in_hand().looks.size() - 1;
    copies_.push_back(std::move(copy));
}

void ProvenanceRecorder::on_item(std::string_view bind_point, std::string_view item, cerrno code,
                                 std::string_view failure) {
    using enum DatabaseLook::Result;
    open_.clear();
    in_hand().looks.push_back({.bind_point = std::string(bind_point),
                               .item = std::string(item),
                               .result = !failure.empty()       ? failed
                                         : code == CERR_SUCCESS ? found
                                                                : absent,
                               .failure = std::string(failure)});
}

void ProvenanceRecorder::on_record(std::string_view name) {
    if (DatabaseLook *look = last_look(); look != nullptr)
        look->record = name;
}

void ProvenanceRecorder::on_token(const SeenToken &token) {
    DatabaseLook *look = last_look();
    if (look == nullptr)
        return;
    look->text.reset();
    look->element = token.kind == SeenToken::Kind::end ? "" : joined(open_, token.name);
    if (token.kind == SeenToken::Kind::value)
        look->text = token.text;
    else if (token.kind == SeenToken::Kind::opens)
        open_.emplace_back(token.name);
    else if (token.kind == SeenToken::Kind::closes && !open_.empty())
        open_.pop_back();
}

void ProvenanceRecorder::on_listing(std::string_view bind_point, std::string_view folder) {
    in_hand().looks.push_back({.bind_point = std::string(bind_point), .item = std::string(folder), .listing = true});
}

void ProvenanceRecorder::on_listed(std::string_view name) {
    DatabaseLook *look = last_look();
    if (look == nullptr || !look->listing)
        return;
    look->element = name;
    look->result = name.empty() ? DatabaseLook::Result::absent : DatabaseLook::Result::found;
}

void ProvenanceRecorder::on_write(std::size_t number, std::string_view path, const char *value) {
    TracedWrite made{.number = number};
    if (value != nullptr && is_text_in_hand(value)) {
        made.source = TracedWrite::Source::node;
    } else if (value != nullptr) {
        const auto copy = std::find_if(copies_.rbegin(), copies_.rend(),
                                       [&](const Copy &known) { return lies_in(value, known.to, known.size); });
        if (copy != copies_.rend())
            made = copy->origin;
        made.number = number;
    }
    made.path = path;
    made.value = value != nullptr ? value : "";
    in_hand().writes.push_back(std::move(made));
}

} // namespace ocamp
