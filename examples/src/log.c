#include "log.h"

#include <stdlib.h>
#include <string.h>

int log_append(FILE *log, const struct log_record *record) {
  int written;
  if (record->op == LOG_PUT) {
    written = fprintf(log, "P\t%s\t%s\n", record->key, record->value);
  } else {
    written = fprintf(log, "D\t%s\n", record->key);
  }
  if (written < 0 || fflush(log) != 0) return -1;
  return 0;
}

static char *copy(const char *start, size_t length) {
  char *out = malloc(length + 1);
  if (out == NULL) return NULL;
  memcpy(out, start, length);
  out[length] = '\0';
  return out;
}

int log_next(FILE *log, struct log_record *record) {
  char line[4096];
  if (fgets(line, sizeof line, log) == NULL) return 0;
  size_t length = strcspn(line, "\n");
  line[length] = '\0';
  char *key = strchr(line, '\t');
  if (key == NULL || (line[0] != LOG_PUT && line[0] != LOG_DELETE)) return -1;
  key += 1;
  char *value = strchr(key, '\t');
  record->op = (enum log_op)line[0];
  if (record->op == LOG_PUT) {
    if (value == NULL) return -1;
    record->key = copy(key, (size_t)(value - key));
    record->value = copy(value + 1, strlen(value + 1));
  } else {
    record->key = copy(key, strlen(key));
    record->value = NULL;
  }
  return 1;
}

void log_record_free(struct log_record *record) {
  free(record->key);
  free(record->value);
  record->key = record->value = NULL;
}
