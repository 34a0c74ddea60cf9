// Request-level tests of the streaming channel documents and updates.
#include <gtest/gtest.h>

#include <string>

#include "responder_harness.h"

namespace {

// The master channel of the demo camera, as clients have always read it.
const char kMasterChannel[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
    "<StreamingChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">"
    "    <id>1</id>    <channelName>Master stream</channelName>    <enabled>true</enabled>"
    "    <Transport>        <rtspPortNo>554</rtspPortNo>        <ControlProtocolList>"
    "            <ControlProtocol>"
    "                <streamingTransport>RTSP</streamingTransport>"
    "            </ControlProtocol>        </ControlProtocolList>            <Unicast>"
    "              <enabled>true</enabled>"
    "              <rtpTransportType>RTP/TCP</rtpTransportType>            </Unicast>"
    "    </Transport>    <Video>    <enabled>true</enabled>"
    "        <videoInputChannelID>1</videoInputChannelID>"
    "        <videoCodecType>MJPEG</videoCodecType>"
    "            <videoScanType>progressive</videoScanType>"
    "        <videoResolutionWidth>704</videoResolutionWidth>"
    "        <videoResolutionHeight>576</videoResolutionHeight>"
    "            <videoQualityControlType>CBR</videoQualityControlType>"
    "            <constantBitRate>4096</constantBitRate>"
    "        <maxFrameRate>2500</maxFrameRate>"
    "            <keyFrameInterval>1200</keyFrameInterval>    </Video>        <Audio>"
    "            <enabled>true</enabled>"
    "            <audioInputChannelID>1</audioInputChannelID>"
    "            <audioCompressionType>G.711ulaw</audioCompressionType>"
    "            <audioBitRate>64</audioBitRate>"
    "            <audioSamplingRate>8</audioSamplingRate>"
    "            <audioResolution>8</audioResolution>        </Audio></StreamingChannel>";

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(StreamingChannel, MasterDocumentByteForByte) {
  Camera camera;
  EXPECT_EQ(camera.get("/PSIA/Streaming/channels/1").out, document_answer(kMasterChannel));
}

TEST(StreamingChannel, DocumentsFollowTheStoredValues) {
  struct Case {
    const char* sql;
    const char* uri;
    std::vector<std::string> present;
    std::vector<std::string> absent = {};
  } cases[] = {
      // No stream rows at all: the camera's defaults, with each document's
      // own default mains frequency.
      {"delete from VideoStream; delete from VideoChannel;",
       "/PSIA/Streaming/channels/2",
       {"<channelName>Slave stream", "H.264", "<videoResolutionHeight>480<",
        "<fixedQuality>50<", "<vbrUpperCap>10240</vbrUpperCap>", "<maxFrameRate>1500<",
        "<keyFrameInterval>1000<"}},
      {"delete from VideoStream; delete from VideoChannel;",
       "/PSIA/Streaming/channels",
       {"<videoResolutionHeight>576<"}},
      {"delete from VideoStream; delete from VideoChannel;",
       "/PSIA/Streaming/channels/1/capabilities",
       {"min=\"144\" max=\"576\">576<"}},
      {"update VideoStream set GOPSize=7, Framerate=10, QualityType=5, Quality=9 "
       "where VideoStreamID=0;",
       "/PSIA/Streaming/channels/master-0",
       {"<keyFrameInterval>699<", "<videoQualityControlType>VBR<", "<fixedQuality>50<"}},
      {"update VideoStream set Framerate=30000000 where VideoStreamID=0;",
       "/PSIA/Streaming/channels/1",
       {"<maxFrameRate>-1294967296<"}},  // wraps as the camera's 32 bits do
      {"update VideoStream set Framerate=0 where VideoStreamID=0;",
       "/PSIA/Streaming/channels/10",
       {"<id>1</id>", "<keyFrameInterval>2147483647<"}},
      {"update AudioStream set Codec=3; update VideoChannel set VideoStandard=0;",
       "/PSIA/Streaming/channels/Slave-0",
       {"<id>2</id>", ">G.726<", "<audioBitRate>32<", "<videoResolutionHeight>240<"}},
      {"update AudioStream set Codec=4, Enable=2; delete from Services;",
       "/PSIA/Streaming/channels/x",
       {"<id>2</id>", ">G.711<", "<audioBitRate>64<", "<rtspPortNo>554<",
        "<Audio>            <enabled>false<"}},
      // The slave's list entry names no size it does not know; its own
      // document shows the full size.
      {"update VideoStream set Resolution=7 where VideoStreamID=1;",
       "/PSIA/Streaming/channels",
       {"<channelName>Slave Stream</channelName>", "<maxPacketSize>1448</maxPacketSize>"},
       {"<videoResolutionWidth>352<"}},
      {"update VideoStream set Resolution=7 where VideoStreamID=1;",
       "/PSIA/Streaming/channels/2",
       {"<videoResolutionWidth>704<", "<videoResolutionHeight>576<"}},
      {"update VideoStream set Resolution=3;",
       "/PSIA/Streaming/channels/2/capabilities",
       {"<id opt=\"1,2\">2</id>", "<channelName min=\"1\" max=\"128\">2 stream</channelName>",
        "<videoResolutionWidth min=\"176\" max=\"704\">176<",
        "<videoQualityControlType opt=\"CBR,VBR\">CBR<",  // the master's values
        "<constantBitRate min=\"64\" max=\"10240\" dynamic=\"true\">4096<",
        "</maxFrameRate><keyFrameInterval min", "<keyFrameInterval min=\"0\" max=\"10000\">1200<"},
       {"videoScanType"}},
  };
  for (const Case& c : cases) {
    Camera camera(c.sql);
    std::string out = camera.get(c.uri).out;
    for (const std::string& part : c.present) EXPECT_TRUE(has(out, part)) << c.uri << ": " << part;
    for (const std::string& part : c.absent) EXPECT_FALSE(has(out, part)) << c.uri << ": " << part;
  }
}

TEST(StreamingChannel, AnUnusableStreamAnswersThree) {
  for (const char* uri : {"/PSIA/Streaming/channels", "/PSIA/Streaming/channels/2",
                          "/PSIA/Streaming/channels/1/capabilities"}) {
    Camera camera("update VideoStream set Enable=-1;");
    EXPECT_EQ(camera.get(uri).out, status_answer(uri, 3)) << uri;
  }
}

std::string stream_row(Camera& camera, int id) {
  return camera.query("select Enable||','||Codec||','||Resolution||','||QualityType||','||"
                      "Bitrate||','||Quality||','||Framerate||','||GOPSize from VideoStream "
                      "where VideoStreamID=" + std::to_string(id));
}

TEST(StreamingUpdate, OneChannelRewritesTheStreamNamedByTheBody) {
  Camera camera;
  const char uri[] = "/PSIA/Streaming/channels/1";
  EXPECT_EQ(camera.put(uri, "<StreamingChannel><id>2</id></StreamingChannel>").out,
            status_answer(uri, 1));
  EXPECT_EQ(stream_row(camera, 1), "1,1,0,1,2048,2,15,15");  // defaults; GOP kept
  EXPECT_EQ(stream_row(camera, 0), "1,0,0,0,4096,3,25,30");  // untouched
  EXPECT_EQ(camera.query("select Enable||','||Codec from AudioStream"), "0,2");
  EXPECT_EQ(camera.query("select RTSPPort from Services"), "554");
  std::vector<SimCommand> sent = camera.sim().commands();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0].code, 4);
  EXPECT_EQ(sent[0].int_at(4), 0);  // not the master
  EXPECT_EQ(sent[1].code, 3);
  EXPECT_EQ(sent[2].code, 46);
}

