/* The stages by name, for debuggers and tests; the walk takes them from all_stages. */
#ifndef MIGR_WALK_STAGE_TABLES_H
#define MIGR_WALK_STAGE_TABLES_H

#include "walk/stages.h"

#ifdef __cplusplus
extern "C" {
#endif

extern stage_table c3_arr_MIGR_ADOM0x50032;
extern stage_table c3_arr_MIGR_ADOM0x50033;
extern stage_table c3_arr_MIGR_ADOM0x50034;
extern stage_table c3_arr_MIGR_ADOM0x5003c;
extern stage_table c3_arr_MIGR_ADOM0x50046;
extern stage_table c3_arr_MIGR_ADOM0x50050;
extern stage_table c3_arr_MIGR_ADOM0x50053;
extern stage_table c3_arr_MIGR_ADOM0x50055;
extern stage_table c3_arr_MIGR_ADOM0x5005a;
extern stage_table c3_arr_MIGR_ADOM0x5005b;
extern stage_table c3_arr_MIGR_ADOM0x60000;
extern stage_table c3_arr_MIGR_ADOM0x60001;
extern stage_table c3_arr_MIGR_ADOM0x60002;
extern stage_table c3_arr_MIGR_ADOM0x6000a;
extern stage_table c3_arr_MIGR_ADOM0x6000b;
extern stage_table c3_arr_MIGR_ADOM0x60014;
extern stage_table c3_arr_MIGR_ML0x60014;

/* The rows of each; their number stands in the stage. */
extern stage_row cbc_arr_MIGR_ADOM0x50032[];
extern stage_row cbc_arr_MIGR_ADOM0x50033[];
extern stage_row cbc_arr_MIGR_ADOM0x50034[];
extern stage_row cbc_arr_MIGR_ADOM0x5003c[];
extern stage_row cbc_arr_MIGR_ADOM0x50046[];
extern stage_row cbc_arr_MIGR_ADOM0x50050[];
extern stage_row cbc_arr_MIGR_ADOM0x50053[];
extern stage_row cbc_arr_MIGR_ADOM0x50055[];
extern stage_row cbc_arr_MIGR_ADOM0x5005a[];
extern stage_row cbc_arr_MIGR_ADOM0x5005b[];
extern stage_row cbc_arr_MIGR_ADOM0x60000[];
extern stage_row cbc_arr_MIGR_ADOM0x60001[];
extern stage_row cbc_arr_MIGR_ADOM0x60002[];
extern stage_row cbc_arr_MIGR_ADOM0x6000a[];
extern stage_row cbc_arr_MIGR_ADOM0x6000b[];
extern stage_row cbc_arr_MIGR_ADOM0x60014[];
extern stage_row cbc_arr_MIGR_ML0x60014[];

#ifdef __cplusplus
}
#endif

#endif
