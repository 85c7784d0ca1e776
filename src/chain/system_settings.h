/* Settings of the appliance that were renamed, folded or copied in 4.30 and 4.40: the cluster, SNMP events, the packet
 * log, and the block of advanced settings. */
#ifndef MIGR_CHAIN_SYSTEM_SETTINGS_H
#define MIGR_CHAIN_SYSTEM_SETTINGS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 4.30 */
void migr_system_hasyncd(void);

/* 4.40; always 0. migr_snmp_events never returns from a community without sets, migr_advanced never from a file without
 * the block behind which its own belongs. */
int32_t migr_snmp_events(void);
int32_t migr_mod_packet_log(void);
int32_t migr_advanced(void);
void    moved_to_advanced(const char *name, const char *value); /* a null value is copied as such */

#ifdef __cplusplus
}
#endif

#endif
