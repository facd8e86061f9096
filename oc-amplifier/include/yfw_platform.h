/*
 * The seam between the plug-in and the platform that loads it: the records that both sides read and the
 * functions that the platform provides. Plain C, usable from C and C++. Neither side knows more of the other.
 */
#ifndef YFW_PLATFORM_H
#define YFW_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define YFW_PRINTF_LIKE(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))
#else
#define YFW_PRINTF_LIKE(format_index, first_argument)
#endif

/* ---- Result codes ------------------------------------------------------------------------------------------- */

/* Result of every handler, converter and platform call; 0 is success. */
typedef uint32_t cerrno;

static const cerrno CERR_SUCCESS = 0;
/* A subtree that cannot be walked: children announced but missing, a child without tag, a list without keys. */
static const cerrno YMAP_RC_BAD_SUBTREE = 0xaaf29e00U;
/* A required argument is NULL, or a delete names a container together with its contents. */
static const cerrno YMAP_RC_INVALID_ARGS = 0xaaf2a000U;
/* The node exists in the model and is not supported, or an edit names a tag that the model does not have. */
static const cerrno YMAP_RC_UNSUPPORTED = 0xaaf2ee00U;
/* A list entry whose key is missing, repeated or without tag. */
static const cerrno YMAP_RC_BAD_KEY = 0xaaf2f000U;
/* A list key that carries a delete. */
static const cerrno YMAP_RC_KEY_DELETE = 0xaaf2f200U;
/* The entry does not belong to this mapping; it is dropped and the request goes on. */
static const cerrno YMAP_RC_SKIP = 0xaaf2f600U;
/* An edit adds a node of another module under the OpenConfig tree. */
static const cerrno YMAP_RC_AUGMENT_UNSUPPORTED = 0xaaf2f800U;
/* The system-database library is not present on this node. */
static const cerrno SYSDB_RC_UNAVAILABLE = 0x8081c200U;

/* ---- Request kinds, operations and flags ---------------------------------------------------------------------- */

/* Value of the word that yfw_map_request.request_kind points at. Any other value is an edit too. */
enum yfw_request_kind {
    YFW_KIND_GET_CONFIG = 0, /* read of configuration */
    YFW_KIND_EDIT = 1,
    YFW_KIND_GET = 10 /* read of configuration and state */
};

/* Value of yfw_datatree.operation. */
enum yfw_operation { YFW_OP_MERGE = 0, YFW_OP_REPLACE = 1, YFW_OP_CREATE = 2, YFW_OP_DELETE = 3, YFW_OP_REMOVE = 4 };

/* Value of yfw_datatree.map_status: what a walker made of the node. */
enum yfw_map_status {
    YFW_MAP_STATUS_LEAF = 1,
    YFW_MAP_STATUS_CONTAINER = 3,
    YFW_MAP_STATUS_LIST_ENTRY = 4,
    YFW_MAP_STATUS_READ_KEY = 6 /* a list key leaf in a read */
};

/* Bits of yfw_datatree.map_flags. */
enum { YFW_MAPF_VISITED = 0x04 };

/* Bits of yfw_datatree.node_flags. */
enum {
    YFW_NODE_PRESENT = 0x01,     /* the node belongs to the request */
    YFW_NODE_KEY = 0x02,         /* the node is a list key */
    YFW_NODE_OP_SET = 0x10,      /* a walker rewrote `operation` */
    YFW_NODE_HAS_CHILDREN = 0x40 /* `children` is valid */
};

/* Bits of yfw_datatree.node_flags2. */
enum {
    YFW_NODE_KEY_USED = 0x02,   /* a list walker counted this key leaf */
    YFW_NODE_XPATH_ERROR = 0x08 /* the node carries an xpath error; see YFW_NODE_TYPE_XPATH_ERROR */
};

/* Value of yfw_datatree.node_type that, together with YFW_NODE_XPATH_ERROR, marks an xpath-error node. */
enum { YFW_NODE_TYPE_XPATH_ERROR = 5 };

/* Bits of yfw_map_request.walk_flags, all set by walkers; the reference platform makes nothing of them. */
enum {
    YFW_WALK_REPLACE_DELETE_PASS = 0x40, /* first pass of a replace: what is there is removed */
    YFW_WALK_REPLACE_MERGE_PASS = 0x80,  /* second pass: what the request holds is merged in */
    YFW_WALK_XPATH_ERROR = 0x100         /* a native leaf with an xpath error was met */
};

/* Second argument of yfw_map_add_to_node_hierarchy. */
enum yfw_hierarchy_level { YFW_LEVEL_CONTAINER = 1, YFW_LEVEL_LIST_ENTRY = 2 };

/* ---- Records -------------------------------------------------------------------------------------------------- */

