// The pieces with logic of their own, at their edges (the sanitizer build sees a byte written past a field).
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "frame/authentication.h"
#include "harness.h"
#include "io/answer.h"
#include "io/request_body.h"
#include "io/settings.h"
#include "io/stream.h"
#include "resources/ptz/ptz_motion.h"
#include "resources/system/posix_time_zone.h"
#include "resources/system/time_zone_table.h"
#include "store/database.h"
#include "util/base64.h"
#include "util/bounded_copy.h"
#include "util/file.h"
#include "util/text_buffer.h"

using namespace psia;

namespace {

TEST(Parsers, Base64CredentialsDottedQuadsAndLines) {
  // Unpadded, and broken by line ends and blanks, too.
  // clang-format off
  const std::pair<const char*, std::string> texts[] = {
      {"", ""}, {"YWRtaW46YWRtaW4=", "admin:admin"}, {"YWRtaW46YWRtaW4", "admin:admin"}, {"YWRt\r\naW46\nYWRt aW4=", "admin:admin"},
      {"Zm9vYmE=", "fooba"}, {"+/+/", std::string("\xfb\xff\xbf", 3)}, {"!!!@@@", ""}};
  // clang-format on
  for (const auto& [text, expected] : texts) {
    unsigned char out[128];
    int n = base64_decode(text, out, sizeof out);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), n), expected) << text;
  }
  const std::string u31(31, 'u'), p31(31, 'p');
  const std::tuple<std::string, std::string, std::string> splits[] = {
      // decoded, user, password (a plain "user:password" is every authenticated request's)
      {"admin", "admin", ""},                                // no colon: all user name
      {":pw", "", "pw"},           {"admin:a:b", "a", "b"},  // the second colon cuts the name at 1
      {u31 + ":" + p31, u31, p31}, {std::string(40, 'u') + ":" + std::string(32, 'p'), u31, p31},
  };
  for (const auto& [decoded, user, password] : splits) {
    credentials who;
    split_credentials(reinterpret_cast<const unsigned char*>(decoded.data()), static_cast<int>(decoded.size()), &who);
    EXPECT_EQ(who.user, user) << decoded;
    EXPECT_EQ(who.password, password) << decoded;
  }
  EXPECT_EQ(parse_ipv4_text("192.168.1.20"), 192u << 24 | 168u << 16 | 1u << 8 | 20u);
  EXPECT_EQ(parse_ipv4_text("0.0.2.300"), 812u);  // not range-checked: 300 spills into the next byte
  for (const char* bad : {"1.2.3", "a.b.c.d", "", "1..2.3"}) EXPECT_EQ(parse_ipv4_text(bad), std::nullopt) << bad;
  // Lines are handed out as fgets would.
  std::string lines_text = "abcdefgh\nij\n\nk";
  line_reader lines(lines_text);
  char line[5];
  std::vector<std::string> got;
  while (lines.next(line, sizeof line)) got.push_back(line);
  EXPECT_EQ(got, (std::vector<std::string>{"abcd", "efgh", "\n", "ij\n", "\n", "k"}));
}

TEST(Bounds, TheTextBufferKeepsExactlyWhatWasFormattedAndCopiesKeepSizeMinusOne) {
  // Lengths around the step after `before` bytes (2048: the terminator in the spare byte): exact, one more, far more.
  for (size_t before : {0, 1, 1000, 2048}) {
    for (size_t size : {1023, 1024, 1025, 2048, 5000}) {
      text_buffer doc;
      std::string head(before, 'h'), text(size - 7, 'x');
      doc.append(head.c_str());
      doc.appendf("<v>%s</v>", text.c_str());
      std::string expected = head + "<v>" + text + "</v>";
      ASSERT_EQ(std::string(doc.data(), doc.length()), expected) << before << "+" << size;
      EXPECT_EQ(doc.data()[doc.length()], '\0');
    }
  }
  EXPECT_STREQ(text_buffer().data(), "");
  // Bounded copies keep size - 1 characters.
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"abc", "abc"}, {"abcdefg", "abcdefg"}, {"abcdefgh", "abcdefg"}, {"abcdefghij", "abcdefg"}};
  // clang-format on
  for (const auto& [text, kept] : cases) {
    char field[9];
    std::memset(field, '#', sizeof field);
    copy_bounded(field, 8, text.c_str());
    EXPECT_EQ(std::string(field), kept);
    EXPECT_EQ(field[8], '#');  // the byte behind the field is untouched
  }
  EXPECT_EQ(parse_int("2147483648"), 2147483647);  // saturates
  EXPECT_EQ(parse_int("-12abc"), -12);
  EXPECT_EQ(times_wrapped(2147483647, 100), -100);  // as 32-bit arithmetic wraps
}

