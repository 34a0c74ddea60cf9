// The request frame: logins, the login guard, the audit trail, routing, bodies, start-up, the executable as CGI.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <fstream>

#include <sys/stat.h>

#include "frame/audit.h"
#include "frame/digest.h"
#include "frame/routing.h"
#include "frame/startup.h"
#include "harness.h"
#include "resources/event/event.h"
#include "resources/media/media.h"
#include "resources/ptz/ptz.h"
#include "resources/system/system.h"
#include "util/login_guard.h"
#include "util/syslog.h"

using namespace psia_test;

namespace {

const std::string kUnauthorized =
    "Status: 401 Unauthorized\nWWW-Authenticate: Basic realm=\"Aldex Smart IP Device Authentication\"\n"
    "Content-Type: text/plain\n\nUnauthorized\n";

TEST(Frame, OnlyTheLevelsTheModeAdmitsLogIn) {
  const std::string name(95, 'u'), password(31, 'p');  // 127 bytes with the colon; 31 characters of each are kept
  test_camera camera("insert into UserAccount values('viewer', 'pw2', 2), ('odd', 'pw7', 7), ('" + name.substr(0, 31) +
                     "', '" + password + "', 1)");
  // The Authorization header, whether levels are enforced, and whether it is admitted (enforced: levels 0 to 3).
  // clang-format off
  const std::tuple<std::string, bool, bool> cases[] = {
      {basic_authorization("admin", "admin"), false, true},
      {"Xxxxx " + basic_authorization("admin", "admin").substr(6), false, true},  // scheme unread
      {"", false, false}, {"Basic", false, false},  // too short to hold any
      {basic_authorization("admin", "wrong"), false, false}, {basic_authorization("ADMIN", "admin"), false, false},  // names are exact
      {basic_authorization("viewer", "pw2"), false, false}, {"Basic " + std::string(5000, 'Q'), false, false},
      {basic_authorization("anonymous", ""), true, false}, {basic_authorization("odd", "pw7"), true, false},
      {basic_authorization(name, password), true, true}, {basic_authorization(name + "u", password), true, false},
  };
  // clang-format on
  for (const auto& [authorization, enforce, admitted] : cases) {
    camera.ctx().settings.levels = enforce ? psia::access_levels::enforce : psia::access_levels::admin_only;
    EXPECT_EQ(camera.request(get_as("/PSIA/Security/index", authorization)),
              admitted ? document_answer(golden("security_index.xml")) : kUnauthorized)
        << authorization;
  }
}

// The digest computation, against the worked examples of RFC 2617 and RFC 7616.
TEST(Digest, ResponsesAndTheBoundedNonceCounts) {
  char out[65];
  psia::digest_response(psia::digest_algorithm::md5, "Mufasa", "Circle Of Life", "testrealm@host.com", "GET",
                        "/dir/index.html", "dcd98b7102dd2f0e8b11d0f600bfb0c093", "00000001", "0a4f113b", out);
  EXPECT_STREQ(out, "6629fae49393a05397450978507c4ef1");
  psia::digest_response(psia::digest_algorithm::sha256, "Mufasa", "Circle of Life", "http-auth@example.org", "GET",
                        "/dir/index.html", "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "00000001",
                        "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ", out);
  EXPECT_STREQ(out, "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1");
  // The table never grows: when full, the nonces issued first are forgotten; expired entries are reused before that.
  using verdict = psia::digest_nonces::count_verdict;
  auto nonces = std::make_unique<psia::digest_nonces>();
  const unsigned char mac[psia::digest_nonces::kMacSize] = {};
  const int64_t life = psia::kNonceLifetimeUs;
  for (int i = 1; i <= psia::digest_nonces::kEntries; ++i)
    EXPECT_EQ(nonces->use(i, 7, mac, 1, 500, life), verdict::fresh);
  EXPECT_EQ(nonces->use(1, 7, mac, 1, 500, life), verdict::replayed);
  EXPECT_EQ(nonces->use(1, 7, mac, 3, 500, life), verdict::fresh);  // counts may skip, never go back
  EXPECT_EQ(nonces->use(1, 7, mac, 2, 500, life), verdict::replayed);
  EXPECT_EQ(nonces->use(1000, 7, mac, 1, 1000, life), verdict::fresh);  // the 129th: nonce 1 is forgotten
  EXPECT_EQ(nonces->use(1, 7, mac, 4, 1000, life), verdict::forgotten);
  EXPECT_EQ(nonces->use(0, 8, mac, 1, 1000, life), verdict::forgotten);  // issued before a forgotten one
  EXPECT_EQ(nonces->use(2, 7, mac, 2, 1000, life), verdict::fresh);
  EXPECT_EQ(nonces->use(2, 8, mac, 1, 1000, life), verdict::forgotten);        // issued at the mark its coming moves
  EXPECT_EQ(nonces->use(2000, 7, mac, 1, 1500 + life, life), verdict::fresh);  // all but 1000 expired
  EXPECT_EQ(nonces->use(1000, 7, mac, 2, 1500 + life, life), verdict::fresh);
  EXPECT_EQ(nonces->use(2, 9, mac, 1, 1500 + life, life), verdict::forgotten);  // at the mark, with room
  EXPECT_EQ(nonces->forgotten_up_to_us, 2);
}

std::string nonce_of(const std::string& answer) {
  size_t at = answer.find("nonce=\"");
  return at == std::string::npos ? "" : answer.substr(at + 7, answer.find('"', at + 7) - at - 7);
}

// What a client's Digest header is made of, in the order rows give them (extra: the header's last parameters; nonce
// "forged": the challenge's with another MAC, after the right one when twice).
struct digest_fields {
  std::string user = "admin", password = "admin", algorithm = "SHA-256", uri = "/PSIA/index", extra = ", qop=auth",
              nonce;
};

std::string digest_authorization(const digest_fields& f, const std::string& nonce) {
  char response[65];
  std::string user = f.user;  // a quoted string's escapes (\x is x) are not the name's
  user.erase(std::remove(user.begin(), user.end(), '\\'), user.end());
  psia::digest_response(f.algorithm == "SHA-256" ? psia::digest_algorithm::sha256 : psia::digest_algorithm::md5,
                        user.c_str(), f.password.c_str(), psia::kRealm, "GET", f.uri.c_str(), nonce.c_str(), "00000001",
                        "0a4f113b", response);
  return "Digest username=\"" + f.user + "\", realm=\"" + psia::kRealm + "\", nonce=\"" + nonce + "\", uri=\"" + f.uri +
         "\"" + (f.algorithm.empty() ? "" : ", algorithm=" + f.algorithm) + ", response=\"" + response +
         "\", nc=00000001, cnonce=\"0a4f113b\"" + f.extra;
}

// The camera in these modes, with the Digest key that start-up loads when they take Digest.
void use_modes(test_camera& camera, psia::auth_schemes schemes, psia::access_levels levels) {
  camera.ctx().settings.schemes = schemes;
  camera.ctx().settings.levels = levels;
  std::string problem;
  ASSERT_TRUE(psia::load_nonce_key(psia::nonce_key_path(camera.ctx().settings),
                                   &psia::camera_lock(camera.ctx().camera).shared().digest, &problem))
      << problem;
}

TEST(Digest, LoginsStaleNoncesReplaysAndWhatTheGuardCounts) {
  const std::string kIndex = document_answer(golden("index.xml"));
  const std::string refused = "36 refused Digest login from 192.0.2.10 as \"admin\": ";
  using psia::access_levels;
  using psia::auth_schemes;
  enum class ends { admitted, unauthorized, stale };
  // later_us: the clock after the challenge; counted: a failed login for the guard; audit: the refusal's line; header:
  // sent instead of a Digest one; twice: the same header admitted once before.
  // clang-format off
  struct digest_case {
    const char* name; digest_fields fields; int64_t later_us = 0; ends answer = ends::admitted; bool counted = false;
    std::string audit; auth_schemes schemes = auth_schemes::digest; access_levels levels = access_levels::admin_only;
    std::string header; bool twice = false;
  };
  const digest_fields md5{"admin", "admin", "MD5"}, wrong{"admin", "guess"}, operator_account{"operator", "operator"},
                      forged{"admin", "admin", "SHA-256", "/PSIA/index", ", qop=auth", "forged"};
  const digest_case cases[] = {
      {"SHA-256", {}},
      {"MD5", md5},
      {"no algorithm (RFC 2617 clients: MD5)", {"admin", "admin", ""}},
      {"a username with an escape", {"ad\\min"}},
      {"quoted qop, opaque and userhash=false",
       {"admin", "admin", "SHA-256", "/PSIA/index", ", qop=\"auth\", opaque=\"x\", userhash=false"}},
      {"a wrong password", wrong, 0, ends::unauthorized, true, refused + "wrong password"},
      {"an unknown user", {"nobody"}, 0, ends::unauthorized, true,
       "36 refused Digest login from 192.0.2.10 as \"nobody\": unknown user"},
      {"a stale nonce", {}, psia::kNonceLifetimeUs + 1, ends::stale},
      {"a stale nonce, a wrong password", wrong, psia::kNonceLifetimeUs + 1, ends::unauthorized, true, refused + "wrong password"},
      {"a nonce at the end of its life", {}, psia::kNonceLifetimeUs},
      {"a replayed nonce count", {}, 0, ends::unauthorized, false, refused + "nonce count replayed", auth_schemes::digest,
       access_levels::admin_only, "", true},
      {"another uri", {"admin", "admin", "SHA-256", "/PSIA/System/deviceInfo"}, 0, ends::unauthorized, false,
       refused + "uri is not the request's"},
      {"a forged nonce", forged, 0, ends::unauthorized, false, refused + "nonce not issued here"},
      {"a counted nonce with another MAC", forged, 0, ends::unauthorized, false, refused + "nonce not issued here",
       auth_schemes::digest, access_levels::admin_only, "", true},
      {"no qop", {"admin", "admin", "SHA-256", "/PSIA/index", ""}, 0, ends::unauthorized, false,
       refused + "Digest parameters refused"},
      {"MD5-sess", {"admin", "admin", "MD5-sess"}, 0, ends::unauthorized, false, refused + "Digest parameters refused"},
      {"Basic in the digest mode", {}, 0, ends::unauthorized, false,
       "36 refused Basic login from 192.0.2.10 as \"admin\": Basic not accepted", auth_schemes::digest,
       access_levels::admin_only, basic_authorization("admin", "admin")},
      {"Basic in the digest,basic mode", {}, 0, ends::admitted, false, "", auth_schemes::digest_and_basic,
       access_levels::admin_only, basic_authorization("admin", "admin")},
      {"Digest in the digest,basic mode", md5, 0, ends::admitted, false, "", auth_schemes::digest_and_basic},
      {"an operator, admin-only", operator_account, 0, ends::unauthorized, true,
       "36 refused Digest login from 192.0.2.10 as \"operator\": not an administrator"},
      {"an operator, enforce", operator_account, 0, ends::admitted, false, "", auth_schemes::digest, access_levels::enforce},
      {"no password, enforce", {"anonymous", ""}, 0, ends::unauthorized, true,
       "36 refused Digest login from 192.0.2.10 as \"anonymous\": account without a password", auth_schemes::digest,
       access_levels::enforce},
  };
  // clang-format on
  for (const digest_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_camera camera;
    use_modes(camera, c.schemes, c.levels);
    psia::camera_lock(camera.ctx().camera).shared().guard =
        psia::login_guard(1, 60, 0);  // a counted failure locks the address out
    const std::string nonce = nonce_of(camera.request(get_as("/PSIA/index", "")));
    ASSERT_EQ(nonce.size(), 48u);
    std::string sent_nonce = nonce;
    if (c.fields.nonce == "forged") sent_nonce.back() = sent_nonce.back() == '0' ? '1' : '0';  // the MAC's last digit
    const std::string header = !c.header.empty() ? c.header : digest_authorization(c.fields, sent_nonce);
    if (c.twice) {
      EXPECT_EQ(camera.request(get_as("/PSIA/index", digest_authorization(c.fields, nonce))), kIndex);
    }
    camera.clock().now_us += c.later_us;
    std::string out = camera.request(get_as("/PSIA/index", header));
    if (c.answer == ends::admitted) {
      EXPECT_EQ(out, kIndex);
    } else {
      EXPECT_EQ(out.rfind("Status: 401 Unauthorized\nWWW-Authenticate: Digest ", 0), 0u) << out;
      EXPECT_EQ(out.find("stale=true") != std::string::npos, c.answer == ends::stale) << out;
      EXPECT_NE(nonce_of(out), nonce);
    }
    std::vector<std::string> refusals;
    for (const std::string& line : camera.syslog())
      if (line.find("refused") != std::string::npos) refusals.push_back(line);
    EXPECT_EQ(refusals, c.audit.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.audit});
    // The right login with a new nonce is admitted unless the guard counted the failure.
    const std::string fresh = nonce_of(camera.request(get_as("/PSIA/index", "")));
    EXPECT_EQ(camera.request(get_as("/PSIA/index", digest_authorization({}, fresh))) == kIndex, !c.counted);
  }
  {
    // Accounts taking turns, in both hashes, each admitted with its own password only (two with the same one too);
    // after a password changes in the database, only the new one is.
    test_camera camera;
    use_modes(camera, auth_schemes::digest, access_levels::enforce);
    const std::string kDevice = "/PSIA/System/deviceInfo";
    // clang-format off
    const struct { digest_fields f; bool admitted; std::string sql = ""; /* run first */ } turns[] = {
        {{}, true}, {{"operator", "operator", "SHA-256", kDevice}, true}, {md5, true}, {{}, true},
        {{"operator", "admin"}, false},
        {{"operator", "admin"}, true, "update UserAccount set Password='admin' where UserID='operator'"},
        {{"admin", "admin", "SHA-256", kDevice}, false,
         "update UserAccount set Password='changed' where UserID='admin'"},
        {{"admin", "changed", "SHA-256", kDevice}, true}};
    // clang-format on
    for (const auto& [f, admitted, sql] : turns) {
      SCOPED_TRACE(f.user + ":" + f.password + " " + f.algorithm + " " + f.uri);
      if (!sql.empty()) camera.exec(sql);
      const std::string nonce = nonce_of(camera.request(get_as(f.uri, "")));
      const std::string out = camera.request(get_as(f.uri, digest_authorization(f, nonce)));
      EXPECT_EQ(out.rfind("Status: 401", 0) != 0, admitted) << out;
    }
  }
  // The 401 of each mode: Basic's as it was, the Digest challenges strongest first (one nonce for both).
  test_camera camera;
  use_modes(camera, auth_schemes::digest_and_basic, access_levels::admin_only);
  std::string problem;
  std::string out = camera.request(get_as("/PSIA/index", ""));
  const std::string digest = "WWW-Authenticate: Digest realm=\"Aldex Smart IP Device Authentication\", qop=\"auth\", ";
  EXPECT_EQ(out, "Status: 401 Unauthorized\n" + digest + "algorithm=SHA-256, nonce=\"" + nonce_of(out) + "\"\n" +
                     digest + "algorithm=MD5, nonce=\"" + nonce_of(out) + "\"\n" + kUnauthorized.substr(25));
  // The key file: made once, 0600, 32 bytes, read back by the next process; a damaged one stops start-up.
  const std::string key = psia::nonce_key_path(camera.ctx().settings);
  struct stat st;
  ASSERT_EQ(stat(key.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(st.st_size, 32);
  auto again = std::make_unique<psia::digest_nonces>();
  EXPECT_TRUE(psia::load_nonce_key(key, again.get(), &problem));
  EXPECT_EQ(std::memcmp(again->key, psia::camera_lock(camera.ctx().camera).shared().digest.key, 32), 0);
  // Every byte of a key and of a nonce's salt (hex digits 17 to 24) is drawn: none keeps its value in ten draws.
  std::string first, varies(40, '-');
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(psia::load_nonce_key(key + std::to_string(i), again.get(), &problem)) << problem;
    const std::string drawn = std::string(reinterpret_cast<const char*>(again->key), 32) +
                              nonce_of(camera.request(get_as("/PSIA/index", ""))).substr(16, 8);
    for (size_t at = 0; at < drawn.size() && !first.empty(); ++at)
      if (drawn[at] != first[at]) varies[at] = '+';
    if (first.empty()) first = drawn;
  }
  EXPECT_EQ(varies, std::string(40, '+'));
  std::ofstream(key) << "short";
  EXPECT_FALSE(psia::load_nonce_key(key, again.get(), &problem));
  EXPECT_EQ(problem, key + " is not a key of 32 bytes");
}

TEST(Frame, RulesAreTriedInOrderByPathMethodAndLevel) {
  // clang-format off
  const struct { const char *path, *method; int level; psia::handler_fn expected; } cases[] = {  // empty: no rule
      {"/psia/system/time/NTPSERVERS/3", "get", 3, psia::get_ntp_server},  // paths and methods in any case
      {"/PSIA/System/time/ntpServers/3", "DELETE", 1, psia::delete_ntp_server},
      {"/PSIA/System/Network/interfaces/eth0/", "GET", 0, {}},  // only begins like the resource
      {"/PSIA/Custom/Event/triggers/", "GET", 0, psia::get_event_trigger},
      {"/PSIA/Custom/Event/triggers/Sensor-0", "POST", 1, psia::post_trigger},  // falls through
      {"/PSIA/Streaming/channels/2/STATUS", "GET", 3, psia::get_streaming_channel_status},
      {"/PSIA/Streaming/channels/1/status", "PUT", 1, psia::put_streaming_channel},
      {"/PSIA/PTZ/channels/1", "DELETE", 1, psia::accept_ptz_noop},
      {"/PSIA/PTZ/channels/1/zoom", "GET", 3, psia::get_ptz_channel},
      {"/PSIA/PTZ/channels/1/presets/3/goto", "GET", 3, psia::get_ptz_preset},  // goto only for PUT
      {"/PSIA/PTZ/channels/9/PRESETS/2/goTo", "PUT", 1, psia::goto_ptz_preset},
      // The first sub-path that matches decides; when it takes nothing the main table goes on.
      {"/PSIA/PTZ/channels/1/presets/3", "POST", 1, psia::accept_ptz_noop},
      {"/PSIA/PTZ/channels/1/status", "GET", 2, psia::get_ptz_channel_list},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.method) + " " + c.path + " level " + std::to_string(c.level));
    psia::route_target t;
    EXPECT_EQ(psia::route_request(c.path, c.method, c.level, 2, &t), c.expected != nullptr);
    EXPECT_EQ(t.handler, c.expected);
  }
  // A trigger id and a notification id are cut at the slashes, each to 255 characters.
  const std::string long_id(300, 'S'), path = "/PSIA/Custom/Event/triggers/" + long_id + "/Notifications/" + long_id;
  psia::route_target t;
  ASSERT_TRUE(psia::route_request(path.c_str(), "PUT", 0, 2, &t));
  EXPECT_EQ(t.args.id, long_id.substr(0, 255));
  EXPECT_EQ(t.args.sub_id, long_id.substr(0, 255));
}