/* Record of the platform's own debug-log filter; the plug-in only passes its address on. */
typedef struct yfw_log_filter {
    int32_t threshold; /* highest level that is written; negative writes nothing */
} yfw_log_filter;

typedef struct yfw_log_handle yfw_log_handle;
typedef struct yfw_ltrace_handle yfw_ltrace_handle;

/*
 * One node of a request tree, a native tree or an output tree. Owned by the platform. Texts may be NULL.
 * Input nodes are const to the plug-in, except that walkers write `operation`, `map_status` and the flag bytes
 * of nodes that they take, and one converter strips `value` in place.
 */
struct yfw_datatree {
    const char *tag; /* YANG node name */
    char *value;     /* leaf value as text */
    const char *ns;  /* namespace URI */
    uint32_t operation;
    struct yfw_datatree *children; /* `child_count` whole nodes, one after another */
    uint32_t child_count;
    uint32_t map_status;
    uint8_t map_flags, node_flags, node_flags2;
    uint8_t key_seen; /* 1: a list walker counted this leaf as a key of its entry */
    uint32_t node_type;
};
typedef struct yfw_datatree yfw_datatree;

/* What a request lets pass into configuration. The option test looks at the fields in this order. */
struct yfw_request_options {
    int32_t word_signed;    /* must not be negative */
    uint8_t byte_flags;     /* bits 0x01 and 0x06 must be clear */
    uint32_t words_low2[4]; /* bits 0x3 must be clear in each */
    uint16_t half;          /* bits 0x3fff must be clear */
    uint32_t words_low4[2]; /* bits 0xf must be clear in each */
    uint32_t word_bit2;     /* bit 0x4 must be clear */
};
typedef struct yfw_request_options yfw_request_options;

/* State of the request that is being mapped. Owned by the platform; pointers may be NULL. */
struct yfw_map_request {
    const uint32_t *request_kind; /* enum yfw_request_kind */
    char *error_path;             /* tag of the node that failed; from yfw_strdup, freed with xos_named_free */
    /*
     * The next five belong to the walkers: the platform sets them to 0 before a walk, and only walkers write and read
     * them. A walker that succeeds leaves all but `select_flags` as it found them, bar YFW_WALK_XPATH_ERROR.
     */
    uint32_t walk_flags;
    uint32_t in_subtree;          /* while a walker deletes: 1 a list without naming entries, 2 an entry by its key */
    uint32_t walk_all;            /* 1 while all that may stand below a node is walked with that node as input */
    uint32_t select_flags;        /* what a read has named so far: 0x1 a whole entry, 0x2 a leaf, 0x4 a key */
    uint32_t replace_in_progress; /* 1 during both passes of a replace */
    uint8_t hierarchy_len;
    yfw_datatree plist;              /* key list of the OpenConfig output: the list entry now being filled */
    yfw_datatree reg_dup_datatree;   /* root with the empty tag over a duplicate of the request */
    uint32_t request_source;         /* 2 and `options` not all clear: OpenConfig's `config` leaves are not written */
    uint32_t output_list_count;      /* entries that yfw_add_to_output_list_ctx registered and that were not released */
    uint32_t native_path_depth;      /* levels of `native_path`, from 2 on for a list entry; 0 without one */
    const yfw_datatree *native_path; /* native list entry that the request path reaches, or NULL */
    const yfw_datatree *const *hierarchy; /* `hierarchy_len` nodes, the root first */
    const yfw_datatree *native_list;      /* outermost native list entry entered, or NULL */
    struct yfw_request_options options;
    const yfw_datatree *node_data; /* table of request trees; [0] is the request itself */
    uint32_t node_data_count;
    const yfw_datatree *root_node, *parent_node, *current_node;
    uint32_t list_index;
    const char *const *output_list_key; /* `list_index` texts */
};
typedef struct yfw_map_request yfw_map_request;

/* The handle that every handler gets. */
struct yfw_map_ctx_s {
    yfw_map_request *req_ctx; /* may be NULL */
    yfw_log_filter debug_filter;
    yfw_log_handle *error_log, *trace_log;
    yfw_ltrace_handle *ltrace_handle;
    uint32_t ltrace_enabled; /* nonzero when lightweight tracing is on */
    uint32_t print_state[2]; /* print_data sets both to 1 */
};
typedef struct yfw_map_ctx_s *yfw_map_ctx;

/* ---- Node hierarchy and walking ------------------------------------------------------------------------------- */

