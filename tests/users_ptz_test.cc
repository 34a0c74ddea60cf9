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
  // A trigger the camera's firmware does not have makes the operator's update fail.
  const char* refuse =
      "create trigger refuse before update on UserAccount when new.UserID='operator' "
      "begin select raise(abort, 'refused'); end";
  const std::string fails = "<User><userName>operator</userName><password>o</password></User>";
  // clang-format off
  std::vector<request_case> cases = {
      get(kUsers).answers(document_answer(golden("users.xml"))),
      post(kUsers, "<User><userName>carol</userName><password>c1</password><userName>o'brien</userName><password>p%n</password></User>").answers(1).sends({"94"}).leaves(kAccounts, std::string(kSeededAccounts) + "\ncarol|c1|2\no'brien|p%n|2"),
      post(kUsers, "<User><userName>guest</userName><password>x</password></User>").answers(3).leaves(kAccounts, kSeededAccounts),
      // An earlier pair stays added when a later one is refused.
      post(kUsers, "<User><userName>new</userName><password>n</password><userName>guest</userName><password>x</password></User>").answers(3).leaves(kAccounts, std::string(kSeededAccounts) + "\nnew|n|2"),
      // A body without a complete name and password gets no answer.
      post(kUsers, "<User><userName>x</userName></User>").answers_nothing(),
      put(kUsers + "/admin", "<User><password>one</password><password>two</password></User>").answers(1).sends({"94"}).leaves("select Password from UserAccount where UserID='admin'", "two"),
      put(kUsers + "/nobody", "<User><password>x</password></User>").answers(1).sends({"94"}).leaves(kAccounts, kSeededAccounts),
      put(kUsers + "/Anonymous", "<User><password>x</password></User>").answers_nothing().leaves(kAccounts, kSeededAccounts),
      put(kUsers, "<UserList><User><userName>guest</userName><password>g2</password></User><User><userName>anonymous</userName>"
                  "<password>a</password></User><User><userName>operator</userName></User></UserList>").answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3\noperator|operator|1\nguest|g2|2"),
      put(kUsers, "<UserList><User><userName>anonymous</userName><password>a</password></User><Account><userName>guest</userName><password>x</password></Account></UserList>").answers_nothing().leaves(kAccounts, kSeededAccounts),
      del(kUsers + "/admin").answers_nothing().leaves(kAccounts, kSeededAccounts),
      del(kUsers + "/guest").answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3\noperator|operator|1"),
      del(kUsers).answers(1).sends({"94"}).leaves(kAccounts, "admin|admin|0\nanonymous||3"),
      // A failed update is answered, and a later success answered behind it.
      put(kUsers, "<UserList>" + fails + "<User><userName>guest</userName><password>g</password></User></UserList>").after(refuse).answers(status_answer(kUsers, 3) + status_answer(kUsers, 1)).sends({"94"}),
      put(kUsers, "<UserList>" + fails + "</UserList>").after(refuse).answers(3),
  };
  // clang-format on
  // A short id is a position among the accounts that are not built in.
  for (const char* id : {"2", "999", "carol"}) cases.push_back(get(kUsers + "/" + id).after(setup).answers(carol));
  for (const char* id : {"0", "dave'", "nobody"}) cases.push_back(get(kUsers + "/" + id).after(setup).answers(3));
  run_cases(cases);
}

const std::string kContinuous = "/PSIA/PTZ/channels/0/continuous", kAbsolute = "/PSIA/PTZ/channels/0/absolute";

// A continuous move of `body` (and `query`) sent as the command's `pairs`.
request_case continuous_move(const std::string& body, const std::string& pairs, const std::string& query = "") {
  return put(kContinuous, body).query(query).answers(1).sends({"50 " + pairs});
}

