// The media branches: video and audio inputs, the streaming channels and their status.
#include <gtest/gtest.h>

#include <tuple>

#include "harness.h"

using namespace psia_test;

namespace {

const char kStream[] =
    "select Enable, Codec, Resolution, QualityType, Bitrate, Quality, Framerate, GOPSize from VideoStream order by "
    "VideoStreamID";
const char kSeededStreams[] = "1|0|0|0|4096|3|25|30\n1|1|2|1|1024|3|15|15";
const char kAudio[] = "select Enable, Codec from AudioStream";

std::string video(int indent, const char* mode, int b, int c, int h) {
  std::string pad(indent, ' ');
  return pad + "<id>1</id>" + pad + "<inputPort>1</inputPort>" + pad + "<powerLineFrequencyMode>" + mode +
         "</powerLineFrequencyMode>" + pad + "<brightnessLevel>" + std::to_string(b) + "</brightnessLevel>" + pad +
         "<contrastLevel>" + std::to_string(c) + "</contrastLevel>" + pad + "<hueLevel>" + std::to_string(h) +
         "</hueLevel>";
}

const char kVideoChannel[] = "/PSIA/System/Video/inputs/channels/1";
const char kLevels[] = "select Brightness, Contrast, Hue, VideoStandard from VideoChannel";

TEST(Media, VideoInputs) {
  // clang-format off
  run_cases({
      get("/PSIA/System/Video/inputs").answers(document_answer(golden("video_inputs.xml"))),
      get("/PSIA/System/Video/inputs/channels").answers(xml_answer(psia_element("VideoInputChannelList", "    <VideoInputChannel version=\"1.0\">" + video(8, "50hz", 50, 50, 50) + "    </VideoInputChannel>"))),
      get(kVideoChannel).after("update VideoChannel set VideoStandard=2, Brightness=60, Contrast=40, Hue=30").answers(xml_answer(psia_element("VideoInputChannel", video(4, "60hz", 60, 40, 30)))),
      get(kVideoChannel).after("delete from VideoChannel").answers(xml_answer(psia_element("VideoInputChannel", video(4, "50hz", 50, 50, 50)))),
      // The body's id is the row key; a missing level is written as 0.
      put(kVideoChannel, "<videoinputchannel><id>0</id><powerLineFrequencyMode>60hz</powerLineFrequencyMode><brightnessLevel>70</brightnessLevel><hueLevel>20</hueLevel></videoinputchannel>").daemon(2, 3).answers(3).sends({"2 channel=0"}).leaves(kLevels, "70|0|20|1"),
      put(kVideoChannel, "<VideoInputChannel><brightnessLevel>9</brightnessLevel></VideoInputChannel>").answers(1).sends({"2 channel=-1"}).leaves(kLevels, "50|50|50|1"),
  });
  // clang-format on
}

const char kAudioChannel[] = "/PSIA/System/Audio/channels/1";
const char kAudioOn[] = "update AudioStream set Enable=1";

std::string audio_channel(bool list, const std::string& enabled) {
  std::string c =
      psia_element("AudioChannel", "<id>1</id><enabled>" + enabled + "</enabled><audioMode>listenonly</audioMode>");
  return xml_answer(list ? psia_element("AudioChannelList", c) : c, kXmlUtf8);
}

TEST(Media, AudioChannels) {
  // clang-format off
  run_cases({
      // The audio documents read Audio; the update writes the stream.
      get(kAudioChannel).after("update Audio set Enable=2").answers(audio_channel(false, "true")),
      get("/PSIA/System/Audio/channels").answers(audio_channel(true, "true")),
      get(kAudioChannel).after("delete from Audio").answers(audio_channel(false, "false")),
      put(kAudioChannel, "<AUDIOchannel><id>1</id><enabled>TRUE</enabled></AUDIOchannel>").after("update AudioStream set Enable=0").daemon(3, 2).answers(2).sends({"3 value=0"}).leaves(kAudio, "1|0").leaves("select Enable from Audio", "1"),
      put(kAudioChannel, "<AudioChannel><enabled>yes</enabled></AudioChannel>").after(kAudioOn).answers(1).sends({"3 value=0"}).leaves(kAudio, "0|0"),
      put(kAudioChannel, "<AudioChannel/>").after(kAudioOn).answers(1).sends({"3 value=0"}).leaves(kAudio, "0|0"),
  });
  // clang-format on
}

const char kChannels[] = "/PSIA/Streaming/channels";
const char kMaster[] = "/PSIA/Streaming/channels/1";
const char kSlave[] = "/PSIA/Streaming/channels/2";
const char kStreamsOff[] = "update VideoStream set Enable=-1";
const char kNoRows[] = "delete from VideoStream; delete from VideoChannel";

TEST(Media, StreamingChannelDocuments) {
  // clang-format off
  run_cases({
      get(kChannels).answers(document_answer(golden("streaming_channels.xml"))),
      get(kMaster).answers(document_answer(golden("streaming_channel_1.xml"))),
      // The capabilities show the master stream's values under the id asked for.
      get("/PSIA/Streaming/channels/2/capabilities").answers(document_answer(golden("streaming_capabilities.xml"))),
      get(kChannels).after(kStreamsOff).answers(3),
      get(kSlave).after(kStreamsOff).answers(3),
      get(kMaster).after("update VideoStream set Enable=0").holds({"</channelName>    <enabled>false<", "<Video>    <enabled>false<"}),
      // No rows: the camera's defaults, with each document's own default mains frequency.
      get(kSlave).after(kNoRows).holds({"<channelName>Slave stream", "H.264", "<videoResolutionWidth>704<", "<videoResolutionHeight>480<",
                                    "<fixedQuality>50<", "<vbrUpperCap>10240</vbrUpperCap>", "<maxFrameRate>1500<", "<keyFrameInterval>1000<"}),
      get(kChannels).after(kNoRows).holds({"<videoResolutionHeight>576<"}),
      get("/PSIA/Streaming/channels/1/capabilities").after(kNoRows).holds({"min=\"144\" max=\"576\">576<"}),
      get("/PSIA/Streaming/channels/master-0").after("update VideoStream set GOPSize=7, Framerate=10, QualityType=5, Quality=9")
          .holds({"<id>1</id>", "<keyFrameInterval>699<", "<videoQualityControlType>VBR<", "<fixedQuality>50<"}),
      get(kMaster).after("update VideoStream set Framerate=30000000").holds({"<maxFrameRate>-1294967296<"}),  // 32-bit wrap
      get("/PSIA/Streaming/channels/10").after("update VideoStream set Framerate=0").holds({"<id>1</id>", "<keyFrameInterval>2147483647<"}),
      get(kMaster).after("update VideoStream set Framerate=0, GOPSize=-1").holds({"<keyFrameInterval>-2147483648<"}),
      get(kMaster).after("update VideoStream set Framerate=0, GOPSize=0").holds({"<keyFrameInterval>0<"}),
      get("/PSIA/Streaming/channels/Slave-0").after("update AudioStream set Codec=3; update VideoChannel set VideoStandard=0")
          .holds({"<id>2</id>", ">G.726<", "<audioBitRate>32<", "<videoResolutionHeight>240<"}),
      get(kMaster).after("update AudioStream set Codec=2").holds({">G.726<", "<audioBitRate>24<"}),
      get(kMaster).after("update AudioStream set Codec=1").holds({">G.711alaw<", "<audioBitRate>64<"}),
      get("/PSIA/Streaming/channels/x").after("update AudioStream set Codec=4, Enable=2; delete from Services")
          .holds({"<id>2</id>", ">G.711<", "<audioBitRate>64<", "<rtspPortNo>554<", "<Audio>            <enabled>false<"}),
      get(kChannels).after("update VideoChannel set VideoStandard=0").holds({"<videoResolutionHeight>576<", "<videoResolutionHeight>288<"}),
      get(kMaster).after("update VideoStream set Resolution=1, QualityType=1").holds({"<videoResolutionWidth>704<", "<videoResolutionHeight>288<"}),
      // The quality steps, each read back as the PSIA value (step 3 is the seeded slave's, 2 the default's).
      get(kMaster).after("update VideoStream set QualityType=1, Quality=0").holds({"<fixedQuality>100<"}),
      get(kMaster).after("update VideoStream set QualityType=1, Quality=1").holds({"<fixedQuality>75<"}),
      get(kMaster).after("update VideoStream set QualityType=1, Quality=4").holds({"<fixedQuality>0<"}),
      // The slave's list entry leaves out a size it cannot name.
      get(kChannels).after("update VideoStream set Resolution=3 where VideoStreamID=1").holds({"<videoResolutionWidth>176<", "<videoResolutionHeight>144<"}),
      get(kChannels).after("update VideoStream set Resolution=0 where VideoStreamID=1").holds({"Slave Stream", "576</videoResolutionHeight>            <videoQualityControlType>VBR"}),
      get(kChannels).after("update VideoStream set Resolution=4 where VideoStreamID=1").holds({"<channelName>Slave Stream</channelName>", "<maxPacketSize>1448</maxPacketSize>"}, {"<videoResolutionWidth>352<", "<videoResolutionHeight>288<"}),
      get(kChannels).after("update VideoStream set Resolution=-1 where VideoStreamID=1").holds({"<videoScanType>progressive</videoScanType>            <videoQualityControlType>VBR"}),
      get(kSlave).after("update VideoStream set Resolution=7 where VideoStreamID=1").holds({"<videoResolutionWidth>704<", "<videoResolutionHeight>576<"}),
  });
  // clang-format on
}

std::string stream_clients(const std::string& address) {
  return xml_answer(psia_element("StreamingSessionStatusList",
                                 "    <StreamingSessionStatus>        <clientAddress>            <ipAddress>" +
                                     address + "</ipAddress>        </clientAddress>    </StreamingSessionStatus>"));
}

TEST(Media, StreamingStatus) {
  // clang-format off
  run_cases({
      get("/PSIA/Streaming/status").answers(document_answer(golden("streaming_status.xml"))),
      // The stream is chosen by the length of the path alone: "2" is the master's.
      get("/PSIA/Streaming/channels/Slave-0/status").answers(stream_clients("192.168.1.21")),
      get("/PSIA/Streaming/channels/2/status").answers(stream_clients("192.168.1.20")),
      get("/PSIA/Streaming/channels/1/status").after("delete from ClientList where StreamName='Master-0'").answers(3),
  });
  // clang-format on
}

// What an update of one channel sends: the encoding, the audio, the services.
const std::vector<std::string> kSentOnUpdate = {"4 master=1", "3 value=0", "46"};

// The slave's audio `elements`, stored as `stored` (enable and codec); the updates' elements become the stored codes.
request_case audio_update(const std::string& elements, const char* stored) {
  return put(kSlave, "<StreamingChannel><Transport><rtspPortNo>8554</rtspPortNo></Transport><Audio>" + elements +
                         "</Audio></StreamingChannel>")
      .answers(1)
      .sends(kSentOnUpdate)
      .leaves(kAudio, stored)
      .leaves("select RTSPPort from Services", "8554");
}
// The master's video `elements`, stored as the master's `row`.
request_case encoding_update(const std::string& elements, const std::string& row) {
  return put(kMaster, "<StreamingChannel><id>Master-0</id><Video>" + elements + "</Video></StreamingChannel>")
      .answers(1)
      .sends(kSentOnUpdate)
      .leaves(kStream, row + "\n1|1|2|1|1024|3|15|15");
}

TEST(Media, StreamingChannelUpdates) {
  // clang-format off
  std::vector<request_case> cases = {
      encoding_update("<videoCodecType>mjpeg</videoCodecType><maxFrameRate>2999</maxFrameRate>", "1|0|0|1|2048|2|29|30"),
      encoding_update("<maxFrameRate>-150</maxFrameRate>", "1|1|0|1|2048|2|-1|30"),
      encoding_update("<videoResolutionWidth>176</videoResolutionWidth><videoResolutionHeight>288</videoResolutionHeight>", "1|1|2|1|2048|2|15|30"),
      encoding_update("<videoQualityControlType>cbr</videoQualityControlType><constantBitRate>999</constantBitRate><maxFrameRate>50</maxFrameRate>", "1|1|0|0|999|2|0|30"),
      // The body's id names the stream, not the path's; what it leaves out is written at its default (GOP size kept).
      put(kMaster, "<StreamingChannel><id>2</id></StreamingChannel>").answers(1).sends({"4 master=0", "3 value=0", "46"}).leaves(kStream, "1|0|0|0|4096|3|25|30\n1|1|0|1|2048|2|15|15").leaves(kAudio, "0|2").leaves("select RTSPPort from Services", "554"),
      put(kMaster, "<StreamingChannel><id>slave-0x</id><enabled>TRUE</enabled><Video><maxFrameRate>500</maxFrameRate></Video></StreamingChannel>").answers(1).sends({"4 master=0", "3 value=0", "46"}).leaves(kStream, "1|0|0|0|4096|3|25|30\n1|1|0|1|2048|2|5|15"),
      audio_update("<enabled>true</enabled><audioCompressionType>G.711alaw</audioCompressionType>", "0|1"),
      audio_update("<enabled>1</enabled><audioCompressionType>G.726</audioCompressionType><audioBitRate>32</audioBitRate>", "1|3"),
      audio_update("<audioCompressionType>G.726</audioCompressionType><audioBitRate>33</audioBitRate>", "0|2"),
      audio_update("<audioBitRate>32</audioBitRate><audioCompressionType>G.726</audioCompressionType>", "0|2"),
      audio_update("<audioCompressionType>AAC</audioCompressionType>", "0|0"),
      // A list or a POST writes both streams; the other is reset.
      put(kChannels, "<StreamingChannelList><StreamingChannel><id>1</id><enabled>false</enabled></StreamingChannel></StreamingChannelList>").answers(1).sends({"4 master=1", "4 master=1", "3 value=0", "46"}).leaves(kStream, "0|1|0|1|2048|2|15|30\n1|1|0|1|2048|2|15|15"),
      post(kChannels, "<StreamingChannel><enabled>false</enabled><id>2</id><Video><maxFrameRate>500</maxFrameRate></Video></StreamingChannel>").answers(1).sends({"4 master=0", "4 master=0", "3 value=0", "46"}).leaves(kStream, "0|1|0|1|2048|2|15|30\n1|1|0|1|2048|2|5|15"),
      // A pretty-printed list is refused (its first child is text): nothing stored, nothing sent.
      put(kChannels, "<StreamingChannelList>\n  <StreamingChannel/>\n</StreamingChannelList>").answers(3).leaves(kStream, kSeededStreams),
      del(kChannels).answers(1).leaves(kStream, kSeededStreams),
      del(kMaster).answers(1).leaves(kStream, kSeededStreams),
  };
  // One element alone: a PSIA quality (0..100) at every edge of the camera's steps, each width and height the size
  // rules name and one past it (a height after a width: Slave size 2). Element, its value, stored Resolution, Quality.
  const char *q = "fixedQuality", *w = "videoResolutionWidth", *h = "videoResolutionHeight";
  const std::tuple<const char*, int, int, int> alone[] = {
      {q, -5, 0, 3}, {q, 0, 0, 4}, {q, 1, 0, 3}, {q, 25, 0, 3}, {q, 26, 0, 2}, {q, 50, 0, 2}, {q, 51, 0, 1}, {q, 75, 0, 1},
      {q, 76, 0, 2}, {q, 99, 0, 2}, {q, 100, 0, 0}, {q, 101, 0, 2}, {w, 176, 3, 2}, {w, 177, 0, 2}, {w, 160, 3, 2},
      {w, 161, 0, 2}, {w, 352, 2, 2}, {w, 353, 0, 2}, {h, 144, 3, 2}, {h, 145, 0, 2}, {h, 112, 3, 2}, {h, 113, 0, 2},
      {h, 240, 1, 2}, {h, 241, 0, 2}, {h, 288, 1, 2}, {h, 289, 0, 2}};
  // clang-format on
  for (const auto& [element, value, resolution, step] : alone)
    cases.push_back(
        encoding_update("<" + std::string(element) + ">" + std::to_string(value) + "</" + element + ">",
                        "1|1|" + std::to_string(resolution) + "|1|2048|" + std::to_string(step) + "|15|30"));
  run_cases(cases);
}

}  // namespace
