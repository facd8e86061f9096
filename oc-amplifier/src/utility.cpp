// Helpers that the converters of both directions share: names, system database, request trees, text.
// Knows the native name forms and database items; knows nothing of walkers and handlers.
#include "utility.h"

#include "short_text.h"

#include <ctype.h>
#include <stdlib.h>
#include <unistd.h>

using ymap::shown;
using ymap::TextReader;
using ymap::TextWriter;
using ymap::value_size;

// ---- Names -----------------------------------------------------------------------------------------------------

YMAP_EXPORT const char *const controller_amp_ots_list[] = {"Ots0/1/0/0", "Ots0/1/0/1", "Ots0/2/0/0", "Ots0/2/0/1",
                                                           "Ots0/3/0/0", "Ots0/3/0/1", nullptr};
YMAP_EXPORT const char *const controller_optics_list[] = {"Optics0/1/0/4", "Optics0/2/0/4", "Optics0/3/0/4", nullptr};

namespace {

constexpr int unread = -1;

/// Slot and port of a name; each `unread` where the name does not give it.
struct Position {
    int slot = unread;
    int port = unread;
};

Position position_of_amplifier(const char *amplifier) {
    Position position;
    if (amplifier == nullptr)
        return position;
    TextReader name(amplifier);
    if (name.passes("0/"))
        name.number(position.slot);
    if (strstr(amplifier, "PRE") != nullptr)
        position.port = 0;
    else if (strstr(amplifier, "BST") != nullptr)
        position.port = 1;
    return position;
}

/// What a controller's name is made of around slot and port.
struct ControllerForm {
    const char *before_slot;
    const char *before_port;
};
constexpr ControllerForm ots_form{"Ots0/", "/0/"};
constexpr ControllerForm database_ots_form{"Ots0_", "_0_"};
constexpr ControllerForm optics_form{"Optics0/", "/0/"};

Position position_of_controller(const char *controller, ControllerForm form) {
    Position position;
    if (controller == nullptr)
        return position;
    TextReader name(controller);
    if (name.passes(form.before_slot) && name.number(position.slot) && name.passes(form.before_port))
        name.number(position.port);
    return position;
}

int print_controller(Position position, ControllerForm form, char *out) {
    TextWriter name(out, value_size);
    name.text(form.before_slot).number(position.slot).text(form.before_port).number(position.port);
    return name.finish();
}

int print_amplifier(Position position, char *out, size_t size) {
    TextWriter name(out, size);
    name.literal("0/").number(position.slot).literal("-AMP-").text(position.port == 0 ? "PRE" : "BST");
    return name.finish();
}

constexpr unsigned ots_ports = 2; // 0 pre-amplifier, 1 booster; higher ones are optics ports
constexpr unsigned slots = 4;     // 0 to 3; the inventory tells which are filled

} // namespace

int ampli_key_to_key(const char *amplifier, const char *format, char *out) {
    if (format == nullptr || out == nullptr)
        return 0;
    const Position position = position_of_amplifier(amplifier);
    return snprintf(out, value_size, format, position.slot, position.port);
}

int ampli_key_to_ots_ctrl_key(const char *amplifier, char *out) {
    return out != nullptr ? print_controller(position_of_amplifier(amplifier), ots_form, out) : 0;
}

int ampli_key_to_sysdb_ots_ctrl_key(const char *amplifier, char *out) {
    return out != nullptr ? print_controller(position_of_amplifier(amplifier), database_ots_form, out) : 0;
}

int ots_ctrl_key_to_ampli_key(const char *controller, char *out) {
    if (out == nullptr)
        return 0;
    return print_amplifier(position_of_controller(controller, ots_form), out, ymap::key_size);
}

void convert_amplifier_key_to_otsctrl_port(const char *amplifier, char *out, int egress) {
    if (out == nullptr)
        return;
    if (amplifier == nullptr)
        amplifier = "";
    constexpr size_t rack_and_slot = 3; // "0/1": slots have one digit; "-AMP-" alone is longer
    TextWriter name(out, value_size);
    if (strstr(amplifier, "-AMP-") != nullptr)
        name.text(amplifier, rack_and_slot);
    const bool is_pre_amplifier = strstr(amplifier, "-AMP-PRE") != nullptr;
    const int port = (egress != 0) != is_pre_amplifier ? 1 : 0;
    name.literal("-OtsCtrl-0/").number(port).finish();
}

