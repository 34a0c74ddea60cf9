#include "store/database.h"

#include <unistd.h>

#include <cstdarg>

#include "util/bounded_copy.h"
#include "util/request_context.h"

namespace {

// Owner of one statement text made by sqlite3_vmprintf.
class StatementText {
 public:
  StatementText(const char* format, va_list args)
      : text_(sqlite3_vmprintf(format, args)) {}
  StatementText(const StatementText&) = delete;
  StatementText& operator=(const StatementText&) = delete;
  ~StatementText() { sqlite3_free(text_); }
  const char* get() const { return text_; }

 private:
  char* text_;
};

// Owner of an error message handed back by SQLite.
class ErrorText {
 public:
  ErrorText() = default;
  ErrorText(const ErrorText&) = delete;
  ErrorText& operator=(const ErrorText&) = delete;
  ~ErrorText() { sqlite3_free(text_); }
  char** out() { return &text_; }

 private:
  char* text_ = nullptr;
};

}  // namespace

sqlite3* db_open(const char* path) {
  sqlite3* db = nullptr;
  // Never create: an absent database is a broken camera, not an empty one.
  int rc = sqlite3_open_v2(path, &db, SQLITE_OPEN_READWRITE, nullptr);
  if (rc == SQLITE_OK) {
    sqlite3_busy_handler(db, db_busy_handler, nullptr);
    // sqlite3_open only reads the header lazily; a file that is not a
    // database is found out here, at start-up, rather than at the first GET.
    rc = sqlite3_exec(db, "select count(*) from sqlite_master", nullptr,
                      nullptr, nullptr);
  }
  if (rc != SQLITE_OK) {
    sqlite3_close(db);
    return nullptr;
  }
  return db;
}

int db_busy_handler(void* /*unused*/, int count) {
  if (count > 5) return 0;
  for (int i = 0; i <= count; ++i) usleep(50000);
  return 1;
}

QueryResult::QueryResult(QueryResult&& other) noexcept
    : table_(other.table_),
      rows_(other.rows_),
      columns_(other.columns_),
      ok_(other.ok_) {
  other.table_ = nullptr;
  other.ok_ = false;
}

QueryResult& QueryResult::operator=(QueryResult&& other) noexcept {
  if (this != &other) {
    sqlite3_free_table(table_);
    table_ = other.table_;
    rows_ = other.rows_;
    columns_ = other.columns_;
    ok_ = other.ok_;
    other.table_ = nullptr;
    other.ok_ = false;
  }
  return *this;
}

QueryResult::~QueryResult() { sqlite3_free_table(table_); }

const char* QueryResult::text(int row, int column) const {
  if (!ok_ || table_ == nullptr || row < 0 || row >= rows_ || column < 0 ||
      column >= columns_)
    return nullptr;
  return table_[(row + 1) * columns_ + column];
}

int QueryResult::integer(int row, int column, int fallback) const {
  const char* cell = text(row, column);
  return cell != nullptr ? parse_int(cell) : fallback;
}

QueryResult db_vquery(const char* format, va_list args) {
  QueryResult result;
  sqlite3* db = context().db;
  if (db == nullptr) return result;
  StatementText sql(format, args);
  if (sql.get() == nullptr) return result;
  ErrorText error;
  int rc = sqlite3_get_table(db, sql.get(), &result.table_, &result.rows_,
                             &result.columns_, error.out());
  result.ok_ = rc == SQLITE_OK;
  return result;
}

QueryResult db_query(const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = db_vquery(format, args);
  va_end(args);
  return result;
}

bool db_exec(const char* format, ...) {
  sqlite3* db = context().db;
  if (db == nullptr) return false;
  va_list args;
  va_start(args, format);
  StatementText sql(format, args);
  va_end(args);
  if (sql.get() == nullptr) return false;
  ErrorText error;
  return sqlite3_exec(db, sql.get(), nullptr, nullptr, error.out()) == SQLITE_OK;
}

int db_query_int(int fallback, const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = db_vquery(format, args);
  va_end(args);
  return result.integer(0, 0, fallback);
}

bool db_query_text(char* field, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = db_vquery(format, args);
  va_end(args);
  const char* cell = result.text(0, 0);
  if (cell == nullptr) return false;
  copy_bounded(field, size, cell);
  return true;
}

void db_close_main() {
  request_context& ctx = context();
  if (ctx.db != nullptr) sqlite3_close(ctx.db);
  ctx.db = nullptr;
}
