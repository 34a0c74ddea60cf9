#include "frame/digest.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <nettle/hmac.h>
#include <nettle/md5.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>
#include <strings.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace psia {

const char kRealm[] = "Aldex Smart IP Device Authentication";

namespace {

const char kKeyFile[] = "/digest-nonce.key";
// A nonce: issue time (8 bytes) and salt (4), then the first 12 bytes of
// their HMAC, in hex.
constexpr size_t kNonceFields = 12;
constexpr size_t kNonceMac = digest_nonces::kMacSize;
constexpr size_t kNonceHex = 2 * (kNonceFields + kNonceMac);

const char kHex[] = "0123456789abcdef";

// nettle is opened by the Digest modes at start-up, not linked: the basic
// mode (and every CGI run in it) never loads it, so its start-up costs
// nothing more.
struct nettle_functions {
  decltype(&nettle_md5_init) md5_start;
  decltype(&nettle_md5_update) md5_add;
  decltype(&nettle_md5_digest) md5_end;
  decltype(&nettle_sha256_init) sha256_start;
  decltype(&nettle_sha256_update) sha256_add;
  decltype(&nettle_sha256_digest) sha256_end;
  decltype(&nettle_hmac_sha256_set_key) mac_key;
  decltype(&nettle_hmac_sha256_update) mac_add;
  decltype(&nettle_hmac_sha256_digest) mac_end;
  decltype(&nettle_memeql_sec) equal;
};

template <typename F>
bool find_symbol(void* handle, const char* name, F* out) {
  *out = reinterpret_cast<F>(dlsym(handle, name));
  return *out != nullptr;
}

// The library's entry points, like those the loader binds: found once,
// never changed; null when it cannot be loaded.
const nettle_functions* nettle() {
  static const nettle_functions* const loaded = []() -> const nettle_functions* {
    static nettle_functions f;
    void* handle = dlopen("libnettle.so.8", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return nullptr;
    bool found = find_symbol(handle, "nettle_md5_init", &f.md5_start) &&
                 find_symbol(handle, "nettle_md5_update", &f.md5_add) &&
                 find_symbol(handle, "nettle_md5_digest", &f.md5_end) &&
                 find_symbol(handle, "nettle_sha256_init", &f.sha256_start) &&
                 find_symbol(handle, "nettle_sha256_update", &f.sha256_add) &&
                 find_symbol(handle, "nettle_sha256_digest", &f.sha256_end) &&
                 find_symbol(handle, "nettle_hmac_sha256_set_key", &f.mac_key) &&
                 find_symbol(handle, "nettle_hmac_sha256_update", &f.mac_add) &&
                 find_symbol(handle, "nettle_hmac_sha256_digest", &f.mac_end) &&
                 find_symbol(handle, "nettle_memeql_sec", &f.equal);
    return found ? &f : nullptr;
  }();
  return loaded;
}

void to_hex(const uint8_t* bytes, size_t count, char* out) {
  for (size_t i = 0; i < count; ++i) {
    out[2 * i] = kHex[bytes[i] >> 4];
    out[2 * i + 1] = kHex[bytes[i] & 15];
  }
  out[2 * count] = '\0';
}

// Each character's value as a hex digit, either case; -1 for the others.
constexpr std::array<int8_t, 256> kHexValues = [] {
  std::array<int8_t, 256> values = {};
  for (int c = 0; c < 256; ++c)
    values[c] = static_cast<int8_t>(c >= '0' && c <= '9'   ? c - '0'
                                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                           : -1);
  return values;
}();

// Exactly 2 * count hex digits.
bool from_hex(const char* text, uint8_t* out, size_t count) {
  if (std::strlen(text) != 2 * count) return false;
  for (size_t i = 0; i < count; ++i) {
    int high = kHexValues[static_cast<unsigned char>(text[2 * i])];
    int low = kHexValues[static_cast<unsigned char>(text[2 * i + 1])];
    if ((high | low) < 0) return false;
    out[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return true;
}

void nonce_mac(const digest_nonces& nonces, const uint8_t* fields, uint8_t* mac) {
  const nettle_functions& n = *nettle();
  // The key's padded blocks are hashed once per key (a process has one from
  // start-up on), not once per MAC.
  static struct {
    bool ready;
    unsigned char key[digest_nonces::kKeySize];
    hmac_sha256_ctx ctx;
  } keyed;
  if (!keyed.ready || !n.equal(keyed.key, nonces.key, sizeof keyed.key)) {
    n.mac_key(&keyed.ctx, sizeof nonces.key, nonces.key);
    std::memcpy(keyed.key, nonces.key, sizeof keyed.key);
    keyed.ready = true;
  }
  hmac_sha256_ctx ctx = keyed.ctx;
  n.mac_add(&ctx, kNonceFields, fields);
  n.mac_end(&ctx, kNonceMac, mac);
}

void put_fields(int64_t issued_us, uint32_t salt, uint8_t* fields) {
  auto issued = static_cast<uint64_t>(issued_us);
  for (int i = 0; i < 8; ++i) fields[i] = static_cast<uint8_t>(issued >> (56 - 8 * i));
  for (int i = 0; i < 4; ++i) fields[8 + i] = static_cast<uint8_t>(salt >> (24 - 8 * i));
}

// Bytes of the system's random source; `block` waits for it to be ready.
bool random_bytes(void* out, size_t count, bool block) {
  auto* bytes = static_cast<uint8_t*>(out);
  for (size_t got = 0; got < count;) {
    ssize_t n = getrandom(bytes + got, count - got, block ? 0 : GRND_NONBLOCK);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    got += static_cast<size_t>(n);
  }
  return true;
}

bool read_key(const std::string& path, unsigned char* key, std::string* problem) {
  int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    *problem = "cannot open " + path + ": " + std::strerror(errno);
    return false;
  }
  struct stat st;
  size_t got = 0;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size == digest_nonces::kKeySize) {
    while (got < digest_nonces::kKeySize) {
      ssize_t n = read(fd, key + got, digest_nonces::kKeySize - got);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      got += static_cast<size_t>(n);
    }
  }
  close(fd);
  if (got == digest_nonces::kKeySize) return true;
  *problem = path + " is not a key of 32 bytes";
  return false;
}

// The value of one Digest parameter, as it stands in the header (quoted
// values without their quotes, escapes still in).
struct param_value {
  const char* at = nullptr;
  size_t length = 0;
  bool present = false;
  bool escaped = false;  // a backslash in it: it escapes the next character
};

struct digest_params {
  param_value username, realm, nonce, uri, response, algorithm, cnonce, qop, nc, userhash;
};

param_value* slot_of(digest_params& p, const char* name, size_t length) {
  struct named {
    const char* name;  // lower-case letters
    size_t length;
    param_value digest_params::*field;
  };
  static const named kNames[] = {
      {"username", 8, &digest_params::username},
      {"realm", 5, &digest_params::realm},
      {"nonce", 5, &digest_params::nonce},
      {"uri", 3, &digest_params::uri},
      {"response", 8, &digest_params::response},
      {"algorithm", 9, &digest_params::algorithm},
      {"cnonce", 6, &digest_params::cnonce},
      {"qop", 3, &digest_params::qop},
      {"nc", 2, &digest_params::nc},
      {"userhash", 8, &digest_params::userhash},
  };
  for (const named& n : kNames) {
    if (n.length != length) continue;
    // Setting bit 5 folds an upper-case letter onto its lower case and
    // makes no other character a lower-case letter.
    size_t i = 0;
    while (i < length && (name[i] | 0x20) == n.name[i]) ++i;
    if (i == length) return &(p.*n.field);
  }
  return nullptr;  // opaque and the rest: not used
}

bool blank(char c) { return c == ' ' || c == '\t'; }

// name=token or name="quoted", separated by commas. False for anything
// else, and for a parameter given twice.
bool parse_params(const char* p, digest_params* out) {
  while (true) {
    while (blank(*p) || *p == ',') ++p;
    if (*p == '\0') return true;
    const char* name = p;
    p += std::strcspn(p, "= \t,");
    auto name_length = static_cast<size_t>(p - name);
    while (blank(*p)) ++p;
    if (*p != '=' || name_length == 0) return false;
    ++p;
    while (blank(*p)) ++p;
    param_value v;
    v.present = true;
    if (*p == '"') {
      v.at = ++p;
      // Up to the closing quote; a backslash takes the next character as it is.
      while (*(p += std::strcspn(p, "\"\\")) == '\\') {
        if (p[1] == '\0') return false;
        v.escaped = true;
        p += 2;
      }
      if (*p == '\0') return false;
      v.length = static_cast<size_t>(p - v.at);
      ++p;
    } else {
      v.at = p;
      while (*p != '\0' && *p != ',' && !blank(*p)) ++p;
      v.length = static_cast<size_t>(p - v.at);
      v.escaped = std::memchr(v.at, '\\', v.length) != nullptr;  // taken as in quotes
    }
    param_value* slot = slot_of(*out, name, name_length);
    if (slot != nullptr) {
      if (slot->present) return false;
      *slot = v;
    }
  }
}

// The value without its escapes into `out` (`size` bytes); false when it
// does not fit whole.
bool copy_value(const param_value& v, char* out, size_t size) {
  if (!v.escaped) {
    if (v.length >= size) return false;
    std::memcpy(out, v.at, v.length);
    out[v.length] = '\0';
    return true;
  }
  size_t n = 0;
  for (size_t i = 0; i < v.length; ++i) {
    if (v.at[i] == '\\') ++i;
    if (n + 1 >= size) return false;
    out[n++] = v.at[i];
  }
  out[n] = '\0';
  return true;
}

// The value, without its escapes, is `text`.
bool value_is(const param_value& v, const char* text) {
  if (!v.escaped) return std::strncmp(v.at, text, v.length) == 0 && text[v.length] == '\0';
  size_t n = 0;
  for (size_t i = 0; i < v.length; ++i) {
    if (v.at[i] == '\\') ++i;
    if (text[n] == '\0' || text[n] != v.at[i]) return false;
    ++n;
  }
  return text[n] == '\0';
}

bool value_is_word(const param_value& v, const char* word) {
  return std::strlen(word) == v.length && strncasecmp(v.at, word, v.length) == 0;
}

// One hash, MD5 or SHA-256, fed piece by piece. A plain value: a state
// part-way through can be kept and copied.
class digest_hash {
 public:
  digest_hash() = default;
  explicit digest_hash(digest_algorithm algorithm) : algorithm_(algorithm), n_(nettle()) {
    if (algorithm_ == digest_algorithm::md5)
      n_->md5_start(&md5_);
    else
      n_->sha256_start(&sha256_);
  }
  digest_hash& add(const char* text, size_t n) {
    auto* bytes = reinterpret_cast<const uint8_t*>(text);
    if (algorithm_ == digest_algorithm::md5)
      n_->md5_add(&md5_, n, bytes);
    else
      n_->sha256_add(&sha256_, n, bytes);
    return *this;
  }
  digest_hash& add(const char* text) { return add(text, std::strlen(text)); }
  digest_hash& add_field(const char* text) { return add(":", 1).add(text); }
  size_t size() const {
    return algorithm_ == digest_algorithm::md5 ? MD5_DIGEST_SIZE : SHA256_DIGEST_SIZE;
  }
  // The digest into `out` (size() bytes).
  void end(uint8_t* out) {
    if (algorithm_ == digest_algorithm::md5)
      n_->md5_end(&md5_, MD5_DIGEST_SIZE, out);
    else
      n_->sha256_end(&sha256_, SHA256_DIGEST_SIZE, out);
  }
  // The hex digest into `out` (65 bytes).
  void hex(char* out) {
    uint8_t bytes[SHA256_DIGEST_SIZE];
    end(bytes);
    to_hex(bytes, size(), out);
  }

 private:
  digest_algorithm algorithm_ = digest_algorithm::md5;
  const nettle_functions* n_ = nullptr;
  md5_ctx md5_ = {};
  sha256_ctx sha256_ = {};
};

// Every response hash of an account starts with its HA1 and ':', the same
// for each of its requests: the state after them is kept for the last few
// accounts. The password is kept with it and compared, so that a password
// changed in the database is never answered from here; one too long for
// the entry is hashed every time.
struct account_hash {
  bool kept;
  digest_algorithm algorithm;
  char user[32];
  char password[64];
  digest_hash after_ha1;
};
constexpr int kAccountHashes = 8;
account_hash account_hashes[kAccountHashes];
int next_account_hash = 0;  // the oldest entry, replaced next

digest_hash response_start(digest_algorithm algorithm, const char* user, const char* password) {
  for (const account_hash& a : account_hashes)
    if (a.kept && a.algorithm == algorithm && std::strcmp(a.user, user) == 0 &&
        std::strcmp(a.password, password) == 0)
      return a.after_ha1;
  char ha1[65];
  digest_hash(algorithm).add(user).add_field(kRealm).add_field(password).hex(ha1);
  digest_hash started(algorithm);
  started.add(ha1, 2 * started.size()).add(":", 1);
  size_t user_length = std::strlen(user), password_length = std::strlen(password);
  account_hash& a = account_hashes[next_account_hash];
  if (user_length < sizeof a.user && password_length < sizeof a.password) {
    a.kept = true;
    a.algorithm = algorithm;
    std::memcpy(a.user, user, user_length + 1);
    std::memcpy(a.password, password, password_length + 1);
    a.after_ha1 = started;
    next_account_hash = (next_account_hash + 1) % kAccountHashes;
  }
  return started;
}

// HA2 hashes the method and the uri: the last one is kept, for a client
// asking for the same resource again.
struct request_hash {
  bool kept;
  digest_algorithm algorithm;
  char method[16];
  char uri[128];
  char ha2[65];
};
request_hash last_request_hash;

const char* request_ha2(digest_algorithm algorithm, const char* method, const char* uri) {
  request_hash& r = last_request_hash;
  if (r.kept && r.algorithm == algorithm && std::strcmp(r.method, method) == 0 &&
      std::strcmp(r.uri, uri) == 0)
    return r.ha2;
  digest_hash(algorithm).add(method).add_field(uri).hex(r.ha2);
  size_t method_length = std::strlen(method), uri_length = std::strlen(uri);
  r.kept = method_length < sizeof r.method && uri_length < sizeof r.uri;
  if (r.kept) {
    r.algorithm = algorithm;
    std::memcpy(r.method, method, method_length + 1);
    std::memcpy(r.uri, uri, uri_length + 1);
  }
  return r.ha2;
}

}  // namespace

std::string nonce_key_path(const runtime_settings& settings) {
  return settings.host_path(std::string(kRuntimeDirectory) + kKeyFile);
}

bool load_nonce_key(const std::string& path, digest_nonces* nonces, std::string* problem) {
  nonces->key_loaded = false;
  if (nettle() == nullptr) {
    *problem = "cannot load libnettle.so.8 (MD5, SHA-256, HMAC)";
    return false;
  }
  if (access(path.c_str(), F_OK) != 0) {
    // Made whole under a name of this process's, then linked into place:
    // a process that loses the race reads the winner's key.
    unsigned char key[digest_nonces::kKeySize];
    if (!random_bytes(key, sizeof key, true)) {
      *problem = std::string("no random bytes for the nonce key: ") + std::strerror(errno);
      return false;
    }
    std::string temporary = path + "." + std::to_string(getpid());
    unlink(temporary.c_str());  // left by a process of the same id that died here
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
      *problem = "cannot make " + temporary + ": " + std::strerror(errno);
      return false;
    }
    bool written = write(fd, key, sizeof key) == static_cast<ssize_t>(sizeof key) && fsync(fd) == 0;
    close(fd);
    std::memset(key, 0, sizeof key);
    int linked = written ? link(temporary.c_str(), path.c_str()) : -1;
    int link_error = errno;
    unlink(temporary.c_str());
    if (!written || (linked != 0 && link_error != EEXIST)) {
      *problem = "cannot make " + path + ": " + std::strerror(written ? link_error : EIO);
      return false;
    }
  }
  if (!read_key(path, nonces->key, problem)) return false;
  nonces->key_loaded = true;
  return true;
}

