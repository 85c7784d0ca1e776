/* Places where an upgrade never gets past what it found in a file. */
#ifndef MIGR_DRIVER_STALL_H
#define MIGR_DRIVER_STALL_H

#ifdef __cplusplus
extern "C" {
#endif

/* Tells the host through migr_on_stall (migr.h) that a file has reached `where`, the name of a function, then waits
 * for ever. */
void migr_never_returns(const char *where) __attribute__((noreturn));

#ifdef __cplusplus
}
#endif

#endif