TEST(TimeZones, ChecksTheGrammarTheZoneFilesLastLineAndTheTable) {
  // clang-format off
  // Zones accepted, and refused for a fault in each part: names, offsets, a rule's date or time, what follows.
  const std::pair<bool, std::vector<const char*>> zones[] = {
      {true, {"", "UTC0", "NPT-5:45", "EST+5EDT+4:00:00,J60/2,300/1:30:59", "AMT4AMST,M11.1.0/0,M2.5.0/0", "EST5EDT",
              "EST5EDT,M3.5.0,M10.5.6/23:59:59", "EST5EDT,J365,0"}},
      {false, {"1ST5", "ES", "EST", "EST/5", "EST5:", "EST555", "EST5,M3.2.0,M11.1.0", "EST5E1T", "EST5EDT!",
               "EST5EDT,X3.2.0,M11.1.0", "EST5EDT,M3.2,M11.1.0", "EST5EDT,M3.2.0", "EST5EDT,M3.2.0/ab,M11.1.0",
               "EST5EDT,M3.2.0,M11.1.0x", "EST5EDT,M13.2.0,M11.1.0", "EST5EDT,M3.6.0,M11.1.0", "EST5EDT,M3.2.7,M11.1.0",
               "EST5EDT,J0,J365", "EST5EDT,1,366", "EST5EDT,M3.2.0/24,M11.1.0", "EST5EDT,M3.2.0/2:60,M11.1.0",
               "EST5EDT,M3.2.0/+2,M11.1.0"}},
  };
  // The last line of a zone file (System.TimeAndTimeZone reads real ones): without an earlier line break all but the
  // last byte; an empty last line.
  const std::pair<std::string, std::string> files[] = {{"JST-9\n", "JST-9"}, {"data\n\n", ""}, {"x", ""}, {"", ""}};
  // clang-format on
  for (const auto& [valid, texts] : zones)
    for (const char* zone : texts) EXPECT_EQ(is_posix_time_zone(zone), valid) << zone;
  for (const auto& [contents, zone] : files) EXPECT_EQ(last_line_of_zone_file(contents), zone);
  EXPECT_EQ(find_time_zone(""), nullptr);  // the table's rows, their order and case: System.TimeAndTimeZone
}

TEST(Ptz, TheQueryScan) {
  // The query scan keeps the camera's form (a last pair without '&' is never handed on: the continuous moves show it).
  const char* const keys[] = {"PAN", "TILT"};
  const std::pair<std::string, std::map<int, std::string>> queries[] = {
      {"pan=5&", {{0, "=5"}}},
      {"TILT=1&PAN=2&x", {{1, "=1"}}},  // later keys begin with '&'
      {"PAN", {}},
      {"PAN=a=b&", {{0, "=b"}}},
      {"PAN=" + std::string(126, '9') + "&", {{0, "=" + std::string(126, '9')}}},
      {"PAN=" + std::string(5000, '9') + "&", {{0, "=" + std::string(126, '9')}}},  // cut
  };
  for (const auto& [query, expected] : queries) {
    std::map<int, std::string> handed;
    scan_ptz_query(query.c_str(), keys, 2, [&](int k, const char* v) { handed[k] = v; });
    EXPECT_EQ(handed, expected) << query.substr(0, 20);
  }
}

