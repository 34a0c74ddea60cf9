// The configuration store: the camera's SQLite database, shared with its
// other processes, reached through one connection kept for the life of the
// process.
//
// A statement is a constant text with a `?` for each value; the values are
// bound to it, never formatted into it, so no text from a request or from
// the database can change what a statement does. A value is a text (a C
// string, a char field or a std::string) or an integer (int or int64_t);
// any other type does not compile:
//   query_result row = store.query("select uuid from System");
//   if (row.has_rows()) use(row.text(0, 0));
//   store.exec("update Network set DDNSHostname=?", name);
// A bound value means what the same value written into the text as a
// literal meant: texts compare and are stored as texts, integers as
// integers, under the columns' own affinities.
//
// Compiling a statement costs more than running it, so the store keeps each
// statement text it compiled, whatever values it is run with (see
// statement_cache). The tables and the cells read by position are named in
// store/schema.h.
#ifndef PSIA_STORE_DATABASE_H
#define PSIA_STORE_DATABASE_H

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace psia {

class clock_source;
class event_log;

// The rows of one query as text cells, as the camera's firmware reads them.
class query_result {
 public:
  // True when the query ran (it may still have returned no row); false when
  // it failed: a database locked past the busy handler's back-off, a closed
  // or refused database, a missing table.
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
  friend class config_store;
  std::string cells_;             // every cell's text and its NUL
  std::vector<int32_t> offsets_;  // row-major; -1 for NULL
  int rows_ = 0;
  int columns_ = 0;
  bool ok_ = false;
};

// The statements a connection compiled, most recently used first, keyed by
// their text. Statement texts are constants of the code, so the cache holds
// a small fixed set; the capacity only bounds it should that ever change
// (the least recently used statement is then finalized to make room).
class statement_cache {
 public:
  static constexpr size_t kCapacity = 128;
  // The compiled statement of `sql`, or null when it does not compile.
  // `*rc` (when given) receives SQLite's result of the compilation.
  sqlite3_stmt* statement(sqlite3* db, const char* sql, int* rc = nullptr);
  size_t size() const { return entries_.size(); }
  // Finalizes every statement (before the connection is closed).
  void clear();

 private:
  std::list<std::pair<std::string, sqlite3_stmt*>> entries_;
};

// A value bound to a statement's parameter: a text, or an integer when
// `text` is null.
struct bound_value {
  const char* text;
  int64_t integer;
};

// The types a statement's values may have: texts and integers, nothing else
// (a double, a char, a bool or an unsigned number is refused at compile
// time rather than converted).
template <typename T>
constexpr bool kBindable =
    std::is_same_v<std::decay_t<T>, int> || std::is_same_v<std::decay_t<T>, int64_t> ||
    std::is_same_v<std::decay_t<T>, const char*> || std::is_same_v<std::decay_t<T>, char*> ||
    std::is_same_v<std::decay_t<T>, std::string>;

inline bound_value to_bound_value(int value) { return {nullptr, value}; }
inline bound_value to_bound_value(int64_t value) { return {nullptr, value}; }
// A null text is bound as the text a formatted statement showed for it.
inline bound_value to_bound_value(const char* value) {
  return {value != nullptr ? value : "(NULL)", 0};
}
inline bound_value to_bound_value(const std::string& value) { return {value.c_str(), 0}; }

// How opening the camera's database ended.
enum class store_open {
  opened,
  busy,      // another process held it locked for as long as was waited
  unusable,  // missing, not a database, or without the camera's tables
};

class config_store {
 public:
  config_store() = default;
  ~config_store() { close(); }
  config_store(const config_store&) = delete;
  config_store& operator=(const config_store&) = delete;

  // Opens the database at `path`, which must exist: the schema belongs to
  // the camera's firmware. Installs the busy handler, whose back-off sleeps
  // on `clock`. False (and closed) when the file is not a usable database.
  bool open(const std::string& path, clock_source* clock);
  // Opens the camera's configuration database, which must also hold every
  // table of store/schema.h. While another process holds it locked, tries
  // for up to `patience_us` on `clock`. A replacement of the file is then
  // checked the same way before it is used (see reopen_if_replaced), and
  // refused with a line on `log`.
  store_open open_camera_database(const std::string& path, clock_source* clock, event_log* log,
                                  int64_t patience_us);
  // Finalizes the kept statements and closes the connection for good; every
  // later statement fails cleanly.
  void close();
  bool is_open() const { return db_ != nullptr; }
  // Opens the database again when another file has taken its path since it
  // was opened (the camera's other processes replace it whole, by a
  // rename); a connection would otherwise keep reading the old file for
  // good. A camera database without the camera's tables is not adopted:
  // every statement fails (the requests get their database-failure
  // answers) until a good file takes the path again; one locked past the
  // back-off is tried again at the next request. The factory-default copy
  // is kept as it is when the new file cannot be opened.
  void reopen_if_replaced();

  // A query; a closed store or a failing statement gives a result that is
  // not ok().
  template <size_t N, typename... Values>
  query_result query(const char (&sql)[N], const Values&... values) {
    const auto bound = bound_values(values...);
    query_result result;
    if (!run(&result, sql, bound.data(), bound.size())) result = query_result();
    return result;
  }
  // A change (update, insert, delete); true when it succeeded.
  template <size_t N, typename... Values>
  bool exec(const char (&sql)[N], const Values&... values) {
    const auto bound = bound_values(values...);
    return run(nullptr, sql, bound.data(), bound.size());
  }
  // The first cell of a one-value query as an integer, or `fallback` when
  // the query fails or returns no row.
  template <size_t N, typename... Values>
  int query_int(int fallback, const char (&sql)[N], const Values&... values) {
    const auto bound = bound_values(values...);
    query_result result;
    return run(&result, sql, bound.data(), bound.size()) ? result.integer(0, 0, fallback)
                                                         : fallback;
  }
  // Copies the first cell of a one-value query into a fixed field (cut to
  // size - 1 characters). False, leaving the field untouched, when the
  // query fails, returns no row, or the cell is NULL.
  template <size_t N, typename... Values>
  bool query_text(char* field, size_t size, const char (&sql)[N], const Values&... values) {
    const auto bound = bound_values(values...);
    query_result result;
    return run(&result, sql, bound.data(), bound.size()) && copy_cell(result, field, size);
  }

  // The statements compiled and kept.
  size_t cached_statements() const { return statements_.size(); }

  // Back-off on a locked database: after the n-th busy call (n from 0) it
  // sleeps (n + 1) x 50 ms; after the sixth it gives up (about 1.05 s in
  // all). While the database is opened with patience, it goes on sleeping
  // the sixth step until the patience is spent.
  static int db_busy_handler(void* store, int count);

 private:
  template <typename... Args>
  static std::array<bound_value, sizeof...(Args)> bound_values(const Args&... args) {
    static_assert((kBindable<Args> && ...),
                  "a statement's values are texts (const char*, std::string) or integers "
                  "(int, int64_t)");
    return {to_bound_value(args)...};
  }

  // Runs `sql` with `values` bound to its parameters, in order; fills
  // `result` when given. True when the statement ran to its end; `*rc`
  // (when given) receives SQLite's result code.
  bool run(query_result* result, const char* sql, const bound_value* values, size_t count,
           int* rc = nullptr);
  static bool copy_cell(const query_result& result, char* field, size_t size);
  // Opens `path` into this closed store; with `camera_tables`, the camera's
  // tables must be there too.
  store_open open_file(const std::string& path, bool camera_tables);
  // Closes the connection, keeping what reopen_if_replaced needs.
  void drop_connection();

  // The file at path_ when it was last opened or refused. A refused file
  // is also looked at again when it is written in place.
  struct file_state {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    int64_t modified_ns = 0;
  };

  sqlite3* db_ = nullptr;
  clock_source* clock_ = nullptr;
  event_log* log_ = nullptr;
  std::string path_;
  file_state file_;
  bool following_ = false;         // reopen_if_replaced watches path_
  bool camera_tables_ = false;     // the file must hold the camera's tables
  bool refused_ = false;           // the file at path_ did not hold them
  int64_t busy_deadline_us_ = -1;  // while opening with patience
  statement_cache statements_;
};

}  // namespace psia

#endif  // PSIA_STORE_DATABASE_H