TEST(StreamingUpdate, ElementsMapToTheStoredCodes) {
  struct Case {
    const char* video;
    const char* row;
  } cases[] = {
      {"<videoCodecType>mjpeg</videoCodecType><maxFrameRate>2999</maxFrameRate>",
       "1,0,0,1,2048,2,29,30"},
      {"<videoResolutionWidth>176</videoResolutionWidth>"
       "<videoResolutionHeight>288</videoResolutionHeight>",
       "1,1,2,1,2048,2,15,30"},
      {"<videoResolutionHeight>288</videoResolutionHeight>", "1,1,1,1,2048,2,15,30"},
      {"<videoResolutionHeight>112</videoResolutionHeight>"
       "<videoResolutionWidth>640</videoResolutionWidth>",
       "1,1,0,1,2048,2,15,30"},
      {"<videoQualityControlType>cbr</videoQualityControlType>"
       "<constantBitRate>999</constantBitRate><maxFrameRate>50</maxFrameRate>",
       "1,1,0,0,999,2,0,30"},
      {"<fixedQuality>80</fixedQuality>", "1,1,0,1,2048,2,15,30"},
      {"<fixedQuality>100</fixedQuality>", "1,1,0,1,2048,0,15,30"},
      {"<fixedQuality>0</fixedQuality>", "1,1,0,1,2048,4,15,30"},
      {"<fixedQuality>-5</fixedQuality>", "1,1,0,1,2048,3,15,30"},
      {"<fixedQuality>60</fixedQuality>", "1,1,0,1,2048,1,15,30"},
  };
  for (const Case& c : cases) {
    Camera camera;
    std::string body = std::string("<StreamingChannel><id>Master-0</id><Video>") + c.video +
                       "</Video></StreamingChannel>";
    camera.put("/PSIA/Streaming/channels/1", body);
    EXPECT_EQ(stream_row(camera, 0), c.row) << c.video;
  }
}