TEST(Answers, AFileShorterThanAnnounced) {
  char name[] = "/tmp/psia-short-XXXXXX";
  unique_fd fd(mkstemp(name));
  unlink(name);
  ASSERT_EQ(write(fd.get(), "0123456789", 10), 10);
  lseek(fd.get(), 0, SEEK_SET);
  string_output out;
  write_answer(out, answer::file(std::move(fd), 2000), "/x");
  // A piece read short is not sent: the headers stand, the copy ends.
  EXPECT_EQ(out.text, "Content-Type: application/octet-stream\nContent-length: 2000\n\n");
}

TEST(Settings, EveryValueReadsWholeOrTheResponderDoesNotStart) {
  // A variable and its value: the value read (a word as its mode's number), or what the start-up error says the
  // variable takes (the value shown as `shown` when it is not shown as given).
  const std::string number = "a whole number (digits only) from ";
  const std::string attempts = number + "0 to 1000, failed logins before a lock-out; 0 turns the login guard off";
  const std::string lockout = number + "0 to 900, seconds of the first lock-out; 0 turns the login guard off";
  const std::string budget = number + "0 to 100000, failed logins a minute from all addresses; 0: no shared budget";
  const std::string workers = number + "1 to 16, responder processes serving the socket together; 1: one process";
  const std::string key = number + "1 to 2147483647, the control daemon's request queue key";
  const std::string schemes = "basic, digest or digest,basic, the Authorization schemes that log in";
  const std::string levels =
      "admin-only or enforce, admin-only: only level-0 accounts log in; enforce: levels 0 to 3, each as the "
      "resource's rules allow";
  const std::string long_key(40, '9'), long_key_shown = std::string(32, '9') + "...";
  // clang-format off
  const struct { const char *name, *value; int read; std::string refused = ""; const char* shown = nullptr; } cases[] = {
      {"PSIA_LOGIN_ATTEMPTS", "7", 7}, {"PSIA_LOGIN_ATTEMPTS", "0", 0},
      {"PSIA_LOGIN_ATTEMPTS", "007", 7}, {"PSIA_LOGIN_ATTEMPTS", "1000", 1000},
      {"PSIA_LOGIN_ATTEMPTS", "ten", 0, attempts}, {"PSIA_LOGIN_ATTEMPTS", "1001", 0, attempts}, {"PSIA_LOGIN_ATTEMPTS", " 10", 0, attempts},
      {"PSIA_LOGIN_LOCKOUT", "-1", 0, lockout}, {"PSIA_LOGIN_LOCKOUT", "1m", 0, lockout},
      {"PSIA_LOGIN_LOCKOUT", "99999999999999999999", 0, lockout}, {"PSIA_LOGIN_LOCKOUT", "6\n0", 0, lockout, "6?0"},
      {"PSIA_LOGIN_BUDGET", "100000", 100000}, {"PSIA_LOGIN_BUDGET", "0", 0}, {"PSIA_LOGIN_BUDGET", "1e3", 0, budget},
      {"PSIA_WORKERS", "1", 1}, {"PSIA_WORKERS", "16", 16},
      {"PSIA_WORKERS", "0", 0, workers}, {"PSIA_WORKERS", "17", 0, workers},
      {"PSIA_REQUEST_QUEUE_KEY", "0", 0, key} /* IPC_PRIVATE */, {"PSIA_REQUEST_QUEUE_KEY", "0x457", 0, key},
      {"PSIA_REQUEST_QUEUE_KEY", "2147483647", 2147483647}, {"PSIA_REPLY_QUEUE_KEY", "3333", 3333}, {"PSIA_REQUEST_QUEUE_KEY", long_key.c_str(), 0, key, long_key_shown.c_str()},
      {"PSIA_AUTH_SCHEMES", "basic", 0}, {"PSIA_AUTH_SCHEMES", "digest", 1}, {"PSIA_AUTH_SCHEMES", "digest,basic", 2},
      {"PSIA_AUTH_SCHEMES", "Digest", 0, schemes}, {"PSIA_AUTH_SCHEMES", "basic,digest", 0, schemes},
      {"PSIA_ACCESS_LEVELS", "admin-only", 0}, {"PSIA_ACCESS_LEVELS", "enforce", 1}, {"PSIA_ACCESS_LEVELS", "", 0},
      {"PSIA_ACCESS_LEVELS", "admin", 0, levels}, {"PSIA_WORKERS", nullptr, 2} /* an empty environment */,
  };
  // clang-format on
  // Every setting, in the order they are compared, and its default (the modes of old).
  const char* const names[] = {"PSIA_REQUEST_QUEUE_KEY", "PSIA_REPLY_QUEUE_KEY", "PSIA_LOGIN_ATTEMPTS",
                               "PSIA_LOGIN_LOCKOUT",     "PSIA_LOGIN_BUDGET",    "PSIA_WORKERS",
                               "PSIA_AUTH_SCHEMES",      "PSIA_ACCESS_LEVELS"};
  const std::vector<int> defaults = {1111, 2222, 10, 60, 100, 2, 0, 0};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.name) + "=" + (c.value != nullptr ? c.value : "(unset)"));
    runtime_settings settings;
    std::vector<std::string> problems;
    bool usable = read_settings([&](const char* name) { return std::string(name) == c.name ? c.value : nullptr; },
                                &settings, &problems);
    EXPECT_EQ(usable, c.refused.empty());
    if (!usable) {
      EXPECT_EQ(problems,
                std::vector<std::string>{"PSIA: " + std::string(c.name) + "=\"" + (c.shown ? c.shown : c.value) +
                                         "\" is not a setting: it takes " + c.refused});
      continue;
    }
    EXPECT_EQ(problems, std::vector<std::string>{});
    std::vector<int> expected = defaults;  // the others keep theirs
    expected[std::find(std::begin(names), std::end(names), std::string(c.name)) - std::begin(names)] = c.read;
    EXPECT_EQ((std::vector<int>{settings.request_queue_key, settings.reply_queue_key, settings.login_attempts,
                                settings.login_lockout, settings.login_budget, settings.workers,
                                static_cast<int>(settings.schemes), static_cast<int>(settings.levels)}),
              expected);
  }
  // Every bad setting is named, not only the first.
  runtime_settings settings;
  std::vector<std::string> problems;
  EXPECT_FALSE(read_settings([](const char* name) { return std::strncmp(name, "PSIA_LOGIN", 10) == 0 ? "x" : nullptr; },
                             &settings, &problems));
  EXPECT_EQ(problems.size(), 3u);
}