void swap_controller(char *controller) {
    if (controller == nullptr)
        return;
    for (size_t i = strlen(controller); i-- > 1;) {
        if (controller[i] != '_' && controller[i] != '/')
            continue;
        char &port = controller[i + 1];
        if (port == '0')
            port = '1';
        else if (port == '1')
            port = '0';
        return;
    }
}

int check_controller_name_ots_is_good(yfw_map_ctx ctx, const char *controller, char *amplifier) {
    YMAP_ASSERT_CTX(ctx);
    const Position position = position_of_controller(controller, ots_form);
    ymap_trc(ctx, "controller_name = %s", shown(controller));
    if (static_cast<unsigned>(position.port) >= ots_ports) {
        ymap_err(ctx, "Invalid controller_name [%s] and port id [%d], discard it!", shown(controller), position.port);
        return 0;
    }
    if (static_cast<unsigned>(position.slot) >= slots) {
        ymap_err(ctx, "Invalid controller_name [%s] and slot id [%d], discard it!", shown(controller), position.slot);
        return 0;
    }
    char unwanted[ymap::key_size];
    if (amplifier == nullptr)
        amplifier = unwanted;
    print_amplifier(position, amplifier, ymap::key_size);
    ymap_trc(ctx, "amplifier_name = %s", amplifier);
    char inventory_name[value_size] = "";
    if (sysdb_get_amp_name_from_inventory(ctx, amplifier, inventory_name) != CERR_SUCCESS) {
        ymap_err(ctx, "Amplifier_name [%s] not present in sysdb inventory, discard it!", amplifier);
        return 0;
    }
    ymap_trc(ctx, "sys_amp_name = %s", inventory_name);
    return 1;
}

int check_controller_name_optics_is_good(yfw_map_ctx ctx, const char *controller) {
    YMAP_ASSERT_CTX(ctx);
    const Position position = position_of_controller(controller, optics_form);
    ymap_trc(ctx, "controller_name = %s", shown(controller));
    // An unread port passes, unlike in the OTS check; clients rely on it.
    if (static_cast<unsigned>(position.port) < ots_ports) {
        ymap_err(ctx, "Invalid controller_name [%s] and port id [%d], discard it!", shown(controller), position.port);
        return 0;
    }
    if (static_cast<unsigned>(position.slot) >= slots) {
        ymap_err(ctx, "Invalid controller_name [%s] and slot id [%d], discard it!", shown(controller), position.slot);
        return 0;
    }
    // The pre-amplifier's slot carries the supervisory channel.
    char amplifier[value_size];
    print_amplifier({position.slot, 0}, amplifier, sizeof amplifier);
    ymap_trc(ctx, "amplifier_name = %s", amplifier);
    char inventory_name[value_size] = "";
    if (sysdb_get_amp_name_from_inventory(ctx, amplifier, inventory_name) != CERR_SUCCESS) {
        ymap_err(ctx, "Amplifier_name [%s] not present in sysdb inventory, discard it!", amplifier);
        return 0;
    }
    return 1;
}

// ---- Text ----------------------------------------------------------------------------------------------------------

namespace {

/// Replaces the first `needle` of `text` into `buffer` for the exported `function`; `text` itself when there is none.
const char *replace_first(const char *function, char (&buffer)[ymap::replaced_text_size], const char *text,
                          const char *needle, const char *replacement) {
    if (text == nullptr || needle == nullptr || replacement == nullptr)
        return text;
    const char *found = strstr(text, needle);
    if (found == nullptr)
        return text;
    // Put together aside: any of the three texts may be an earlier result, which stands in `buffer`.
    char replaced[sizeof buffer];
    const auto prefix = static_cast<size_t>(found - text);
    const size_t kept = prefix < sizeof replaced ? prefix : sizeof replaced - 1;
    yfw_strncpy_s(function, replaced, sizeof replaced, text, prefix);
    replaced[kept] = '\0';
    TextWriter rest(replaced + kept, sizeof replaced - kept);
    rest.text(replacement).text(found + strlen(needle)).finish();
    memcpy(buffer, replaced, strlen(replaced) + 1);
    return buffer;
}

} // namespace

