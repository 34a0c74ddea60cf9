// The PTZ branch: protocol frames and the query scan, then channels,
// presets, motion commands and status through the responder.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "resources/ptz/ptz_motion.h"
#include "responder_harness.h"

namespace {

TEST(PtzFrames, PositionAndZoomFrames) {
  struct Case {
    float azimuth, elevation;
    const char* frame;
  } positions[] = {{180, 0, "E50100CF7F4A8825446F"},
                   {0, -90, "E50100CF7F0000000034"},
                   {360, 90, "E50100CF7F95104A88AB"}};
  char text[64];
  for (const Case& c : positions) {
    ptz_position_frame(c.azimuth, c.elevation, text, sizeof text);
    EXPECT_STREQ(text, c.frame);
  }
  ptz_zoom_frame(static_cast<int>(100 * 29.66), text, sizeof text);
  EXPECT_STREQ(text, "E50100CD000B9654");
  ptz_zoom_frame(static_cast<int>(50 * 21.94), text, sizeof text);
  EXPECT_STREQ(text, "E50100CD00044900");
}

TEST(PtzFrames, Speeds) {
  const int move[][2] = {{1, 1}, {10, 12}, {50, 63}, {99, 125}, {100, 127}, {0, 0}};
  for (const auto& m : move) EXPECT_EQ(ptz_move_speed(m[0]), m[1]) << m[0];
  const int zoom[][2] = {{1, 0}, {33, 0}, {34, 1}, {66, 1}, {67, 2}, {99, 2}, {100, 3}};
  for (const auto& z : zoom) EXPECT_EQ(ptz_zoom_speed(z[0]), z[1]) << z[0];
}

TEST(PtzFrames, QueryScanKeepsTheCamerasForm) {
  const char* const keys[] = {"PAN", "TILT"};
  struct Case {
    const char* query;
    std::map<int, std::string> handed;
  } cases[] = {
      {"PAN=50&TILT=20", {{0, "=50"}}},  // the last pair is never handed on
      {"pan=5&", {{0, "=5"}}},
      {"TILT=1&PAN=2&x", {{1, "=1"}}},   // later keys begin with '&'
      {"PAN", {}},
      {"", {}},
      {"PAN=a=b&", {{0, "=b"}}},
  };
  for (const Case& c : cases) {
    std::map<int, std::string> handed;
    scan_ptz_query(c.query, keys, 2, [&](int k, const char* v) { handed[k] = v; });
    EXPECT_EQ(handed, c.handed) << c.query;
  }
  std::string huge = "PAN=" + std::string(5000, '9') + "&";
  std::string value;
  scan_ptz_query(huge.c_str(), keys, 2, [&](int, const char* v) { value = v; });
  EXPECT_EQ(value.size(), 127u);  // cut, never overrun
}

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n";

std::string channel(const char* id, const char* enabled) {
  return std::string("<PTZChannel version=\"1.0\" xmlns=\"urn:psialliance-org\"><id>") + id +
         "</id><enabled>" + enabled +
         "</enabled><videoInputID>0</videoInputID><controlProtocol>Aldex Pellix"
         "</controlProtocol></PTZChannel>";
}

TEST(PtzChannel, DocumentsAndSwitchingControl) {
  Camera camera;
  EXPECT_EQ(camera.get("/PSIA/PTZ/channels").out,
            document_answer(kDeclaration +
                            std::string("<PTZChannelList version=\"1.0\" "
                                        "xmlns=\"urn:psialliance-org\">") +
                            channel("0", "true") + "</PTZChannelList>"));
  EXPECT_EQ(camera.get("/PSIA/PTZ/channels/7").out,
            document_answer(kDeclaration + channel("7", "true")));

  struct Case {
    const char* uri;
    const char* body;
    int answer;
    const char* stored;
  } cases[] = {
      {"/PSIA/PTZ/channels/0", "<PTZChannel><id>1</id></PTZChannel>", 1, "0"},
      {"/PSIA/PTZ/channels/0", "<ptzchannel><enabled>TRUE</enabled></ptzchannel>", 1, "1"},
      {"/PSIA/PTZ/channels/0", "<PTZChannel><enabled>yes</enabled></PTZChannel>", 1, "0"},
      {"/PSIA/PTZ/channels/0", "<Channel/>", 5, "5"},
      {"/PSIA/PTZ/channels/0", "<PTZChannel>", 3, "5"},
      {"/PSIA/PTZ/channels",
       "<PTZChannelList><PTZChannel><enabled>true</enabled></PTZChannel>"
       "<PTZChannel><enabled>false</enabled></PTZChannel></PTZChannelList>",
       1, "1"},
      {"/PSIA/PTZ/channels", "<PTZChannelList><PTZChannel><id>1</id></PTZChannel>"
                             "</PTZChannelList>", 3, "5"},
      {"/PSIA/PTZ/channels", "<PTZChannelList><PTZChannel><videoInputID>2</videoInputID>"
                             "</PTZChannel></PTZChannelList>", 3, "5"},
  };
  for (const Case& c : cases) {
    Camera one("update PTZControl set Enable=5;");
    EXPECT_EQ(one.send("PUT", c.uri, c.body).out, status_answer(c.uri, c.answer)) << c.body;
    EXPECT_EQ(one.query("select Enable from PTZControl"), c.stored) << c.body;
    EXPECT_EQ(one.sim().commands().size(), c.answer == 1 ? 1u : 0u);
  }
  for (const char* method : {"POST", "DELETE"}) {
    EXPECT_EQ(camera.send(method, "/PSIA/PTZ/channels").out,
              status_answer("/PSIA/PTZ/channels", 1));
  }
}

std::string preset(int id, const char* name) {
  return "<PTZPreset version=\"1.0\" xmlns=\"urn:psialliance-org\"><id>" + std::to_string(id) +
         "</id><presetName>" + name + "</presetName></PTZPreset>";
}

TEST(PtzPreset, ListReadRenameCreateDeleteRecall) {
  const std::string base = "/PSIA/PTZ/channels/0/presets";
  Camera camera("", {"--status", "53=2"});
  EXPECT_EQ(camera.get(base).out,
            document_answer(kDeclaration +
                            std::string("<PTZPresetList version=\"1.0\" "
                                        "xmlns=\"urn:psialliance-org\">") +
                            preset(1, "Entrance") + preset(2, "Parking") + "</PTZPresetList>"));
  EXPECT_EQ(camera.get(base + "/2").out, document_answer(kDeclaration + preset(2, "Parking")));
  EXPECT_EQ(camera.get(base + "/9").out, status_answer(base + "/9", 3));

  EXPECT_EQ(camera.send("PUT", base + "/2", "<PTZPreset><id>2</id><presetName>Gate's"
                                             "</presetName></PTZPreset>").out,
            status_answer(base + "/2", 1));
  EXPECT_EQ(camera.send("PUT", base + "/2", "<PTZPreset><id>5</id></PTZPreset>").out,
            status_answer(base + "/2", 3));
  EXPECT_EQ(camera.query("select PresetAlias from Preset where Sequence=2"), "Gate's");

  EXPECT_EQ(camera.send("POST", base, "<PTZPreset><presetName>Any</presetName></PTZPreset>").out,
            status_answer(base, 1));
  EXPECT_EQ(camera.send("POST", base, "<PTZPreset><id>1</id></PTZPreset>").out,
            status_answer(base, 3));
  EXPECT_EQ(camera.send("PUT", base + "/3/goto").out, status_answer(base + "/3/goto", 2));
  EXPECT_EQ(camera.send("DELETE", base + "/8").out, status_answer(base + "/8", 1));
  std::vector<SimCommand> sent = camera.sim().commands();
  ASSERT_EQ(sent.size(), 3u);
  const int expected[][2] = {{52, -1}, {53, 3}, {54, 8}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(sent[i].code, expected[i][0]);
    EXPECT_EQ(sent[i].int_at(0), 0);
    EXPECT_EQ(sent[i].int_at(4), expected[i][1]);
  }
  EXPECT_EQ(camera.query("select PresetAlias||Sequence from Preset where Sequence=-1"), "Any-1");

  EXPECT_EQ(camera.send("PUT", base,
                 "<PTZPresetList><PTZPreset><id>1</id><presetName>A</presetName></PTZPreset>"
                 "<PTZPreset><id>2</id></PTZPreset></PTZPresetList>").out,
            status_answer(base, 1));
  EXPECT_EQ(camera.query("select group_concat(PresetAlias) from Preset"), "A,A,Any");
  EXPECT_EQ(camera.send("DELETE", base).out, status_answer(base, 1));
  EXPECT_EQ(camera.get(base).out, status_answer(base, 3));  // an empty list
}

// The five name/value pairs of a code 50 command, "" where empty.
std::vector<std::string> pairs(const SimCommand& c) {
  std::vector<std::string> out;
  for (size_t i = 0; i < 10; ++i) out.push_back(c.text_at(4 + 48 * i, 48));
  return out;
}

TEST(PtzMotion, ContinuousMovesAndHome) {
  struct Case {
    const char* body;
    const char* query;
    std::vector<std::string> sent;  // empty: nothing sent, answer 3
  } cases[] = {
      {"<PTZData><pan>0</pan><tilt>0</tilt><zoom>0</zoom></PTZData>", "",
       {"", "", "", "", "STOP", "PAN", "", "", "", ""}},
      {"<PTZData><zoom>20</zoom></PTZData>", "",
       {"", "", "", "", "", "", "ZOOMSPEED", "0", "ZOOM", "IN"}},
      {"<PTZData><pan>-100</pan></PTZData>", "",
       {"PANSPEED", "127", "TILTSPEED", "0", "MOVE", "LEFT", "", "", "", ""}},
      {"<ptzdata><PAN>50</PAN><tilt>-10</tilt><zoom>-100</zoom></ptzdata>", "",
       {"PANSPEED", "63", "TILTSPEED", "12", "MOVE", "RIGHTDOWN", "ZOOMSPEED", "3", "ZOOM",
        "OUT"}},
      {"<PTZData><tilt>30</tilt></PTZData>", "PAN=50&TILT=20",
       {"PANSPEED", "0", "TILTSPEED", "38", "MOVE", "UP", "", "", "", ""}},
      {"<PTZData><pan>101</pan></PTZData>", "", {}},
  };
  for (const Case& c : cases) {
    Camera camera;
    const char uri[] = "/PSIA/PTZ/channels/0/continuous";
    EXPECT_EQ(camera.send("PUT", uri, c.body, c.query).out,
              status_answer(uri, c.sent.empty() ? 3 : 1))
        << c.body;
    std::vector<SimCommand> sent = camera.sim().commands();
    ASSERT_EQ(sent.size(), c.sent.empty() ? 0u : 1u) << c.body;
    if (!c.sent.empty()) {
      EXPECT_EQ(pairs(sent[0]), c.sent) << c.body;
    }
  }
  Camera camera;
  EXPECT_EQ(camera.send("PUT", "/PSIA/PTZ/channels/0/homePosition").out,
            status_answer("/PSIA/PTZ/channels/0/homePosition", 1));
  EXPECT_EQ(pairs(camera.sim().commands().at(0)),
            std::vector<std::string>({"HOME", "HOME", "", "", "", "", "", "", "", ""}));
  for (const char* word : {"momentary", "relative", "digital"}) {
    std::string uri = std::string("/PSIA/PTZ/channels/0/") + word;
    EXPECT_EQ(camera.send("PUT", uri).out, status_answer(uri, 4));
  }
}

TEST(PtzMotion, AbsolutePositionsBecomeFrames) {
  struct Case {
    const char* body;
    std::vector<std::string> frames;
    int answer;
  } cases[] = {
      {"<PTZData><azimuth>180</azimuth><elevation>0</elevation></PTZData>",
       {"E50100CF7F4A8825446F"}, 1},
      {"<PTZData><azimuth>0</azimuth><elevation>0</elevation></PTZData>", {}, 1},  // unmoved
      {"<PTZData/>", {"E50100CF7F000025449D"}, 1},  // the remembered 0, 0
      {"<PTZData><absoluteZoom>100</absoluteZoom><azimuth>0</azimuth><elevation>0</elevation>"
       "</PTZData>",
       {"E50100CD000B9654"}, 1},
      {"<PTZData><azimuth>360.5</azimuth></PTZData>", {}, 3},
      {"<PTZ/>", {}, 5},
  };
  for (const Case& c : cases) {
    Camera camera;
    const char uri[] = "/PSIA/PTZ/channels/0/absolute";
    EXPECT_EQ(camera.send("PUT", uri, c.body).out, status_answer(uri, c.answer)) << c.body;
    std::vector<std::string> frames;
    for (const SimCommand& s : camera.sim().commands()) frames.push_back(s.text_at(4, 1024));
    EXPECT_EQ(frames, c.frames) << c.body;
  }
}

TEST(PtzStatus, PositionFrameIsDecoded) {
  struct Case {
    const char* frame;  // from payload byte 4
    const char* expected;
  } cases[] = {
      {"FF0100A1004AFF2774044C",
       "<elevation>0</elevation><azimuth>179</azimuth><absoluteZoom>50</absoluteZoom>"},
      {"FF0100A10095FF00000015",
       "<elevation>-90</elevation><azimuth>360</azimuth><absoluteZoom>0</absoluteZoom>"},
      {"FF0100A10000004EE8", "<elevation>90</elevation><azimuth>0</azimuth>"
                             "<absoluteZoom>0</absoluteZoom>"},
  };
  const char uri[] = "/PSIA/PTZ/channels/0/status";
  for (const Case& c : cases) {
    Camera camera("", {"--position-frame", c.frame});
    EXPECT_EQ(camera.get(uri).out,
              document_answer(kDeclaration +
                              std::string("<PTZStatus version=\"1.0\" "
                                          "xmlns=\"urn:psialliance-org\"><Absolute>") +
                              c.expected + "</Absolute></PTZStatus>"))
        << c.frame;
  }
  Camera wrong("", {"--position-frame", "FF0100A2"});
  EXPECT_EQ(wrong.get(uri).out, status_answer(uri, 3));
}

}  // namespace
