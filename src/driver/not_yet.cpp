/* Mechanisms whose files have not landed yet: the sequences run on without them. */
#include "chain/hardcode.h"
#include "filejobs/file_jobs.h"
#include "rules/rules.h"
#include "signature/reconcile.h"
#include "tree/legacy_certificates.h"
#include "tree/split.h"

/* chain */
int32_t migr_hardcode(const update_section *) { return 0; }
void    forget_pass_nodes(void) {}
/* filejobs */
int32_t migr_fix_all_files(int32_t) { return 0; }
/* legacy certificates */
int32_t file_conversion(void) { return 0; }
/* split */
int32_t update_to_vdom(void) { return 0; }
/* signature */
int32_t done_sigid_check;
void    free_sigid_list(void) {}
int32_t sync_cli_with_sig_db(void) { return 0; }
/* rules */
notp_bridge_state notp_bridge_main;
void migr_list_init(migr_list *head) { head->next = head->prev = head; }
update_section *section_of(migr_list *link) { return reinterpret_cast<update_section *>(link); }
int32_t __build_updatefile_tree(void) { return 0; }
void    free_migr_tree(void) {}
int32_t process_delete(migr_list *) { return 0; }
int32_t process_modify(migr_list *, int32_t, int32_t) { return 0; }
void find_notp_bridge_node(config_node *, int32_t) {}
void free_notp_bridges(void) {}
