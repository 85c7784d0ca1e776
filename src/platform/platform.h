/*
 * What the appliance's firmware supplies to the library. Declarations only: a firmware implements them, and the folder
 * appliance/ holds a stand-in on kept libraries. All texts are NUL-terminated unless a length is given.
 */
#ifndef MIGR_PLATFORM_PLATFORM_H
#define MIGR_PLATFORM_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Compresses the file `source` to a gzip file (RFC 1952) at `target`, replacing it. 0, or negative on failure, which
 * leaves `target` as it was. */
int cvgzip(const char *source, const char *target);

/* Unpacks the gzip file `source` to a plain file at `target`, replacing it. 0, or negative on failure, which leaves
 * `target` as it was. */
int cvgunzip(const char *source, const char *target);

/* The signature database. The handle is the platform's own. */
typedef struct signature_database signature_database;

/* Opens the signature database read-only and stores its handle; without a database file the handle becomes null.
 * 0 on success. */
int db_open(signature_database **handle);

/* Closes what db_open gave. `handle` must not be null. 0 on success. */
int db_close(signature_database *handle);

/* Field types of a query's columns. */
enum {
    DB_FIELD_NUMBER = 101, /* width 0: a signed 32-bit number */
    DB_FIELD_TEXT = 102,   /* width N: at most N-1 characters and a NUL */
};

/* A row of a result. `data` is the first column's value (int32_t or text), or null. Owned by the query object. */
typedef struct db_row db_row;
struct db_row {
    void   *data;
    db_row *next;
};

/* A query: a record of the caller's, filled by init_db_object, used for one run, and released by `release`. */
typedef struct db_object db_object;
struct db_object {
    int (*add_field)(db_object *object, int type, int width);        /* 0 on success */
    int (*run)(db_object *object, const char *sql, int32_t *status); /* 0 and *status 0 on success */
    void (*release)(db_object *object);                              /* frees the rows; the record may be dropped */
    db_row *first_row;
    int32_t row_count;
    void   *internal; /* the platform's own */
};

/* Prepares `object` for one query on `handle`. 0 on success; only then must it be released. */
int init_db_object(db_object *object, signature_database *handle);

/* The predefined global white-list names: as many as `count` says, at most 32, of 7 characters and a NUL. */
typedef struct global_white_list global_white_list;
struct global_white_list {
    int32_t count;
    int32_t reserved;
    char    names[32][8]; /* offset 8 */
};

/* Fills `list` from the signature database. 0 on success. */
int global_white_list_read_db(global_white_list *list);

/* A default replacement page of the image. */
typedef struct default_page default_page;
struct default_page {
    char    name[128];
    int32_t code; /* the page's HTTP status */
};

/* rmsg_def_page_size records; null while there are none. They are there while the signature database is open, and
 * otherwise from a question to find_default_msg_by_name to the next; a platform that has them at all times may. */
extern const default_page *rmsg_def_pages;
extern int32_t             rmsg_def_page_size;

/* The default text of the named page, owned by the platform, or null when there is no such page. Whether it is there or
 * not, rmsg_def_pages is filled afterwards. */
const char *find_default_msg_by_name(const char *name);

/* Encrypts the PEM private key in `text` in place. The buffer holds at least twice the text's length. A closing double
 * quote at the text's end always goes; text that holds "ENCRYPTED" is otherwise left as it is. */
void key_encrypt(char *text);

/* Decodes base64 (RFC 4648, section 4) from `text` into `out`: at most `limit` bytes and a NUL behind them, so `out`
 * holds limit + 1 bytes. Stops at the end of the text and passes over what is no base64 letter. The number of bytes
 * decoded, without the NUL. */
int b64_decode(const char *text, char *out, int limit);

/* The host's log, printf form. */
void message(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* First match of `needle` in `length` bytes of `text`, regardless of case, or null. */
char *v_memcasestr(const char *text, size_t length, const char *needle, size_t needle_length);

/* Last match of `needle` in `length` bytes of `text`, or null. */
char *v_memrstr(const char *text, size_t length, const char *needle, size_t needle_length);

/* Copies at most `length` characters of `source` into `target`, a buffer of `room` bytes, and always terminates it. */
void v_strncpy(char *target, size_t room, const char *source, size_t length);

/* Makes the domain's subfolder in each certificate folder, and what is missing above it. 0 on success. */
int crwinit_cert_dir(const char *domain);

/* Copies a file over `target`. 0 on success. */
int copy_file(const char *source, const char *target);

/* Copies a folder's content into `target`, which is made with its parents when missing. 0 on success. */
int copy_dir(const char *source, const char *target);

/* 1 when `path` is a folder, links followed, otherwise 0. */
int is_dir(const char *path);

/* The most persistent server sessions that this machine allows for one policy. */
int __vm_get_max_policy_session(void);

#ifdef __cplusplus
}
#endif

#endif
