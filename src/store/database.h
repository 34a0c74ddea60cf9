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
//
// Compiling a statement costs more than running it, so the store keeps the
// statements it compiled, keyed by their exact text (see StatementCache).
#ifndef PSIA_STORE_DATABASE_H
#define PSIA_STORE_DATABASE_H

#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace psia {

class Clock;

// The rows of one query as text cells, as the camera's firmware reads them.
class QueryResult {
 public:
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
  std::string cells_;             // every cell's text and its NUL
  std::vector<int32_t> offsets_;  // row-major; -1 for NULL
  int rows_ = 0;
  int columns_ = 0;
  bool ok_ = false;
};

// The statements a connection compiled, most recently used first. A request
// text (a user name, a preset name) makes a statement of its own, so the
// cache is bounded: the least recently used one is finalized to make room.
class StatementCache {
 public:
  static constexpr size_t kCapacity = 48;
  // The compiled statement of `sql`, or null when it does not compile.
  sqlite3_stmt* statement(sqlite3* db, const char* sql);
  // Finalizes every statement (before the connection is closed).
  void clear();

 private:
  std::list<std::pair<std::string, sqlite3_stmt*>> entries_;
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
  // Finalizes the kept statements and closes the connection; every later
  // statement fails cleanly.
  void close();
  bool is_open() const { return db_ != nullptr; }
  // Opens the database again when another file has taken its path since it
  // was opened (the camera's other processes replace it whole, by a
  // rename); a connection would otherwise keep reading the old file for
  // good. Kept as it is when the new file cannot be opened.
  void reopen_if_replaced();

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
  // Runs a statement built from `format`; fills `result` when given.
  bool run(QueryResult* result, const char* format, va_list args);

  sqlite3* db_ = nullptr;
  Clock* clock_ = nullptr;
  std::string path_;
  dev_t device_ = 0;  // the file opened, to notice its replacement
  ino_t inode_ = 0;
  StatementCache statements_;
};

}  // namespace psia

#endif  // PSIA_STORE_DATABASE_H