TEST(Store, AnyNumberOfUserNamesIsOneStatementAndCloseFinalizesThem) {
  psia_test::test_clock clock;
  char name[] = "/tmp/psia-store-XXXXXX";
  unique_fd fd(mkstemp(name));
  config_store store;
  ASSERT_TRUE(store.open(name, &clock));
  ASSERT_TRUE(store.exec("create table UserAccount (UserID text, Password text, Authority integer)"));
  ASSERT_TRUE(store.exec("insert into UserAccount values(?, ?, 2)", std::string("o'k"), "x"));
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(store.query("select * from UserAccount where UserID=?", "user" + std::to_string(i)).rows(), 0);
  EXPECT_EQ(store.query("select * from UserAccount where UserID=?", "o'k").rows(), 1);
  EXPECT_EQ(store.cached_statements(), 3u);
  store.close();
  EXPECT_EQ(store.cached_statements(), 0u);
  EXPECT_FALSE(store.query("select 1").ok());
  unlink(name);
}

TEST(Store, StatementsLeavingTheCacheAreFinalized) {
  // More distinct statements than the cache holds: the connection closes only when each evicted one was finalized.
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
  statement_cache cache;
  for (size_t i = 0; i < 2 * statement_cache::kCapacity; ++i)
    ASSERT_NE(cache.statement(db, ("select " + std::to_string(i)).c_str()), nullptr);
  EXPECT_EQ(cache.size(), statement_cache::kCapacity);
  cache.clear();
  EXPECT_EQ(sqlite3_close(db), SQLITE_OK);
}

}  // namespace
