// What the walkers of the native modules have in common, as expected sequences.
#pragma once

#include "plugin_fixture.h"

/// A container that is entered, its children walked, and left.
inline Lines entered(const std::string &tag, const Lines &inside = {}) {
    return lines(push(node(tag), 1), inside, pop(node(tag)));
}

/// A list entry that is entered, made current, registered, its children walked, and left.
inline Lines entry_walked(const std::string &tag, const std::string &list_path, const Lines &handler,
                          const Lines &inside) {
    return lines(push(node(tag), 2), current_list(list_path), handler, into_output_list(node(tag)), inside,
                 pop(node(tag)), out_of_output_list(node(tag)));
}