const char *replace_str(const char *text, const char *needle, const char *replacement) {
    static char replaced[ymap::replaced_text_size];
    return replace_first(__func__, replaced, text, needle, replacement);
}

char *strstrip(char *text) {
    if (text == nullptr || *text == '\0')
        return text;
    char *end = text + strlen(text);
    while (end > text && isspace(static_cast<unsigned char>(end[-1])) != 0)
        --end;
    *end = '\0';
    while (isspace(static_cast<unsigned char>(*text)) != 0)
        ++text;
    return text;
}

// ---- System database ---------------------------------------------------------------------------------------------

namespace {

constexpr char controllers_bind_point[] = "/oper/ots/if/";
constexpr char inventory_bind_point[] = "/oper/inventory/gl/entity/";
constexpr char history_bind_point[] = "/oper/perfmgmt/gl/periodic/optics/interface/";
constexpr uint32_t sequence_token = BAG_TOKEN_SEQUENCE;
constexpr cerrno no_record = 0xffffffffU;

/// Whether the node has a system-database library; asked until the answer is yes.
bool database_is_present() {
    static uint8_t present = 0;
    if (present == 0 && access("/pkg/lib/libsysdb.so", R_OK) == 0)
        present = 1;
    return present != 0;
}

/// `*handle` is NULL before the call, and stays it when the platform gives none.
cerrno bind_database(void **handle, const char *bind_point) {
    return database_is_present() ? _sysdb_bind(handle, bind_point, 0) : SYSDB_RC_UNAVAILABLE;
}

void unbind_database(void *handle) {
    if (database_is_present())
        _sysdb_unbind(handle);
}

/// Components of a dotted field name, matched in order against the tokens of a record.
class FieldPath {
  public:
    /// `text` must outlive the path.
    explicit FieldPath(const char *text) : next_(text) { pass_separators(); }

    /// True when this token's name completes the field. Tokens between components are passed over.
    bool completed_by(const char *name) {
        const size_t length = strcspn(next_, ".");
        if (length == 0 || name == nullptr || strncmp(name, next_, length) != 0 || name[length] != '\0')
            return false;
        next_ += length;
        pass_separators();
        return *next_ == '\0';
    }

  private:
    void pass_separators() {
        while (*next_ == '.')
            ++next_;
    }

    const char *next_; // the component to be matched; empty when there is none left
};

} // namespace

cerrno sysdb_get_data(yfw_map_ctx ctx, const char *bind_point, const char *item_path, void **bag_data,
                      uint32_t *bag_len) {
    YMAP_ASSERT_CTX(ctx);
    *bag_data = nullptr;
    *bag_len = 0;
    ymap_trc(ctx, "path %s", shown(item_path));
    void *handle = nullptr;
    if (const cerrno result = bind_database(&handle, bind_point); result != CERR_SUCCESS) {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "sysdb_bind failed %s", reason);
        return result;
    }
    cerrno result = CERR_SUCCESS;
    if (handle != nullptr) {
        uint32_t info_word = 0;
        result = sysdb_item_get(handle, item_path, &info_word, bag_data, bag_len, 0);
        if (result != CERR_SUCCESS) {
            const char *reason = cerr_strerror(result);
            ymap_trc(ctx, "sysdb_item_get failed: %s", reason);
        }
        ymap_trc(ctx, "sysdb_unbind");
        unbind_database(handle);
    }
    if (result == CERR_SUCCESS && *bag_data == nullptr)
        ymap_trc(ctx, "bag_data == NULL");
    ymap_trc(ctx, "return");
    return result;
}