void digest_response(digest_algorithm algorithm, const char* user, const char* password,
                     const char* realm, const char* method, const char* uri, const char* nonce,
                     const char* nc, const char* cnonce, char* out) {
  char ha1[65], ha2[65];
  digest_hash(algorithm).add(user).add_field(realm).add_field(password).hex(ha1);
  digest_hash(algorithm).add(method).add_field(uri).hex(ha2);
  digest_hash(algorithm)
      .add(ha1)
      .add_field(nonce)
      .add_field(nc)
      .add_field(cnonce)
      .add_field("auth")
      .add_field(ha2)
      .hex(out);
}

text_buffer digest_challenges(request_context& ctx, bool stale, bool with_basic) {
  camera_lock lock(ctx.camera);
  const digest_nonces& nonces = lock.shared().digest;
  uint32_t salt = 0;
  // The salt keeps nonces of one microsecond apart; it need not be secret.
  if (!random_bytes(&salt, sizeof salt, false))
    salt = static_cast<uint32_t>(getpid()) * 2654435761u ^
           static_cast<uint32_t>(ctx.clock.monotonic_us());
  uint8_t fields[kNonceFields + kNonceMac];
  put_fields(ctx.clock.monotonic_us(), salt, fields);
  nonce_mac(nonces, fields, fields + kNonceFields);
  char nonce[kNonceHex + 1];
  to_hex(fields, sizeof fields, nonce);
  text_buffer lines;
  for (const char* algorithm : {"SHA-256", "MD5"}) {
    lines.append("WWW-Authenticate: Digest realm=\"");
    lines.append(kRealm);
    lines.append("\", qop=\"auth\", algorithm=");
    lines.append(algorithm);
    lines.append(", nonce=\"");
    lines.append(nonce);
    lines.append(stale ? "\", stale=true\n" : "\"\n");
  }
  if (with_basic) {
    lines.append("WWW-Authenticate: Basic realm=\"");
    lines.append(kRealm);
    lines.append("\"\n");
  }
  return lines;
}