TEST(Ptz, ContinuousMotion) {
  // clang-format off
  run_cases({
      continuous_move("<PTZData><pan>0</pan><tilt>0</tilt><zoom>0</zoom></PTZData>", "- - STOP=PAN - -"),
      continuous_move("<PTZData><zoom>1</zoom></PTZData>", "- - - ZOOMSPEED=0 ZOOM=IN"),  // the least either way
      continuous_move("<PTZData><pan>-100</pan></PTZData>", "PANSPEED=127 TILTSPEED=0 MOVE=LEFT - -"),
      continuous_move("<PTZData><pan>100</pan><tilt>1</tilt></PTZData>", "PANSPEED=127 TILTSPEED=1 MOVE=RIGHTUP - -"),
      continuous_move("<ptzdata><PAN>50</PAN><tilt>-10</tilt><zoom>-100</zoom></ptzdata>", "PANSPEED=63 TILTSPEED=12 MOVE=RIGHTDOWN ZOOMSPEED=3 ZOOM=OUT"),
      continuous_move("<PTZData><tilt>-100</tilt><pan>-1</pan><zoom>-1</zoom></PTZData>", "PANSPEED=1 TILTSPEED=127 MOVE=LEFTDOWN ZOOMSPEED=0 ZOOM=OUT"),
      // The query can only zero the first key; the body wins.
      continuous_move("<PTZData><tilt>30</tilt></PTZData>", "PANSPEED=0 TILTSPEED=38 MOVE=UP - -", "PAN=50&TILT=20"),
      continuous_move("<PTZData><pan>7</pan></PTZData>", "PANSPEED=8 TILTSPEED=0 MOVE=RIGHT - -", "PAN=50&"),
      put(kContinuous, "<PTZData><pan>101</pan></PTZData>").answers(3),
      put(kContinuous, "<PTZData><zoom>-101</zoom></PTZData>").answers(3),
      put("/PSIA/PTZ/channels/0/homePosition").answers(1).sends({"50 HOME=HOME - - - -"}),
      get("/PSIA/PTZ/channels/0/momentary").answers(4),
      put("/PSIA/PTZ/channels/0/relative").answers(4),
      put("/PSIA/PTZ/channels/0/digital").answers(4),
  });
  // clang-format on
}

// An absolute move of `body`, sent as the position frames `sent`.
request_case absolute_move(const std::string& body, std::vector<std::string> sent) {
  for (std::string& f : sent) f = "63 frame=" + f;
  return put(kAbsolute, body).answers(1).sends(sent);
}

TEST(Ptz, AbsoluteMotion) {
  // clang-format off
  run_cases({
      absolute_move("<PTZData><azimuth>0</azimuth><elevation>0</elevation></PTZData>", {}),  // where it is
      absolute_move("<PTZData><azimuth>360</azimuth><elevation>90</elevation><absolutezoom>100</absolutezoom></PTZData>", {"E50100CF7F95104A88AB", "E50100CD000B9654"}),
      absolute_move("<PTZData><azimuth>0</azimuth><elevation>-90</elevation></PTZData>", {"E50100CF7F0000000034"}),
      put(kAbsolute, "<PTZData><azimuth>360.5</azimuth></PTZData>").answers(3),
      put(kAbsolute, "<PTZData><elevation>-90.5</elevation></PTZData>").answers(3),
      put(kAbsolute, "<PTZData><absolutezoom>-1</absolutezoom></PTZData>").answers(3),
  });
  // clang-format on
  // The last absolute position is remembered.
  test_camera camera;
  const char* position =
      "<PTZData><azimuth>90</azimuth><elevation>10</elevation><absolutezoom>50</absolutezoom></PTZData>";
  camera.put(kAbsolute, position);
  camera.put(kAbsolute, position);                                        // neither again
  camera.put(kAbsolute, "<PTZData><elevation>20</elevation></PTZData>");  // the azimuth kept
  // Without a position, "not given" differs from the last one sent: the remembered position goes again, then the zoom
  // (0 differs from 50).
  camera.put(kAbsolute, "<PTZData><absolutezoom>0</absolutezoom></PTZData>");
  EXPECT_EQ(camera.commands(),
            (std::vector<std::string>{"63 frame=E50100CF7F254429682E", "63 frame=E50100CD0005CB83",
                                      "63 frame=E50100CF7F25442D8C56", "63 frame=E50100CF7F25442D8C56",
                                      "63 frame=E50100CD000000B3"}));
}

const char kPtzChannels[] = "/PSIA/PTZ/channels";
const char kPtzChannel[] = "/PSIA/PTZ/channels/0";
const char kEnable[] = "select Enable from PTZControl";
const char kEnableFive[] = "update PTZControl set Enable=5";

std::string ptz_channel(const std::string& id, const char* enabled, bool list) {
  std::string c = "<id>" + id + "</id><enabled>" + enabled + "</enabled><videoInputID>0</videoInputID>";
  c = psia_element("PTZChannel", c + "<controlProtocol>Aldex Pellix</controlProtocol>");
  return xml_answer(list ? psia_element("PTZChannelList", c) : c);
}

