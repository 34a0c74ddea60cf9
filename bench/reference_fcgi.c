/* The benchmarks' floor: a trivial libfcgi responder that does what
 * authentication alone costs the real one, one SQLite query per request
 * (the account's row), and answers a fixed document of the index's size.
 *
 *   reference_fcgi DATABASE          prepares the statement per request
 *   reference_fcgi DATABASE --once   prepares it once, at start-up
 */
#include <fcgi_stdio.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <string.h>

static const char kQuery[] = "select * from UserAccount where UserID='admin'";

static int run_query(sqlite3* db, sqlite3_stmt* prepared) {
  sqlite3_stmt* stmt = prepared;
  int found = 0;
  if (stmt == NULL && sqlite3_prepare_v2(db, kQuery, -1, &stmt, NULL) != SQLITE_OK) return 0;
  if (sqlite3_step(stmt) == SQLITE_ROW) found = sqlite3_column_int(stmt, 2) == 0;
  if (prepared == NULL)
    sqlite3_finalize(stmt);
  else
    sqlite3_reset(stmt);
  return found;
}

int main(int argc, char** argv) {
  sqlite3* db = NULL;
  sqlite3_stmt* prepared = NULL;
  static char body[845];
  if (argc < 2 || sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE, NULL) != SQLITE_OK) return 1;
  if (argc > 2 && strcmp(argv[2], "--once") == 0 &&
      sqlite3_prepare_v2(db, kQuery, -1, &prepared, NULL) != SQLITE_OK)
    return 1;
  memset(body, 'x', sizeof body);
  while (FCGI_Accept() >= 0) {
    int found = run_query(db, prepared);
    printf("Content-Length: %d\r\nContent-Type: application/xml\r\n\r\n", (int)sizeof body);
    if (!found) body[0] = '!';
    fwrite(body, 1, sizeof body, stdout);
  }
  sqlite3_finalize(prepared);
  sqlite3_close(db);
  return 0;
}