digest_login read_digest(request_context& ctx, const char* params, const char* request_uri) {
  digest_login login;
  digest_params p;
  if (!parse_params(params, &p) || !p.username.present) return login;
  // The user first: the audit names it whatever else is wrong.
  login.user_too_long = !copy_value(p.username, login.user, sizeof login.user);
  if (login.user_too_long) {
    size_t n = p.username.length < sizeof login.user ? p.username.length : sizeof login.user - 1;
    std::memcpy(login.user, p.username.at, n);
    login.user[n] = '\0';
  }
  if (!p.realm.present || !p.nonce.present || !p.uri.present || !p.response.present ||
      !p.cnonce.present || !p.qop.present || !p.nc.present)
    return login;
  if (!p.algorithm.present || value_is_word(p.algorithm, "MD5"))
    login.algorithm = digest_algorithm::md5;
  else if (value_is_word(p.algorithm, "SHA-256"))
    login.algorithm = digest_algorithm::sha256;
  else
    return login;  // the -sess forms and other hashes are not offered
  size_t response_length = login.algorithm == digest_algorithm::md5 ? 32 : 64;
  uint8_t count[4];
  if (!value_is_word(p.qop, "auth") || !value_is(p.realm, kRealm) ||
      (p.userhash.present && !value_is_word(p.userhash, "false")) ||
      !copy_value(p.nc, login.nc, sizeof login.nc) || !from_hex(login.nc, count, 4) ||
      !copy_value(p.cnonce, login.cnonce, sizeof login.cnonce) || login.cnonce[0] == '\0' ||
      !copy_value(p.response, login.response, sizeof login.response) ||
      std::strlen(login.response) != response_length ||
      !copy_value(p.nonce, login.nonce, sizeof login.nonce))
    return login;
  login.count = static_cast<uint32_t>(count[0]) << 24 | count[1] << 16 | count[2] << 8 | count[3];
  if (login.count == 0) return login;
  if (request_uri == nullptr || !value_is(p.uri, request_uri)) {
    login.checked = digest_login::verdict::uri_mismatch;
    return login;
  }
  uint8_t fields[kNonceFields + kNonceMac], mac[kNonceMac];
  login.checked = digest_login::verdict::forged_nonce;
  camera_lock lock(ctx.camera);
  const digest_nonces& nonces = lock.shared().digest;
  if (!nonces.key_loaded || !from_hex(login.nonce, fields, sizeof fields)) return login;
  uint64_t issued = 0;
  for (int i = 0; i < 8; ++i) issued = issued << 8 | fields[i];
  login.issued_us = static_cast<int64_t>(issued);
  login.salt =
      static_cast<uint32_t>(fields[8]) << 24 | fields[9] << 16 | fields[10] << 8 | fields[11];
  std::memcpy(login.mac, fields + kNonceFields, kNonceMac);
  // A nonce already counted had its MAC checked then: the same MAC is
  // compared, not computed again.
  const digest_nonces::entry* known = nonces.find(login.issued_us, login.salt);
  if (known == nullptr) nonce_mac(nonces, fields, mac);
  if (!nettle()->equal(known != nullptr ? known->mac : mac, login.mac, kNonceMac)) return login;
  // Issued later than now: not by this camera since it started.
  if (login.issued_us < 0 || login.issued_us > ctx.clock.monotonic_us()) return login;
  login.checked = digest_login::verdict::usable;
  return login;
}

