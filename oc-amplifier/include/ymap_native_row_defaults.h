// Included at the top of every list of native rows: what a row macro expands to when the including file does not
// want it. Without include guard on purpose.
//
//   XO_CONTAINER(parent, word, tag)
//   XO_LIST(parent, word, tag, path, key...)           path: the list's path for the framework; keys may be none
//   XO_LEAF(parent, word, tag, converter)
// Variants, which count as the plain ones unless the including file tells them apart:
//   XO_LEAF_TEXT(parent, word, tag, converter, path)   the handler writes the text that the converter returns to the
//                     OpenConfig leaf `path`
//   XO_LIST_OWN       a list whose handler is written out by hand
//   XO_QUIET_CONTAINER, XO_QUIET_LIST   the augment parser writes no trace
// Nodes that are never walked, but have a handler of their own name:
//   XO_UNVISITED_CONTAINER(word), XO_UNVISITED_LEAF(word)
//
// `word` is the level-and-path word of the exported names; `parent` the row that the node hangs under.

#ifndef XO_NODE
#define XO_NODE(parent, word, tag)
#endif
#ifndef XO_CONTAINER
#define XO_CONTAINER(parent, word, tag) XO_NODE(parent, word, tag)
#endif
#ifndef XO_QUIET_CONTAINER
#define XO_QUIET_CONTAINER(parent, word, tag) XO_CONTAINER(parent, word, tag)
#endif
#ifndef XO_LIST
#define XO_LIST(parent, word, tag, path, ...) XO_NODE(parent, word, tag)
#endif
#ifndef XO_LIST_OWN
#define XO_LIST_OWN(parent, word, tag, ...) XO_LIST(parent, word, tag, __VA_ARGS__)
#endif
#ifndef XO_QUIET_LIST
#define XO_QUIET_LIST(parent, word, tag, ...) XO_LIST(parent, word, tag, __VA_ARGS__)
#endif
#ifndef XO_LEAF
#define XO_LEAF(parent, word, tag, converter) XO_NODE(parent, word, tag)
#endif
#ifndef XO_LEAF_TEXT
#define XO_LEAF_TEXT(parent, word, tag, converter, path) XO_LEAF(parent, word, tag, converter)
#endif
#ifndef XO_UNVISITED_CONTAINER
#define XO_UNVISITED_CONTAINER(word)
#endif
#ifndef XO_UNVISITED_LEAF
#define XO_UNVISITED_LEAF(word)
#endif
