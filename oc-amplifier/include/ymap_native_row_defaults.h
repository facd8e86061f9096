// Included at the top of every list of native rows: the row macros, and what they expand to when the including file
// does not want them. Without include guard on purpose.

// clang-format off
//   XO_MODULE(properties...)                             a NativeModule
//   XO_ROOT(word, tag)                                   the parent `root` of other rows
//   XO_CONTAINER(parent, word, tag)
//   XO_LIST(parent, word, tag, path, key...)             path: the list's path for the framework; keys may be none
//   XO_LIST_BY_HAND(...)                                 likewise, with a handler that is written out by hand
//   XO_AUGMENTED_LIST(...)                               likewise, and with an augment parser that leads to another module
//   XO_LEAF(parent, word, tag, converter, answer)        the converter does what the answer (ymap_rows.h) says
//   XO_LEAF_BY_HAND(parent, word, tag, converter)        the converter is written out by hand
//   XO_TEXT_LEAF(parent, word, tag, converter, answer)   likewise, and only gives the text that the handler writes
//   XO_UNANSWERED_LEAF(parent, word, tag)                a leaf without OpenConfig leaf
// QUIET in a name: the augment parser writes no trace.
// Functions without a node that is walked:
//   XO_UNVISITED_CONTAINER(word), XO_UNVISITED_LEAF(word)      a handler
//   XO_DEFAULT_HANDLERS, XO_QUIET_DEFAULT_HANDLERS             those that a module's nodes may share
//   XO_AUGMENT_OF(word)                                        what other modules hand their children to
//
// `word` is the path word of the exported names; `parent` the word of the row that the node hangs under. Each list
// states
//   XO_NAME(name)          the exported name of the module's function `name`
//   XO_WORD(word)          the whole word, with its prefix
//   XO_HANDLERS            own: a handler for each node; shared: each an alias of the default handlers; unnamed: the
//                          default handlers themselves
//   XO_INNER_WALKERS(...)  its arguments when every level's walker is exported, nothing when only the root's is
//
// Files that include a list define XO_EACH_<row macro>, which get whole words. `augments` is the kind of the augment
// parser, `handlers` one of the above or `by_hand`.
// clang-format on

#ifndef XO_NODE
#define XO_NODE(parent, word, tag)
#endif
#ifndef XO_EACH_MODULE
#define XO_EACH_MODULE(...)
#endif
#ifndef XO_EACH_CONTAINER
#define XO_EACH_CONTAINER(parent, word, tag, augments, handlers) XO_NODE(parent, word, tag)
#endif
#ifndef XO_EACH_ROOT // `alias` is the parent that the root's children name
#define XO_EACH_ROOT(alias, word, tag, augments, handlers) XO_EACH_CONTAINER(no_parent, word, tag, augments, handlers)
#endif
#ifndef XO_EACH_LIST
#define XO_EACH_LIST(parent, word, tag, augments, handlers, path, ...) XO_NODE(parent, word, tag)
#endif
#ifndef XO_EACH_AUGMENTED_LIST
#define XO_EACH_AUGMENTED_LIST(parent, word, tag, ...)                                                                 \
    XO_EACH_LIST(parent, word, tag, AugmentParserByHand, by_hand, __VA_ARGS__)
#endif
#ifndef XO_EACH_LEAF
#define XO_EACH_LEAF(parent, word, tag, handlers, converter, ...) XO_NODE(parent, word, tag)
#endif
#ifndef XO_EACH_LEAF_BY_HAND
#define XO_EACH_LEAF_BY_HAND(parent, word, tag, handlers, converter)                                                   \
    XO_EACH_LEAF(parent, word, tag, handlers, converter, AnswerByHand{})
#endif
#ifndef XO_EACH_TEXT_LEAF
#define XO_EACH_TEXT_LEAF(parent, word, tag, handlers, converter, ...)                                                 \
    XO_EACH_LEAF(parent, word, tag, handlers, converter, __VA_ARGS__)
#endif
#ifndef XO_EACH_UNANSWERED_LEAF
#define XO_EACH_UNANSWERED_LEAF(parent, word, tag, handlers)                                                           \
    XO_EACH_LEAF(parent, word, tag, handlers, nothing, AnswerByHand{})
