/* The log configuration of 4.11: a block per destination, a block per kind of log, and policies. */
#ifndef MIGR_CHAIN_LOG_MODEL_H
#define MIGR_CHAIN_LOG_MODEL_H

#ifdef __cplusplus
extern "C" {
#endif

/* 4.11. Without memory, what could not be made is missing. */
void migr_log_process(void);

#ifdef __cplusplus
}
#endif

#endif
