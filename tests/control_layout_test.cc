// The control frame's byte layout. The control daemon is a separate
// program that reads the frame by offsets, so the bytes are the contract:
// on the camera (32-bit ARM, a 4-byte long) the frame is 1132 bytes.
#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include "control/control_message.h"

// A 32-bit build that got the frame wrong must not build at all.
static_assert(sizeof(long) != 4 || sizeof(control_message) == 1132,
              "the camera's control frame is 1132 bytes");

namespace {

TEST(ControlLayout, FieldsSitAfterTheTypeWord) {
  const size_t word = sizeof(long);
  struct Case {
    const char* field;
    size_t offset;
    size_t expected;
  } cases[] = {
      {"command", offsetof(control_message, command), word},
      {"status", offsetof(control_message, status), word + 4},
      {"payload", offsetof(control_message, payload), word + 8},
      {"end", sizeof(control_message), word + 8 + kControlPayloadSize},
  };
  for (const Case& c : cases) EXPECT_EQ(c.offset, c.expected) << c.field;
  EXPECT_EQ(kControlMessageSize, 8 + kControlPayloadSize);
  if (word == 4) {
    EXPECT_EQ(sizeof(control_message), 1132u);  // the camera
  }
}

// The bytes the daemon reads: little-endian words at fixed frame offsets.
TEST(ControlLayout, FrameBytesAsTheDaemonReadsThem) {
  control_message msg;
  init_control_message(&msg);
  msg.command = kCommandSetTimeZone;
  control_put_int(&msg, 8, 0x01020304);
  control_put_text(&msg, 12, 4, "Japan");  // cut to its field: "Jap" + NUL

  unsigned char frame[sizeof(control_message)];
  std::memcpy(frame, &msg, sizeof frame);
  const size_t payload = sizeof(long) + 8;
  const unsigned char command[] = {7, 0, 0, 0};
  const unsigned char number[] = {4, 3, 2, 1};
  const unsigned char text[] = {'J', 'a', 'p', 0, 0};
  EXPECT_EQ(std::memcmp(frame + sizeof(long), command, 4), 0);
  EXPECT_EQ(std::memcmp(frame + payload + 8, number, 4), 0);
  EXPECT_EQ(std::memcmp(frame + payload + 12, text, 5), 0);
}

}  // namespace
