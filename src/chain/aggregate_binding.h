/* 5.35: a cluster monitors an aggregate where it monitored all of the aggregate's ports. */
#ifndef MIGR_CHAIN_AGGREGATE_BINDING_H
#define MIGR_CHAIN_AGGREGATE_BINDING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* An aggregate and its one or two ports. */
typedef struct aggregate_record aggregate_record;
struct aggregate_record {
    char   *name; /* heap text; null behind the last record in use */
    char    port[2][8];
    int32_t count; /* how many ports */
};

/* 0, or -1 when an aggregate has more than two ports. */
int32_t migr_adjust_bind_info(void);

/* Copies the text between the first pair of double quotes to `output`, 128 bytes. 0, or -1 for a null and for a text
 * that does not begin with a quote, and nothing is written then. */
int32_t get_bind_name(char *output, const char *quoted_name);

/* Takes the ports out of a "monitor" value, at most 16. */
void fill_port_info(const char *value);

/* Whether all ports of the aggregate are monitored; they then count as bound. 1 or 0. */
int32_t find_binfo(const aggregate_record *record);

/* Writes the aggregates that are found, then the ports left, each with a blank behind it. 0, or -1 when `size` bytes
 * are not enough; what fitted stands. `output` is an empty text. */
int32_t make_intf_line(char *output, int32_t size);

/* Frees the names of the aggregates. */
void release_bind_info(void);

#ifdef __cplusplus
}
#endif

#endif
