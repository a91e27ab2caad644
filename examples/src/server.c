/* cellar-server: serves one store over a line protocol on standard input and output.
 *
 *   GET key          -> "OK value" or "MISSING"
 *   PUT key value    -> "OK"
 *   DEL key          -> "OK"
 *   COUNT            -> "OK n"
 *
 * Any other line answers "ERR reason"; a failed write answers "ERR". */
#include <stdio.h>
#include <string.h>

#include "cellar.h"

static void answer(const char *status, const char *detail) {
  if (detail != NULL) {
    printf("%s %s\n", status, detail);
  } else {
    printf("%s\n", status);
  }
  fflush(stdout);
}

static void serve(cellar *db, char *line) {
  char *command = strtok(line, " \n");
  char *key = strtok(NULL, " \n");
  char *value = strtok(NULL, "\n");
  if (command == NULL) {
    answer("ERR", "empty line");
  } else if (strcmp(command, "GET") == 0 && key != NULL) {
    const char *found = cellar_get(db, key);
    answer(found ? "OK" : "MISSING", found);
  } else if (strcmp(command, "PUT") == 0 && key != NULL && value != NULL) {
    answer(cellar_put(db, key, value) == 0 ? "OK" : "ERR", NULL);
  } else if (strcmp(command, "DEL") == 0 && key != NULL) {
    answer(cellar_delete(db, key) == 0 ? "OK" : "ERR", NULL);
  } else if (strcmp(command, "COUNT") == 0) {
    char count[32];
    snprintf(count, sizeof count, "%zu", cellar_count(db));
    answer("OK", count);
  } else {
    answer("ERR", "unknown command");
  }
}

int main(int argc, char **argv) {
  cellar *db = cellar_open(argc > 1 ? argv[1] : "cellar.log");
  if (db == NULL) {
    perror("cellar-server");
    return 1;
  }
  char line[8192];
  while (fgets(line, sizeof line, stdin) != NULL) serve(db, line);
  cellar_close(db);
  return 0;
}
