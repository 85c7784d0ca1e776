/*
 * libmigr, the configuration upgrade of the appliance: what a host program needs. C and C++.
 *
 * The library is not re-entrant: it works on global records, in the caller's thread, and one operation runs at a time.
 * The platform functions of platform.h must be there when it is loaded; a host that uses dlopen loads its platform
 * library first, with RTLD_GLOBAL.
 *
 * A host may name its functions as it likes, also like some of libmigr.so, which calls its own whatever a host has. Its
 * records it finds by name, as debuggers do: a host must not define globals of these names. Static variables may have
 * any name.
 *
 *   EMPTY_NODE EOB_NODE _pinfo all_reaches all_stages bak_line cert_dirs2fix domain_node done_sigid_check
 *   fix_func_array found_node global_node id_array id_count is_found item_list new_id_array new_id_count
 *   notp_bridge_main policy_change_count pre_node_info predefined_disable_sig_head qb01a sbuf_suffix sig_db sub
 *   sub_node_info taglist tmp_tree_root top vdom_update_flag, and names that begin with c3_arr_MIGR_, cbc_arr_MIGR_,
 *   migr_
 */
#ifndef MIGR_DRIVER_MIGR_H
#define MIGR_DRIVER_MIGR_H

#include "driver/hooks.h"       /* what a host may define, and the library then calls */
#include "driver/run_context.h" /* migr_main, qb01a */
#include "tree/setup_tree.h"    /* setup_tree: a file into a context */

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Upgrades /data/config to the image's release: the global file, then each domain file in the order of their names.
 * Does nothing unless the global file is older than the image, so it may be called at any time at which nothing else
 * uses the files. No failure of one file ends the run: a file that cannot be upgraded stays as it was, and the next run
 * tries again.
 */
void migr_main_do_all(void);

/*
 * Upgrades one plain-text machine-learning configuration.
 *   input, output   paths, not null. The output is unlinked, only after the input's version has been read, and made
 *                   anew with mode 0600; one that cannot be unlinked is written over, so /dev/stdout is an output too
 * 0 done, -1 no readable version, -2 the image is not newer than the input, -3 the output cannot be opened or written.
 */
int32_t migr_machine_learning_upgrade(const char *input, const char *output);

/*
 * The version code of a gzip-compressed configuration file, or -1 when it cannot be unpacked or has no version line.
 * Unpacks to ./qx_migr_unzip_tmp in the working folder; of migr_main it changes only line_buf.
 */
int32_t get_config_version(const char *path);

/*
 * Writes the tree now held in migr_main, with its two header lines, to a plain file. For a host that has filled the
 * context itself with parse_version, setup_tree and, as wanted, adjust_tree. Frees nothing. Top-level names lose
 * their comma form, so no search by path works afterwards. `path` is an output as migr_machine_learning_upgrade has it.
 * 0, or -1 when the file cannot be opened or written whole.
 */
int32_t new_config_file_GUI(const char *path);

/*
 * Unpacks a configuration file to /tmp/system1.conf and fills the versions and header lines of migr_main.
 *   force   non-zero: do not ask whether the file is older than the image
 * 0 when the file is to be upgraded, otherwise -1.
 */
int32_t parse_version(const char *path, int32_t force);

/*
 * Takes the tree in migr_main through the update sections, the version chain, the staged walk and the signature
 * reconciliation. 0, or -1 when a mechanism failed; the tree is then part changed and must be dropped.
 */
int32_t adjust_tree(void);

/*
 * Frees every node that setup_tree and the migrations made since the last call, and the update sections that
 * adjust_tree loaded into migr_main. migr_main_do_all and migr_machine_learning_upgrade do this by themselves; a host
 * that called setup_tree calls it when it is done with the tree, and must not look at the tree afterwards. Records that
 * the host made and that still hang in that tree, or below a node that was deleted from it, are the host's no longer:
 * free_node, and this call, give them to free.
 */
void migr_release_nodes(void);

#ifdef __cplusplus
}
#endif

#endif
