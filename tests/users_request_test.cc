// Request-level tests of the user accounts resource.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

const char kUsers[] = "/PSIA/Security/AAA/users";

std::string names(Camera& camera) {
  return camera.query("select group_concat(UserID || ':' || Password || ':' || Authority, ' ') "
                      "from UserAccount");
}

TEST(Users, ListAndSingleAccountDocuments) {
  Camera camera("delete from UserAccount where UserID in ('operator', 'guest');"
                "insert into UserAccount values ('carol', 'c', 2);"
                "insert into UserAccount values ('dave', 'd', 2);");
  EXPECT_EQ(camera.get(kUsers).out,
            document_answer("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
                            "<UserList version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                            "<User version=\"1.0\"><id>admin</id><userName>admin</userName></User>"
                            "<User version=\"1.0\"><id>anonymous</id><userName>anonymous</userName>"
                            "</User>"
                            "<User version=\"1.0\"><id>carol</id><userName>carol</userName></User>"
                            "<User version=\"1.0\"><id>dave</id><userName>dave</userName></User>"
                            "</UserList>"));
  const std::string carol = document_answer(
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
      "<User version=\"1.0\" xmlns=\"urn:psialliance-org\"><id>carol</id>"
      "<userName>carol</userName></User>");
  struct Case {
    const char* id;
    bool carol;  // else status 3
  } cases[] = {{"2", true}, {"999", true}, {"carol", true}, {"0", false},
               {"dave'", false}, {"nobody", false}};
  for (const Case& c : cases) {
    std::string uri = std::string(kUsers) + "/" + c.id;
    EXPECT_EQ(camera.get(uri).out, c.carol ? carol : status_answer(uri, 3)) << c.id;
  }
}

TEST(Users, AddingAccounts) {
  Camera camera("delete from UserAccount where UserID in ('operator', 'guest');");
  EXPECT_EQ(camera.send("POST", kUsers,
                 "<User><userName>carol</userName><password>c1</password>"
                 "<userName>o'brien</userName><password>p%n</password></User>").out,
            status_answer(kUsers, 1));
  EXPECT_EQ(names(camera), "admin:admin:0 anonymous::3 carol:c1:2 o'brien:p%n:2");
  EXPECT_EQ(camera.sim().commands().size(), 1u);
  EXPECT_EQ(camera.sim().commands()[0].code, 94);
  // An existing name is refused; the new level-2 account cannot log in.
  EXPECT_EQ(camera.send("POST", kUsers,
                 "<User><userName>carol</userName><password>x</password></User>").out,
            status_answer(kUsers, 3));
  Request as_carol;
  as_carol.uri = "/PSIA/index";
  as_carol.authorization = basic_authorization("carol", "c1");
  EXPECT_EQ(camera.request(as_carol).out.rfind("Status: 401", 0), 0u);
  // Incomplete pairs and empty bodies end without an answer.
  EXPECT_EQ(camera.send("POST", kUsers, "<User><userName>x</userName></User>").out, "");
  EXPECT_EQ(camera.send("POST", kUsers, "<User/>").out, "");
  EXPECT_EQ(camera.send("POST", kUsers, "<UserList/>").out, status_answer(kUsers, 3));
  EXPECT_EQ(camera.sim().commands().size(), 1u);
}

TEST(Users, ChangingPasswords) {
  Camera camera;
  std::string admin = std::string(kUsers) + "/admin";
  EXPECT_EQ(camera.send("PUT", admin, "<User><password>one</password><password>two</password>"
                                       "</User>").out,
            status_answer(admin, 1));
  EXPECT_EQ(camera.query("select Password from UserAccount where UserID='admin'"), "two");
  camera.exec("update UserAccount set Password='admin' where UserID='admin'");
  std::string anonymous = std::string(kUsers) + "/Anonymous";
  EXPECT_EQ(camera.send("PUT", anonymous, "<User><password>x</password></User>").out, "");
  EXPECT_EQ(camera.query("select Password from UserAccount where UserID='anonymous'"), "");

  EXPECT_EQ(camera.send("PUT", kUsers,
                 "<UserList><User><userName>guest</userName><password>g2</password></User>"
                 "<User><userName>anonymous</userName><password>a</password></User>"
                 "<User><userName>operator</userName></User></UserList>").out,
            status_answer(kUsers, 1));
  EXPECT_EQ(names(camera), "admin:admin:0 anonymous::3 operator:operator:1 guest:g2:2");
  EXPECT_EQ(camera.send("PUT", kUsers, "<UserList><User><userName>anonymous</userName>"
                                        "<password>a</password></User></UserList>").out,
            "");
}

TEST(Users, DeletingAccounts) {
  Camera camera;
  for (const char* builtin : {"admin", "ANONYMOUS"}) {
    EXPECT_EQ(camera.send("DELETE", std::string(kUsers) + "/" + builtin).out, "");
  }
  std::string guest = std::string(kUsers) + "/guest";
  EXPECT_EQ(camera.send("DELETE", guest).out, status_answer(guest, 1));
  EXPECT_EQ(names(camera), "admin:admin:0 anonymous::3 operator:operator:1");
  EXPECT_EQ(camera.send("DELETE", kUsers).out, status_answer(kUsers, 1));
  EXPECT_EQ(names(camera), "admin:admin:0 anonymous::3");
  EXPECT_EQ(camera.sim().commands().size(), 2u);
}

}  // namespace