TEST(Ptz, ChannelAndTheBranchGate) {
  // clang-format off
  run_cases({
      get(kPtzChannels).answers(ptz_channel("0", "true", true)),
      get("/PSIA/PTZ/channels/7").after(kEnableFive).answers(ptz_channel("7", "false", false)),
      put(kPtzChannel, "<PTZChannel><id>1</id></PTZChannel>").after(kEnableFive).answers(1).sends({"61"}).leaves(kEnable, "0"),
      put(kPtzChannel, "<ptzchannel><enabled>TRUE</enabled></ptzchannel>").after(kEnableFive).daemon(61, 2).answers(2).sends({"61"}).leaves(kEnable, "1"),
      put(kPtzChannels, "<PTZChannelList><PTZChannel><enabled>true</enabled></PTZChannel><PTZChannel><enabled>false</enabled></PTZChannel></PTZChannelList>").after(kEnableFive).answers(1).sends({"61"}).leaves(kEnable, "1"),
      put(kPtzChannels, "<PTZChannelList><PTZChannel><id>1</id></PTZChannel></PTZChannelList>").after(kEnableFive).answers(3).leaves(kEnable, "5"),
      put(kPtzChannels, "<PTZChannelList><PTZChannel><videoInputID>2</videoInputID></PTZChannel></PTZChannelList>").after(kEnableFive).answers(3).leaves(kEnable, "5"),
      del(kPtzChannel).answers(1),
      // The branch opens only with PTZ support 2 (the seeded camera's).
      get("/PSIA/PTZ/index").after("update Spec2 set PTZSupport=1").answers(4),
      get("/PSIA/PTZ/index").after("delete from Spec2").answers(4),
  });
  // clang-format on
}

const std::string kPresets = "/PSIA/PTZ/channels/0/presets";
const char kPresetRows[] = "select PresetAlias, Sequence from Preset";

std::string ptz_preset(int id, const char* name) {
  return psia_element("PTZPreset", "<id>" + std::to_string(id) + "</id><presetName>" + name + "</presetName>");
}

TEST(Ptz, Presets) {
  // clang-format off
  run_cases({
      get(kPresets).answers(xml_answer(psia_element("PTZPresetList", ptz_preset(1, "Entrance") + ptz_preset(2, "Parking")))),
      get(kPresets).after("delete from Preset").answers(3),  // an empty list
      get(kPresets + "/2").answers(xml_answer(ptz_preset(2, "Parking"))),
      get(kPresets + "/9").answers(3),
      put(kPresets + "/2", "<PTZPreset><id>2</id><presetName>Gate's</presetName></PTZPreset>").answers(1).leaves(kPresetRows, "Entrance|1\nGate's|2"),
      put(kPresets + "/2", "<PTZPreset><id>5</id></PTZPreset>").answers(3).leaves(kPresetRows, "Entrance|1\nParking|2"),
      post(kPresets, "<PTZPreset><presetName>Any</presetName></PTZPreset>").answers(1).sends({"52 preset=-1"}).leaves(kPresetRows, "Entrance|1\nParking|2\nAny|-1"),
      post(kPresets, "<PTZPreset><id>1</id></PTZPreset>").answers(3).leaves(kPresetRows, "Entrance|1\nParking|2"),
      put(kPresets + "/3/goto").daemon(53, 2).answers(2).sends({"53 preset=3"}),
      del(kPresets + "/1").answers(1).sends({"54 preset=1"}).leaves(kPresetRows, "Parking|2"),
      put(kPresets, "<PTZPresetList><PTZPreset><id>1</id><presetName>A</presetName></PTZPreset><PTZPreset><id>2</id></PTZPreset></PTZPresetList>").answers(1).leaves(kPresetRows, "A|1\nA|2"),
      del(kPresets).answers(1).leaves(kPresetRows, ""),
  });
  // clang-format on
}

const char kPtzStatus[] = "/PSIA/PTZ/channels/0/status";

// The daemon answers the position query with the frame of hex digits `hex`.
std::function<void(test_camera&)> position_frame(const std::string& hex) {
  return [hex](test_camera& c) {
    c.daemon().position_frame.clear();
    for (size_t i = 0; i < hex.size(); i += 2) c.daemon().position_frame.push_back(std::stoi(hex.substr(i, 2), 0, 16));
  };
}
std::string ptz_status(const std::string& absolute) {
  return xml_answer(psia_element("PTZStatus", "<Absolute>" + absolute + "</Absolute>"));
}

TEST(Ptz, StatusDecodesThePositionFrame) {
  // clang-format off
  run_cases({
      get(kPtzStatus).with(position_frame("FF0100A1004AFF2774044C")).answers(ptz_status("<elevation>0</elevation><azimuth>179</azimuth><absoluteZoom>50</absoluteZoom>")).sends({"65"}),
      get(kPtzStatus).with(position_frame("FF0100A10095FF00000015")).answers(ptz_status("<elevation>-90</elevation><azimuth>360</azimuth><absoluteZoom>0</absoluteZoom>")).sends({"65"}),
      get(kPtzStatus).with(position_frame("FF0100A10000004EE8")).answers(ptz_status("<elevation>90</elevation><azimuth>0</azimuth><absoluteZoom>0</absoluteZoom>")).sends({"65"}),
      get(kPtzStatus).with(position_frame("FF0100A1000000277408980015")).answers(ptz_status("<elevation>0</elevation><azimuth>0</azimuth><absoluteZoom>100</absoluteZoom>")).sends({"65"}),
      get(kPtzStatus).with([](test_camera& c) { c.daemon().silent.insert(65); }).answers(3).sends({"65"}),
  });
  // clang-format on
}

}  // namespace