#endif
#ifndef XO_EACH_UNVISITED_CONTAINER
#define XO_EACH_UNVISITED_CONTAINER(word)
#endif
#ifndef XO_EACH_UNVISITED_LEAF
#define XO_EACH_UNVISITED_LEAF(word)
#endif
#ifndef XO_DEFAULT_HANDLERS
#define XO_DEFAULT_HANDLERS
#endif
#ifndef XO_QUIET_DEFAULT_HANDLERS
#define XO_QUIET_DEFAULT_HANDLERS
#endif
#ifndef XO_AUGMENT_OF
#define XO_AUGMENT_OF(word)
#endif

// clang-format off

#define XO_WORDS(parent, word) XO_WORD(parent), XO_WORD(word)
#define XO_CALL(macro, ...) macro(__VA_ARGS__) // after what it is called with is expanded
#define XO_MODULE(...) XO_EACH_MODULE(__VA_ARGS__)
#define XO_ROOT(word, tag) XO_CALL(XO_EACH_ROOT, XO_WORD(root), lvla_##word, tag, AugmentParser, XO_HANDLERS)
#define XO_QUIET_ROOT(word, tag) XO_CALL(XO_EACH_ROOT, XO_WORD(root), lvla_##word, tag, QuietAugmentParser, XO_HANDLERS)
#define XO_CONTAINER(parent, word, tag) \
    XO_CALL(XO_EACH_CONTAINER, XO_WORDS(parent, word), tag, AugmentParser, XO_HANDLERS)
#define XO_QUIET_CONTAINER(parent, word, tag) \
    XO_CALL(XO_EACH_CONTAINER, XO_WORDS(parent, word), tag, QuietAugmentParser, XO_HANDLERS)
#define XO_LIST(parent, word, tag, ...) \
    XO_CALL(XO_EACH_LIST, XO_WORDS(parent, word), tag, AugmentParser, XO_HANDLERS, __VA_ARGS__)
#define XO_QUIET_LIST(parent, word, tag, ...) \
    XO_CALL(XO_EACH_LIST, XO_WORDS(parent, word), tag, QuietAugmentParser, XO_HANDLERS, __VA_ARGS__)
#define XO_LIST_BY_HAND(parent, word, tag, ...) \
    XO_CALL(XO_EACH_LIST, XO_WORDS(parent, word), tag, AugmentParser, by_hand, __VA_ARGS__)
#define XO_QUIET_LIST_BY_HAND(parent, word, tag, ...) \
    XO_CALL(XO_EACH_LIST, XO_WORDS(parent, word), tag, QuietAugmentParser, by_hand, __VA_ARGS__)
#define XO_AUGMENTED_LIST(parent, word, tag, ...) \
    XO_CALL(XO_EACH_AUGMENTED_LIST, XO_WORDS(parent, word), tag, __VA_ARGS__)
#define XO_LEAF(parent, word, tag, ...) XO_CALL(XO_EACH_LEAF, XO_WORDS(parent, word), tag, XO_HANDLERS, __VA_ARGS__)
#define XO_LEAF_BY_HAND(parent, word, tag, converter) \
    XO_CALL(XO_EACH_LEAF_BY_HAND, XO_WORDS(parent, word), tag, XO_HANDLERS, converter)
#define XO_TEXT_LEAF(parent, word, tag, ...) \
    XO_CALL(XO_EACH_TEXT_LEAF, XO_WORDS(parent, word), tag, XO_HANDLERS, __VA_ARGS__)
#define XO_UNANSWERED_LEAF(parent, word, tag) \
    XO_CALL(XO_EACH_UNANSWERED_LEAF, XO_WORDS(parent, word), tag, XO_HANDLERS)
#define XO_UNVISITED_CONTAINER(word) XO_CALL(XO_EACH_UNVISITED_CONTAINER, XO_WORD(word))
#define XO_UNVISITED_LEAF(word) XO_CALL(XO_EACH_UNVISITED_LEAF, XO_WORD(word))

// clang-format on
