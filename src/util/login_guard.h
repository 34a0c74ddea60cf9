// The login guard: passwords cannot be tried at the speed the responder
// answers, from one address or from any number of them.
//
// Three limits, each checked before the database is asked anything:
// - Per address: the attempts-th failed login in a row locks the address
//   out for the lock-out time, doubled for each further lock-out of the
//   same address, up to 15 minutes; a successful login clears its record.
//   An IPv4 address counts alone, an IPv6 address by its /64 (one client
//   owns a whole /64), an IPv4-mapped IPv6 address as the IPv4 address, and
//   an address that parses as neither by its text.
// - The whole camera: every failed login, from wherever, spends the shared
//   budget (budget failures a minute, refilled evenly; the full budget may
//   be spent at once). While it is spent, unknown addresses wait.
//   An address is known once a correct login came from it while this
//   process ran (the 16 most recent such addresses are kept): those are
//   held to their own per-address limit only, so the administrator's
//   client keeps working through an attack from elsewhere.
// - The table: it holds 256 unknown addresses. A locked-out address is
//   never forgotten before its lock-out ends; when every entry is locked
//   out, an address not in the table is refused until one ends.
//
// The guard also decides which refused logins reach the log: the first one
// of an address in a minute, then one summary of the rest, so that a
// brute-force run cannot flush the camera's small log.
//
// Its whole memory is one fixed-size plain struct (login_guard_table): no
// pointers, no heap, so that it can live in memory shared between
// processes.
#ifndef PSIA_UTIL_LOGIN_GUARD_H
#define PSIA_UTIL_LOGIN_GUARD_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace psia {

// A client address as the guard counts it. Unused bytes are zero, so two
// keys are equal when their bytes are.
struct address_key {
  static constexpr uint8_t kUnused = 0, kText = 1, kIpv4 = 4, kIpv6Prefix = 6;
  uint8_t kind;
  uint8_t size;       // bytes used of `bytes`
  uint8_t bytes[46];  // 4 (IPv4), 8 (the /64) or the text, cut to the field
};

// The key of a client address (REMOTE_ADDR as the web server passes it).
address_key guard_key(const char* address);
// The key as a log shows it: "192.0.2.1", "2001:db8::/64", or the text as
// it came (for the caller to escape).
void guard_key_text(const address_key& key, char* out, size_t size);

struct guard_record {
  address_key key;       // kind kUnused: a free slot
  int32_t failures;      // failed logins in a row
  int32_t lockouts;      // lock-outs so far (each doubles the next)
  int64_t locked_until;  // microseconds of the guard's clock
  int64_t last_seen;     // last failure; for known addresses, last login
};

// One address's refusals in the current minute of the log.
struct refusal_window {
  address_key key;  // kind kUnused: a free slot
  int64_t since;    // the refusal that was written
  int32_t more;     // refusals not written since
};

struct login_guard_table {
  static constexpr size_t kAddresses = 256;
  static constexpr size_t kKnown = 16;
  static constexpr size_t kRefusalLines = 64;

  int32_t attempts;
  int32_t budget;  // failed logins a minute, all addresses (0: none)
  int64_t lockout_us;
  int64_t budget_due;   // when the budget is whole again (see spent())
  int64_t budget_told;  // until then the spent budget is not logged again
  guard_record unknown[kAddresses];
  guard_record known[kKnown];
  refusal_window refusals[kRefusalLines];
  int64_t other_since;  // refusals of addresses the windows cannot hold
  int32_t other_more;
};
static_assert(std::is_trivially_copyable<login_guard_table>::value &&
                  std::is_standard_layout<login_guard_table>::value,
              "the guard's memory must stay a plain struct");

class login_guard {
 public:
  static constexpr int64_t kLongestLockoutUs = 15 * 60 * 1000000LL;
  static constexpr int64_t kMinuteUs = 60 * 1000000LL;
  static constexpr int kDefaultBudget = 100;

  // Zero attempts or a zero lock-out turn the guard off (the budget with
  // it); a zero budget leaves the per-address limit alone.
  login_guard(int attempts, int lockout_seconds, int budget = kDefaultBudget);

  bool enabled() const { return table_.attempts > 0 && table_.lockout_us > 0; }

  enum class guard_verdict { check, locked_out, budget_spent, table_full };
  // Whether a login from `key` may be checked now.
  guard_verdict admit(const address_key& key, int64_t now_us) const;

  struct failed_login {
    int64_t lockout_us = 0;     // the lock-out this failure started, or 0
    bool budget_spent = false;  // it spent the budget: worth a log line
  };
  failed_login failed(const address_key& key, int64_t now_us);
  void succeeded(const address_key& key, int64_t now_us);

  // A refused login from `key`: true when it is to be written, false when
  // it is only counted for the summary. end_refusal_windows() comes first.
  bool refusal_written(const address_key& key, int64_t now_us);
  // Ends the log windows whose minute is over, calling
  // summary(const address_key* key, int more) for each that held refusals not
  // written (key null: the addresses the windows could not hold).
  template <typename Summary>
  void end_refusal_windows(int64_t now_us, Summary&& summary);

  // Unknown addresses held.
  size_t size() const;
  const login_guard_table& table() const { return table_; }

 private:
  bool spent(int64_t now_us) const;
  // The record of `key`, and whether it is a known address's.
  guard_record* find(const address_key& key, bool* known);
  const guard_record* find(const address_key& key, bool* known) const;
  // A slot for a new unknown address: a free one, else the least recently
  // seen one not locked out; null when every one is locked out.
  guard_record* free_slot(int64_t now_us);

  login_guard_table table_;
};

template <typename Summary>
void login_guard::end_refusal_windows(int64_t now_us, Summary&& summary) {
  for (refusal_window& w : table_.refusals) {
    if (w.key.kind == address_key::kUnused || now_us - w.since < kMinuteUs) continue;
    if (w.more > 0) summary(&w.key, static_cast<int>(w.more));
    w = refusal_window{};
  }
  if (table_.other_more > 0 && now_us - table_.other_since >= kMinuteUs) {
    summary(static_cast<const address_key*>(nullptr), static_cast<int>(table_.other_more));
    table_.other_more = 0;
  }
}

}  // namespace psia

#endif  // PSIA_UTIL_LOGIN_GUARD_H