bool digest_matches(const digest_login& login, const char* password, const char* method,
                    const char* request_uri) {
  digest_hash h = response_start(login.algorithm, login.user, password);
  h.add(login.nonce).add_field(login.nc).add_field(login.cnonce).add(":auth:", 6);
  h.add(request_ha2(login.algorithm, method, request_uri), 2 * h.size());
  // Compared as bytes: the response's hex digits in either case.
  uint8_t expected[SHA256_DIGEST_SIZE], sent[SHA256_DIGEST_SIZE];
  h.end(expected);
  return from_hex(login.response, sent, h.size()) && nettle()->equal(expected, sent, h.size());
}

nonce_state use_nonce(request_context& ctx, const digest_login& login) {
  int64_t now = ctx.clock.monotonic_us();
  if (now - login.issued_us > kNonceLifetimeUs) return nonce_state::stale;
  // Counts kept by another process cannot be read now: the client is sent
  // for a new nonce rather than let through unchecked.
  camera_lock lock(ctx.camera);
  if (ctx.camera.attached() && !lock.held()) return nonce_state::stale;
  switch (lock.shared().digest.use(login.issued_us, login.salt, login.mac, login.count, now,
                                   kNonceLifetimeUs)) {
    case digest_nonces::count_verdict::fresh: return nonce_state::fresh;
    case digest_nonces::count_verdict::replayed: return nonce_state::replayed;
    case digest_nonces::count_verdict::forgotten: break;
  }
  return nonce_state::stale;
}

}  // namespace psia
