#include "util/base64.h"

namespace psia {

namespace {

struct decode_table {
  signed char value[256];
  constexpr decode_table() : value() {
    for (int i = 0; i < 256; ++i) value[i] = -1;
    const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 64; ++i)
      value[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
  }
};

constexpr decode_table kTable;

}  // namespace

int base64_decode(const char* text, unsigned char* out, int capacity) {
  int written = 0;
  int phase = 0;
  int previous = 0;
  auto emit = [&](int byte) {
    if (written < capacity) out[written++] = static_cast<unsigned char>(byte);
  };
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != '\0'; ++p) {
    int current = kTable.value[*p];
    if (current < 0) continue;
    switch (phase) {
      case 1: emit((previous << 2) | ((current & 0x30) >> 4)); break;
      case 2: emit(((previous & 0x0F) << 4) | ((current & 0x3C) >> 2)); break;
      case 3: emit(current | ((previous & 0x03) << 6)); break;
      default: break;
    }
    phase = (phase + 1) & 3;
    previous = current;
  }
  return written;
}

}  // namespace psia
