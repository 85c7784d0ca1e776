/*
 * Server policies, server farms and health checks of the 4.x releases. What a step remembers of one block for another
 * stands in tables of texts; no pointer into a tree outlives its pass.
 */
#ifndef MIGR_CHAIN_SERVER_POLICIES_H
#define MIGR_CHAIN_SERVER_POLICIES_H

#include "tree/config_node.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MIGR_POLICY_ROWS 64
#define MIGR_FARM_ROWS 1024

/* A pair of texts, cut at 63 characters: deployment mode and farm, or vserver and interface. */
typedef struct policy_pair policy_pair;
struct policy_pair {
    char first[64];
    char second[64];
};

/* The table of whichever conversion of 4.11 ran last: its first rows, and how many it has in all. The rows behind these
 * are the library's own, and go when the pass ends. Holds texts only, so it may outlive a pass. */
extern policy_pair _pinfo[MIGR_POLICY_ROWS];
extern int32_t     policy_change_count;

/* A server of a farm, texts cut at 63 characters. */
typedef struct farm_server farm_server;
struct farm_server {
    char farm[64];
    char type[64];
    char server[64];
    char port[64];
};

/* The servers that the scan of the farms has met. The count runs on from file to file, and beyond the table: what has
 * no room in it is kept elsewhere until the pass ends. */
extern farm_server migr_pfarms_array[MIGR_FARM_ROWS];
extern int32_t     migr_pfarms_cnt;
extern char        migr_pfarms_name[64]; /* the farm that the scan is in */
extern char        migr_pfarms_type[64]; /* the type of the last farm that began with one */

/* 4.11 */
void migr_predefine_change(void);
void migr_policy_process(void);
void migr_change_pservers(void); /* gives the farms of the table their modes, and drops all other farms */
void migr_policy_offline(void);
void migr_get_vsport_list(void);    /* fills the table with the vservers' interfaces */
void migr_change_policy_port(void); /* replaces each policy's "vserver" by the interface that the table has for it */

/* 4.20. The functions of one node take it from its list; it must not be null. */
void migr_check_server_farms(void);
void migr_pservers_farm_check(const config_node *entry);
void migr_health_check(void);
void migr_check_one_health_check(config_node *check);
void migr_policy(void);
void migr_check_one_policy(config_node *policy, int32_t limited); /* limited: as qb01a */
void migr_check_one_policy_session(config_node *policy);

/* Called when a pass ends: frees the rows that the two tables had no room for. */
void release_further_rows(void);

/* 4.30 */
void migr_serverpolicy_httpconversionpolicy(void);
void migr_serverpolicy_pservers(void);
void migr_one_peservers_check(config_node *farm);
void migr_wafwebprotectionprofile_inlineprotection(void);
void migr_one_wafwebprotectionprofile_inlineprotection_check(config_node *profile);

#ifdef __cplusplus
}
#endif

#endif