namespace {

/// Reads the tokens of a sequence, whose opening token was the last one, up to its first element of `type`.
cerrno convert_first_element(yfw_map_ctx ctx, bag_walk_td *walk, bag_token_type_td type, char *out) {
    for (;;) {
        bag_token_td token = {};
        if (const cerrno result = bag_generic_token(walk, &token); result != CERR_SUCCESS)
            return result;
        const bool found = token.type == type;
        const bool ended = token.type == BAG_TOKEN_SEQUENCE_END || token.type == BAG_TOKEN_END;
        if (found)
            convert_bag_value_to_str(ctx, &token, out);
        bag_generic_free_token_allocations(&token);
        if (found || ended)
            return CERR_SUCCESS;
    }
}

/// Reads the tokens of a record up to the end of the field and converts its value.
cerrno convert_field(yfw_map_ctx ctx, bag_walk_td *walk, FieldPath &field, bag_token_type_td type, char *out) {
    for (;;) {
        bag_token_td token = {};
        if (const cerrno result = bag_generic_token(walk, &token); result != CERR_SUCCESS)
            return result;
        const bool ended = token.type == BAG_TOKEN_END;
        const bool found = !ended && field.completed_by(token.name);
        const bool is_sequence = token.type == sequence_token;
        if (found && !is_sequence)
            convert_bag_value_to_str(ctx, &token, out);
        bag_generic_free_token_allocations(&token);
        if (found && is_sequence)
            return convert_first_element(ctx, walk, type, out);
        if (found || ended)
            return CERR_SUCCESS;
    }
}

} // namespace

cerrno get_value_in_bag(yfw_map_ctx ctx, const char *field, bag_token_type_td type, void *bag_data, uint32_t bag_len,
                        char *out) {
    YMAP_ASSERT_CTX(ctx);
    char field_text[value_size];
    field_text[0] = '\0';
    yfw_strcpy_s(__func__, field_text, sizeof field_text, field);
    FieldPath path(field_text);
    if (bag_data == nullptr) {
        ymap_trc(ctx, "NULL == bag_data");
        return no_record;
    }
    bag_header_td header = {};
    if (const cerrno result = bag_header_info(bag_data, &header); result != CERR_SUCCESS) {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "bag_header_info failed: %s", reason);
        return result;
    }
    ymap_trc(ctx, "[bag (len %u)] \t (%s v%d.%d)", header.length, shown(header.name),
             static_cast<int>(header.version_major), static_cast<int>(header.version_minor));
    bag_walk_td walk = {};
    if (const cerrno result = bag_generic_init(bag_data, bag_len, &walk); result != CERR_SUCCESS) {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "bag_generic_init failed: %s", reason);
        return result;
    }
    const cerrno result = convert_field(ctx, &walk, path, type, out);
    if (result != CERR_SUCCESS) {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "bag_generic_token failed: %s", reason);
    }
    ymap_trc(ctx, "bag_generic_destroy");
    bag_generic_destroy(&walk);
    return result;
}

void convert_bag_value_to_str(yfw_map_ctx ctx, bag_token_td *token, char *out) {
    YMAP_ASSERT_CTX(ctx);
    const auto &value = token->value;
    char address[16]; // "255.255.255.255"
    switch (token->type) {
    case BAG_TOKEN_INT8:
        TextWriter(out, value_size).number(value.first.i8).finish();
        break;
    case BAG_TOKEN_UINT8:
        TextWriter(out, value_size).number(value.first.u8).finish();
        break;
    case BAG_TOKEN_INT16:
        TextWriter(out, value_size).number(value.first.i16).finish();
        break;
    case BAG_TOKEN_UINT16:
        TextWriter(out, value_size).number(value.first.u16).finish();
        break;
    case BAG_TOKEN_INT32:
    case BAG_TOKEN_ENUM:
        TextWriter(out, value_size).number(value.first.i32).finish();
        break;
    case BAG_TOKEN_UINT32:
        TextWriter(out, value_size).number(value.first.u32).finish();
        break;
    case BAG_TOKEN_IPV4:
        TextWriter(out, value_size).text(shown(inet_ntoa_r(value.first.u32, address))).finish();
        break;
    case BAG_TOKEN_BOOL:
        TextWriter(out, value_size).text(value.first.u32 != 0 ? "TRUE" : "FALSE").finish();
        break;
    case BAG_TOKEN_TEXT:
        TextWriter(out, value_size).text(value.first.text != nullptr ? value.first.text : "").finish();
        break;
    case BAG_TOKEN_LONG_TEXT:
        TextWriter(out, value_size).text(value.second != nullptr ? value.second : "").finish();
        break;
    default: // 64-bit values (6, 7) too; the unbalanced bracket and the newline are relied on
        ymap_trc(ctx, "UNKNOWN TOKEN TYPE %d - ERROR]\n", static_cast<int>(token->type));
        break;
    }
}

