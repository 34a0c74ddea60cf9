// The user accounts, and the PTZ branch: channel, presets, motion and status.
#include <gtest/gtest.h>

#include "harness.h"

using namespace psia_test;

namespace {

const std::string kUsers = "/PSIA/Security/AAA/users";
const char kAccounts[] = "select UserID, Password, Authority from UserAccount";
const char kSeededAccounts[] = "admin|admin|0\nanonymous||3\noperator|operator|1\nguest|guest|2";

TEST(Users, DocumentsAndChanges) {
  const char* setup =
      "delete from UserAccount where UserID in ('operator', 'guest');"
      "insert into UserAccount values ('carol', 'c', 2), ('dave', 'd', 2)";
  const std::string carol = xml_answer(psia_element("User", "<id>carol</id><userName>carol</userName>"));
  // clang-format off
  std::vector<request_case> cases = {
      get(kUsers).answers(document_answer(golden("users.xml"))),
      post(kUsers, "<User><userName>carol</userName><password>c1</password><userName>o'brien</userName><password>p%n</password></User>").answers(1).sends({"94"}).leaves(kAccounts, std::string(kSeededAccounts) + "\ncarol|c1|2\no'brien|p%n|2"),
      post(kUsers, "<User><userName>guest</userName><password>x</password></User>").answers(3).leaves(kAccounts, kSeededAccounts),
      // An earlier pair stays added when a later one is refused.
      post(kUsers, "<User><userName>new</userName><password>n</password><userName>guest</userName><password>x</password></User>").answers(3).leaves(kAccounts, std::string(kSeededAccounts) + "\nnew|n|2"),
      // A body without a complete name and password gets no answer.
      post(kUsers, "<User><userName>x</userName></User>").answers_nothing(),
      post(kUsers, "<User/>").answers_nothing(),
      post(kUsers, "<UserList/>").answers(3),
      put(kUsers + "/admin", "<User><password>one</password><password>two</password></User>").answers(1).sends({"94"}).leaves("select Password from UserAccount where UserID='admin'", "two"),
      put(kUsers + "/nobody", "<User><password>x</password></User>").answers(1).sends({"94"}).leaves(kAccounts, kSeededAccounts),
      put(kUsers + "/Anonymous", "<User><password>x</password></User>").answers_nothing().leaves(kAccounts, kSeededAccounts),
      put(kUsers + "/guest", "<Account/>").answers(3),
      put(kUsers, "<UserList><User><userName>guest</userName><password>g2</password></User><User><userName>anonymous</userName>"
                  "<password>a</password></User><User><userName>operator</userName></User></UserList>").answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3\noperator|operator|1\nguest|g2|2"),
      put(kUsers, "<UserList><User><userName>anonymous</userName><password>a</password></User></UserList>").answers_nothing().leaves(kAccounts, kSeededAccounts),
      put(kUsers, "<User/>").answers(3),
      del(kUsers + "/admin").answers_nothing().leaves(kAccounts, kSeededAccounts),
      del(kUsers + "/ANONYMOUS").answers_nothing(),
      del(kUsers + "/guest").answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3\noperator|operator|1"),
      del(kUsers).answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3"),
  };
  // clang-format on
  // A short id is a position among the accounts that are not built in.
  for (const char* id : {"2", "999", "carol"}) cases.push_back(get(kUsers + "/" + id).after(setup).answers(carol));
  for (const char* id : {"0", "dave'", "nobody"}) cases.push_back(get(kUsers + "/" + id).after(setup).answers(3));
  run_cases(cases);
  // A failed update is answered, and a later success answered behind it.
  test_camera camera;
  // A trigger the camera's firmware does not have makes one update fail.
  camera.exec(
      "create trigger refuse before update on UserAccount when new.UserID='operator' "
      "begin select raise(abort, 'refused'); end");
  const std::string body =
      "<UserList><User><userName>operator</userName><password>o</password></User>"
      "<User><userName>guest</userName><password>g</password></User></UserList>";
  EXPECT_EQ(camera.put(kUsers, body), status_answer(kUsers, 3) + status_answer(kUsers, 1));
  EXPECT_EQ(camera.put(kUsers, body.substr(0, body.find("<User><userName>guest")) + "</UserList>"),
            status_answer(kUsers, 3));
  EXPECT_EQ(camera.commands(), std::vector<std::string>{"94"});
}

TEST(Ptz, ChannelPresetsStatusAndMotion) {
  const std::string continuous = "/PSIA/PTZ/channels/0/continuous", absolute = "/PSIA/PTZ/channels/0/absolute";
  auto move = [&](const std::string& body, const std::string& pairs, const std::string& query = "") {
    return put(continuous, body).query(query).answers(1).sends({"50 " + pairs});
  };
  auto frames = [&](const std::string& body, std::vector<std::string> sent) {
    for (std::string& f : sent) f = "63 frame=" + f;
    return put(absolute, body).answers(1).sends(sent);
  };
  auto channel = [](const std::string& id, const char* enabled, bool list) {
    std::string c = "<id>" + id + "</id><enabled>" + enabled + "</enabled><videoInputID>0</videoInputID>";
    c = psia_element("PTZChannel", c + "<controlProtocol>Aldex Pellix</controlProtocol>");
    return xml_answer(list ? psia_element("PTZChannelList", c) : c);
  };
  const char* list = "/PSIA/PTZ/channels";
  const char* one = "/PSIA/PTZ/channels/0";
  const char* enable = "select Enable from PTZControl";
  const char* five = "update PTZControl set Enable=5";
  const std::string base = "/PSIA/PTZ/channels/0/presets";
  auto preset = [](int id, const char* name) {
    return psia_element("PTZPreset", "<id>" + std::to_string(id) + "</id><presetName>" + name + "</presetName>");
  };
  const char* presets = "select PresetAlias, Sequence from Preset";
  const char* status = "/PSIA/PTZ/channels/0/status";
  auto frame = [](const std::string& hex) {
    return [hex](test_camera& c) {
      c.daemon().position_frame.clear();
      for (size_t i = 0; i < hex.size(); i += 2)
        c.daemon().position_frame.push_back(std::stoi(hex.substr(i, 2), 0, 16));
    };
  };
  auto at = [](const std::string& a) {
    return xml_answer(psia_element("PTZStatus", "<Absolute>" + a + "</Absolute>"));
  };
  // clang-format off
  run_cases({
      move("<PTZData><pan>0</pan><tilt>0</tilt><zoom>0</zoom></PTZData>", "- - STOP=PAN - -"),
      move("<PTZData><zoom>20</zoom></PTZData>", "- - - ZOOMSPEED=0 ZOOM=IN"),
      move("<PTZData><pan>-100</pan></PTZData>", "PANSPEED=127 TILTSPEED=0 MOVE=LEFT - -"),
      move("<PTZData><pan>100</pan><tilt>1</tilt></PTZData>", "PANSPEED=127 TILTSPEED=1 MOVE=RIGHTUP - -"),
      move("<ptzdata><PAN>50</PAN><tilt>-10</tilt><zoom>-100</zoom></ptzdata>", "PANSPEED=63 TILTSPEED=12 MOVE=RIGHTDOWN ZOOMSPEED=3 ZOOM=OUT"),
      move("<PTZData><tilt>-100</tilt><pan>-1</pan><zoom>100</zoom></PTZData>", "PANSPEED=1 TILTSPEED=127 MOVE=LEFTDOWN ZOOMSPEED=3 ZOOM=IN"),
      // The query can only zero the first key; the body wins.
      move("<PTZData><tilt>30</tilt></PTZData>", "PANSPEED=0 TILTSPEED=38 MOVE=UP - -", "PAN=50&TILT=20"),
      move("<PTZData><pan>7</pan></PTZData>", "PANSPEED=8 TILTSPEED=0 MOVE=RIGHT - -", "PAN=50&"),
      put(continuous, "<PTZData><pan>101</pan></PTZData>").answers(3),
      put(continuous, "<PTZData><zoom>-101</zoom></PTZData>").answers(3),
      put(continuous, "<Move/>").answers(5),
      put(continuous, "<PTZData>").answers(3),
      put("/PSIA/PTZ/channels/0/homePosition").answers(1).sends({"50 HOME=HOME - - - -"}),
      get("/PSIA/PTZ/channels/0/momentary").answers(4),
      put("/PSIA/PTZ/channels/0/relative").answers(4),
      put("/PSIA/PTZ/channels/0/digital").answers(4),
      frames("<PTZData><azimuth>180</azimuth><elevation>0</elevation></PTZData>", {"E50100CF7F4A8825446F"}),
      frames("<PTZData><azimuth>0</azimuth><elevation>0</elevation></PTZData>", {}),  // where it is
      frames("<PTZData/>", {"E50100CF7F000025449D"}),                                 // the remembered 0, 0
      frames("<PTZData><azimuth>360</azimuth><elevation>90</elevation><absolutezoom>100</absolutezoom></PTZData>", {"E50100CF7F95104A88AB", "E50100CD000B9654"}),
      frames("<PTZData><azimuth>0</azimuth><elevation>-90</elevation></PTZData>", {"E50100CF7F0000000034"}),
      put(absolute, "<PTZData><azimuth>360.5</azimuth></PTZData>").answers(3),
      put(absolute, "<PTZData><elevation>-90.5</elevation></PTZData>").answers(3),
      put(absolute, "<PTZData><absolutezoom>-1</absolutezoom></PTZData>").answers(3),
      put(absolute, "<PTZ/>").answers(5),
      // The channel, its presets and its status.
      get(list).answers(channel("0", "true", true)),
      get("/PSIA/PTZ/channels/7").after(five).answers(channel("7", "false", false)),
      put(one, "<PTZChannel><id>1</id></PTZChannel>").after(five).answers(1).sends({"61"}).leaves(enable, "0"),
      put(one, "<ptzchannel><enabled>TRUE</enabled></ptzchannel>").after(five).daemon(61, 2).answers(2).sends({"61"}).leaves(enable, "1"),
      put(one, "<PTZChannel><enabled>yes</enabled></PTZChannel>").after(five).answers(1).sends({"61"}).leaves(enable, "0"),
      put(one, "<Channel/>").after(five).answers(5).leaves(enable, "5"),
      put(one, "<PTZChannel>").after(five).answers(3).leaves(enable, "5"),
      put(list, "<PTZChannelList><PTZChannel><enabled>true</enabled></PTZChannel><PTZChannel><enabled>false</enabled></PTZChannel></PTZChannelList>").after(five).answers(1).sends({"61"}).leaves(enable, "1"),
      put(list, "<PTZChannelList><PTZChannel><id>1</id></PTZChannel></PTZChannelList>").after(five).answers(3).leaves(enable, "5"),
      put(list, "<PTZChannelList><PTZChannel><videoInputID>2</videoInputID></PTZChannel></PTZChannelList>").after(five).answers(3).leaves(enable, "5"),
      put(list, "<PTZChannel/>").answers(5),
      post(list).answers(1),
      del(list).answers(1),
      del(one).answers(1),
      // The branch opens only with PTZ support 2.
      get("/PSIA/PTZ/index").after("update Spec2 set PTZSupport=0").answers(4),
      get("/PSIA/PTZ/index").after("update Spec2 set PTZSupport=1").answers(4),
      get("/PSIA/PTZ/index").after("update Spec2 set PTZSupport=2").answers(document_answer(golden("ptz_index.xml"))),
      get("/PSIA/PTZ/index").after("delete from Spec2").answers(4),
      // The presets.
      get(base).answers(xml_answer(psia_element("PTZPresetList", preset(1, "Entrance") + preset(2, "Parking")))),
      get(base).after("delete from Preset").answers(3),  // an empty list
      get(base + "/2").answers(xml_answer(preset(2, "Parking"))),
      get(base + "/9").answers(3),
      put(base + "/2", "<PTZPreset><id>2</id><presetName>Gate's</presetName></PTZPreset>").answers(1).leaves(presets, "Entrance|1\nGate's|2"),
      put(base + "/2", "<PTZPreset><id>5</id></PTZPreset>").answers(3).leaves(presets, "Entrance|1\nParking|2"),
      put(base + "/2", "<Preset/>").answers(5),
      post(base, "<PTZPreset><presetName>Any</presetName></PTZPreset>").answers(1).sends({"52 preset=-1"}).leaves(presets, "Entrance|1\nParking|2\nAny|-1"),
      post(base, "<PTZPreset><id>1</id></PTZPreset>").answers(3).leaves(presets, "Entrance|1\nParking|2"),
      put(base + "/3/goto").daemon(53, 2).answers(2).sends({"53 preset=3"}),
      del(base + "/8").answers(1).sends({"54 preset=8"}),
      del(base + "/1").answers(1).sends({"54 preset=1"}).leaves(presets, "Parking|2"),
      put(base, "<PTZPresetList><PTZPreset><id>1</id><presetName>A</presetName></PTZPreset><PTZPreset><id>2</id></PTZPreset></PTZPresetList>").answers(1).leaves(presets, "A|1\nA|2"),
      del(base).answers(1).leaves(presets, ""),
      // The status decodes the position frame.
      get(status).with(frame("FF0100A1004AFF2774044C")).answers(at("<elevation>0</elevation><azimuth>179</azimuth><absoluteZoom>50</absoluteZoom>")).sends({"65"}),
      get(status).with(frame("FF0100A10095FF00000015")).answers(at("<elevation>-90</elevation><azimuth>360</azimuth><absoluteZoom>0</absoluteZoom>")).sends({"65"}),
      get(status).with(frame("FF0100A10000004EE8")).answers(at("<elevation>90</elevation><azimuth>0</azimuth><absoluteZoom>0</absoluteZoom>")).sends({"65"}),
      get(status).with(frame("FF0100A1000000277408980015")).answers(at("<elevation>0</elevation><azimuth>0</azimuth><absoluteZoom>100</absoluteZoom>")).sends({"65"}),
      get(status).with(frame("FF0100A2")).answers(3).sends({"65"}),  // not a position
      get(status).with([](test_camera& c) { c.daemon().silent.insert(65); }).answers(3).sends({"65"}),
  });
  // clang-format on
  // The last absolute position is remembered.
  test_camera camera;
  const char* position =
      "<PTZData><azimuth>90</azimuth><elevation>10</elevation><absolutezoom>50</absolutezoom></PTZData>";
  camera.put(absolute, position);
  camera.put(absolute, position);                                        // neither again
  camera.put(absolute, "<PTZData><elevation>20</elevation></PTZData>");  // the azimuth kept
  // Without a position, "not given" differs from the last one sent: the remembered position goes again, then the zoom
  // (0 differs from 50).
  camera.put(absolute, "<PTZData><absolutezoom>0</absolutezoom></PTZData>");
  EXPECT_EQ(camera.commands(),
            (std::vector<std::string>{"63 frame=E50100CF7F254429682E", "63 frame=E50100CD0005CB83",
                                      "63 frame=E50100CF7F25442D8C56", "63 frame=E50100CF7F25442D8C56",
                                      "63 frame=E50100CD000000B3"}));
}

}  // namespace
