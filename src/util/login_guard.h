// The login guard: a client address that fails to log in too often in a
// row is refused for a while, whatever credentials it sends, so that
// passwords cannot be tried at the speed the responder answers.
//
// It counts consecutive failed logins per address. The attempts-th failure
// locks the address out for the lock-out time, doubled for each further
// lock-out of the same address, up to 15 minutes; a successful login
// clears the address's record. The table holds a bounded number of
// addresses: a flood of addresses makes it forget the least recently seen
// one (an address not locked out, where there is one), never grow.
#ifndef PSIA_UTIL_LOGIN_GUARD_H
#define PSIA_UTIL_LOGIN_GUARD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace psia {

class LoginGuard {
 public:
  static constexpr size_t kAddresses = 256;
  static constexpr int64_t kLongestLockoutUs = 15 * 60 * 1000000LL;

  // Zero attempts or a zero lock-out turn the guard off.
  LoginGuard(int attempts, int lockout_seconds)
      : attempts_(attempts), lockout_us_(static_cast<int64_t>(lockout_seconds) * 1000000) {}

  bool enabled() const { return attempts_ > 0 && lockout_us_ > 0; }
  // True while the address is locked out.
  bool locked(const std::string& address, int64_t now_us) const;
  // A failed login. Returns the length of the lock-out it starts (in
  // microseconds), or 0 when it starts none.
  int64_t failed(const std::string& address, int64_t now_us);
  void succeeded(const std::string& address);
  size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    std::string address;
    int failures = 0;
    int lockouts = 0;
    int64_t locked_until = 0;
    int64_t last_seen = 0;
  };
  Entry* find(const std::string& address);

  int attempts_;
  int64_t lockout_us_;
  std::vector<Entry> entries_;
};

}  // namespace psia

#endif  // PSIA_UTIL_LOGIN_GUARD_H
