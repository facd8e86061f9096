// Shared helpers of the converters: name forms of amplifiers, controllers and ports, the system database, look-ups
// in request trees, select fields and text. All are exported under these names. Buffers belong to the caller.
#pragma once

#include "ymap_frame.h"

// ---- Names -----------------------------------------------------------------------------------------------------
// Amplifier "0/1-AMP-PRE" (OpenConfig key), OTS controller "Ots0/1/0/0", system-database key "Ots0_1_0_0", optics
// controller "Optics0/1/0/4" (supervisory channel), controller port "0/1-OtsCtrl-0/1". Slot and port that cannot be
// read become -1; nothing is ever refused. NULL reads as the empty text, a NULL buffer is left alone.

/// Every amplifier and supervisory-channel position that a node can have, NULL-terminated, in the order of output.
YMAP_EXPORT const char *const controller_amp_ots_list[];
YMAP_EXPORT const char *const controller_optics_list[];

/// Fill a format of two integers with slot and port of an amplifier name. `out`: 200 bytes. Returns the length of
/// the whole text, which may be more than was written.
YMAP_EXPORT int ampli_key_to_key(const char *amplifier, const char *format, char *out);
/// OTS controller and system-database key of an amplifier. `out`: 200 bytes. Return as above.
YMAP_EXPORT int ampli_key_to_ots_ctrl_key(const char *amplifier, char *out);
YMAP_EXPORT int ampli_key_to_sysdb_ots_ctrl_key(const char *amplifier, char *out);
/// Amplifier name of an OTS controller. `out`: 20 bytes. Returns as above.
YMAP_EXPORT int ots_ctrl_key_to_ampli_key(const char *controller, char *out);
/// Port name of an amplifier; `egress` 0 gives the ingress port. `out`: 200 bytes.
YMAP_EXPORT void convert_amplifier_key_to_otsctrl_port(const char *amplifier, char *out, int egress);
/// Turns a controller name or key into that of the other amplifier of its slot, in place.
YMAP_EXPORT void swap_controller(char *controller);
/// 1 when the controller is an amplifier that the inventory holds, else 0. `amplifier`: 20 bytes, receives the
/// amplifier name once slot and port are in range.
YMAP_EXPORT int check_controller_name_ots_is_good(yfw_map_ctx ctx, const char *controller, char *amplifier);
/// 1 when the controller is the supervisory channel of an amplifier that the inventory holds, else 0.
YMAP_EXPORT int check_controller_name_optics_is_good(yfw_map_ctx ctx, const char *controller);

// ---- System database ---------------------------------------------------------------------------------------------
// Results are those of the platform, or SYSDB_RC_UNAVAILABLE when the node has no system-database library. Value
// texts go to buffers of 200 bytes, which stay untouched when the record holds no such field.

/// Fetch one item. `*bag_data` is a heap block that the caller frees with free(), NULL when the item is missing.
YMAP_EXPORT cerrno sysdb_get_data(yfw_map_ctx ctx, const char *bind_point, const char *item_path, void **bag_data,
                                  uint32_t *bag_len);
/// Value of a dotted field as text; of a sequence, its first element of `type`. A missing record gives all ones.
YMAP_EXPORT cerrno get_value_in_bag(yfw_map_ctx ctx, const char *field, bag_token_type_td type, void *bag_data,
                                    uint32_t bag_len, char *out);
/// Value of a token as text: numbers in decimal, addresses with dots, booleans as "TRUE" or "FALSE". `out`: 200 bytes;
/// stays untouched when the token's type has no such text.
YMAP_EXPORT void convert_bag_value_to_str(yfw_map_ctx ctx, bag_token_td *token, char *out);
/// 1 when the database knows the OTS controller with that key, else 0.
YMAP_EXPORT int sysdb_key_is_defined(yfw_map_ctx ctx, char *controller_key);
/// Lane powers in hundredths of a dBm.
YMAP_EXPORT cerrno sysdb_get_amp_receive_power(yfw_map_ctx ctx, const char *controller_key, char *out);
YMAP_EXPORT cerrno sysdb_get_amp_transmit_power(yfw_map_ctx ctx, const char *controller_key, char *out);
/// What the inventory calls the amplifier of that name, such as "0/1-AMP-PRE". Not 0 when the inventory has no record
/// of it, or one that cannot be read.
YMAP_EXPORT cerrno sysdb_get_amp_name_from_inventory(yfw_map_ctx ctx, const char *amp_name_key, char *out);
/// Input power of a port over the last thirty seconds, in dBm.
YMAP_EXPORT cerrno sysdb_get_input_pm_30sec_power(yfw_map_ctx ctx, const char *field, bag_token_type_td type,
                                                  const char *controller_key, char *out);
YMAP_EXPORT cerrno sysdb_get_input_pm_30sec_avg_power(yfw_map_ctx ctx, const char *controller_key, char *out);
YMAP_EXPORT cerrno sysdb_get_input_pm_30sec_min_power(yfw_map_ctx ctx, const char *controller_key, char *out);
YMAP_EXPORT cerrno sysdb_get_input_pm_30sec_max_power(yfw_map_ctx ctx, const char *controller_key, char *out);

// ---- Look-ups in request trees -------------------------------------------------------------------------------------
// Paths are the tags from the node handed in, joined with "/". `path_buffer`: 200 bytes, empty at the first call; not
// NULL, nor is a path. A NULL node is reported and gives 0.

/// 1 when a key leaf is at `path_to_find`; its value, cut to 19 characters, goes to `key_buffer` (20 bytes).
YMAP_EXPORT int compare_path(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find, char *path_buffer,
                             char *key_buffer);
/// 1 when any node is at `path_to_find`.
YMAP_EXPORT int check_request_type_3(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find,
                                     char *path_buffer);
YMAP_EXPORT int check_request_type(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find);

// ---- Select fields -------------------------------------------------------------------------------------------------
// Write the native list entry of a controller and the leaves that a read of it wants. Return the last write's result.

YMAP_EXPORT cerrno add_optics_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out,
                                           const char *controller);
YMAP_EXPORT cerrno add_ots_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out,
                                        const char *controller);
YMAP_EXPORT cerrno add_pm_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out,
                                       const char *controller);

// ---- Text ----------------------------------------------------------------------------------------------------------

/// Cuts white space at the end in place; returns the first character that is not white space.
YMAP_EXPORT char *strstrip(char *text);
/// Replaces the first `needle`. Returns `text` itself when there is none, else a static buffer of 4,096 bytes that
/// the next call overwrites; what does not fit is cut.
YMAP_EXPORT const char *replace_str(const char *text, const char *needle, const char *replacement);
/// Prints the request's trees and output list keys to the debug log.
YMAP_EXPORT void print_data(yfw_map_ctx ctx);

namespace ymap {

/// A key that a request tree holds at a path; empty when it holds none.
struct RequestKey {
    char path[value_size]; ///< what the look-up left of the paths that it put together; only traces show it
    char text[key_size];

    /// Looks it up with compare_path(); a NULL tree is reported and holds none.
    RequestKey(yfw_map_ctx ctx, const yfw_datatree *tree, const char *path_to_find) {
        path[0] = text[0] = '\0';
        compare_path(ctx, tree, path_to_find, path, text);
    }
    bool empty() const { return text[0] == '\0'; }
};

} // namespace ymap
