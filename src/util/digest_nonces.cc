#include "util/digest_nonces.h"

#include <cstring>

namespace psia {

const digest_nonces::entry* digest_nonces::find(int64_t issued_us, uint32_t salt) const {
  for (const entry& e : entries)
    if (e.last_count != 0 && e.issued_us == issued_us && e.salt == salt) return &e;
  return nullptr;
}

digest_nonces::count_verdict digest_nonces::use(int64_t issued_us, uint32_t salt,
                                                const unsigned char* mac, uint32_t count,
                                                int64_t now_us, int64_t lifetime_us) {
  entry* free_entry = nullptr;
  entry* oldest = nullptr;
  for (entry& e : entries) {
    if (e.last_count != 0 && e.issued_us == issued_us && e.salt == salt) {
      if (count <= e.last_count) return count_verdict::replayed;
      e.last_count = count;
      return count_verdict::fresh;
    }
    // An expired nonce is refused before it is counted: its entry is free.
    if (e.last_count != 0 && now_us - e.issued_us > lifetime_us) e.last_count = 0;
    if (e.last_count == 0) {
      if (free_entry == nullptr) free_entry = &e;
    } else if (oldest == nullptr || e.issued_us < oldest->issued_us) {
      oldest = &e;
    }
  }
  if (issued_us <= forgotten_up_to_us) return count_verdict::forgotten;
  if (free_entry == nullptr) {
    // Every entry is a live nonce: the first issued is forgotten.
    if (oldest->issued_us > forgotten_up_to_us) forgotten_up_to_us = oldest->issued_us;
    free_entry = oldest;
    if (issued_us <= forgotten_up_to_us) {
      free_entry->last_count = 0;
      return count_verdict::forgotten;
    }
  }
  *free_entry = {issued_us, salt, count, {}};
  std::memcpy(free_entry->mac, mac, kMacSize);
  return count_verdict::fresh;
}

}  // namespace psia
