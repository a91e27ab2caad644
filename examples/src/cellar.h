/* cellar: a tiny key-value store kept in memory and made durable by an append-only log. */
#ifndef CELLAR_H
#define CELLAR_H

#include <stddef.h>

typedef struct cellar cellar;

/* Opens the store whose log is the file at `path`, replaying the log into memory. Creates an
 * empty log when there is none. Returns NULL when the log cannot be opened or read. */
cellar *cellar_open(const char *path);

/* The value stored under `key`, or NULL. The pointer stays valid until the key changes. */
const char *cellar_get(const cellar *db, const char *key);

/* Stores `value` under `key`, logging the change first. Returns 0, or -1 on a write error. */
int cellar_put(cellar *db, const char *key, const char *value);

/* Removes `key`, logging the removal first. Returns 0 (also when the key was absent), or -1. */
int cellar_delete(cellar *db, const char *key);

/* Number of keys stored. */
size_t cellar_count(const cellar *db);

/* Flushes the log and frees everything. */
void cellar_close(cellar *db);

#endif
