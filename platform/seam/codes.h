// The result codes of the platform's own making, each with its text. The plug-in only passes them up; it knows none
// of them by name.
#pragma once

#include "yfw_platform.h"

// One row a code: name, value, text. All values lie in 0x4f4301xx, which no code of the seam uses.
#define OCAMP_PLATFORM_CODES(ROW)                                                                                      \
    ROW(RC_INVALID_ARGUMENT, 0x4f430101U, "Invalid argument to a platform call")                                       \
    ROW(RC_BAD_HANDLE, 0x4f430102U, "Handle is not open")                                                              \
    ROW(RC_OUT_OF_MEMORY, 0x4f430103U, "Out of memory")                                                                \
    ROW(RC_INTERNAL, 0x4f430104U, "Internal platform error")                                                           \
    ROW(RC_TEXT_CUT, 0x4f430105U, "Text cut to its buffer")                                                            \
    ROW(RC_NOT_FOUND, 0x4f430110U, "No such item in the system database")                                              \
    ROW(RC_DATABASE, 0x4f430111U, "System database failed")                                                            \
    ROW(RC_MALFORMED_RECORD, 0x4f430120U, "Malformed bag record")                                                      \
    ROW(RC_WALK_ENDED, 0x4f430121U, "Bag record has no further token")                                                 \
    ROW(RC_HIERARCHY_EMPTY, 0x4f430130U, "Node hierarchy is empty")                                                    \
    ROW(RC_HIERARCHY_FULL, 0x4f430131U, "Node hierarchy is full")                                                      \
    ROW(RC_NODE_NOT_ON_TOP, 0x4f430132U, "Node is not the top of the hierarchy")                                       \
    ROW(RC_STACK_EMPTY, 0x4f430133U, "List-entry stack is empty")                                                      \
    ROW(RC_STACK_FULL, 0x4f430134U, "List-entry stack is full")                                                        \
    ROW(RC_UNKNOWN_PATH, 0x4f430140U, "Path is not in the model")                                                      \
    ROW(RC_NO_LIST_ENTRY, 0x4f430141U, "No list entry is being filled")                                                \
    ROW(RC_LEAFREF_MISMATCH, 0x4f430142U, "Key differs from the leaf it refers to")

namespace ocamp {

#define OCAMP_DECLARE_CODE(name, value, text) inline constexpr cerrno name = value;
OCAMP_PLATFORM_CODES(OCAMP_DECLARE_CODE)
#undef OCAMP_DECLARE_CODE

} // namespace ocamp
