// The result codes of the platform's own making, each with its text. The plug-in only passes them up; it knows none
// of them by name.
#pragma once

#include "yfw_platform.h"

/// One row a code: name, value, text. All values lie in 0x4f4301xx, which no code of the seam uses.
#define OCAMP_PLATFORM_CODES(ROW)                                                                                      \
    ROW(rc_invalid_argument, 0x4f430101U, "Invalid argument to a platform call")                                       \
    ROW(rc_bad_handle, 0x4f430102U, "Handle is not open")                                                              \
    ROW(rc_out_of_memory, 0x4f430103U, "Out of memory")                                                                \
    ROW(rc_internal, 0x4f430104U, "Internal platform error")                                                           \
    ROW(rc_text_cut, 0x4f430105U, "Text cut to its buffer")                                                            \
    ROW(rc_not_found, 0x4f430110U, "No such item in the system database")                                              \
    ROW(rc_database, 0x4f430111U, "System database failed")                                                            \
    ROW(rc_malformed_record, 0x4f430120U, "Malformed bag record")                                                      \
    ROW(rc_walk_ended, 0x4f430121U, "Bag record has no further token")                                                 \
    ROW(rc_hierarchy_empty, 0x4f430130U, "Node hierarchy is empty")                                                    \
    ROW(rc_hierarchy_full, 0x4f430131U, "Node hierarchy is full")                                                      \
    ROW(rc_node_not_on_top, 0x4f430132U, "Node is not the top of the hierarchy")                                       \
    ROW(rc_stack_empty, 0x4f430133U, "List-entry stack is empty")                                                      \
    ROW(rc_stack_full, 0x4f430134U, "List-entry stack is full")                                                        \
    ROW(rc_unknown_path, 0x4f430140U, "Path is not in the model")                                                      \
    ROW(rc_no_list_entry, 0x4f430141U, "No list entry is being filled")                                                \
    ROW(rc_leafref_mismatch, 0x4f430142U, "Key differs from the leaf it refers to")

namespace ocamp {

#define OCAMP_DECLARE_CODE(name, value, text) inline constexpr cerrno name = value;
OCAMP_PLATFORM_CODES(OCAMP_DECLARE_CODE)
#undef OCAMP_DECLARE_CODE

} // namespace ocamp
