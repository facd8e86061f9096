// A library of someone else's that exports names of the plug-in's: each notes its call.
#define NAMESAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {
int calls = 0;
}

// What they take does not matter: C names carry no types.
#define NAMESAKE(name)                                                                                                 \
    NAMESAKE_EXPORT int name() {                                                                                       \
        ++calls;                                                                                                       \
        return 0;                                                                                                      \
    }
NAMESAKE(replace_str)
NAMESAKE(strstrip)
NAMESAKE(compare_path)
NAMESAKE(check_request_type)
NAMESAKE(check_request_type_3)
NAMESAKE(swap_controller)
NAMESAKE(get_value_in_bag)
NAMESAKE(sysdb_get_data)
NAMESAKE(ots_ctrl_key_to_ampli_key)
NAMESAKE(check_controller_name_ots_is_good)

/// How often any of them was called.
NAMESAKE_EXPORT int namesake_calls() {
    return calls;
}
