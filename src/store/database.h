// The configuration store: the camera's SQLite database, shared with its
// other processes, reached through one connection kept for the life of the
// process.
//
// Statement texts are built with SQLite's own formatter: numbers with %d,
// and request texts with '%q', which doubles any quote inside them, so no
// text from a request can change a statement.
//   QueryResult row = store.query("select uuid from System");
//   if (row.has_rows()) use(row.text(0, 0));
//   store.exec("update Network set DDNSHostname='%q'", name);
#ifndef PSIA_STORE_DATABASE_H
#define PSIA_STORE_DATABASE_H

#include <cstdarg>
#include <cstddef>
#include <string>

struct sqlite3;

namespace psia {

class Clock;

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
  // The cell of data row `row`, column `column` (both from 0); null when it
  // does not exist or holds NULL.
  const char* text(int row, int column) const;
  // The cell as a base-10 integer, or `fallback` when the cell does not
  // exist or holds NULL.
  int integer(int row, int column, int fallback) const;

 private:
  friend class Store;
  char** table_ = nullptr;
  int rows_ = 0;
  int columns_ = 0;
  bool ok_ = false;
};

class Store {
 public:
  Store() = default;
  ~Store() { close(); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Opens the database at `path`, which must exist: the schema belongs to
  // the camera's firmware. Installs the busy handler, whose back-off sleeps
  // on `clock`. False (and closed) when the file is not a usable database.
  bool open(const std::string& path, Clock* clock);
  // Every later statement fails cleanly.
  void close();
  bool is_open() const { return db_ != nullptr; }

  // A query; a closed store or a failing statement gives a result that is
  // not ok().
  QueryResult query(const char* format, ...);
  // A change (update, insert, delete); true when it succeeded.
  bool exec(const char* format, ...);
  // The first cell of a one-value query as an integer, or `fallback` when
  // the query fails or returns no row.
  int query_int(int fallback, const char* format, ...);
  // Copies the first cell of a one-value query into a fixed field (cut to
  // size - 1 characters). False, leaving the field untouched, when the
  // query fails, returns no row, or the cell is NULL.
  bool query_text(char* field, size_t size, const char* format, ...);

  // Back-off on a locked database: after the n-th busy call (n from 0) it
  // sleeps (n + 1) x 50 ms; after the sixth it gives up (about 1.05 s in
  // all).
  static int db_busy_handler(void* store, int count);

 private:
  QueryResult vquery(const char* format, va_list args);

  sqlite3* db_ = nullptr;
  Clock* clock_ = nullptr;
};

}  // namespace psia

#endif  // PSIA_STORE_DATABASE_H
