/* The append-only log behind a cellar store: one record per change, replayed on open. */
#ifndef CELLAR_LOG_H
#define CELLAR_LOG_H

#include <stdio.h>

enum log_op { LOG_PUT = 'P', LOG_DELETE = 'D' };

/* One change: an operation, a key and, for LOG_PUT, a value. */
struct log_record {
  enum log_op op;
  char *key;
  char *value; /* NULL for LOG_DELETE */
};

/* Appends `record` to `log` as one line ("P\tkey\tvalue\n" or "D\tkey\n") and flushes it.
 * Returns 0, or -1 on a write error. */
int log_append(FILE *log, const struct log_record *record);

/* Reads the next record of `log` into `record`, whose strings the caller frees with
 * log_record_free. Returns 1 for a record, 0 at the end, -1 for a damaged line (skipped). */
int log_next(FILE *log, struct log_record *record);

void log_record_free(struct log_record *record);

#endif
