#include "store/database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <utility>

#include "util/bounded_copy.h"
#include "util/clock.h"
#include "util/stop.h"

namespace psia {

namespace {

// Owner of a statement text SQLite formatted.
class SqliteText {
 public:
  explicit SqliteText(char* text) : text_(text) {}
  SqliteText(const SqliteText&) = delete;
  SqliteText& operator=(const SqliteText&) = delete;
  ~SqliteText() { sqlite3_free(text_); }
  const char* get() const { return text_; }

 private:
  char* text_;
};

// Resets a statement however its run ends, so that no read lock or open
// transaction outlives the call: the camera's other processes see the
// database exactly as free between statements as they always have.
class ResetOnExit {
 public:
  explicit ResetOnExit(sqlite3_stmt* stmt) : stmt_(stmt) {}
  ResetOnExit(const ResetOnExit&) = delete;
  ResetOnExit& operator=(const ResetOnExit&) = delete;
  ~ResetOnExit() { sqlite3_reset(stmt_); }

 private:
  sqlite3_stmt* stmt_;
};

}  // namespace

const char* QueryResult::text(int row, int column) const {
  if (!ok_ || row < 0 || row >= rows_ || column < 0 || column >= columns_) return nullptr;
  int32_t at = offsets_[static_cast<size_t>(row * columns_ + column)];
  return at >= 0 ? cells_.data() + at : nullptr;
}

int QueryResult::integer(int row, int column, int fallback) const {
  const char* cell = text(row, column);
  return cell != nullptr ? parse_int(cell) : fallback;
}

sqlite3_stmt* StatementCache::statement(sqlite3* db, const char* sql) {
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (it->first != sql) continue;
    entries_.splice(entries_.begin(), entries_, it);
    return it->second;
  }
  sqlite3_stmt* stmt = nullptr;
  // A statement text is one statement; anything behind it is not run.
  if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) != SQLITE_OK || stmt == nullptr) {
    sqlite3_finalize(stmt);
    return nullptr;
  }
  if (entries_.size() >= kCapacity) {
    sqlite3_finalize(entries_.back().second);
    entries_.pop_back();
  }
  entries_.emplace_front(sql, stmt);
  return stmt;
}

void StatementCache::clear() {
  for (auto& entry : entries_) sqlite3_finalize(entry.second);
  entries_.clear();
}

bool Store::open(const std::string& path, Clock* clock) {
  close();
  clock_ = clock;
  path_ = path;
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    device_ = info.st_dev;
    inode_ = info.st_ino;
  }
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

void Store::reopen_if_replaced() {
  struct stat info;
  if (db_ == nullptr || stat(path_.c_str(), &info) != 0 ||
      (info.st_dev == device_ && info.st_ino == inode_))
    return;
  Store fresh;
  if (!fresh.open(path_, clock_)) return;
  close();
  std::swap(db_, fresh.db_);
  sqlite3_busy_handler(db_, db_busy_handler, this);
  device_ = fresh.device_;
  inode_ = fresh.inode_;
}

void Store::close() {
  statements_.clear();
  if (db_ != nullptr) sqlite3_close(db_);
  db_ = nullptr;
}

int Store::db_busy_handler(void* store, int count) {
  if (count > 5) return 0;
  Clock* clock = static_cast<Store*>(store)->clock_;
  // A stop gives up the wait: the statement fails as if the lock had held.
  for (int i = 0; i <= count && !stop_requested(); ++i) clock->sleep_us(50000);
  return stop_requested() ? 0 : 1;
}

bool Store::run(QueryResult* result, const char* format, va_list args) {
  if (db_ == nullptr) return false;
  SqliteText sql(sqlite3_vmprintf(format, args));
  sqlite3_stmt* stmt = sql.get() != nullptr ? statements_.statement(db_, sql.get()) : nullptr;
  if (stmt == nullptr) return false;
  ResetOnExit reset(stmt);
  int columns = sqlite3_column_count(stmt);
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    if (result == nullptr) continue;
    for (int c = 0; c < columns; ++c) {
      const unsigned char* cell = sqlite3_column_text(stmt, c);
      if (cell == nullptr) {
        result->offsets_.push_back(-1);
        continue;
      }
      result->offsets_.push_back(static_cast<int32_t>(result->cells_.size()));
      result->cells_.append(reinterpret_cast<const char*>(cell),
                            static_cast<size_t>(sqlite3_column_bytes(stmt, c)));
      result->cells_.push_back('\0');
    }
    ++result->rows_;
  }
  if (rc != SQLITE_DONE) return false;
  if (result != nullptr) {
    result->columns_ = columns;
    result->ok_ = true;
  }
  return true;
}

QueryResult Store::query(const char* format, ...) {
  QueryResult result;
  va_list args;
  va_start(args, format);
  if (!run(&result, format, args)) result = QueryResult();
  va_end(args);
  return result;
}

bool Store::exec(const char* format, ...) {
  va_list args;
  va_start(args, format);
  bool done = run(nullptr, format, args);
  va_end(args);
  return done;
}

int Store::query_int(int fallback, const char* format, ...) {
  QueryResult result;
  va_list args;
  va_start(args, format);
  bool ran = run(&result, format, args);
  va_end(args);
  return ran ? result.integer(0, 0, fallback) : fallback;
}

bool Store::query_text(char* field, size_t size, const char* format, ...) {
  QueryResult result;
  va_list args;
  va_start(args, format);
  bool ran = run(&result, format, args);
  va_end(args);
  const char* cell = ran ? result.text(0, 0) : nullptr;
  if (cell == nullptr) return false;
  copy_bounded(field, size, cell);
  return true;
}

}  // namespace psia