// Every row of every table of the camera's database.
std::string every_row(const test_camera& camera) {
  std::string all, tables = camera.rows("select name from sqlite_master where type='table' order by name") + "\n";
  for (size_t at = 0, end; (end = tables.find('\n', at)) != std::string::npos; at = end + 1)
    all += camera.rows("select * from " + tables.substr(at, end - at)) + "\n";
  return all;
}

// Every rule, method and level in the enforce mode: the highest level (0 to 3) at which each method changes the camera,
// '-' for none. Above it nothing changes (no fall-through to a shorter prefix); at or below it the change is made and
// its audit line names the level. Prefix rows take longer paths too (PUT /PSIA/Custom/Event/index).
TEST(Frame, InTheEnforceModeOnlyTheLevelsARuleAllowsChangeTheCamera) {
  // clang-format off
  const std::pair<const char*, const char*> paths[] = {  // methods GET, PUT, POST, DELETE, PATCH
      {"/PSIA/indexr", "-----"}, {"/PSIA/index", "-----"}, {"/PSIA/description", "-----"}, {"/PSIA/System/index", "-----"},
      {"/PSIA/System/description", "-----"}, {"/PSIA/System/reboot", "-0---"}, {"/PSIA/System/updateFirmware", "-0---"},
      {"/PSIA/System/configurationData", "-0---"}, {"/PSIA/System/factoryReset", "-0---"}, {"/PSIA/System/deviceInfo", "-0---"},
      {"/PSIA/System/status", "-----"}, {"/PSIA/System/time/localTime", "-1---"}, {"/PSIA/System/time/timeZone", "-1---"},
      {"/PSIA/System/time/ntpServers/2", "-111-"}, {"/PSIA/System/time/ntpServers", "-111-"}, {"/PSIA/System/time", "-1---"},
      {"/PSIA/System/Network/index", "-----"}, {"/PSIA/System/Network/description", "-----"},
      {"/PSIA/System/Network/interfaces/eth0/ipAddress", "-0---"}, {"/PSIA/System/Network/interfaces/eth0/discovery", "-0---"},
      {"/PSIA/System/Network/interfaces/eth0", "00---"}, {"/PSIA/System/Network/interfaces", "-----"},
      {"/PSIA/System/Audio/index", "-----"}, {"/PSIA/System/Audio/description", "-----"},
      {"/PSIA/System/Audio/channels/1", "-1---"}, {"/PSIA/System/Audio/channels", "-----"}, {"/PSIA/System/Video/index", "-----"},
      {"/PSIA/System/Video/description", "-----"}, {"/PSIA/System/Video/inputs/channels/1", "-1---"},
      {"/PSIA/System/Video/inputs/channels", "-----"}, {"/PSIA/System/Video/inputs", "-----"}, {"/PSIA/Security/index", "-----"},
      {"/PSIA/Security/description", "-----"}, {"/PSIA/Security/AAA/index", "-----"}, {"/PSIA/Security/AAA/description", "-----"},
      {"/PSIA/Security/AAA/users/guest", "-0-0-"}, {"/PSIA/Security/AAA/users", "-000-"}, {"/PSIA/Streaming/index", "-----"},
      {"/PSIA/Streaming/description", "-----"}, {"/PSIA/Streaming/status", "-----"}, {"/PSIA/Streaming/channels/1", "-1-1-"},
      {"/PSIA/Streaming/channels/1/status", "-1-1-"}, {"/PSIA/Streaming/channels", "-111-"}, {"/PSIA/Custom/index", "-----"},
      {"/PSIA/Custom/description", "-----"}, {"/PSIA/Custom/Event/index", "-1---"}, {"/PSIA/Custom/Event/description", "-1---"},
      {"/PSIA/Custom/Event/triggers/Sensor-0", "-111-"}, {"/PSIA/Custom/Event/triggers/Sensor-0/notifications/Relay-0", "-111-"},
      {"/PSIA/Custom/Event/triggers/Sensor-0/list", "-111-"}, {"/PSIA/Custom/Event/triggers", "-111-"},
      {"/PSIA/Custom/Event/schedule", "-1---"}, {"/PSIA/Custom/Event/notification/mailing/1", "-111-"},
      {"/PSIA/Custom/Event/notification/mailing", "-111-"}, {"/PSIA/Custom/Event/notification/ftp/1", "-111-"},
      {"/PSIA/Custom/Event/notification/ftp", "-111-"}, {"/PSIA/Custom/Event/notification", "-1---"}, {"/PSIA/Custom/Event", "-1---"},
      {"/PSIA/PTZ/index", "-----"}, {"/PSIA/PTZ/description", "-----"}, {"/PSIA/PTZ/channels/description", "-111-"},
      {"/PSIA/PTZ/channels/1/homePosition", "11111"}, {"/PSIA/PTZ/channels/1/continuous", "11111"},
      {"/PSIA/PTZ/channels/1/momentary", "-----"}, {"/PSIA/PTZ/channels/1/relative", "-----"},
      {"/PSIA/PTZ/channels/1/absolute", "11111"}, {"/PSIA/PTZ/channels/1/digital", "-----"}, {"/PSIA/PTZ/channels/1/status", "-----"},
      {"/PSIA/PTZ/channels/1/presets/1", "-111-"}, {"/PSIA/PTZ/channels/1/presets/1/goto", "-111-"},
      {"/PSIA/PTZ/channels/1/presets", "-111-"}, {"/PSIA/PTZ/channels/1", "-111-"}, {"/PSIA/PTZ/channels", "-111-"},
  };
  const char* const methods[] = {"GET", "PUT", "POST", "DELETE", "PATCH"};
  const std::string accounts[] = {basic_authorization("admin", "admin"), basic_authorization("operator", "operator"),
                                  basic_authorization("guest", "guest"), basic_authorization("watcher", "w")};
  // clang-format on
  for (const auto& [path, levels] : paths) {
    test_camera camera("update Spec2 set PTZSupport=2");
    camera.ctx().settings.levels = psia::access_levels::enforce;
    for (int m = 0; m < 5; ++m) {
      const int allowed = levels[m] == '-' ? -1 : levels[m] - '0';
      // The accounts as they were: an earlier method may have changed them.
      camera.exec(
          "delete from UserAccount; insert into UserAccount values ('admin', 'admin', 0), ('operator', "
          "'operator', 1), ('guest', 'guest', 2), ('watcher', 'w', 3), ('anonymous', '', 3)");
      const std::string before = every_row(camera);
      const size_t commands = camera.commands().size();
      for (int level = 3; level >= 0; --level) {
        SCOPED_TRACE(std::string(methods[m]) + " " + path + " at level " + std::to_string(level));
        const size_t lines = camera.syslog().size();
        ASSERT_NE(camera.request({methods[m], path, "", "", accounts[level]}).rfind("Status: 401", 0), 0u);
        bool audited = camera.syslog().size() > lines && camera.syslog().back().rfind("29 ", 0) == 0;
        EXPECT_EQ(audited, level <= allowed);
        if (audited) {
          EXPECT_NE(camera.syslog().back().find("(level " + std::to_string(level) + ", Basic)"), std::string::npos);
        }
        if (level > allowed && allowed >= 0) {
          EXPECT_EQ(every_row(camera), before);
          EXPECT_EQ(camera.commands().size(), commands);
        }
      }
    }
  }
}

