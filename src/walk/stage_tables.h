/* The stages by name, for debuggers and tests; the walk takes them from all_stages. */
#ifndef MIGR_WALK_STAGE_TABLES_H
#define MIGR_WALK_STAGE_TABLES_H

#include "walk/stages.h"

#ifdef __cplusplus
extern "C" {
#endif


#ifdef __cplusplus
}
#endif

#endif
