// The configuration store: the camera's SQLite database, shared with its
// other processes, reached through the one connection opened at start-up.
//
// Statement texts are built with SQLite's own formatter: numbers with %d,
// and request texts with '%q', which doubles any quote inside them, so no
// text from a request can change a statement.
//   QueryResult row = db_query("select uuid from System");
//   if (row.has_rows()) use(row.text(0, 0));
//   db_exec("update Network set DDNSHostname='%q'", name);
#ifndef PSIA_STORE_DATABASE_H
#define PSIA_STORE_DATABASE_H

#include <sqlite3.h>

#include <cstdarg>
#include <cstddef>

// Opens the database at `path` (which must exist: the schema belongs to the
// camera's firmware) and installs the busy handler. Null on failure.
sqlite3* db_open(const char* path);

// Back-off on a locked database: after the n-th busy call (n from 0) it
// sleeps (n + 1) x 50 ms; after the sixth it gives up (about 1.05 s in all).
int db_busy_handler(void* unused, int count);

// The result table of one query: text cells, row-major, header row first.
class QueryResult {
 public:
  QueryResult() = default;
  QueryResult(QueryResult&& other) noexcept;
  QueryResult& operator=(QueryResult&& other) noexcept;
  QueryResult(const QueryResult&) = delete;
  QueryResult& operator=(const QueryResult&) = delete;
  ~QueryResult();

  // True when the query ran (it may still have returned no row).
  bool ok() const { return ok_; }
  // True when the query ran and returned at least one row: what every
  // handler counts as success.
  bool has_rows() const { return ok_ && rows_ > 0; }
  int rows() const { return ok_ ? rows_ : 0; }
  int columns() const { return ok_ ? columns_ : 0; }
  // The cell of data row `row`, column `column` (both from 0); null when it
  // does not exist or holds NULL.
  const char* text(int row, int column) const;
  // The cell as a base-10 integer, or `fallback` when the cell does not
  // exist or holds NULL.
  int integer(int row, int column, int fallback) const;

 private:
  friend QueryResult db_vquery(const char* format, va_list args);
  char** table_ = nullptr;
  int rows_ = 0;
  int columns_ = 0;
  bool ok_ = false;
};

// Runs a query built from `format`. A closed or missing connection, or a
// statement that fails, gives a result that is not ok().
QueryResult db_query(const char* format, ...);
QueryResult db_vquery(const char* format, va_list args);
// Runs a change (update, insert, delete); true when it succeeded.
bool db_exec(const char* format, ...);

// The first cell of a one-value query as an integer, or `fallback` when the
// query fails or returns no row.
int db_query_int(int fallback, const char* format, ...);

// Copies the first cell of a one-value query into a fixed field (cut to
// size - 1 characters). False, leaving the field untouched, when the query
// fails, returns no row, or the cell is NULL.
bool db_query_text(char* field, size_t size, const char* format, ...);

// Closes the main connection. Every later statement of the process fails
// cleanly.
void db_close_main();

#endif  // PSIA_STORE_DATABASE_H
