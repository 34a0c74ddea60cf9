// Request-level tests of the video input, audio and streaming status
// resources: documents byte for byte, stored rows, commands sent.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n";

std::string video_elements(int indent, const char* mode, int b, int c, int h) {
  std::string pad(indent, ' ');
  return pad + "<id>1</id>" + pad + "<inputPort>1</inputPort>" + pad +
         "<powerLineFrequencyMode>" + mode + "</powerLineFrequencyMode>" + pad +
         "<brightnessLevel>" + std::to_string(b) + "</brightnessLevel>" + pad +
         "<contrastLevel>" + std::to_string(c) + "</contrastLevel>" + pad + "<hueLevel>" +
         std::to_string(h) + "</hueLevel>";
}

TEST(VideoInput, DocumentsNestTheSameLevels) {
  struct Case {
    const char* sql;
    const char* mode;
    int b, c, h;
  } cases[] = {
      {"update VideoChannel set VideoStandard=2, Brightness=60, Contrast=40, Hue=30;", "60hz", 60,
       40, 30},
      {"update VideoChannel set VideoStandard=0;", "60hz", 50, 50, 50},
      {"delete from VideoChannel;", "50hz", 50, 50, 50},  // defaults
  };
  for (const Case& c : cases) {
    Camera camera(c.sql);
    EXPECT_EQ(camera.get("/PSIA/System/Video/inputs/channels/1").out,
              document_answer(std::string(kDeclaration) +
                              "<VideoInputChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">" +
                              video_elements(4, c.mode, c.b, c.c, c.h) + "</VideoInputChannel>"))
        << c.sql;
    EXPECT_EQ(camera.get("/PSIA/System/Video/inputs/channels").out,
              document_answer(std::string(kDeclaration) +
                              "<VideoInputChannelList version=\"1.0\" "
                              "xmlns=\"urn:psialliance-org\">    <VideoInputChannel "
                              "version=\"1.0\">" +
                              video_elements(8, c.mode, c.b, c.c, c.h) +
                              "    </VideoInputChannel></VideoInputChannelList>"));
    EXPECT_EQ(camera.get("/PSIA/System/Video/inputs").out,
              document_answer(std::string(kDeclaration) +
                              "<VideoInput version=\"1.0\" xmlns=\"urn:psialliance-org\">    "
                              "<VideoInputChannelList version=\"1.0\">        "
                              "<VideoInputChannel version=\"1.0\">" +
                              video_elements(12, c.mode, c.b, c.c, c.h) +
                              "        </VideoInputChannel>    </VideoInputChannelList>"
                              "</VideoInput>"));
  }
}

TEST(VideoInput, UpdateKeysTheRowByTheBodysIdAndAnswersTheDaemon) {
  Camera camera("", {"--status", "2=3"});
  const char uri[] = "/PSIA/System/Video/inputs/channels/1";
  ProcessResult answer = camera.put(
      uri,
      "<videoinputchannel><id>0</id><powerLineFrequencyMode>60hz</powerLineFrequencyMode>"
      "<brightnessLevel>70</brightnessLevel><hueLevel>20</hueLevel></videoinputchannel>");
  EXPECT_EQ(answer.out, status_answer(uri, 3));  // the daemon's status
  EXPECT_EQ(camera.query("select Brightness||','||Contrast||','||Hue||','||VideoStandard "
                         "from VideoChannel where VideoChannelID=0"),
            "70,0,20,1");  // a missing level is written as 0; the standard stays
  ASSERT_EQ(camera.sim().commands().size(), 1u);
  EXPECT_EQ(camera.sim().commands()[0].code, 2);
  EXPECT_EQ(camera.sim().commands()[0].int_at(0), 0);

  Camera other;
  EXPECT_EQ(other.put(uri, "<VideoInputChannel><brightnessLevel>9</brightnessLevel>"
                           "</VideoInputChannel>").out,
            status_answer(uri, 1));
  EXPECT_EQ(other.query("select Brightness from VideoChannel where VideoChannelID=0"), "50");
  EXPECT_EQ(other.sim().commands().at(0).int_at(0), -1);  // no id: row -1
  EXPECT_EQ(other.put(uri, "<VideoInput/>").out, status_answer(uri, 3));
}

std::string audio_channel(const char* enabled) {
  return std::string("<AudioChannel version=\"1.0\" xmlns=\"urn:psialliance-org\"><id>1</id>"
                     "<enabled>") +
         enabled + "</enabled><audioMode>listenonly</audioMode></AudioChannel>";
}