TEST(Frame, CatalogueDocumentsAndUnreadableBodies) {
  test_camera camera("update PTZControl set Enable=5");
  // clang-format off
  const struct { const char *uri, *golden, *type = kXml; } cases[] = {
      {"/PSIA/index", "index.xml"}, {"/PSIA/index.xml", "index.xml"} /* a prefix match */, {"/PSIA/indexr", "indexr.xml"},
      {"/PSIA/description", "description.xml"}, {"/PSIA/System/index", "system_index.xml"}, {"/PSIA/System/description", "description.xml"},
      {"/PSIA/System/Network/index", "network_index.xml"}, {"/PSIA/System/Network/description", "network_description.xml"},
      {"/PSIA/System/Audio/index", "audio_index.xml", kXmlUtf8}, {"/PSIA/System/Audio/description", "description.xml", kXmlUtf8},
      {"/PSIA/System/Video/index", "video_index.xml"}, {"/PSIA/Security/AAA/index", "aaa_index.xml"}, {"/PSIA/Security/AAA/description", "description.xml"},
      {"/PSIA/Streaming/index", "streaming_index.xml"}, {"/PSIA/Custom/index", "custom_index.xml"}, {"/PSIA/Custom/description", "description.xml"},
      {"/PSIA/Custom/Event/index", "event_index.xml"}, {"/PSIA/PTZ/index", "ptz_index.xml"}, {"/PSIA/PTZ/description", "description.xml"},
      {"/PSIA/PTZ/channels/description", "ptz_channels_description.xml"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(camera.get(c.uri), document_answer(golden(c.golden), c.type)) << c.uri;
  EXPECT_EQ(camera.send("GET", ""), "");  // no path: no answer at all
  // Bodies that cannot be read answer Device Error. A body and its CONTENT_LENGTH (null: none): none at all, one over
  // 1 MiB, one shorter than announced.
  const std::string before = every_row(camera);
  const char* path = "/PSIA/Custom/Event/schedule";
  // clang-format off
  const std::pair<std::string, const char*> bodies[] = {
      {"", nullptr}, {"", "0"}, {"<EventSchedule/>", "999999999999999999999"}, {"<EventSchedule/>", "1048577"},
      {"<EventSchedule/>", "-5"}, {"<EventSchedule/>", "x"}, {"<EventSchedule/>", "100"}, {"<EventSchedule><TimeBlockList>", "30"},
      {"<?xml version=\"1.0\"?><!DOCTYPE EventSchedule><EventSchedule/>", nullptr}};
  // clang-format on
  for (const auto& [body, length] : bodies) {
    test_request r{"PUT", path, body};
    r.content_length = length;
    r.no_content_length = length == nullptr && body.empty();
    EXPECT_EQ(camera.request(r), status_answer(path, 3)) << (length ? length : body);
  }
  // A body for each parser: not XML answers 3, another root the resource's own code; nothing changes.
  // clang-format off
  const std::tuple<const char*, const char*, int> parsers[] = {
      {"PUT", "/PSIA/PTZ/channels/0/continuous", 5}, {"PUT", "/PSIA/PTZ/channels/0/absolute", 5},
      {"PUT", "/PSIA/PTZ/channels/0/presets/1", 5}, {"PUT", "/PSIA/PTZ/channels/0/presets", 5},
      {"POST", "/PSIA/PTZ/channels/0/presets", 5}, {"PUT", "/PSIA/PTZ/channels/0", 5}, {"PUT", "/PSIA/PTZ/channels", 5},
      {"PUT", "/PSIA/System/Network/interfaces/eth0/ipAddress", 5}, {"GET", "/PSIA/System/Network/interfaces/eth0", 5},
      {"PUT", "/PSIA/Custom/Event/notification/mailing/x", 3}, {"POST", "/PSIA/Custom/Event/notification/mailing", 3},
      {"PUT", "/PSIA/Custom/Event/notification", 3}, {"PUT", "/PSIA/Custom/Event/schedule", 3}, {"PUT", "/PSIA/Custom/Event", 3},
      {"PUT", "/PSIA/Custom/Event/triggers", 3}, {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0", 3},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications", 3}, {"POST", "/PSIA/Custom/Event/triggers/Sensor-0/notifications", 3},
      {"PUT", "/PSIA/Custom/Event/triggers/Sensor-0/notifications/Relay-0", 3}, {"PUT", "/PSIA/System/Video/inputs/channels/1", 3},
      {"PUT", "/PSIA/System/Audio/channels/1", 3}, {"PUT", "/PSIA/Streaming/channels/1", 3}, {"PUT", "/PSIA/Streaming/channels", 3},
      {"PUT", "/PSIA/System/time/ntpServers/1", 3}, {"PUT", "/PSIA/System/deviceInfo", 3}, {"PUT", "/PSIA/System/time", 3},
      {"PUT", "/PSIA/Security/AAA/users/guest", 3}, {"PUT", "/PSIA/Security/AAA/users", 3}, {"POST", "/PSIA/Security/AAA/users", 3},
  };
  // clang-format on
  for (const auto& [method, uri, wrong_root] : parsers) {
    EXPECT_EQ(camera.send(method, uri, "not <xml"), status_answer(uri, 3)) << method << " " << uri;
    EXPECT_EQ(camera.send(method, uri, "<Wrong><id>1</id></Wrong>"), status_answer(uri, wrong_root))
        << method << " " << uri;
  }
  EXPECT_EQ(camera.commands(), std::vector<std::string>{});
  EXPECT_EQ(every_row(camera), before);
}

TEST(Startup, ADatabaseThatCannotBeOpenedOrStaysLockedStopsTheResponder) {
  // The database at start-up, the line it ends with ("": it starts) and the camera time it took.
  // clang-format off
  const struct { const char* database; const char* line; int64_t waited_us; } cases[] = {
      {"missing", "PSIA: DB Open Failed", 0},
      {"", "PSIA: DB Open Failed", 0},
      {"this is not a database, it is a text file...\n", "PSIA: DB Open Failed", 0},
      {"drop", "PSIA: DB Open Failed", 0},  // without a camera table
      {"locked", "PSIA: database busy", 10000000},
      {"locked for 3 s", "", 3150000},  // the back-off's steps: 50 ms, 100 ms ... 300 ms, 300 ms ...
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.database);
    test_camera camera;
    std::string db = camera.path("/usr/local/korvia/kkorvia.db"), kind = c.database;
    std::unique_ptr<database_lock> lock;
    if (kind == "drop") {
      camera.exec("drop table Relay");
    } else if (kind.rfind("locked", 0) == 0) {
      lock = std::make_unique<database_lock>(camera, "begin exclusive");
      if (kind != "locked")
        camera.clock().on_sleep = [&] {
          if (camera.clock().now_us >= 3000000) lock->release();
        };
    } else {
      ASSERT_EQ(unlink(db.c_str()), 0);
      if (kind != "missing") std::ofstream(db) << kind;
    }
    psia::runtime_settings settings = camera.ctx().settings;
    psia::request_context ctx(settings, camera.clock());
    std::string errors;
    ctx.log.set_stream([&](const char* t, size_t n) { errors.append(t, n); });
    EXPECT_EQ(psia::start_up(ctx), *c.line == '\0');
    EXPECT_EQ(errors, *c.line != '\0' ? c.line + std::string("\n") : "");
    EXPECT_EQ(camera.clock().now_us, c.waited_us);
    EXPECT_EQ(access(db.c_str(), F_OK) == 0, kind != "missing");  // never created
  }
}

// The executable itself, as the web server runs it: a CGI program writing to the system logger, refusing to start
// without its database or with a setting that does not read.
TEST(Executable, ServesOneRequestAsACgiProgram) {
  test_camera camera;
  int logger = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", camera.path("/dev/log").c_str());
  ASSERT_EQ(bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  // The head is made anew when the second or the priority changes, on the camera's clock, stamped in UTC though a
  // client's PUT time set the process's zone 9 hours ahead.
  EXPECT_EQ(camera.put("/PSIA/System/time", "<Time><timeZone>JST-9</timeZone></Time>"),
            status_answer("/PSIA/System/time", 1));
  psia::syslog_socket direct(camera.path("/dev/log"), "psia-responder", &camera.clock());
  const std::string tag = " psia-responder[" + std::to_string(getpid()) + "]: ";
  std::vector<std::string> heads;
  char datagram[2048];
  for (int k = 0; k < 5; ++k) {
    if (k == 4) {  // the logger restarts: a new socket at the same path
      close(logger);
      unlink(address.sun_path);
      logger = socket(AF_UNIX, SOCK_DGRAM, 0);
      EXPECT_EQ(bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    camera.clock().now_us = k < 2 ? 0 : 1000000;
    direct.send(k < 3 ? 29 : 36, "x");
    ssize_t n = recv(logger, datagram, sizeof datagram, MSG_DONTWAIT);
    heads.push_back(std::string(datagram, n > 0 ? static_cast<size_t>(n) : 0));
  }
  EXPECT_EQ(heads, (std::vector<std::string>{"<29>May 12 10:20:30" + tag + "x", "<29>May 12 10:20:30" + tag + "x",
                                             "<29>May 12 10:20:31" + tag + "x", "<36>May 12 10:20:31" + tag + "x",
                                             "<36>May 12 10:20:31" + tag + "x"}));
  const std::string client = "REMOTE_ADDR=198.51.100.7",
                    admin = "HTTP_AUTHORIZATION=" + basic_authorization("admin", "admin");
  process_result answer = camera.run_cgi({"REQUEST_METHOD=GET", "REQUEST_URI=/PSIA/index", client,
                                          "HTTP_AUTHORIZATION=" + basic_authorization("admin", "guess")});
  EXPECT_EQ(answer.exit_status, 0) << answer.err;
  EXPECT_EQ(answer.out, kUnauthorized);
  // QUERY_STRING reaches the handlers: an azimuth given there (as 0) with the body's elevation is where the camera
  // is, answered at once (without it, the remembered position would wait on a daemon that is not there).
  const std::string absolute = "/PSIA/PTZ/channels/0/absolute";
  const std::vector<std::string> put =
      {"REQUEST_METHOD=PUT", "REQUEST_URI=" + absolute, "QUERY_STRING=AZIMUTH=&", "CONTENT_LENGTH=43", client, admin};
  EXPECT_EQ(camera.run_cgi(put, "<PTZData><elevation>0</elevation></PTZData>").out, status_answer(absolute, 1));
  EXPECT_EQ(camera.run_cgi({"REQUEST_METHOD=GET", "REQUEST_URI=/PSIA/index", "PSIA_LOGIN_ATTEMPTS=ten"}).exit_status,
            255);
  ASSERT_EQ(unlink(camera.path("/usr/local/korvia/kkorvia.db").c_str()), 0);
  answer = camera.run_cgi({"REQUEST_METHOD=GET", "REQUEST_URI=/PSIA/index"});
  EXPECT_EQ(answer.exit_status, 255);
  EXPECT_EQ(answer.err, "PSIA: DB Open Failed\n");
  std::vector<std::string> logged;
  for (ssize_t n; (n = recv(logger, datagram, sizeof datagram, MSG_DONTWAIT)) > 0;) {
    // "<PRI>Mmm dd hh:mm:ss psia-responder[pid]: text", without the stamp and the process id, which vary.
    std::string line(datagram, static_cast<size_t>(n));
    logged.push_back(line.substr(0, line.find('>') + 1) +
                     line.substr(line.find("]: ", line.find(" psia-responder[")) + 3));
  }
  close(logger);
  EXPECT_EQ(logged, (std::vector<std::string>{
                        "<36>refused Basic login from 198.51.100.7 as \"admin\": wrong password",
                        "<29>PUT from 198.51.100.7 by \"admin\" (level 0, Basic): status 1, path \"" + absolute + "\"",
                        "<27>PSIA: PSIA_LOGIN_ATTEMPTS=\"ten\" is not a setting: it takes a whole number (digits only) "
                        "from 0 to 1000, failed logins before a lock-out; 0 turns the login guard off",
                        "<27>PSIA: DB Open Failed",
                    }));

  // Each setting from the environment, the GETs run in turn, and what the last answer shows only with the setting.
  auto run = [](std::string uri, std::string user, std::string password, std::string from, std::string more = "") {
    return std::vector<std::string>{"REQUEST_METHOD=GET", "REQUEST_URI=" + uri, "REMOTE_ADDR=" + from, more,
                                    "HTTP_AUTHORIZATION=" + (user.empty() ? "" : basic_authorization(user, password))};
  };
  const std::string kOnce = "PSIA_LOGIN_ATTEMPTS=1";
  // clang-format off
  const struct { const char* setting; std::vector<std::vector<std::string>> runs; const char* shows; } settings[] = {
      {"PSIA_AUTH_SCHEMES=digest", {run("/PSIA/index", "", "", "192.0.2.1")}, "WWW-Authenticate: Digest"},
      {"PSIA_ACCESS_LEVELS=enforce", {run("/PSIA/index", "operator", "operator", "192.0.2.1")}, "<ResourceList"},
      {"HOSTNAME=hall-camera", {run("/PSIA/System/deviceInfo", "admin", "admin", "192.0.2.1")}, ">hall-camera<"},
      {kOnce.c_str(), {run("/PSIA/index", "admin", "x", "192.0.2.1"), run("/PSIA/index", "admin", "admin", "192.0.2.1")}, "Status: 401"},
      {"PSIA_LOGIN_LOCKOUT=0", {run("/PSIA/index", "admin", "x", "192.0.2.1", kOnce), run("/PSIA/index", "admin", "admin", "192.0.2.1", kOnce)}, "<ResourceList"},
      {"PSIA_LOGIN_BUDGET=1", {run("/PSIA/index", "admin", "x", "192.0.2.1"), run("/PSIA/index", "admin", "admin", "192.0.2.2")}, "Status: 401"},
  };
  // clang-format on
  for (const auto& s : settings) {
    for (bool set : {true, false}) {
      test_camera fresh("delete from Network");  // no stored device name
      std::string out;
      for (std::vector<std::string> r : s.runs) {
        if (set) r.push_back(s.setting);
        out = fresh.run_cgi(r).out;
      }
      EXPECT_EQ(out.find(s.shows) != std::string::npos, set) << s.setting << (set ? "" : " unset") << ": " << out;
    }
  }
}

const int64_t kSecond = 1000000;

TEST(LoginGuard, LocksOutDoublingUpToFifteenMinutes) {
  // Each step: failures from an address (-1: a login), whether it is then locked, the lock-out the last one started.
  // clang-format off
  struct guard_step { const char* address; int failures; int64_t at; bool locked; int64_t lockout = 0; };
  const std::vector<guard_step> steps = {
      {"A", 9, 0, false}, {"A", -1, 0, false},  // a success clears the count
      {"A", 9, 1, false}, {"A", 1, 2, true, 60 * kSecond},
      {"B", 0, 3, false},  // another address is not touched
      {"A", 0, 60 * kSecond + 1, true}, {"A", 0, 60 * kSecond + 2, false},
      {"A", 10, 61 * kSecond, true, 120 * kSecond}, {"A", 10, 200 * kSecond, true, 240 * kSecond},
      {"A", 10, 500 * kSecond, true, 480 * kSecond}, {"A", 10, 1000 * kSecond, true, 900 * kSecond},
      {"A", 10, 2000 * kSecond, true, 900 * kSecond},  // capped
      {"A", -1, 2001 * kSecond, false},  // cleared, the doubling too
      {"A", 10, 2002 * kSecond, true, 60 * kSecond},
      {"::ffff:192.0.2.1", 10, 2003 * kSecond, true, 60 * kSecond}, {"192.0.2.1", 0, 2004 * kSecond, true},  // one key
  };
  // clang-format on
  psia::login_guard guard(10, 60, 0);
  using guard_verdict = psia::login_guard::guard_verdict;
  for (const guard_step& s : steps) {
    int64_t lockout = 0;
    psia::address_key key = psia::guard_key(s.address);
    if (s.failures < 0) guard.succeeded(key, s.at);
    for (int i = 0; i < s.failures; ++i) lockout = guard.failed(key, s.at).lockout_us;
    EXPECT_EQ(guard.admit(key, s.at + (s.failures > 0 ? 1 : 0)) == guard_verdict::locked_out, s.locked) << s.at;
    EXPECT_EQ(lockout, s.lockout) << s.address << " at " << s.at;
  }
  // A full table: the slot of the address seen least recently starts clean for a new one, its count and lock-outs.
  for (int i = 0; i < 256 * 19; ++i) guard.failed(psia::guard_key(std::to_string(i % 256).c_str()), 3000 * kSecond);
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(guard.failed(psia::guard_key("N"), 3061 * kSecond).lockout_us, i < 9 ? 0 : 60 * kSecond) << i;
  // Rotating addresses never take a locked one's slot, however many come after it.
  for (int i = 0; i < 300; ++i) guard.failed(psia::guard_key(("r" + std::to_string(i)).c_str()), 3062 * kSecond);
  EXPECT_EQ(guard.admit(psia::guard_key("N"), 3062 * kSecond), guard_verdict::locked_out);
  // A known address failing on while the budget is spent holds unknown ones back a minute at most.
  psia::login_guard budget(1000, 60, 100);
  budget.succeeded(psia::guard_key("K"), 0);
  for (int i = 0; i < 500; ++i) budget.failed(psia::guard_key("K"), 0);
  EXPECT_EQ(budget.admit(psia::guard_key("U"), 60 * kSecond + 1), guard_verdict::check);
  for (const auto& [attempts, lockout] : std::vector<std::pair<int, int>>{{0, 60}, {10, 0}}) {
    psia::login_guard off(attempts, lockout);
    for (int i = 0; i < 500; ++i) off.failed(psia::guard_key("A"), i);
    EXPECT_EQ(off.admit(psia::guard_key("A"), 501), guard_verdict::check);
  }
  // Addresses as they are counted: IPv4 alone, IPv6 by the /64, IPv4-mapped as IPv4, anything else by its text.
  // clang-format off
  const std::pair<std::string, std::string> keys[] = {
      {"192.0.2.1", "192.0.2.1"}, {"::ffff:192.0.2.1", "192.0.2.1"}, {"2001:db8:1:2:3:4:5:6", "2001:db8:1:2::/64"},
      {"2001:DB8:1:2::9", "2001:db8:1:2::/64"}, {"fe80::1%eth0", "fe80::/64"}, {"::1", "::/64"},
      {"192.0.2.1.5", "192.0.2.1.5"}, {"", ""}, {"unix:/run/x", "unix:/run/x"},
      {std::string(60, 'z'), std::string(46, 'z')} /* cut to the key */,
      {"01.2.3.4", "01.2.3.4"} /* not a dotted quad inet_pton takes */};
  // clang-format on
  for (const auto& [address, shown] : keys) {
    char text[64];
    psia::guard_key_text(psia::guard_key(address.c_str()), text, sizeof text);
    EXPECT_EQ(std::string(text), shown) << address;
  }
}

// How many wrong passwords are checked in ten minutes, whatever the number of addresses (SECURITY.md's figure): 50
// logins a second, each from a new address (IPv4 and IPv6 in turn).
TEST(LoginGuard, NoNumberOfAddressesBuysMoreThanTheBudget) {
  psia::login_guard guard(10, 60, psia::login_guard::kDefaultBudget);
  const int64_t kWindow = 600 * kSecond, kStep = 20000;
  int checked = 0, first_minute = 0;
  for (int64_t now = 0, i = 0; now < kWindow; now += kStep, ++i) {
    std::string address = i % 2 == 0 ? "10." + std::to_string(i / 65536 % 256) + "." + std::to_string(i / 256 % 256) +
                                           "." + std::to_string(i % 256)
                                     : "2001:db8:" + std::to_string(i % 9999) + ":" + std::to_string(i / 9999) + "::1";
    psia::address_key key = psia::guard_key(address.c_str());
    if (guard.admit(key, now) != psia::login_guard::guard_verdict::check) continue;
    ++checked;
    if (now < 60 * kSecond) ++first_minute;
    guard.failed(key, now);
  }
  std::printf("worst case: %d password checks in %lld s (%d in the first minute)\n", checked,
              static_cast<long long>(kWindow / kSecond), first_minute);
  // The whole budget at once, then one every 0.6 s, from the start: at most 100 + 100 * t / 60 s in t.
  EXPECT_EQ(first_minute, 199);
  EXPECT_EQ(checked, 1099);
}

// A login as admin with `password` from `address` (through `worker`, when given): the answer.
std::string login_from(test_camera& camera, const std::string& address, const char* password = "admin",
                       psia::request_context* worker = nullptr) {
  test_request r = get_as("/PSIA/index", basic_authorization("admin", password));
  r.remote_addr = address;
  return camera.request(worker != nullptr ? *worker : camera.ctx(), r);
}
void fail_from(test_camera& camera, const std::string& address, int times = 1) {
  for (int i = 0; i < times; ++i) login_from(camera, address, "guess");
}
// `count` IPv4 addresses after `prefix` ("10.0." gives 10.0.0.0, 10.0.0.1...).
std::vector<std::string> addresses(const std::string& prefix, int count) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back(prefix + std::to_string(i / 256) + "." + std::to_string(i % 256));
  return out;
}
const std::string kRefused = "36 refused Basic login from ";
// The log lines of a refused login as admin from each of `from`.
std::vector<std::string> refusals(const std::vector<std::string>& from, const std::string& reason) {
  std::vector<std::string> out;
  for (const std::string& a : from) out.push_back(kRefused + a + " as \"admin\": " + reason);
  return out;
}
std::vector<std::string> lines(std::vector<std::vector<std::string>> parts) {
  std::vector<std::string> out;
  for (auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

TEST(LoginGuard, CannotBeOutrunAndABusyDatabaseIsNoFailedLogin) {
  std::vector<std::string> full_table;  // every address locked out, the first 64 refusals written
  for (const std::string& a : addresses("10.1.", 256)) {
    full_table.push_back("36 locked out " + a + " for 60 s after 1 failed logins");
    if (full_table.size() < 2 * 64) full_table.push_back(kRefused + a + " as \"admin\": wrong password");
  }
  const std::string budget_spent = " failed logins a minute from all addresses; addresses without a login wait";
  // Each case: the guard, what comes before (the database maybe locked), one right login: its answer, the clock
  // after it, the whole log after the next right logins (an address at a time), which are served.
  // clang-format off
  struct guard_case {
    const char* name; int attempts, lockout, budget; std::function<void(test_camera&)> before; bool database_locked;
    std::string address; bool admitted; int64_t at; std::vector<std::string> log; std::vector<std::pair<std::string, int64_t>> next;
  };
  const std::vector<std::string> a_minute = lines({refusals(addresses("10.0.", 64), "wrong password"), {"36 2 more refused from other addresses"}});
  const guard_case cases[] = {
      {"an IPv6 client is counted by its /64", 10, 60, 0,
       [&](test_camera& c) { for (int i = 1; i <= 10; ++i) fail_from(c, "2001:db8:1:2::" + std::to_string(i)); },
       false, "2001:db8:1:2:ffff::1", false, 0,
       lines({refusals({"2001:db8:1:2::1"}, "wrong password"), {"36 locked out 2001:db8:1:2::/64 for 60 s after 10 failed "
              "logins", "36 10 more refused from 2001:db8:1:2::/64"}}),
       {{"2001:db8:1:3::1", 0}, {"2001:db8:1:2::1", 60 * kSecond}}},
      {"the shared budget holds back unknown addresses, not known ones", 10, 60, 20,
       [&](test_camera& c) { login_from(c, "192.0.2.10"); for (const std::string& a : addresses("10.0.", 20)) fail_from(c, a); },
       false, "198.51.100.200", false, 0,
       lines({refusals(addresses("10.0.", 19), "wrong password"), {"36 login budget spent: 20" + budget_spent},
              refusals({"10.0.0.19"}, "wrong password"), refusals({"198.51.100.200"}, "login budget spent")}),
       {{"192.0.2.10", 0}, {"198.51.100.200", 3 * kSecond}}},  // one failure's share of the minute later
      {"a table full of locked addresses forgets none of them", 1, 60, 0,
       [&](test_camera& c) { for (const std::string& a : addresses("10.1.", 300)) fail_from(c, a); },
       false, "10.1.0.0", false, 0,
       lines({full_table, {"36 1 more refused from 10.1.0.0", "36 236 more refused from other addresses"}}),
       {{"10.2.0.1", 60 * kSecond}}},
      {"a busy database is no failed login", 10, 60, 100, [&](test_camera& c) { for (int i = 0; i < 12; ++i) login_from(c, "192.0.2.10"); },
       true, "192.0.2.10", false, 13 * 1050000,  // each login waits out the busy handler
       refusals({"192.0.2.10"}, "database busy or unreadable"),
       {{"192.0.2.10", 0}}},
      {"refusals are written once a minute an address", 0, 0, 0,
       [&](test_camera& c) { fail_from(c, "192.0.2.10", 1000); c.clock().now_us = 30 * kSecond; fail_from(c, "192.0.2.10"); },
       false, "192.0.2.10", true, 30 * kSecond,
       lines({refusals({"192.0.2.10"}, "wrong password"), {"36 1000 more refused from 192.0.2.10"}}),
       {{"192.0.2.10", 60 * kSecond}}},
      {"the addresses past the windows are summed each minute", 0, 0, 0, [&](test_camera& c) { for (int64_t t : {0, 60}) { c.clock().now_us = t * kSecond; for (const std::string& a : addresses("10.0.", 66)) fail_from(c, a); } },
       false, "192.0.2.10", true, 60 * kSecond, lines({a_minute, a_minute}), {{"192.0.2.10", 120 * kSecond}}},
  };
  // clang-format on
  for (const guard_case& c : cases) {
    SCOPED_TRACE(c.name);
    test_camera camera;
    psia::camera_lock(camera.ctx().camera).shared().guard = psia::login_guard(c.attempts, c.lockout, c.budget);
    std::unique_ptr<database_lock> lock;
    if (c.database_locked) lock = std::make_unique<database_lock>(camera, "begin exclusive");
    c.before(camera);
    EXPECT_EQ(login_from(camera, c.address), c.admitted ? document_answer(golden("index.xml")) : kUnauthorized);
    EXPECT_EQ(camera.clock().now_us, c.at);
    lock.reset();
    for (const auto& [address, at] : c.next) {
      camera.clock().now_us = std::max(camera.clock().now_us, at);
      EXPECT_EQ(login_from(camera, address), document_answer(golden("index.xml"))) << address;
    }
    EXPECT_EQ(camera.syslog(), c.log);
  }
}

TEST(Audit, RequestTextsNeverSplitOrForgeALineAndTheFixedFieldsComeFirst) {
  // Each text in at most 16 bytes, escaped: a text that does not fit is cut before an escape, never inside one.
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"}, {"a\nb\rc\x01", "a\\x0ab\\x0dc\\x01"}, {"\"quoted\" \\", "\\\"quoted\\\" \\\\"},
      {"caf\xc3\xa9", "caf\\xc3\\xa9"}, {std::string(16, 'x'), std::string(16, 'x')}, {std::string(17, 'x'), std::string(13, 'x') + "..."},
      {"ab\x7f" "cdefghijk", "ab\\x7fcdefghijk"} /* 16 whole */, {"abcdefghijk\x7f" "cd", "abcdefghijk..."}};
  // clang-format on
  for (const auto& [text, shown] : cases) {
    psia::text_buffer line;
    psia::append_printable(line, text.c_str(), 16);
    EXPECT_EQ(std::string(line.data(), line.length()), shown);
  }
  test_camera camera;
  test_request r =
      get_as("/PSIA/Custom/Event/notification/ftp/x\n29 forged line", basic_authorization("admin\nfake", "x"));
  r.method = "DELETE";
  camera.request(r);
  r.authorization = basic_authorization("admin", "admin");
  camera.request(r);
  EXPECT_EQ(camera.syslog(),
            (std::vector<std::string>{"36 refused Basic login from 192.0.2.10 as \"admin\\x0afake\": unknown user",
                                      "29 DELETE from 192.0.2.10 by \"admin\" (level 0, Basic): status 1, path "
                                      "\"/PSIA/Custom/Event/notification/ftp/x\\x0a29 forged line\""}));
  // Hostile paths: the line keeps its source, user, method and outcome, and fits the log's line whole.
  std::string quoted_utf8 = "/PSIA/" + std::string(200, 'p');
  for (int k = 0; k < 300; ++k) quoted_utf8 += "%22\xe6\x97\xa5\"";
  const std::string paths[] = {"/PSIA/" + std::string(600, 'p'), quoted_utf8};
  psia::event_log log;
  std::vector<std::string> written;
  log.set_syslog([&](int, const char* line) { written.push_back(line); });
  for (const std::string& path : paths)
    psia::audit_change(log, "2001:db8::1", std::string(31, '\x01').c_str(), 1, "Digest", "PUT", path.c_str(),
                       psia::answer::statuses({1, 2}));
  ASSERT_EQ(written.size(), 2u);
  std::string escaped_user;
  for (int k = 0; k < 31; ++k) escaped_user += "\\x01";
  const std::string fixed =
      "PUT from 2001:db8::1 by \"" + escaped_user + "\" (level 1, Digest): status 1, then 2, path \"";
  for (const std::string& line : written) {
    // Full, but for the escape that did not fit.
    EXPECT_LE(line.size(), psia::event_log::kLineLimit) << line;
    EXPECT_GT(line.size() + 4, psia::event_log::kLineLimit) << line;
    EXPECT_EQ(line.rfind(fixed, 0), 0u) << line;
    EXPECT_EQ(line.substr(line.size() - 4), "...\"") << line;
  }
}

// Two processes of one camera (two contexts on one region): a zone, a PTZ position and failed logins are shared; a
// killed holder frees the lock (a live one delays the other by the lock's wait); another layout's region is made anew.
TEST(Workers, TwoProcessesAreOneCamera) {
  test_camera camera("update Spec2 set PTZSupport=2");
  std::unique_ptr<psia::request_context> other = camera.another_worker();
  const std::string time = "/PSIA/System/time", absolute = "/PSIA/PTZ/channels/0/absolute";
  const char* position =
      "<PTZData><azimuth>90</azimuth><elevation>10</elevation><absolutezoom>50</absolutezoom></PTZData>";
  camera.put(absolute, position);
  camera.request(*other, {"PUT", absolute, position});  // the position is the camera's: not sent again
  EXPECT_EQ(camera.commands(),
            (std::vector<std::string>{"63 frame=E50100CF7F254429682E", "63 frame=E50100CD0005CB83"}));
  const std::string seen = "<localTime>2011-05-12T11:20:30</localTime><timeZone>CET-1</timeZone>";
  EXPECT_EQ(camera.put(time, "<Time><timeMode>NTP</timeMode><timeZone>CET-1</timeZone></Time>"),
            status_answer(time, 1));
  EXPECT_NE(camera.request(*other, {"GET", time}).find(seen), std::string::npos);

  const std::string from = "198.51.100.7";
  for (int i = 0; i < 10; ++i) login_from(camera, from, "guess", i % 2 != 0 ? other.get() : nullptr);  // five each
  EXPECT_EQ(login_from(camera, from), kUnauthorized);
  EXPECT_EQ(login_from(camera, from, "admin", other.get()), kUnauthorized);

  const std::string region = camera.path("/run/psia-responder/camera-state");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  pid_t holder = fork();
  if (holder == 0) {
    alarm(30);
    psia::system_clock clock;
    psia::event_log quiet;
    psia::shared_camera held(10, 60, 100);
    held.attach(region, psia::camera_sharing::guard_only, clock, quiet);  // another parent: no rebuild
    psia::camera_lock lock(held);
    char c = lock.held() && &lock.camera() != &lock.shared() ? 'y' : 'n';  // its zone stays its own
    if (write(ready[1], &c, 1) == 1) pause();
    _exit(1);
  }
  char c = 'n';
  EXPECT_EQ(read(ready[0], &c, 1), 1);
  EXPECT_EQ(c, 'y');
  // A guard that cannot be read in the lock's wait is no guard of the process's own: the login is refused, and not
  // counted.
  int64_t start = camera.clock().now_us;
  EXPECT_EQ(camera.request(*other, get_as("/PSIA/index", basic_authorization("admin", "admin"))), kUnauthorized);
  EXPECT_EQ(camera.clock().now_us - start, psia::shared_camera::kLockWaitUs);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
  start = camera.clock().now_us;
  EXPECT_NE(camera.request(*other, {"GET", time}).find("<timeZone>CET-1</timeZone>"), std::string::npos);
  EXPECT_EQ(camera.clock().now_us, start);  // no wait
  const std::string stayed_locked = "PSIA: the shared camera state stayed locked: this request uses its own\n";
  EXPECT_EQ(camera.errors(), stayed_locked);
  // A reset starts the zone generation again: a worker that had seen a later one applies the next change.
  other->camera.reset(psia::camera_state(10, 60, 100));
  EXPECT_EQ(camera.put(time, "<Time><timeZone>JST-9</timeZone></Time>"), status_answer(time, 1));
  EXPECT_NE(camera.request(*other, {"GET", time}).find("<localTime>2011-05-12T19:"), std::string::npos);  // in JST

  // Another build's region (its layout word differs): the state starts afresh, in the current layout.
  int fd = open(region.c_str(), O_WRONLY);
  const uint32_t layout = psia::camera_region::kLayout + 1;
  EXPECT_EQ(pwrite(fd, &layout, sizeof layout, offsetof(psia::camera_region, layout)), 4);
  close(fd);
  std::unique_ptr<psia::request_context> third = camera.another_worker();
  EXPECT_EQ(camera.request(*third, {"GET", time}).find("<timeZone>CET-1</timeZone>"), std::string::npos);
  EXPECT_EQ(login_from(camera, from, "admin", third.get()), document_answer(golden("index.xml")));

  // CGI runs share the guard with the workers: ten failures in ten runs lock the address out of a worker.
  for (int i = 0; i < 10; ++i)
    camera.run_cgi({"REQUEST_METHOD=GET", "REQUEST_URI=/PSIA/index", "REMOTE_ADDR=198.51.100.7",
                    "HTTP_AUTHORIZATION=" + basic_authorization("admin", "guess")});
  EXPECT_EQ(login_from(camera, from, "admin", third.get()), kUnauthorized);
}

}  // namespace
