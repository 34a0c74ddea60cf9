// What the responder keeps for Digest logins: the key its nonces are
// signed with (the same for every responder process: read from one file),
// and the nonce counts seen, so that a (nonce, nc) pair is accepted once.
//
// Plain fixed fields (no pointers, no heap), so that it can live in memory
// shared between processes. The count table is bounded: a nonce that has
// expired is forgotten first; when every entry is a live nonce, the one
// issued first is forgotten, and every nonce issued no later than a
// forgotten one is answered as stale from then on (its client asks for a
// new nonce without asking its user): a forgotten nonce can never be
// replayed from its first count again.
#ifndef PSIA_UTIL_DIGEST_NONCES_H
#define PSIA_UTIL_DIGEST_NONCES_H

#include <cstdint>

namespace psia {

struct digest_nonces {
  static constexpr int kKeySize = 32;
  static constexpr int kEntries = 128;
  static constexpr int kMacSize = 12;

  unsigned char key[kKeySize] = {};
  bool key_loaded = false;

  struct entry {
    int64_t issued_us;
    uint32_t salt;
    uint32_t last_count;  // 0: a free entry (a count is never 0)
    // The nonce's MAC, checked when the entry was made: a nonce found here
    // with the same MAC needs no second check.
    unsigned char mac[kMacSize];
  };
  entry entries[kEntries] = {};
  // Nonces issued no later than this that are not in the table were
  // forgotten (-1: none).
  int64_t forgotten_up_to_us = -1;

  enum class count_verdict { fresh, replayed, forgotten };
  // Records `count` for the nonce (issued_us, salt) whose MAC is `mac`:
  // fresh when it is greater than every count the nonce came with before.
  count_verdict use(int64_t issued_us, uint32_t salt, const unsigned char* mac, uint32_t count,
                    int64_t now_us, int64_t lifetime_us);
  // The nonce's entry, or null.
  const entry* find(int64_t issued_us, uint32_t salt) const;
};

}  // namespace psia

#endif  // PSIA_UTIL_DIGEST_NONCES_H
