#include "store/database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "store/schema.h"
#include "util/bounded_copy.h"
#include "util/clock.h"
#include "util/log.h"
#include "util/stop.h"

namespace psia {

namespace {

// The busy handler's step: the n-th call (from 0) sleeps n + 1 of them.
constexpr int64_t kBusyStepUs = 50000;
// Its last and longest sleep, which waiting with patience repeats.
constexpr int kBusySteps = 6;

// Resets a statement however its run ends, so that no read lock or open
// transaction outlives the call: the camera's other processes see the
// database exactly as free between statements as they always have. The
// values are unbound too: they belong to the caller and end with the call.
class reset_on_exit {
 public:
  explicit reset_on_exit(sqlite3_stmt* stmt) : stmt_(stmt) {}
  reset_on_exit(const reset_on_exit&) = delete;
  reset_on_exit& operator=(const reset_on_exit&) = delete;
  ~reset_on_exit() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }

 private:
  sqlite3_stmt* stmt_;
};

// SQLite counts every allocation it makes, under a process-wide lock, for
// callers that ask how much memory it holds or set it a soft limit; nothing
// here does either. Without the count, opening the camera database (whose
// schema SQLite parses into some hundreds of allocations) and compiling the
// first statements cost a CGI request a good deal less. It takes effect only
// before SQLite initialises, hence at the first open; SQLite refuses it,
// changing nothing, when something else in the process started it first.
bool configure_sqlite() {
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  return true;
}

bool is_busy(int rc) {
  int primary = rc & 0xff;
  return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

}  // namespace

const char* query_result::text(int row, int column) const {
  if (!ok_ || row < 0 || row >= rows_ || column < 0 || column >= columns_) return nullptr;
  int32_t at = offsets_[static_cast<size_t>(row * columns_ + column)];
  return at >= 0 ? cells_.data() + at : nullptr;
}

int query_result::integer(int row, int column, int fallback) const {
  const char* cell = text(row, column);
  return cell != nullptr ? parse_int(cell) : fallback;
}

sqlite3_stmt* statement_cache::statement(sqlite3* db, const char* sql, int* rc) {
  const std::string_view key(sql);
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (std::string_view(it->first) != key) continue;
    entries_.splice(entries_.begin(), entries_, it);
    if (rc != nullptr) *rc = SQLITE_OK;
    return it->second;
  }
  sqlite3_stmt* stmt = nullptr;
  // A statement text is one statement; anything behind it is not run.
  int compiled = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
  if (rc != nullptr) *rc = compiled;
  if (compiled != SQLITE_OK || stmt == nullptr) {
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

void statement_cache::clear() {
  for (auto& entry : entries_) sqlite3_finalize(entry.second);
  entries_.clear();
}

bool config_store::open(const std::string& path, clock_source* clock) {
  close();
  clock_ = clock;
  log_ = nullptr;
  path_ = path;
  camera_tables_ = false;
  following_ = open_file(path, false) == store_open::opened;
  return following_;
}

store_open config_store::open_camera_database(const std::string& path, clock_source* clock,
                                              event_log* log, int64_t patience_us) {
  close();
  clock_ = clock;
  log_ = log;
  path_ = path;
  camera_tables_ = true;
  int64_t deadline = clock->monotonic_us() + patience_us;
  busy_deadline_us_ = deadline;
  store_open opened;
  // The busy handler waits out the patience; a lock it is not asked about
  // is waited for here, step by step.
  while ((opened = open_file(path, true)) == store_open::busy) {
    int64_t left = deadline - clock->monotonic_us();
    if (left <= 0) break;
    clock->sleep_us(std::min(left, kBusySteps * kBusyStepUs));
  }
  busy_deadline_us_ = -1;
  following_ = opened == store_open::opened;
  return opened;
}

store_open config_store::open_file(const std::string& path, bool camera_tables) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    file_.device = info.st_dev;
    file_.inode = info.st_ino;
    file_.size = info.st_size;
    file_.modified_ns = info.st_mtim.tv_sec * int64_t{1000000000} + info.st_mtim.tv_nsec;
  }
  static const bool configured = configure_sqlite();
  (void)configured;
  // Never create: an absent database is a broken camera, not an empty one.
  // A connection is only ever used by the thread that opened it: SQLite's
  // lock around each of its calls would guard nothing.
  int rc =
      sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (rc == SQLITE_OK) {
    sqlite3_busy_handler(db_, db_busy_handler, this);
    // The header is only read lazily; a file that is not a database is
    // found out here rather than at the first request.
    if (camera_tables) {
      query_result tables;
      if (run(&tables, kListTablesSql, nullptr, 0, &rc) && !holds_camera_tables(tables))
        rc = SQLITE_NOTADB;
    } else {
      rc = sqlite3_exec(db_, "select count(*) from sqlite_master", nullptr, nullptr, nullptr);
    }
  }
  if (rc == SQLITE_OK || rc == SQLITE_DONE) return store_open::opened;
  drop_connection();
  return is_busy(rc) ? store_open::busy : store_open::unusable;
}