TEST(Audio, DocumentsReadTableAudio) {
  struct Case {
    const char* sql;
    const char* enabled;
  } cases[] = {{"update Audio set Enable=2;", "true"},
               {"update Audio set Enable=0;", "false"},
               {"delete from Audio;", "false"}};
  for (const Case& c : cases) {
    Camera camera(c.sql);
    EXPECT_EQ(camera.get("/PSIA/System/Audio/channels/1").out,
              document_answer(kDeclaration + audio_channel(c.enabled), kXmlUtf8Type));
    EXPECT_EQ(camera.get("/PSIA/System/Audio/channels").out,
              document_answer(std::string(kDeclaration) +
                                  "<AudioChannelList version=\"1.0\" "
                                  "xmlns=\"urn:psialliance-org\">" +
                                  audio_channel(c.enabled) + "</AudioChannelList>",
                              kXmlUtf8Type));
  }
}

TEST(Audio, UpdateWritesTheStreamsEnableAndAnswersTheDaemon) {
  const char uri[] = "/PSIA/System/Audio/channels/1";
  struct Case {
    const char* body;
    const char* stored;
    int answer;
  } cases[] = {
      {"<AUDIOchannel><id>1</id><enabled>TRUE</enabled></AUDIOchannel>", "1", 2},
      {"<AudioChannel><enabled>yes</enabled></AudioChannel>", "0", 2},
      {"<AudioChannel/>", "0", 2},
      {"<Audio><enabled>true</enabled></Audio>", "1", 3},  // wrong root: unchanged
      {"<AudioChannel>", "1", 3},                          // not XML
  };
  for (const Case& c : cases) {
    Camera camera("update AudioStream set Enable=1;", {"--status", "3=2"});
    EXPECT_EQ(camera.put(uri, c.body).out, status_answer(uri, c.answer)) << c.body;
    EXPECT_EQ(camera.query("select Enable from AudioStream where AudioStreamID=0"), c.stored);
    EXPECT_EQ(camera.query("select Enable from Audio"), "1");
    EXPECT_EQ(camera.sim().commands().size(), c.answer == 2 ? 1u : 0u);
  }
}

std::string session(const std::string& element, int indent, const char* address) {
  std::string pad(indent, ' ');
  return pad + "<" + element + ">" + pad + "    <clientAddress>" + pad +
         "        <ipAddress>" + address + "</ipAddress>" + pad + "    </clientAddress>" + pad +
         "</StreamingSessionStatus>";
}

TEST(StreamingStatus, ListsEveryClient) {
  Camera camera("insert into ClientList values (3, 'Master-0', '10.0.0.9', 1);");
  EXPECT_EQ(camera.get("/PSIA/Streaming/status").out,
            document_answer(std::string(kDeclaration) +
                            "<StreamingStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                            "    <totalStreamingSessions>3</totalStreamingSessions>"
                            "    <StreamingSessionStatusList version=\"1.0\">" +
                            session("StreamingSessionStatus version=\"1.0\"", 8, "192.168.1.20") +
                            session("StreamingSessionStatus version=\"1.0\"", 8, "192.168.1.21") +
                            session("StreamingSessionStatus version=\"1.0\"", 8, "10.0.0.9") +
                            "    </StreamingSessionStatusList></StreamingStatus>"));
  Camera empty("delete from ClientList;");
  EXPECT_NE(empty.get("/PSIA/Streaming/status").out.find(
                "<totalStreamingSessions>0</totalStreamingSessions>    "
                "<StreamingSessionStatusList version=\"1.0\">    </StreamingSessionStatusList>"),
            std::string::npos);
}

TEST(StreamingStatus, ChannelStatusChoosesTheStreamByPathLength) {
  Camera camera;
  auto list = [](const char* address) {
    return document_answer(std::string(kDeclaration) +
                           "<StreamingSessionStatusList version=\"1.0\" "
                           "xmlns=\"urn:psialliance-org\">" +
                           session("StreamingSessionStatus", 4, address) +
                           "</StreamingSessionStatusList>");
  };
  struct Case {
    const char* uri;
    const char* address;
  } cases[] = {
      {"/PSIA/Streaming/channels/Slave-0/status", "192.168.1.21"},
      {"/PSIA/Streaming/channels/XXXXX-0/status", "192.168.1.21"},  // only the length counts
      {"/PSIA/Streaming/channels/Master-0/status", "192.168.1.20"},
      {"/PSIA/Streaming/channels/2/status", "192.168.1.20"},
  };
  for (const Case& c : cases) EXPECT_EQ(camera.get(c.uri).out, list(c.address)) << c.uri;

  Camera empty("delete from ClientList where StreamName='Master-0';");
  const char uri[] = "/PSIA/Streaming/channels/1/status";
  EXPECT_EQ(empty.get(uri).out, status_answer(uri, 3));
}

}  // namespace
