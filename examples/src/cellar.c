#include "cellar.h"

#include <stdlib.h>
#include <string.h>

#include "log.h"

#define BUCKETS 256

struct entry {
  char *key;
  char *value;
  struct entry *next;
};

struct cellar {
  FILE *log;
  struct entry *buckets[BUCKETS];
  size_t count;
};

static unsigned hash(const char *key) {
  unsigned h = 2166136261u;
  for (; *key; ++key) h = (h ^ (unsigned char)*key) * 16777619u;
  return h % BUCKETS;
}

static struct entry **find(const cellar *db, const char *key) {
  struct entry **at = (struct entry **)&db->buckets[hash(key)];
  while (*at != NULL && strcmp((*at)->key, key) != 0) at = &(*at)->next;
  return at;
}

static void set(cellar *db, char *key, char *value) {
  struct entry **at = find(db, key);
  if (*at != NULL) {
    free((*at)->value);
    (*at)->value = value;
    free(key);
    return;
  }
  struct entry *e = malloc(sizeof *e);
  e->key = key;
  e->value = value;
  e->next = NULL;
  *at = e;
  db->count++;
}

static void unset(cellar *db, const char *key) {
  struct entry **at = find(db, key);
  if (*at == NULL) return;
  struct entry *gone = *at;
  *at = gone->next;
  free(gone->key);
  free(gone->value);
  free(gone);
  db->count--;
}

cellar *cellar_open(const char *path) {
  cellar *db = calloc(1, sizeof *db);
  if (db == NULL) return NULL;
  db->log = fopen(path, "a+");
  if (db->log == NULL) {
    free(db);
    return NULL;
  }
  rewind(db->log);
  struct log_record record;
  int status;
  while ((status = log_next(db->log, &record)) != 0) {
    if (status < 0) continue;
    if (record.op == LOG_PUT) {
      set(db, record.key, record.value);
    } else {
      unset(db, record.key);
      log_record_free(&record);
    }
  }
  return db;
}

const char *cellar_get(const cellar *db, const char *key) {
  struct entry *const *at = find(db, key);
  return *at == NULL ? NULL : (*at)->value;
}

int cellar_put(cellar *db, const char *key, const char *value) {
  struct log_record record = {LOG_PUT, (char *)key, (char *)value};
  if (log_append(db->log, &record) != 0) return -1;
  set(db, strdup(key), strdup(value));
  return 0;
}

int cellar_delete(cellar *db, const char *key) {
  struct log_record record = {LOG_DELETE, (char *)key, NULL};
  if (log_append(db->log, &record) != 0) return -1;
  unset(db, key);
  return 0;
}

size_t cellar_count(const cellar *db) { return db->count; }

void cellar_close(cellar *db) {
  for (int b = 0; b < BUCKETS; ++b) {
    struct entry *e = db->buckets[b];
    while (e != NULL) {
      struct entry *next = e->next;
      free(e->key);
      free(e->value);
      free(e);
      e = next;
    }
  }
  fclose(db->log);
  free(db);
}