void config_store::reopen_if_replaced() {
  struct stat info;
  if (!following_ || stat(path_.c_str(), &info) != 0) return;
  bool same_file = info.st_dev == file_.device && info.st_ino == file_.inode;
  if (same_file && refused_)
    same_file =
        info.st_size == file_.size &&
        info.st_mtim.tv_sec * int64_t{1000000000} + info.st_mtim.tv_nsec == file_.modified_ns;
  if (same_file) return;
  config_store fresh;
  fresh.clock_ = clock_;
  store_open opened = fresh.open_file(path_, camera_tables_);
  if (opened == store_open::opened) {
    drop_connection();
    std::swap(db_, fresh.db_);
    sqlite3_busy_handler(db_, db_busy_handler, this);
    file_ = fresh.file_;
    refused_ = false;
    return;
  }
  // The factory-default copy keeps the file it has.
  if (!camera_tables_) return;
  // Reading the old file, gone from the path, would show stale settings
  // and lose every change: the statements fail instead.
  drop_connection();
  // A locked file is looked at again at the next request.
  if (opened == store_open::busy) return;
  file_ = fresh.file_;
  if (log_ != nullptr)
    log_->error("PSIA: database replaced by a file without the camera's tables\n");
  refused_ = true;
}

void config_store::drop_connection() {
  statements_.clear();
  if (db_ != nullptr) sqlite3_close(db_);
  db_ = nullptr;
}

void config_store::close() {
  drop_connection();
  following_ = false;
  refused_ = false;
}

int config_store::db_busy_handler(void* store, int count) {
  config_store* self = static_cast<config_store*>(store);
  clock_source* clock = self->clock_;
  if (stop_requested()) return 0;
  if (self->busy_deadline_us_ >= 0) {
    int64_t left = self->busy_deadline_us_ - clock->monotonic_us();
    if (left <= 0) return 0;
    clock->sleep_us(std::min(left, std::min(count + 1, kBusySteps) * kBusyStepUs));
    return 1;
  }
  if (count > 5) return 0;
  // A stop gives up the wait: the statement fails as if the lock had held.
  for (int i = 0; i <= count && !stop_requested(); ++i) clock->sleep_us(kBusyStepUs);
  return stop_requested() ? 0 : 1;
}

bool config_store::run(query_result* result, const char* sql, const bound_value* values,
                       size_t count, int* rc) {
  int code = SQLITE_MISUSE;
  if (rc == nullptr) rc = &code;
  *rc = SQLITE_MISUSE;
  if (db_ == nullptr) return false;
  sqlite3_stmt* stmt = statements_.statement(db_, sql, rc);
  if (stmt == nullptr) return false;
  reset_on_exit reset(stmt);
  // A statement and its values that disagree is a fault of the code: it
  // fails rather than run with a parameter left NULL.
  *rc = SQLITE_RANGE;
  if (sqlite3_bind_parameter_count(stmt) != static_cast<int>(count)) return false;
  for (size_t i = 0; i < count; ++i) {
    int at = static_cast<int>(i) + 1;
    *rc = values[i].text != nullptr ? sqlite3_bind_text(stmt, at, values[i].text, -1, SQLITE_STATIC)
                                    : sqlite3_bind_int64(stmt, at, values[i].integer);
    if (*rc != SQLITE_OK) return false;
  }
  int columns = sqlite3_column_count(stmt);
  while ((*rc = sqlite3_step(stmt)) == SQLITE_ROW) {
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
  if (*rc != SQLITE_DONE) return false;
  if (result != nullptr) {
    result->columns_ = columns;
    result->ok_ = true;
  }
  return true;
}

bool config_store::copy_cell(const query_result& result, char* field, size_t size) {
  const char* cell = result.text(0, 0);
  if (cell == nullptr) return false;
  copy_bounded(field, size, cell);
  return true;
}

}  // namespace psia
