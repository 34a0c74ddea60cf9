// Request-level tests of the request frame: authentication, routing answers,
// the catalogue documents and the header blocks, byte for byte.
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "responder_harness.h"

namespace {

const char kUnauthorized[] =
    "Status: 401 Unauthorized\n"
    "WWW-Authenticate: Basic realm=\"Aldex Smart IP Device Authentication\"\n"
    "Content-Type: text/plain\n\n"
    "Unauthorized\n";

const char kListRoot[] =
    "<ResourceList version=\"1.0\" xmlns=\"urn:psialliance-org\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:psialliance-org "
    "http://www.psialliance.org/XMLSchemas/service.xsd\">";

std::string entry(const char* name, const char* type) {
  return std::string("<Resource version=\"1.0\"><name>") + name +
         "</name><version>1.0</version><type>" + type + "</type></Resource>";
}

class FrameTest : public ::testing::Test {
 protected:
  Camera camera_;
};

}  // namespace

TEST_F(FrameTest, AuthenticationAdmitsOnlyLevelZeroAccounts) {
  camera_.exec(
      "insert into UserAccount values('op1', 'pw1', 1);"
      "insert into UserAccount values('viewer', 'pw2', 2);");
  struct Case {
    std::string authorization;
    bool admitted;
  } cases[] = {
      {basic_authorization("admin", "admin"), true},
      {"Xxxxx " + basic_authorization("admin", "admin").substr(6), true},  // scheme unread
      {"", false},                                         // no header
      {"Basic", false},                                    // too short
      {basic_authorization("admin", "wrong"), false},
      {basic_authorization("ADMIN", "admin"), false},      // names are exact
      {basic_authorization("op1", "pw1"), false},          // level 1
      {basic_authorization("viewer", "pw2"), false},       // level 2
      {basic_authorization("nobody", "x"), false},
      {basic_authorization("admin' or '1'='1", "admin"), false},
      {"Basic " + std::string(5000, 'Q'), false},          // any length
  };
  for (const Case& c : cases) {
    Request r;
    r.uri = "/PSIA/Security/index";
    r.authorization = c.authorization;
    ProcessResult answer = camera_.request(r);
    EXPECT_EQ(answer.exit_status, 0);
    if (c.admitted)
      EXPECT_EQ(answer.out.rfind("Content-Length: ", 0), 0u) << c.authorization;
    else
      EXPECT_EQ(answer.out, kUnauthorized) << c.authorization;
  }
}

TEST_F(FrameTest, UnmatchedRequestsAnswerInvalidOperation) {
  for (const char* uri : {"/PSIA/foo", "/PSIA/Security/AAA/users/", "/PSIA/PTZ/index",
                          "/PSIA/System/status?x=<b>&y=%s"}) {
    EXPECT_EQ(camera_.send("POST", uri).out, status_answer(uri, 4)) << uri;
  }
}

TEST_F(FrameTest, MissingRequestParametersEndTheRequestSilently) {
  Request r;
  r.uri = "/PSIA/index";
  r.method = "";
  r.env.clear();
  ProcessResult answer = camera_.request(r);
  EXPECT_EQ(answer.exit_status, 0);
}

TEST_F(FrameTest, RootIndexIsExact) {
  std::string body = std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n") +
                     kListRoot + entry("index", "resource") + entry("indexr", "resource") +
                     entry("description", "resource") + entry("System", "service") +
                     entry("Security", "service") + entry("Streaming", "service") +
                     "</ResourceList>";
  EXPECT_EQ(camera_.get("/PSIA/index").out, document_answer(body));
}

TEST_F(FrameTest, CatalogueDocumentsCarryTheirBranchHeaders) {
  struct Case {
    const char* uri;
    const char* content_type;
    const char* starts;  // after the headers
  } cases[] = {
      {"/PSIA/System/Network/index", kXmlType, "<?xml version=\"1.0\" encoding=\"UTF-8\" ?><ResourceList"},
      {"/PSIA/System/Network/description", kXmlType,
       "<?xml version=\"1.0\" encoding=\"UTF-8\" ?><ResourceDescription"},
      {"/PSIA/System/Audio/index", kXmlUtf8Type, "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<ResourceList"},
      {"/PSIA/Custom/Event/index", kXmlType, "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<ResourceList"},
      {"/PSIA/PTZ/channels/description", kXmlType,
       "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<ResourceDescription"},
  };
  for (const Case& c : cases) {
    std::string out = camera_.get(c.uri).out;
    size_t end = out.find("\r\n\r\n");
    ASSERT_NE(end, std::string::npos) << c.uri;
    std::string body = out.substr(end + 4);
    EXPECT_EQ(out, document_answer(body, c.content_type)) << c.uri;
    EXPECT_EQ(body.rfind(c.starts, 0), 0u) << c.uri;
    xmlDocPtr doc = xmlReadMemory(body.data(), static_cast<int>(body.size()), nullptr, nullptr,
                                  XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    EXPECT_NE(doc, nullptr) << c.uri << " is not well-formed";
    xmlFreeDoc(doc);
  }
}

TEST_F(FrameTest, BodiesThatCannotBeReadAnswerDeviceError) {
  // The schedule update stands for every handler that reads a body.
  struct Case {
    std::string body;
    bool has_length;
    std::string length;
  } cases[] = {
      {"", false, ""},                                 // no CONTENT_LENGTH
      {"", true, "0"},
      {"<DeviceInfo/>", true, "999999999999999999999"},  // huge
      {"<DeviceInfo/>", true, "-5"},
      {"<DeviceInfo/>", true, "100"},                  // more than arrives
      {"<DeviceInfo><deviceName>x</deviceName>", true, ""},  // malformed
  };
  for (const Case& c : cases) {
    Request r;
    r.method = "PUT";
    r.uri = "/PSIA/Custom/Event/schedule";
    r.body = c.body;
    r.has_content_length = c.has_length;
    r.content_length = c.length;
    ProcessResult answer = camera_.request(r);
    EXPECT_EQ(answer.exit_status, 0);
    EXPECT_EQ(answer.out, status_answer(r.uri, 3)) << c.length;
    EXPECT_EQ(camera_.query("select Week from Event"), "127");  // nothing stored
  }
}

TEST(Startup, AMissingDatabaseEndsTheProcessWithoutCreatingOne) {
  Camera camera;
  std::string db = camera.database_path();
  ASSERT_EQ(std::remove(db.c_str()), 0);
  ProcessResult answer = camera.get("/PSIA/index");
  EXPECT_EQ(answer.exit_status, 255);
  EXPECT_EQ(answer.out, "");
  EXPECT_NE(answer.err.find("PSIA: DB Open Failed\n"), std::string::npos);
  EXPECT_NE(access(db.c_str(), F_OK), 0);

  FILE* f = fopen(db.c_str(), "w");
  fputs("this is not a database, it is a text file of some length........\n", f);
  fclose(f);
  EXPECT_EQ(camera.get("/PSIA/index").exit_status, 255);
}

TEST(Startup, PtzBranchOpensWithPtzSupportTwo) {
  Camera closed("update Spec2 set PTZSupport=1;");
  EXPECT_EQ(closed.get("/PSIA/PTZ/index").out, status_answer("/PSIA/PTZ/index", 4));
  Camera open("update Spec2 set PTZSupport=2;");
  EXPECT_NE(open.get("/PSIA/PTZ/index").out.find("<ResourceList"), std::string::npos);
}