/* Push `node` on the request's hierarchy / pop it again. `level`: enum yfw_hierarchy_level. */
cerrno yfw_map_add_to_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node, int level);
cerrno yfw_map_remove_from_node_hierarchy(yfw_map_ctx ctx, const yfw_datatree *node);
/* Nonzero when two tags, or two namespace URIs, are the same; 0 when either is NULL. */
int yfw_map_do_these_match(const char *a, const char *b);
/* Nonzero when the node's operation deletes (YFW_OP_DELETE, YFW_OP_REMOVE). */
int yfw_map_is_request_delete(const yfw_datatree *node);
/* Nonzero in an edit, unless the node entered last is deleted; 0 in a read. */
int yfw_map_is_request_add(yfw_map_ctx ctx);
/* Make the list entry just pushed the framework's current one. `list_path`: path of its list. */
cerrno yfw_map_update_current_list_node(yfw_map_ctx ctx, const char *list_path);
/* Check that the key leaf equals the leaf of the same name in the entry's `container`; nonzero when it differs. */
cerrno yfw_map_check_oc_leafref(yfw_map_ctx ctx, const char *list_path, const char *container, const yfw_datatree *key,
                                yfw_datatree *out);
/*
 * Stack of the list entries that a request names in one walk; `peak` gives the top, NULL when empty. The list walker
 * uses it up: it takes every entry off and runs the handler of each but its own, which may stand anywhere. When it
 * fails the rest stays on the stack, which the framework discards with the request.
 */
uint32_t yfw_map_util_itree_stack_size(yfw_map_ctx ctx);
const yfw_datatree *yfw_map_util_itree_stack_peak(yfw_map_ctx ctx);
cerrno yfw_map_util_itree_stack_push(yfw_map_ctx ctx, const yfw_datatree *node);
cerrno yfw_map_util_itree_stack_pop(yfw_map_ctx ctx);

/* ---- Output --------------------------------------------------------------------------------------------------- */

/*
 * Write one node into `out`. `value` NULL: none. `source`: the request node whose edit this node carries out, or
 * NULL. `list_flag` 1 opens a new entry of the list at `path`; a leaf goes into the entries opened last.
 * `follow_flag`, 0 or 1, is fixed for each of the plug-in's writes; where the node goes does not depend on it.
 */
cerrno yfw_map_datatree_add_path_flagged(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns,
                                         const char *value, const yfw_datatree *source, uint32_t zero,
                                         uint32_t list_flag, uint32_t follow_flag);
/* Find or create the entry with that key and make it the one being filled; `plist` describes it afterwards. */
cerrno yfw_map_search_or_add_list(yfw_map_ctx ctx, yfw_datatree *out, yfw_datatree *plist, const char *list_path,
                                  const char *key_value, const char *key_name, const char *ns);
/* Value of the entry's key leaf; success and NULL when it has none. The text belongs to the entry. */
cerrno yfw_map_get_node_info(yfw_map_ctx ctx, const yfw_datatree *entry, const char *list_path, const char *key_name,
                             const char **key_value);
/* Register / release a native list entry in the request's output list (yfw_map_request.output_list_count). */
cerrno yfw_add_to_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out);
cerrno yfw_remove_from_output_list_ctx(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out);

/* ---- Errors and text ------------------------------------------------------------------------------------------ */

/* Tell the platform that the request failed at the current place of the hierarchy. */
void yfw_oc_error_path(yfw_map_ctx ctx);
/*
 * Copy of `text` that xos_named_free releases; NULL for NULL, and when memory runs out. `label` names the owner in the
 * platform's diagnostics.
 */
char *yfw_strdup(const char *text, const char *label);
/* NULL is allowed. */
void xos_named_free(void *allocation);
/*
 * Copy / append / copy at most `count` characters. All cut to `size` - 1 characters and terminate. The result is not 0
 * when the text was cut, and when there is no room at all (`dst` NULL or `size` 0), which leaves `dst` alone. `src` may
 * overlap `dst`; NULL is refused: copies leave `dst` empty then, the appending one leaves it as it was. `caller` names
 * the calling function in the platform's diagnostics.
 */
cerrno yfw_strcpy_s(const char *caller, char *dst, size_t size, const char *src);
cerrno yfw_strcat_s(const char *caller, char *dst, size_t size, const char *src);
cerrno yfw_strncpy_s(const char *caller, char *dst, size_t size, const char *src, size_t count);
/* Text of a result code; never NULL, not to be freed. */
const char *cerr_strerror(cerrno code);
/* Dotted text of an IPv4 address in network order; `buffer` holds 16 bytes. Returns `buffer`. */
char *inet_ntoa_r(uint32_t address_network_order, char *buffer);

/* ---- Log and trace -------------------------------------------------------------------------------------------- */