namespace {

/// Steps through a listing up to the item called `name`.
int listing_holds(yfw_map_ctx ctx, const char *function, void *listing, const char *name) {
    const char *item = nullptr;
    uint32_t datatype = 0;
    while (sysdb_list_next(listing, &item, &datatype, 0) == CERR_SUCCESS && item != nullptr) {
        ymap_trc_at(function, ctx, "Item: '%s', datatype: %d", item, static_cast<int>(datatype));
        if (strcmp(item, name) == 0) {
            ymap_trc_at(function, ctx, "Object %s present in sysdb", item);
            return 1;
        }
        item = nullptr;
    }
    return 0;
}

} // namespace

int sysdb_key_is_defined(yfw_map_ctx ctx, char *controller_key) {
    YMAP_ASSERT_CTX(ctx);
    void *handle = nullptr;
    if (const cerrno result = bind_database(&handle, controllers_bind_point); result != CERR_SUCCESS) {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "sysdb_bind failed %s", reason);
        return 0;
    }
    if (handle == nullptr)
        return 0;
    char name[ymap::database_path_size];
    TextWriter(name, sizeof name).text(shown(controller_key)).literal("/").finish();
    ymap_trc(ctx, "key: %s", name);
    uint32_t list_info = 0;
    uint32_t count = 0;
    void *listing = nullptr;
    const cerrno result = sysdb_list(handle, "", &list_info, &count, &listing, 0);
    ymap_trc(ctx, "found %d object(s)", static_cast<int>(count));
    int defined = 0;
    if (result == CERR_SUCCESS) {
        defined = listing_holds(ctx, __func__, listing, name);
    } else {
        const char *reason = cerr_strerror(result);
        ymap_trc(ctx, "sysdb_list failed %s", reason);
    }
    if (result == CERR_SUCCESS || listing != nullptr)
        sysdb_list_free(listing);
    unbind_database(handle);
    return defined;
}

namespace {

/// A database item under a bind point, and the field of its record that a getter wants.
struct DatabaseField {
    const char *bind_point;
    const char *item; // what follows the getter's key in the item's path
    const char *field;
    bag_token_type_td type;
};

/// Reads one field into `out`. `*fetched` tells whether the item itself could be read.
cerrno read_field(yfw_map_ctx ctx, const DatabaseField &wanted, const char *key, char *out, bool *fetched) {
    char item_path[ymap::database_path_size];
    TextWriter(item_path, sizeof item_path).text(shown(key)).text(wanted.item).finish();
    void *bag_data = nullptr;
    uint32_t bag_len = 0;
    cerrno result = sysdb_get_data(ctx, wanted.bind_point, item_path, &bag_data, &bag_len);
    *fetched = result == CERR_SUCCESS;
    if (*fetched)
        result = get_value_in_bag(ctx, wanted.field, wanted.type, bag_data, bag_len, out);
    free(bag_data);
    return result;
}

cerrno read_field(yfw_map_ctx ctx, const DatabaseField &wanted, const char *key, char *out) {
    bool fetched = false;
    return read_field(ctx, wanted, key, out, &fetched);
}

} // namespace

