/* Compiled ahead of those sources of the library whose variables outlive a run, so that fresh_state.cpp finds these. */
#pragma clang section bss = "migr_outliving_bss" data = "migr_outliving_data"