/* Nonzero when the debug log takes messages of `level` (0 errors, 3 traces). */
int yfw_debug_should_log(const yfw_log_filter *filter, int level);
/* Write to the debug log. `site_filter_word` is the platform's own word for the calling message site. */
void _xos_dt_log_filter_adv(yfw_log_handle *log, uintptr_t zero0, uintptr_t zero1, uintptr_t zero2, uintptr_t zero3,
                            uintptr_t zero4, uint32_t *site_filter_word, const char *format, ...) YFW_PRINTF_LIKE(8, 9);
/* Write a line to the lightweight trace. */
void _lstrace(yfw_ltrace_handle *trace, uint64_t flags, const char *line);
/* Next number of a lightweight trace line. */
uint32_t ret_nc_yfw_trace_index_incr(void);
/* Print a tree to the debug log. */
void yfw_map_print_datatree_internal(yfw_map_ctx ctx, const yfw_datatree *tree, const char *label);

/* ---- System database ------------------------------------------------------------------------------------------ */

/*
 * Open / close a binding to a place of the database. `*handle` may come back NULL with success: nothing is bound, and
 * what would be read under it counts as missing.
 */
cerrno _sysdb_bind(void **handle, const char *bind_point, uint32_t zero);
cerrno _sysdb_unbind(void *handle);
/*
 * Read one item into a new heap block that the caller frees with free(), NULL when the result is not 0. `*bag_len` is
 * in bytes. `*info_word` is 0; the plug-in does not read it.
 */
cerrno sysdb_item_get(void *handle, const char *item_path, uint32_t *info_word, void **bag_data, uint32_t *bag_len,
                      uint32_t zero);
/*
 * List what lies under the binding; the empty pattern lists all, the name of a folder what is in it. Names of folders
 * end in "/". `*count`: names of the listing. `*list_info` is 0; the plug-in does not read it.
 */
cerrno sysdb_list(void *handle, const char *pattern, uint32_t *list_info, uint32_t *count, void **list_handle,
                  uint32_t zero);
/*
 * Next name of a listing; success and NULL after the last. The text lives until the next step or sysdb_list_free.
 * `*datatype`: 1 for a folder, else 0.
 */
cerrno sysdb_list_next(void *list_handle, const char **item_name, uint32_t *datatype, uint32_t zero);
cerrno sysdb_list_free(void *list_handle);

/* ---- Bag records ---------------------------------------------------------------------------------------------- */

typedef uint32_t bag_token_type_td;

/* Values of bag_token_type_td. */
enum {
    BAG_TOKEN_INT8 = 0,
    BAG_TOKEN_UINT8 = 1,
    BAG_TOKEN_INT16 = 2,
    BAG_TOKEN_UINT16 = 3,
    BAG_TOKEN_INT32 = 4,
    BAG_TOKEN_UINT32 = 5,
    BAG_TOKEN_IPV4 = 8, /* 32 bits, network order */
    BAG_TOKEN_ENUM = 9, /* 32 bits, signed */
    BAG_TOKEN_BOOL = 10,
    BAG_TOKEN_TEXT = 12,      /* text in value.first.text */
    BAG_TOKEN_LONG_TEXT = 13, /* text in value.second */
    BAG_TOKEN_SEQUENCE = 14,
    BAG_TOKEN_SEQUENCE_END = 15,
    BAG_TOKEN_END = 18 /* end of the record */
};

typedef struct {
    uint32_t length; /* of the record, bytes */
    const char *name;
    uint32_t version_major, version_minor;
} bag_header_td;

typedef struct {
    const void *data; /* the record and its bytes, as bag_generic_init was given them */
    uint32_t length;
    uint32_t offset; /* of the token that comes next, bytes from the beginning of the record */
    void *state;     /* the platform's own; NULL when the walk has ended */
} bag_walk_td;

typedef struct {
    bag_token_type_td type;
    const char *name; /* NULL when the token has none */
    struct {
        union {
            int8_t i8;
            uint8_t u8;
            int16_t i16;
            uint16_t u16;
            int32_t i32;
            uint32_t u32;
            const char *text;
            uint64_t raw;
        } first;
        const char *second;
    } value;
} bag_token_td;

cerrno bag_header_info(const void *bag_data, bag_header_td *header);
/* Start a walk over the tokens; bag_generic_destroy ends it. The record must outlive the walk. */
cerrno bag_generic_init(const void *bag_data, uint32_t bag_len, bag_walk_td *walk);
/*
 * Next token. Its texts live until bag_generic_free_token_allocations or the end of the walk. BAG_TOKEN_END is given
 * once; from then on, and when the record is malformed, the result is not 0 and the token says BAG_TOKEN_END.
 */
cerrno bag_generic_token(bag_walk_td *walk, bag_token_td *token);
void bag_generic_free_token_allocations(bag_token_td *token);
void bag_generic_destroy(bag_walk_td *walk);

#ifdef __cplusplus
}
#endif

#endif