cerrno sysdb_get_amp_receive_power(yfw_map_ctx ctx, const char *controller_key, char *out) {
    YMAP_ASSERT_CTX(ctx);
    ymap_trc(ctx, "controller_key %s", shown(controller_key));
    return read_field(ctx, {controllers_bind_point, "/ots_info", "Ots_edm_info.LaneData.ReceivePower", BAG_TOKEN_INT32},
                      controller_key, out);
}

cerrno sysdb_get_amp_transmit_power(yfw_map_ctx ctx, const char *controller_key, char *out) {
    YMAP_ASSERT_CTX(ctx);
    ymap_trc(ctx, "controller_key %s", shown(controller_key));
    return read_field(ctx,
                      {controllers_bind_point, "/ots_info", "Ots_edm_info.LaneData.TransmitPower", BAG_TOKEN_INT32},
                      controller_key, out);
}

cerrno sysdb_get_amp_name_from_inventory(yfw_map_ctx ctx, const char *amp_name_key, char *out) {
    YMAP_ASSERT_CTX(ctx);
    static char escaped_key[ymap::replaced_text_size];
    ymap_trc(ctx, "amp_name_key %s", shown(amp_name_key));
    // Only the first slash is escaped; the database knows no other form.
    const char *key = replace_first(__func__, escaped_key, amp_name_key, "/", "%2f");
    bool fetched = false;
    const cerrno result = read_field(
        ctx, {inventory_bind_point, "/attrib/inv_basic_bag", "inv_phy_entity_basic_info.Name", BAG_TOKEN_TEXT}, key,
        out, &fetched);
    if (!fetched)
        ymap_trc(ctx, "rc != CERR_SUCCESS");
    return result;
}

cerrno sysdb_get_input_pm_30sec_power(yfw_map_ctx ctx, const char *field, bag_token_type_td type,
                                      const char *controller_key, char *out) {
    YMAP_ASSERT_CTX(ctx);
    ymap_trc(ctx, "controller_key %s", shown(controller_key));
    return read_field(ctx, {history_bind_point, "/30sec/optics/1/timeline_rev/0x1", field, type}, controller_key, out);
}

cerrno sysdb_get_input_pm_30sec_avg_power(yfw_map_ctx ctx, const char *controller_key, char *out) {
    return sysdb_get_input_pm_30sec_power(ctx, "pm_optics_paras.OPR.Average", BAG_TOKEN_TEXT, controller_key, out);
}

cerrno sysdb_get_input_pm_30sec_min_power(yfw_map_ctx ctx, const char *controller_key, char *out) {
    return sysdb_get_input_pm_30sec_power(ctx, "pm_optics_paras.OPR.Minimum", BAG_TOKEN_TEXT, controller_key, out);
}

cerrno sysdb_get_input_pm_30sec_max_power(yfw_map_ctx ctx, const char *controller_key, char *out) {
    return sysdb_get_input_pm_30sec_power(ctx, "pm_optics_paras.OPR.Maximum", BAG_TOKEN_TEXT, controller_key, out);
}

// ---- Look-ups in request trees -------------------------------------------------------------------------------------

namespace {

/// How many of its children the look-ups go through: none when the count, read as a signed number, is below 1.
uint32_t searched_children(const yfw_datatree *node) {
    const ymap::Children children = ymap::children_of(node);
    return children.first != nullptr && static_cast<int32_t>(children.count) >= 1 ? children.count : 0;
}

/// No path below a full buffer can be told from its parent; this also bounds the depth of the search.
bool is_full(const char *path_buffer) {
    return strlen(path_buffer) >= value_size - 1;
}

} // namespace

