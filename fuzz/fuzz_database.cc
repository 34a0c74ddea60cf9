// The database's contents chosen by the fuzzer: cells of any table and
// column of the camera's database filled with fuzzed text, integers or
// NULL, rows added and removed; then every resource is read with GET (and
// the interface document with its crossed PUT). Start-up's own reads are
// made again, so PTZ support and the model follow the cells too.
//
// The input is a list of changes, each:
//   byte 0  what: 0 text, 1 integer, 2 NULL, 3 a new row, 4 a row removed,
//           5 the database stays locked by another process for the GETs
//   byte 1  the cell: table and column, in the database's own order
//   byte 2  the row: below 128 the n-th row (n % 8), else every row
//   then, for text, a 16-bit little-endian length and that many bytes; for
//   an integer, 8 bytes little-endian
// Values are bound as parameters; the database is put back for the next
// input.
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_driver.h"

namespace {

const char* const kGetPaths[] = {
    "/PSIA/index",
    "/PSIA/indexr",
    "/PSIA/description",
    "/PSIA/System/index",
    "/PSIA/System/description",
    "/PSIA/System/configurationData",
    "/PSIA/System/deviceInfo",
    "/PSIA/System/status",
    "/PSIA/System/time",
    "/PSIA/System/time/localTime",
    "/PSIA/System/time/timeZone",
    "/PSIA/System/time/ntpServers",
    "/PSIA/System/time/ntpServers/1",
    "/PSIA/System/Network/index",
    "/PSIA/System/Network/description",
    "/PSIA/System/Network/interfaces",
    "/PSIA/System/Network/interfaces/eth0/ipAddress",
    "/PSIA/System/Network/interfaces/eth0/discovery",
    "/PSIA/System/Audio/index",
    "/PSIA/System/Audio/description",
    "/PSIA/System/Audio/channels",
    "/PSIA/System/Audio/channels/1",
    "/PSIA/System/Video/index",
    "/PSIA/System/Video/description",
    "/PSIA/System/Video/inputs",
    "/PSIA/System/Video/inputs/channels",
    "/PSIA/System/Video/inputs/channels/1",
    "/PSIA/Security/index",
    "/PSIA/Security/description",
    "/PSIA/Security/AAA/index",
    "/PSIA/Security/AAA/description",
    "/PSIA/Security/AAA/users",
    "/PSIA/Security/AAA/users/operator",
    "/PSIA/Streaming/index",
    "/PSIA/Streaming/description",
    "/PSIA/Streaming/status",
    "/PSIA/Streaming/channels",
    "/PSIA/Streaming/channels/1",
    "/PSIA/Streaming/channels/2",
    "/PSIA/Streaming/channels/1/status",
    "/PSIA/Streaming/channels/2/status",
    "/PSIA/Streaming/channels/1/capabilities",
    "/PSIA/Streaming/channels/2/capabilities",
    "/PSIA/Custom/index",
    "/PSIA/Custom/description",
    "/PSIA/Custom/Event",
    "/PSIA/Custom/Event/index",
    "/PSIA/Custom/Event/description",
    "/PSIA/Custom/Event/triggers",
    "/PSIA/Custom/Event/triggers/Sensor-0",
    "/PSIA/Custom/Event/triggers/Sensor-0/notifications",
    "/PSIA/Custom/Event/triggers/Sensor-0/notifications/Relay-0",
    "/PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-archive",
    "/PSIA/Custom/Event/triggers/Sensor-0/notifications/mail-security",
    "/PSIA/Custom/Event/schedule",
    "/PSIA/Custom/Event/notification",
    "/PSIA/Custom/Event/notification/mailing",
    "/PSIA/Custom/Event/notification/mailing/mail-security",
    "/PSIA/Custom/Event/notification/ftp",
    "/PSIA/Custom/Event/notification/ftp/ftp-archive",
    "/PSIA/PTZ/index",
    "/PSIA/PTZ/description",
    "/PSIA/PTZ/channels",
    "/PSIA/PTZ/channels/description",
    "/PSIA/PTZ/channels/0",
    "/PSIA/PTZ/channels/0/status",
    "/PSIA/PTZ/channels/0/presets",
    "/PSIA/PTZ/channels/0/presets/1",
};

struct db_cell {
  std::string table, column;
};

// Every column of every table, as the database has them.
const std::vector<db_cell>& cells() {
  static const std::vector<db_cell> all = [] {
    std::vector<db_cell> found;
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(fuzz_database(),
                       "select m.name, p.name from sqlite_master m, pragma_table_info(m.name) p "
                       "where m.type = 'table' order by m.name, p.cid",
                       -1, &stmt, nullptr);
    while (sqlite3_step(stmt) == SQLITE_ROW)
      found.push_back({reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)),
                       reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1))});
    sqlite3_finalize(stmt);
    if (found.empty()) abort();
    return found;
  }();
  return all;
}

