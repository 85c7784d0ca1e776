/* Until the real files land. */
#include "platform/platform.h"
#define WEAK __attribute__((weak))
WEAK int cvgzip(const char *, const char *) { return -1; }
WEAK int cvgunzip(const char *, const char *) { return -1; }
WEAK int db_open(signature_database **handle) { *handle = nullptr; return -1; }
WEAK int db_close(signature_database *) { return 0; }
WEAK void message(const char *, ...) {}
WEAK char *v_memcasestr(const char *, size_t, const char *, size_t) { return nullptr; }
WEAK char *v_memrstr(const char *, size_t, const char *, size_t) { return nullptr; }
WEAK const default_page *rmsg_def_pages;
WEAK int32_t rmsg_def_page_size;
WEAK const char *find_default_msg_by_name(const char *) { return nullptr; }
WEAK void key_encrypt(char *) {}
WEAK int b64_decode(const char *, char *, int) { return 0; }
WEAK void v_strncpy(char *target, size_t, const char *source, size_t length) { __builtin_memcpy(target, source, length); target[length] = '\0'; }
WEAK int __vm_get_max_policy_session(void) { return 10000; }
WEAK int global_white_list_read_db(global_white_list *) { return -1; }
WEAK int crwinit_cert_dir(const char *) { return -1; }
WEAK int copy_file(const char *, const char *) { return -1; }
WEAK int copy_dir(const char *, const char *) { return -1; }
WEAK int is_dir(const char *) { return 0; }
WEAK int init_db_object(db_object *, signature_database *) { return -1; }
