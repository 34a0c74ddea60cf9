#include "util/login_guard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace psia {

namespace {

bool same(const address_key& a, const address_key& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool locked(const guard_record& r, int64_t now_us) { return now_us < r.locked_until; }

}  // namespace

address_key guard_key(const char* address) {
  address_key key{};
  const char* text = address != nullptr ? address : "";
  // A scope ("fe80::1%eth0") names the interface, not the client.
  char bare[64];
  size_t length = std::strcspn(text, "%");
  bool fits = length < sizeof bare;
  if (fits) {
    std::memcpy(bare, text, length);
    bare[length] = '\0';
  }
  unsigned char ip[16];
  if (fits && inet_pton(AF_INET, bare, ip) == 1) {
    key.kind = address_key::kIpv4;
    key.size = 4;
    std::memcpy(key.bytes, ip, 4);
  } else if (fits && inet_pton(AF_INET6, bare, ip) == 1) {
    static const unsigned char kMapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (std::memcmp(ip, kMapped, sizeof kMapped) == 0) {
      key.kind = address_key::kIpv4;
      key.size = 4;
      std::memcpy(key.bytes, ip + 12, 4);
    } else {
      key.kind = address_key::kIpv6Prefix;
      key.size = 8;
      std::memcpy(key.bytes, ip, 8);
    }
  } else {
    key.kind = address_key::kText;
    key.size = static_cast<uint8_t>(std::min(std::strlen(text), sizeof key.bytes));
    std::memcpy(key.bytes, text, key.size);
  }
  return key;
}

void guard_key_text(const address_key& key, char* out, size_t size) {
  if (size == 0) return;
  out[0] = '\0';
  unsigned char ip[16] = {};
  char shown[INET6_ADDRSTRLEN] = "";
  switch (key.kind) {
    case address_key::kIpv4:
      std::memcpy(ip, key.bytes, 4);
      if (inet_ntop(AF_INET, ip, shown, sizeof shown) != nullptr)
        std::snprintf(out, size, "%s", shown);
      break;
    case address_key::kIpv6Prefix:
      std::memcpy(ip, key.bytes, 8);
      if (inet_ntop(AF_INET6, ip, shown, sizeof shown) != nullptr)
        std::snprintf(out, size, "%s/64", shown);
      break;
    case address_key::kText: {
      size_t n = std::min(static_cast<size_t>(key.size), size - 1);
      std::memcpy(out, key.bytes, n);
      out[n] = '\0';
      break;
    }
    default: break;
  }
}

login_guard::login_guard(int attempts, int lockout_seconds, int budget) : table_() {
  table_.attempts = attempts > 0 ? attempts : 0;
  table_.lockout_us = lockout_seconds > 0 ? static_cast<int64_t>(lockout_seconds) * 1000000 : 0;
  table_.budget = budget > 0 ? budget : 0;
}

// The shared budget as a virtual schedule: each failure moves budget_due
// one share of the minute (60 s / budget) later, starting from now when it
// lies in the past. The budget is spent while one more failure would move
// it more than a minute ahead: at most `budget` failures at once, then one
// a share.
bool login_guard::spent(int64_t now_us) const {
  if (table_.budget == 0) return false;
  int64_t share = kMinuteUs / table_.budget;
  return std::max(table_.budget_due, now_us) + share > now_us + kMinuteUs;
}

const guard_record* login_guard::find(const address_key& key, bool* known) const {
  *known = true;
  for (const guard_record& r : table_.known)
    if (r.key.kind != address_key::kUnused && same(r.key, key)) return &r;
  *known = false;
  for (const guard_record& r : table_.unknown)
    if (r.key.kind != address_key::kUnused && same(r.key, key)) return &r;
  return nullptr;
}

guard_record* login_guard::find(const address_key& key, bool* known) {
  return const_cast<guard_record*>(static_cast<const login_guard*>(this)->find(key, known));
}

guard_record* login_guard::free_slot(int64_t now_us) {
  guard_record* oldest = nullptr;
  for (guard_record& r : table_.unknown) {
    if (r.key.kind == address_key::kUnused) return &r;
    if (!locked(r, now_us) && (oldest == nullptr || r.last_seen < oldest->last_seen)) oldest = &r;
  }
  return oldest;
}

size_t login_guard::size() const {
  size_t n = 0;
  for (const guard_record& r : table_.unknown) n += r.key.kind != address_key::kUnused;
  return n;
}

login_guard::guard_verdict login_guard::admit(const address_key& key, int64_t now_us) const {
  if (!enabled()) return guard_verdict::check;
  bool known = false;
  const guard_record* r = find(key, &known);
  if (r != nullptr && locked(*r, now_us)) return guard_verdict::locked_out;
  if (r != nullptr && known) return guard_verdict::check;
  if (spent(now_us)) return guard_verdict::budget_spent;
  if (r == nullptr) {
    bool room = false;
    for (const guard_record& u : table_.unknown)
      room = room || u.key.kind == address_key::kUnused || !locked(u, now_us);
    if (!room) return guard_verdict::table_full;
  }
  return guard_verdict::check;
}

login_guard::failed_login login_guard::failed(const address_key& key, int64_t now_us) {
  failed_login result;
  if (!enabled()) return result;
  if (table_.budget > 0) {
    bool was_spent = spent(now_us);
    int64_t share = kMinuteUs / table_.budget;
    // Failures of known addresses while it is spent cannot push it further
    // than a minute ahead: unknown addresses never wait longer than that
    // for the next failure's share.
    table_.budget_due = std::min(std::max(table_.budget_due, now_us) + share, now_us + kMinuteUs);
    if (!was_spent && spent(now_us) && now_us >= table_.budget_told) {
      result.budget_spent = true;
      table_.budget_told = now_us + kMinuteUs;
    }
  }
  bool known = false;
  guard_record* r = find(key, &known);
  if (r == nullptr) {
    r = free_slot(now_us);
    // Every entry is locked out: admit() refuses such an address, so only
    // a check that outlasted a lock-out's end comes here; the budget
    // counted it.
    if (r == nullptr) return result;
    *r = guard_record{};
    r->key = key;
  }
  if (!known) r->last_seen = now_us;
  if (++r->failures < table_.attempts) return result;
  r->failures = 0;
  int64_t lockout = table_.lockout_us;
  for (int i = 0; i < r->lockouts && lockout < kLongestLockoutUs; ++i) lockout *= 2;
  lockout = std::min(lockout, kLongestLockoutUs);
  ++r->lockouts;
  r->locked_until = now_us + lockout;
  result.lockout_us = lockout;
  return result;
}

void login_guard::succeeded(const address_key& key, int64_t now_us) {
  if (!enabled()) return;
  bool known = false;
  guard_record* r = find(key, &known);
  if (r != nullptr && !known) *r = guard_record{};
  if (!known) {
    // The known address whose last login is oldest makes room; one locked
    // out keeps its place until its lock-out ends.
    r = nullptr;
    for (guard_record& k : table_.known) {
      if (k.key.kind == address_key::kUnused) {
        r = &k;
        break;
      }
      if (!locked(k, now_us) && (r == nullptr || k.last_seen < r->last_seen)) r = &k;
    }
    if (r == nullptr) return;
  }
  *r = guard_record{};
  r->key = key;
  r->last_seen = now_us;
}

bool login_guard::refusal_written(const address_key& key, int64_t now_us) {
  refusal_window* free_window = nullptr;
  for (refusal_window& w : table_.refusals) {
    if (w.key.kind == address_key::kUnused) {
      if (free_window == nullptr) free_window = &w;
    } else if (same(w.key, key)) {
      ++w.more;
      return false;
    }
  }
  if (free_window != nullptr) {
    free_window->key = key;
    free_window->since = now_us;
    free_window->more = 0;
    return true;
  }
  if (table_.other_more == 0) table_.other_since = now_us;
  ++table_.other_more;
  return false;
}

}  // namespace psia
