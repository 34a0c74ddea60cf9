// HTTP Digest logins (qop "auth", MD5 and SHA-256), checked against the
// same accounts as Basic.
//
// Nonces are checked without being stored: each is its issue time on the
// monotonic clock, a random salt and an HMAC-SHA256 of both under a key
// that every responder process reads from one file of the runtime
// directory (made at the first start), so a CGI process checks the nonce
// another process issued. A nonce lives kNonceLifetimeUs; an older one
// with a right response is answered stale, and the client retries with a
// new nonce without asking its user. The nonce counts seen are kept
// (util/digest_nonces.h), so a replayed (nonce, nc) is refused.
#ifndef PSIA_FRAME_DIGEST_H
#define PSIA_FRAME_DIGEST_H

#include <cstdint>
#include <string>

#include "io/request_context.h"
#include "util/text_buffer.h"

namespace psia {

constexpr int64_t kNonceLifetimeUs = 300 * 1000000LL;
// The realm of every challenge, Basic's and Digest's.
extern const char kRealm[];

enum class digest_algorithm { md5, sha256 };

// The nonce key's file, below PSIA_ROOT.
std::string nonce_key_path(const runtime_settings& settings);
// Reads the key from `path`, making the file (0600, 32 bytes of the
// system's random source) when there is none; two processes starting at
// once end up with the same key. It loads nettle first (the hashes are
// used only once a key is loaded). False with `problem` set when nettle
// cannot be loaded or the key can be neither read nor made.
bool load_nonce_key(const std::string& path, digest_nonces* nonces, std::string* problem);

// The lower-case hex response of RFC 7616 (qop "auth") into `out` (65
// bytes).
void digest_response(digest_algorithm algorithm, const char* user, const char* password,
                     const char* realm, const char* method, const char* uri, const char* nonce,
                     const char* nc, const char* cnonce, char* out);

// The WWW-Authenticate lines of a 401 in the Digest modes: Digest SHA-256,
// Digest MD5 (one new nonce for both), and Basic when it is accepted too.
text_buffer digest_challenges(request_context& ctx, bool stale, bool with_basic);

// A Digest Authorization header's parameters, checked as far as they can
// be without the account: the form, the realm, qop, the algorithm, the uri
// against the request's and the nonce's MAC.
struct digest_login {
  enum class verdict { usable, malformed, uri_mismatch, forged_nonce };
  verdict checked = verdict::malformed;
  digest_algorithm algorithm = digest_algorithm::md5;
  char user[32] = "";  // cut to 31 characters, for the audit when too long
  bool user_too_long = false;
  char nonce[64] = "";
  char nc[9] = "";
  char cnonce[256] = "";
  char response[65] = "";
  uint32_t count = 0;
  int64_t issued_us = 0;
  uint32_t salt = 0;
  unsigned char mac[digest_nonces::kMacSize] = {};
};
// `params` is the header after "Digest ".
digest_login read_digest(request_context& ctx, const char* params, const char* request_uri);
// Whether the response is the one `password` gives.
bool digest_matches(const digest_login& login, const char* password, const char* method,
                    const char* request_uri);
// Fresh: not expired and the count not seen before (recorded now).
enum class nonce_state { fresh, stale, replayed };
nonce_state use_nonce(request_context& ctx, const digest_login& login);

}  // namespace psia

#endif  // PSIA_FRAME_DIGEST_H