int compare_path(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find, char *path_buffer,
                 char *key_buffer) {
    if (node == nullptr) {
        YMAP_ASSERT_CTX(ctx);
        ymap_err(ctx, "return, req is NULL");
        return 0;
    }
    if ((node->node_flags & YFW_NODE_PRESENT) == 0)
        return 0;
    YMAP_ASSERT_CTX(ctx);
    ymap_trc(ctx, "TAG <%s>, NS <%s>", shown(node->tag), shown(node->ns));
    if (node->tag != nullptr)
        yfw_strcat_s(__func__, path_buffer, value_size, node->tag);
    if ((node->node_flags & YFW_NODE_KEY) != 0) {
        const char *value = node->value;
        ymap_trc(ctx, "data %s", shown(value));
        ymap_trc(ctx, "path        : <%s>", path_buffer); // clients read the two labels in one column
        ymap_trc(ctx, "path_to_find: <%s>", path_to_find);
        if (strcmp(path_buffer, path_to_find) == 0) {
            ymap_trc(ctx, "found return !");
            yfw_strcpy_s(__func__, key_buffer, ymap::key_size, value != nullptr ? value : "");
            ymap_trc(ctx, "key %s,", key_buffer);
            ymap_trc(ctx, "req->_data %s,", shown(value));
            return 1;
        }
    }
    const uint32_t children = searched_children(node);
    const bool goes_deeper = children != 0 && !is_full(path_buffer);
    yfw_strcat_s(__func__, path_buffer, value_size, "/");
    ymap_trc(ctx, "subtree_count %d", static_cast<int>(node->child_count));
    if (!goes_deeper)
        return 0;
    for (uint32_t i = 0; i < children; ++i) {
        char child_path[value_size];
        child_path[0] = '\0';
        yfw_strcpy_s(__func__, child_path, sizeof child_path, path_buffer);
        if (compare_path(ctx, &node->children[i], path_to_find, child_path, key_buffer) == 1)
            return 1;
    }
    return 0;
}

int check_request_type_3(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find, char *path_buffer) {
    if (node == nullptr) {
        YMAP_ASSERT_CTX(ctx);
        ymap_err(ctx, "return, req is NULL");
        return 0;
    }
    if ((node->node_flags & YFW_NODE_PRESENT) == 0)
        return 0;
    if (node->tag != nullptr)
        yfw_strcat_s(__func__, path_buffer, value_size, node->tag);
    if (strcmp(path_buffer, path_to_find) == 0)
        return 1;
    const uint32_t children = searched_children(node);
    if (children == 0 || is_full(path_buffer))
        return 0;
    for (uint32_t i = 0; i < children; ++i) {
        char saved_path[value_size];
        saved_path[0] = '\0';
        yfw_strcpy_s(__func__, saved_path, sizeof saved_path, path_buffer);
        yfw_strcat_s(__func__, path_buffer, value_size, "/");
        if (check_request_type_3(ctx, &node->children[i], path_to_find, path_buffer) == 1)
            return 1;
        yfw_strcpy_s(__func__, path_buffer, value_size, saved_path);
    }
    return 0;
}

int check_request_type(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find) {
    char path_buffer[value_size];
    path_buffer[0] = '\0';
    return check_request_type_3(ctx, node, path_to_find, path_buffer);
}

// ---- Diagnostics ---------------------------------------------------------------------------------------------------

void print_data(yfw_map_ctx ctx) {
    YMAP_ASSERT_CTX(ctx);
    ctx->print_state[0] = 1;
    ctx->print_state[1] = 1;
    const yfw_map_request *request = ctx->req_ctx;
    if (request == nullptr)
        return;
    for (uint32_t i = 0; request->node_data != nullptr && i < request->node_data_count; ++i) {
        ymap_trc(ctx, "iteration %d", static_cast<int>(i));
        yfw_map_print_datatree_internal(ctx, &request->node_data[i], "node_data");
    }
    yfw_map_print_datatree_internal(ctx, request->root_node, "root_node");
    yfw_map_print_datatree_internal(ctx, request->parent_node, "parent_node");
    yfw_map_print_datatree_internal(ctx, request->current_node, "current_node");
    yfw_map_print_datatree_internal(ctx, &request->reg_dup_datatree, "reg_dup_datatree");
    yfw_map_print_datatree_internal(ctx, &request->plist, "plist");
    ymap_trc(ctx, "ctx->list_index %d", static_cast<int>(request->list_index));
    for (uint32_t i = 0; request->output_list_key != nullptr && i < request->list_index; ++i)
        ymap_trc(ctx, "output_list_key[%d] = %s", static_cast<int>(i), shown(request->output_list_key[i]));
}