// Runs `sql` with ?1 bound by `bind` and the row's limit and offset as ?2
// and ?3.
template <typename Bind>
void run(sqlite3* db, const std::string& sql, uint8_t row, Bind bind) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) abort();
  bind(stmt);
  bool every_row = row >= 128;
  sqlite3_bind_int(stmt, 2, every_row ? -1 : 1);
  sqlite3_bind_int(stmt, 3, every_row ? 0 : row % 8);
  sqlite3_step(stmt);
  sqlite3_finalize(stmt);
}

// Applies the changes; true when the database is to stay locked.
bool apply_changes(sqlite3* db, const uint8_t* data, size_t size) {
  bool locked = false;
  const std::vector<db_cell>& all = cells();
  for (size_t at = 0; at + 3 <= size;) {
    uint8_t what = data[at] % 6, row = data[at + 2];
    const db_cell& cell = all[data[at + 1] % all.size()];
    at += 3;
    const std::string table = "\"" + cell.table + "\"";
    const std::string rows =
        " where rowid in (select rowid from " + table + " order by rowid limit ?2 offset ?3)";
    const std::string set = "update " + table + " set \"" + cell.column + "\" = ?1" + rows;
    if (what == 0) {
      size_t n = at + 2 <= size ? static_cast<size_t>(data[at] | data[at + 1] << 8) : 0;
      at = std::min(at + 2, size);
      n = std::min(n, size - at);
      run(db, set, row, [&](sqlite3_stmt* s) {
        sqlite3_bind_text(s, 1, reinterpret_cast<const char*>(data + at), static_cast<int>(n),
                          SQLITE_TRANSIENT);
      });
      at += n;
    } else if (what == 1) {
      int64_t value = 0;
      size_t n = std::min<size_t>(8, size - at);
      std::memcpy(&value, data + at, n);
      at += n;
      run(db, set, row, [&](sqlite3_stmt* s) { sqlite3_bind_int64(s, 1, value); });
    } else if (what == 2) {
      run(db, set, row, [](sqlite3_stmt* s) { sqlite3_bind_null(s, 1); });
    } else if (what == 3) {
      sqlite3_exec(db, ("insert into " + table + " default values").c_str(), nullptr, nullptr,
                   nullptr);
    } else if (what == 4) {
      run(db, "delete from " + table + rows, row, [](sqlite3_stmt*) {});
    } else {
      locked = true;
    }
  }
  return locked;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz_new_input();
  sqlite3* db = fuzz_database();
  sqlite3_exec(db, "begin", nullptr, nullptr, nullptr);
  bool locked = apply_changes(db, data, size);
  sqlite3_exec(db, "commit", nullptr, nullptr, nullptr);
  fuzz_reread_start_up();
  fuzz_request r;
  r.database_locked = locked;
  r.method = "GET";
  r.authorization = kAdminAuthorization;
  r.content_length = false;
  for (const char* path : kGetPaths) {
    r.uri = path;
    fuzz_serve(r);
  }
  // The interface document is what a PUT of the interface answers.
  r.method = "PUT";
  r.uri = "/PSIA/System/Network/interfaces/eth0";
  r.content_length = true;
  fuzz_serve(r);
  return 0;
}
