#include "util/login_guard.h"

#include <algorithm>

namespace psia {

LoginGuard::Entry* LoginGuard::find(const std::string& address) {
  for (Entry& e : entries_)
    if (e.address == address) return &e;
  return nullptr;
}

bool LoginGuard::locked(const std::string& address, int64_t now_us) const {
  if (!enabled()) return false;
  for (const Entry& e : entries_)
    if (e.address == address) return now_us < e.locked_until;
  return false;
}

int64_t LoginGuard::failed(const std::string& address, int64_t now_us) {
  if (!enabled()) return 0;
  Entry* e = find(address);
  if (e == nullptr) {
    if (entries_.size() >= kAddresses) {
      // Forget the least recently seen address, sparing those locked out
      // while there are others.
      auto older = [now_us](const Entry& a, const Entry& b) {
        bool a_locked = now_us < a.locked_until, b_locked = now_us < b.locked_until;
        return a_locked != b_locked ? !a_locked : a.last_seen < b.last_seen;
      };
      entries_.erase(std::min_element(entries_.begin(), entries_.end(), older));
    }
    entries_.push_back(Entry{address});
    e = &entries_.back();
  }
  e->last_seen = now_us;
  if (++e->failures < attempts_) return 0;
  e->failures = 0;
  int64_t lockout = lockout_us_;
  for (int i = 0; i < e->lockouts && lockout < kLongestLockoutUs; ++i) lockout *= 2;
  lockout = std::min(lockout, kLongestLockoutUs);
  ++e->lockouts;
  e->locked_until = now_us + lockout;
  return lockout;
}

void LoginGuard::succeeded(const std::string& address) {
  entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                [&](const Entry& e) { return e.address == address; }),
                 entries_.end());
}

}  // namespace psia
