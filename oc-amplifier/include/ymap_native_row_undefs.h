// Included at the end of every list of native rows. Without include guard on purpose.
#undef XO_UNVISITED_LEAF
#undef XO_UNVISITED_CONTAINER
#undef XO_LEAF_TEXT
#undef XO_LEAF
#undef XO_QUIET_LIST
#undef XO_LIST_OWN
#undef XO_LIST
#undef XO_QUIET_CONTAINER
#undef XO_CONTAINER
#undef XO_NODE