TEST(StreamingUpdate, AudioAndTransportSettings) {
  struct Case {
    const char* audio;
    const char* stored;  // Enable,Codec
  } cases[] = {
      {"<enabled>true</enabled><audioCompressionType>G.711alaw</audioCompressionType>", "0,1"},
      {"<enabled>1</enabled><audioCompressionType>G.726</audioCompressionType>"
       "<audioBitRate>32</audioBitRate>",
       "1,3"},
      {"<audioBitRate>32</audioBitRate><audioCompressionType>G.726</audioCompressionType>",
       "0,2"},
      {"<audioCompressionType>AAC</audioCompressionType>", "0,0"},
  };
  for (const Case& c : cases) {
    Camera camera;
    std::string body = std::string("<StreamingChannel><Transport><rtspPortNo>8554</rtspPortNo>"
                                   "</Transport><Audio>") +
                       c.audio + "</Audio></StreamingChannel>";
    EXPECT_EQ(camera.put("/PSIA/Streaming/channels/2", body).out,
              status_answer("/PSIA/Streaming/channels/2", 1));
    EXPECT_EQ(camera.query("select Enable||','||Codec from AudioStream"), c.stored) << c.audio;
    EXPECT_EQ(camera.query("select RTSPPort from Services"), "8554");
    EXPECT_EQ(camera.sim().commands().at(0).int_at(4), 1);  // no id: the master
  }
}

TEST(StreamingUpdate, ListAndPostWriteBothStreams) {
  const char list[] = "/PSIA/Streaming/channels";
  Camera camera;
  EXPECT_EQ(camera.put(list, "<StreamingChannelList><StreamingChannel><id>1</id>"
                             "<enabled>false</enabled></StreamingChannel>"
                             "</StreamingChannelList>").out,
            status_answer(list, 1));
  EXPECT_EQ(stream_row(camera, 0), "0,1,0,1,2048,2,15,30");
  EXPECT_EQ(stream_row(camera, 1), "1,1,0,1,2048,2,15,15");  // reset to the defaults
  std::vector<SimCommand> sent = camera.sim().commands();
  ASSERT_EQ(sent.size(), 4u);
  EXPECT_EQ(sent[0].code, 4);
  EXPECT_EQ(sent[1].code, 4);
  EXPECT_EQ(sent[1].int_at(4), 1);

  Camera posted;
  EXPECT_EQ(posted.send("POST", list,
                        "<StreamingChannel><enabled>false</enabled><id>2</id>"
                        "<Video><maxFrameRate>500</maxFrameRate></Video></StreamingChannel>")
                .out,
            status_answer(list, 1));
  EXPECT_EQ(stream_row(posted, 0), "0,1,0,1,2048,2,15,30");
  EXPECT_EQ(stream_row(posted, 1), "1,1,0,1,2048,2,5,15");
  EXPECT_EQ(posted.sim().commands().at(0).int_at(4), 0);  // the slave was in force last

  struct Refusal {
    const char* method;
    const char* uri;
    const char* body;
  } refused[] = {
      {"PUT", list, "<StreamingChannelList>\n  <StreamingChannel/>\n</StreamingChannelList>"},
      {"PUT", list, "<StreamingChannelList/>"},
      {"PUT", list, "<StreamingChannel/>"},
      {"POST", list, "<StreamingChannelList/>"},
      {"PUT", "/PSIA/Streaming/channels/1", "<StreamingChannel>"},
  };
  for (const Refusal& f : refused) {
    Camera untouched;
    EXPECT_EQ(untouched.send(f.method, f.uri, f.body).out, status_answer(f.uri, 3)) << f.body;
    EXPECT_EQ(stream_row(untouched, 1), "1,1,2,1,1024,3,15,15");
    EXPECT_TRUE(untouched.sim().commands().empty());
  }

  for (const char* uri : {list, "/PSIA/Streaming/channels/1"}) {
    Camera kept;
    EXPECT_EQ(kept.send("DELETE", uri).out, status_answer(uri, 1));
    EXPECT_EQ(stream_row(kept, 0), "1,0,0,0,4096,3,25,30");
  }
}

}  // namespace
