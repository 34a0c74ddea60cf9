#include "store/database.h"

#include <sqlite3.h>

#include "util/bounded_copy.h"
#include "util/clock.h"

namespace psia {

namespace {

// Owner of a text SQLite allocated (a statement text, an error message).
class SqliteText {
 public:
  SqliteText() = default;
  explicit SqliteText(char* text) : text_(text) {}
  SqliteText(const SqliteText&) = delete;
  SqliteText& operator=(const SqliteText&) = delete;
  ~SqliteText() { sqlite3_free(text_); }
  const char* get() const { return text_; }
  char** out() { return &text_; }

 private:
  char* text_ = nullptr;
};

}  // namespace

QueryResult::QueryResult(QueryResult&& other) noexcept
    : table_(other.table_), rows_(other.rows_), columns_(other.columns_), ok_(other.ok_) {
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
  if (!ok_ || table_ == nullptr || row < 0 || row >= rows_ || column < 0 || column >= columns_)
    return nullptr;
  return table_[(row + 1) * columns_ + column];
}

int QueryResult::integer(int row, int column, int fallback) const {
  const char* cell = text(row, column);
  return cell != nullptr ? parse_int(cell) : fallback;
}

bool Store::open(const std::string& path, Clock* clock) {
  close();
  clock_ = clock;
  // Never create: an absent database is a broken camera, not an empty one.
  int rc = sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr);
  if (rc == SQLITE_OK) {
    sqlite3_busy_handler(db_, db_busy_handler, this);
    // The header is only read lazily; a file that is not a database is
    // found out here, at start-up, rather than at the first GET.
    rc = sqlite3_exec(db_, "select count(*) from sqlite_master", nullptr, nullptr, nullptr);
  }
  if (rc != SQLITE_OK) close();
  return rc == SQLITE_OK;
}

void Store::close() {
  if (db_ != nullptr) sqlite3_close(db_);
  db_ = nullptr;
}

int Store::db_busy_handler(void* store, int count) {
  if (count > 5) return 0;
  Clock* clock = static_cast<Store*>(store)->clock_;
  for (int i = 0; i <= count; ++i) clock->sleep_us(50000);
  return 1;
}

QueryResult Store::vquery(const char* format, va_list args) {
  QueryResult result;
  if (db_ == nullptr) return result;
  SqliteText sql(sqlite3_vmprintf(format, args));
  if (sql.get() == nullptr) return result;
  SqliteText error;
  int rc = sqlite3_get_table(db_, sql.get(), &result.table_, &result.rows_, &result.columns_,
                             error.out());
  result.ok_ = rc == SQLITE_OK;
  return result;
}

QueryResult Store::query(const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = vquery(format, args);
  va_end(args);
  return result;
}

bool Store::exec(const char* format, ...) {
  if (db_ == nullptr) return false;
  va_list args;
  va_start(args, format);
  SqliteText sql(sqlite3_vmprintf(format, args));
  va_end(args);
  if (sql.get() == nullptr) return false;
  SqliteText error;
  return sqlite3_exec(db_, sql.get(), nullptr, nullptr, error.out()) == SQLITE_OK;
}

int Store::query_int(int fallback, const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = vquery(format, args);
  va_end(args);
  return result.integer(0, 0, fallback);
}

bool Store::query_text(char* field, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  QueryResult result = vquery(format, args);
  va_end(args);
  const char* cell = result.text(0, 0);
  if (cell == nullptr) return false;
  copy_bounded(field, size, cell);
  return true;
}

}  // namespace psia
