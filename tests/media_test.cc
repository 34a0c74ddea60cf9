// The media branches: the video input, the audio channel, the streaming
// channel documents and updates, and the streaming status.
#include <gtest/gtest.h>

#include "harness.h"

using namespace psia_test;

namespace {

const char kStream[] =
    "select Enable, Codec, Resolution, QualityType, Bitrate, Quality, Framerate, GOPSize "
    "from VideoStream order by VideoStreamID";
const char kSeededStreams[] = "1|0|0|0|4096|3|25|30\n1|1|2|1|1024|3|15|15";
const char kAudio[] = "select Enable, Codec from AudioStream";

// Fragments a document must hold, and fragments it must not.
struct Parts {
  std::string setup;
  std::string uri;
  std::vector<std::string> present;
  std::vector<std::string> absent = {};
};

void expect_parts(const std::vector<Parts>& cases) {
  for (const Parts& c : cases) {
    Camera camera(c.setup);
    std::string out = camera.get(c.uri);
    for (const std::string& part : c.present)
      EXPECT_NE(out.find(part), std::string::npos) << c.setup << " " << c.uri << ": " << part;
    for (const std::string& part : c.absent)
      EXPECT_EQ(out.find(part), std::string::npos) << c.setup << " " << c.uri << ": " << part;
  }
}

std::string video(int indent, const char* mode, int b, int c, int h) {
  std::string pad(indent, ' ');
  return pad + "<id>1</id>" + pad + "<inputPort>1</inputPort>" + pad + "<powerLineFrequencyMode>" +
         mode + "</powerLineFrequencyMode>" + pad + "<brightnessLevel>" + std::to_string(b) +
         "</brightnessLevel>" + pad + "<contrastLevel>" + std::to_string(c) + "</contrastLevel>" +
         pad + "<hueLevel>" + std::to_string(h) + "</hueLevel>";
}

TEST(VideoInput, DocumentsAndTheLevelsUpdate) {
  const char* one = "/PSIA/System/Video/inputs/channels/1";
  const char* levels = "select Brightness, Contrast, Hue, VideoStandard from VideoChannel";
  auto channel = [](const char* mode, int b, int c, int h) {
    return document_answer(kDeclaration + std::string("<VideoInputChannel version=\"1.0\" "
                                                      "xmlns=\"urn:psialliance-org\">") +
                           video(4, mode, b, c, h) + "</VideoInputChannel>");
  };
  run_cases({
      {"GET", "/PSIA/System/Video/inputs", "", 0, document_answer(golden("video_inputs.xml"))},
      {"GET", "/PSIA/System/Video/inputs/channels", "", 0,
       document_answer(kDeclaration +
                       std::string("<VideoInputChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                                   "    <VideoInputChannel version=\"1.0\">") +
                       video(8, "50hz", 50, 50, 50) + "    </VideoInputChannel></VideoInputChannelList>")},
      {"GET", one, "", 0, channel("60hz", 60, 40, 30), {}, {},
       "update VideoChannel set VideoStandard=2, Brightness=60, Contrast=40, Hue=30"},
      {"GET", one, "", 0, channel("60hz", 50, 50, 50), {}, {}, "update VideoChannel set VideoStandard=0"},
      {"GET", one, "", 0, channel("50hz", 50, 50, 50), {}, {}, "delete from VideoChannel"},
      // The body's id is the row key; a missing level is written as 0.
      {"PUT", one,
       "<videoinputchannel><id>0</id><powerLineFrequencyMode>60hz</powerLineFrequencyMode>"
       "<brightnessLevel>70</brightnessLevel><hueLevel>20</hueLevel></videoinputchannel>",
       3, "", {"2 channel=0"}, {{levels, "70|0|20|1"}}, "", "", {{2, 3}}},
      {"PUT", one, "<VideoInputChannel><brightnessLevel>9</brightnessLevel></VideoInputChannel>", 1, "",
       {"2 channel=-1"}, {{levels, "50|50|50|1"}}},
      {"PUT", one, "<VideoInput/>", 3, "", {}, {{levels, "50|50|50|1"}}},
  });
}

TEST(Audio, DocumentsReadAudioAndTheUpdateWritesTheStream) {
  auto doc = [](bool list, const char* enabled) {
    std::string channel = std::string("<AudioChannel version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                                      "<id>1</id><enabled>") +
                          enabled + "</enabled><audioMode>listenonly</audioMode></AudioChannel>";
    if (list)
      channel = "<AudioChannelList version=\"1.0\" xmlns=\"urn:psialliance-org\">" + channel +
                "</AudioChannelList>";
    return document_answer(kDeclaration + channel, kXmlUtf8);
  };
  const char* uri = "/PSIA/System/Audio/channels/1";
  const char* stream = "select Enable from AudioStream";
  const char* set = "update AudioStream set Enable=1";
  run_cases({
      {"GET", uri, "", 0, doc(false, "true"), {}, {}, "update Audio set Enable=2"},
      {"GET", "/PSIA/System/Audio/channels", "", 0, doc(true, "true")},
      {"GET", "/PSIA/System/Audio/channels", "", 0, doc(true, "false"), {}, {}, "update Audio set Enable=0"},
      {"GET", uri, "", 0, doc(false, "false"), {}, {}, "delete from Audio"},
      {"PUT", uri, "<AUDIOchannel><id>1</id><enabled>TRUE</enabled></AUDIOchannel>", 2, "", {"3 value=0"},
       {{stream, "1"}, {"select Enable from Audio", "1"}}, "update AudioStream set Enable=0", "", {{3, 2}}},
      {"PUT", uri, "<AudioChannel><enabled>yes</enabled></AudioChannel>", 1, "", {"3 value=0"}, {{stream, "0"}},
       set},
      {"PUT", uri, "<AudioChannel/>", 1, "", {"3 value=0"}, {{stream, "0"}}, set},
      {"PUT", uri, "<Audio><enabled>true</enabled></Audio>", 3, "", {}, {{stream, "1"}}, set},
      {"PUT", uri, "<AudioChannel>", 3, "", {}, {{stream, "1"}}, set},
  });
}

TEST(StreamingChannel, DocumentsFollowTheStoredValues) {
  EXPECT_EQ(Camera().get("/PSIA/Streaming/channels"), document_answer(golden("streaming_channels.xml")));
  EXPECT_EQ(Camera().get("/PSIA/Streaming/channels/1"), document_answer(golden("streaming_channel_1.xml")));
  // The capabilities show the master stream's values under the id asked for.
  EXPECT_EQ(Camera().get("/PSIA/Streaming/channels/2/capabilities"),
            document_answer(golden("streaming_capabilities.xml")));
  const char* none = "delete from VideoStream; delete from VideoChannel";
  const char* master = "/PSIA/Streaming/channels/1";
  expect_parts({
      // No rows: the camera's defaults, with each document's own default
      // mains frequency.
      {none, "/PSIA/Streaming/channels/2",
       {"<channelName>Slave stream", "H.264", "<videoResolutionWidth>704<", "<videoResolutionHeight>480<",
        "<fixedQuality>50<", "<vbrUpperCap>10240</vbrUpperCap>", "<maxFrameRate>1500<",
        "<keyFrameInterval>1000<"}},
      {none, "/PSIA/Streaming/channels", {"<videoResolutionHeight>576<"}},
      {none, "/PSIA/Streaming/channels/1/capabilities", {"min=\"144\" max=\"576\">576<"}},
      {"update VideoStream set GOPSize=7, Framerate=10, QualityType=5, Quality=9",
       "/PSIA/Streaming/channels/master-0",
       {"<id>1</id>", "<keyFrameInterval>699<", "<videoQualityControlType>VBR<", "<fixedQuality>50<"}},
      {"update VideoStream set Framerate=30000000", master, {"<maxFrameRate>-1294967296<"}},  // 32-bit wrap
      {"update VideoStream set Framerate=0", "/PSIA/Streaming/channels/10",
       {"<id>1</id>", "<keyFrameInterval>2147483647<"}},
      {"update VideoStream set Framerate=0, GOPSize=-1", master, {"<keyFrameInterval>-2147483648<"}},
      {"update VideoStream set Framerate=0, GOPSize=0", master, {"<keyFrameInterval>0<"}},
      {"update AudioStream set Codec=3; update VideoChannel set VideoStandard=0",
       "/PSIA/Streaming/channels/Slave-0",
       {"<id>2</id>", ">G.726<", "<audioBitRate>32<", "<videoResolutionHeight>240<"}},
      {"update AudioStream set Codec=2", master, {">G.726<", "<audioBitRate>24<"}},
      {"update AudioStream set Codec=1", master, {">G.711alaw<", "<audioBitRate>64<"}},
      {"update AudioStream set Codec=4, Enable=2; delete from Services", "/PSIA/Streaming/channels/x",
       {"<id>2</id>", ">G.711<", "<audioBitRate>64<", "<rtspPortNo>554<", "<Audio>            <enabled>false<"}},
      {"update VideoChannel set VideoStandard=0", "/PSIA/Streaming/channels",
       {"<videoResolutionHeight>576<", "<videoResolutionHeight>288<"}},
      {"update VideoStream set Resolution=1, QualityType=1", master,
       {"<videoResolutionWidth>704<", "<videoResolutionHeight>288<"}},
      {"update VideoStream set Resolution=3", master,
       {"        <videoResolutionWidth>176<", "<videoResolutionHeight>144<"}},
      // The quality steps, each read back as the PSIA value.
      {"update VideoStream set QualityType=1, Quality=0", master, {"<fixedQuality>100<"}},
      {"update VideoStream set QualityType=1, Quality=1", master, {"<fixedQuality>75<"}},
      {"update VideoStream set QualityType=1, Quality=3", master, {"<fixedQuality>25<"}},
      {"update VideoStream set QualityType=1, Quality=4", master, {"<fixedQuality>0<"}},
      {"update VideoStream set QualityType=1, Quality=2", master, {"<fixedQuality>50<"}},
      // The slave's list entry leaves out a size it cannot name.
      {"update VideoStream set Resolution=3 where VideoStreamID=1", "/PSIA/Streaming/channels",
       {"<videoResolutionWidth>176<", "<videoResolutionHeight>144<"}},
      {"update VideoStream set Resolution=0 where VideoStreamID=1", "/PSIA/Streaming/channels",
       {"Slave Stream", "576</videoResolutionHeight>            <videoQualityControlType>VBR"}},
      {"update VideoStream set Resolution=4 where VideoStreamID=1", "/PSIA/Streaming/channels",
       {"<channelName>Slave Stream</channelName>", "<maxPacketSize>1448</maxPacketSize>"},
       {"<videoResolutionWidth>352<", "<videoResolutionHeight>288<"}},
      {"update VideoStream set Resolution=-1 where VideoStreamID=1", "/PSIA/Streaming/channels",
       {"<videoScanType>progressive</videoScanType>            <videoQualityControlType>VBR"}},
      {"update VideoStream set Resolution=7 where VideoStreamID=1", "/PSIA/Streaming/channels/2",
       {"<videoResolutionWidth>704<", "<videoResolutionHeight>576<"}},
  });
  for (const char* uri :
       {"/PSIA/Streaming/channels", "/PSIA/Streaming/channels/2", "/PSIA/Streaming/channels/1/capabilities"})
    EXPECT_EQ(Camera("update VideoStream set Enable=-1").get(uri), status_answer(uri, 3)) << uri;
}

TEST(StreamingUpdate, ElementsBecomeTheStoredCodes) {
  const char* uri = "/PSIA/Streaming/channels/1";
  std::vector<Case> cases;
  const std::pair<const char*, const char*> video_rules[] = {
      {"<videoCodecType>mjpeg</videoCodecType><maxFrameRate>2999</maxFrameRate>", "1|0|0|1|2048|2|29|30"},
      {"<maxFrameRate>-150</maxFrameRate>", "1|1|0|1|2048|2|-1|30"},
      {"<videoResolutionWidth>176</videoResolutionWidth><videoResolutionHeight>288</videoResolutionHeight>",
       "1|1|2|1|2048|2|15|30"},
      {"<videoResolutionWidth>160</videoResolutionWidth>", "1|1|3|1|2048|2|15|30"},
      {"<videoResolutionHeight>288</videoResolutionHeight>", "1|1|1|1|2048|2|15|30"},
      {"<videoResolutionHeight>240</videoResolutionHeight><videoResolutionWidth>352</videoResolutionWidth>",
       "1|1|2|1|2048|2|15|30"},
      {"<videoResolutionHeight>112</videoResolutionHeight>", "1|1|3|1|2048|2|15|30"},
      {"<videoResolutionWidth>352</videoResolutionWidth><videoResolutionHeight>144</videoResolutionHeight>",
       "1|1|3|1|2048|2|15|30"},
      {"<videoResolutionHeight>112</videoResolutionHeight><videoResolutionWidth>640</videoResolutionWidth>",
       "1|1|0|1|2048|2|15|30"},
      {"<videoQualityControlType>cbr</videoQualityControlType><constantBitRate>999</constantBitRate>"
       "<maxFrameRate>50</maxFrameRate>",
       "1|1|0|0|999|2|0|30"},
  };
  for (const auto& [element, row] : video_rules)
    cases.push_back({"PUT", uri, std::string("<StreamingChannel><id>Master-0</id><Video>") + element +
                                     "</Video></StreamingChannel>",
                     1, "", {"4 master=1", "3 value=0", "46"}, {{kStream, std::string(row) + "\n1|1|2|1|1024|3|15|15"}}});
  // PSIA quality (0..100) to the camera's steps, at every edge.
  const std::pair<int, int> steps[] = {{-5, 3}, {0, 4},  {1, 3},  {25, 3},  {26, 2},  {50, 2},
                                       {51, 1}, {75, 1}, {76, 2}, {99, 2}, {100, 0}, {101, 2}};
  for (const auto& [quality, step] : steps)
    cases.push_back({"PUT", uri, "<StreamingChannel><Video><fixedQuality>" + std::to_string(quality) +
                                     "</fixedQuality></Video></StreamingChannel>",
                     1, "", {"4 master=1", "3 value=0", "46"},
                     {{"select Quality from VideoStream where VideoStreamID=0", std::to_string(step)}}});
  run_cases(cases);
}

TEST(StreamingUpdate, WhatEachWriterStores) {
  const char* list = "/PSIA/Streaming/channels";
  const char* one = "/PSIA/Streaming/channels/1";
  const std::vector<std::string> three = {"4 master=1", "3 value=0", "46"};
  auto audio = [&](const char* elements, const char* stored) {
    return Case{"PUT", "/PSIA/Streaming/channels/2",
                std::string("<StreamingChannel><Transport><rtspPortNo>8554</rtspPortNo></Transport><Audio>") +
                    elements + "</Audio></StreamingChannel>",
                1, "", three, {{kAudio, stored}, {"select RTSPPort from Services", "8554"}}};
  };
  run_cases({
      // The body's id names the stream; the path's does not. Everything the
      // body leaves out is written at its default (GOP size kept).
      {"PUT", one, "<StreamingChannel><id>2</id></StreamingChannel>", 1, "", {"4 master=0", "3 value=0", "46"},
       {{kStream, "1|0|0|0|4096|3|25|30\n1|1|0|1|2048|2|15|15"}, {kAudio, "0|2"},
        {"select RTSPPort from Services", "554"}}},
      {"PUT", one, "<StreamingChannel><id>slave-0x</id><enabled>TRUE</enabled></StreamingChannel>", 1, "",
       {"4 master=0", "3 value=0", "46"}, {{kStream, "1|0|0|0|4096|3|25|30\n1|1|0|1|2048|2|15|15"}}},
      audio("<enabled>true</enabled><audioCompressionType>G.711alaw</audioCompressionType>", "0|1"),
      audio("<enabled>1</enabled><audioCompressionType>G.726</audioCompressionType><audioBitRate>32</audioBitRate>",
            "1|3"),
      audio("<audioCompressionType>G.726</audioCompressionType><audioBitRate>31</audioBitRate>", "0|2"),
      audio("<audioCompressionType>G.726</audioCompressionType><audioBitRate>33</audioBitRate>", "0|2"),
      audio("<audioBitRate>32</audioBitRate><audioCompressionType>G.726</audioCompressionType>", "0|2"),
      audio("<audioCompressionType>AAC</audioCompressionType>", "0|0"),
      // A list or a POST writes both streams; the other is reset.
      {"PUT", list,
       "<StreamingChannelList><StreamingChannel><id>1</id><enabled>false</enabled></StreamingChannel>"
       "</StreamingChannelList>",
       1, "", {"4 master=1", "4 master=1", "3 value=0", "46"},
       {{kStream, "0|1|0|1|2048|2|15|30\n1|1|0|1|2048|2|15|15"}}},
      {"POST", list,
       "<StreamingChannel><enabled>false</enabled><id>2</id><Video><maxFrameRate>500</maxFrameRate></Video>"
       "</StreamingChannel>",
       1, "", {"4 master=0", "4 master=0", "3 value=0", "46"},
       {{kStream, "0|1|0|1|2048|2|15|30\n1|1|0|1|2048|2|5|15"}}},
      // Refused: a pretty-printed list (its first child is text), a wrong
      // root, malformed XML. Nothing stored, nothing sent.
      {"PUT", list, "<StreamingChannelList>\n  <StreamingChannel/>\n</StreamingChannelList>", 3, "", {},
       {{kStream, kSeededStreams}}},
      {"PUT", list, "<StreamingChannelList/>", 3},
      {"PUT", list, "<StreamingChannel/>", 3},
      {"POST", list, "<StreamingChannelList/>", 3},
      {"PUT", one, "<StreamingChannel>", 3, "", {}, {{kStream, kSeededStreams}}},
      {"DELETE", list, "", 1, "", {}, {{kStream, kSeededStreams}}},
      {"DELETE", one, "", 1, "", {}, {{kStream, kSeededStreams}}},
  });
}

TEST(StreamingStatus, ClientsOfTheCameraAndOfEachStream) {
  auto session = [](const std::string& element, int indent, const char* address) {
    std::string pad(indent, ' ');
    return pad + "<" + element + ">" + pad + "    <clientAddress>" + pad + "        <ipAddress>" +
           address + "</ipAddress>" + pad + "    </clientAddress>" + pad + "</StreamingSessionStatus>";
  };
  auto channel = [&](const char* address) {
    return document_answer(kDeclaration +
                           std::string("<StreamingSessionStatusList version=\"1.0\" xmlns=\"urn:psialliance-org\">") +
                           session("StreamingSessionStatus", 4, address) + "</StreamingSessionStatusList>");
  };
  run_cases({
      {"GET", "/PSIA/Streaming/status", "", 0, document_answer(golden("streaming_status.xml"))},
      {"GET", "/PSIA/Streaming/status", "", 0,
       document_answer(kDeclaration + std::string("<StreamingStatus version=\"1.0\" xmlns=\"urn:psialliance-org\">"
                                                  "    <totalStreamingSessions>0</totalStreamingSessions>"
                                                  "    <StreamingSessionStatusList version=\"1.0\">"
                                                  "    </StreamingSessionStatusList></StreamingStatus>")),
       {}, {}, "delete from ClientList"},
      // The stream is chosen by the length of the path alone.
      {"GET", "/PSIA/Streaming/channels/Slave-0/status", "", 0, channel("192.168.1.21")},
      {"GET", "/PSIA/Streaming/channels/XXXXX-0/status", "", 0, channel("192.168.1.21")},
      {"GET", "/PSIA/Streaming/channels/Master-0/status", "", 0, channel("192.168.1.20")},
      {"GET", "/PSIA/Streaming/channels/2/status", "", 0, channel("192.168.1.20")},
      {"GET", "/PSIA/Streaming/channels/1/status", "", 3, "", {}, {},
       "delete from ClientList where StreamName='Master-0'"},
  });
}

}  // namespace
