// The request body reader and the XML input helpers, in-process: the body
// comes from a memory stream standing in for the FastCGI input.
#include "io/request_body.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "io/response.h"
#include "io/stream.h"
#include "io/xml_input.h"

namespace {

std::string g_input;
size_t g_offset = 0;
std::string g_output;

size_t read_input(void* data, size_t size) {
  size_t n = std::min(size, g_input.size() - g_offset);
  std::memcpy(data, g_input.data() + g_offset, n);
  g_offset += n;
  return n;
}
void write_output(const void* data, size_t size) {
  g_output.append(static_cast<const char*>(data), size);
}
void write_error(const char*, size_t) {}

const stream_hooks kMemoryStreams = {write_output, read_input, write_error};

class BodyTest : public ::testing::Test {
 protected:
  void SetUp() override { set_stream_hooks(&kMemoryStreams); }
  void TearDown() override {
    set_stream_hooks(nullptr);
    unsetenv("CONTENT_LENGTH");
    release_request_body();
  }
  void feed(const std::string& body, const char* content_length) {
    g_input = body;
    g_offset = 0;
    g_output.clear();
    if (content_length != nullptr) setenv("CONTENT_LENGTH", content_length, 1);
    else unsetenv("CONTENT_LENGTH");
  }
};

}  // namespace

TEST_F(BodyTest, MemoryModeReadsExactlyTheAnnouncedBytes) {
  struct Case {
    std::string body;
    const char* length;
    int result;
    std::string kept;
  } cases[] = {
      {"<a>1</a>", "8", 0, "<a>1</a>"},
      {"<a>1</a>trailing", "8", 0, "<a>1</a>"},  // only what was announced
      {"<a>1</a>", "20", -1, ""},                // shorter than announced
      {"<a>1</a>", "0", -1, ""},
      {"<a>1</a>", nullptr, -1, ""},
      {"<a>1</a>", "-1", -1, ""},
      {"<a>1</a>", "abc", -1, ""},
      {"<a>1</a>", "18446744073709551617", -1, ""},  // huge
      {"<a>1</a>", "1048577", -1, ""},               // above the limit
  };
  for (const Case& c : cases) {
    feed(c.body, c.length);
    EXPECT_EQ(read_request_body(nullptr), c.result) << (c.length ? c.length : "absent");
    EXPECT_EQ(std::string(request_body()), c.kept);
    EXPECT_EQ(request_body()[request_body_length()], '\0');
  }
}

TEST_F(BodyTest, FileModeStoresTheBodyWholeOrNotAtAll) {
  char dir[] = "/tmp/psia-body-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string path = std::string(dir) + "/upload.dat";
  std::string big(2500, 'z');
  big[1024] = 'A';
  feed(big, "2500");
  EXPECT_EQ(read_request_body(path.c_str()), 0);
  std::ifstream in(path, std::ios::binary);
  std::stringstream stored;
  stored << in.rdbuf();
  EXPECT_EQ(stored.str(), big);
  EXPECT_NE(access((path + ".part").c_str(), F_OK), 0);

  std::string missing_dir = std::string(dir) + "/no/such/dir/file";
  feed(big, "2500");
  EXPECT_EQ(read_request_body(missing_dir.c_str()), -1);
  std::remove(path.c_str());
  rmdir(dir);
}

TEST(Ipv4Text, ReadsDottedQuadsInBothByteOrders) {
  struct Case {
    const char* text;
    int ok;
    uint32_t network, host;
  } cases[] = {
      {"192.168.1.20", 1, 0x1401A8C0u, 0xC0A80114u},
      {"1.2.3", 0, 0, 0},
      {"mail.example.com", 0, 0, 0},
      {"10.0.0.1 trailing", 1, 0x0100000Au, 0x0A000001u},
      {"1.2.3.256", 1, 0x00030201u, 0x01020300u},  // 256 spills into the next byte
      {"", 0, 0, 0},
  };
  for (const Case& c : cases) {
    uint32_t network = 0, host = 0;
    EXPECT_EQ(parse_ipv4_text(c.text, &network, 1), c.ok) << c.text;
    EXPECT_EQ(parse_ipv4_text(c.text, &host, 0), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(network, c.network) << c.text;
      EXPECT_EQ(host, c.host) << c.text;
    }
  }
}

TEST(ResponseStatus, UnknownCodesAreAnsweredAsDeviceError) {
  g_output.clear();
  set_stream_hooks(&kMemoryStreams);
  setenv("REQUEST_URI", "/PSIA/x", 1);
  write_response_status(0);
  std::string zero = g_output;
  g_output.clear();
  write_response_status(3);
  EXPECT_EQ(zero, g_output);
  EXPECT_NE(zero.find("<statusCode>3</statusCode>"), std::string::npos);
  set_stream_hooks(nullptr);
  unsetenv("REQUEST_URI");
}
