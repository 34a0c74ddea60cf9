// The camera's configuration database as this service reads it. The
// camera's firmware creates and owns the schema; this header is the
// contract the responder relies on: the tables that must be there, and the
// position of every cell a handler reads from a `select *` (positions count
// from 0 in the order of the table's columns). A firmware that reorders
// these columns breaks the documents that read them; change the positions
// here, nowhere else.
#ifndef PSIA_STORE_SCHEMA_H
#define PSIA_STORE_SCHEMA_H

#include <cstddef>

namespace psia {

class query_result;

// Every table a resource reads. A database without one of them (an empty
// file, a half-written copy) would turn every request into a 401 or a 3, so
// it is refused: at start-up, and when it replaces the database at run time.
constexpr const char* kCameraTables[] = {"Audio",       "AudioStream",  "ClientList", "DateTime",
                                         "Event",       "FTPServer",    "Network",    "PTZControl",
                                         "Preset",      "Relay",        "SMTPServer", "Sensor",
                                         "Services",    "Spec",         "Spec2",      "System",
                                         "UserAccount", "VideoChannel", "VideoStream"};

// The query that lists a database's tables, and whether its rows (one name
// a row) hold every camera table. Names compare without regard to case, as
// SQLite's own do. The names are compared here rather than in SQL:
// compiling an IN list of nineteen names costs a CGI request several times
// what this one scan does.
constexpr char kListTablesSql[] = "select name from sqlite_master where type='table'";
bool holds_camera_tables(const query_result& table_names);

// The cells read by position.
namespace user_account_column {
constexpr int kUserId = 0;
constexpr int kPassword = 1;  // in clear
constexpr int kLevel = 2;     // the access level, 0 to 3
}  // namespace user_account_column

namespace video_channel_column {
constexpr int kVideoStandard = 2;  // 1: 50 Hz mains, anything else 60 Hz
constexpr int kBrightness = 3;
constexpr int kContrast = 4;
constexpr int kHue = 5;
}  // namespace video_channel_column

namespace audio_stream_column {
constexpr int kEnable = 1;
constexpr int kCodec = 4;
}  // namespace audio_stream_column

namespace client_list_column {
constexpr int kClientAddress = 2;  // the streaming client's IP address
}  // namespace client_list_column

namespace ptz_control_column {
constexpr int kEnable = 2;  // 1: PTZ control on
}  // namespace ptz_control_column

namespace preset_column {
constexpr int kAlias = 2;     // PresetAlias, the preset's name
constexpr int kSequence = 3;  // the preset number
}  // namespace preset_column

namespace event_column {
constexpr int kWeek = 2;       // weekday bits, bit 0 Sunday
constexpr int kStartTime = 3;  // hours * 100 + minutes
constexpr int kEndTime = 4;
constexpr int kMinTimeInterval = 5;  // seconds
constexpr int kRelayId = 8;          // -1: none
constexpr int kFtpServerId = 10;
constexpr int kSmtpServerId = 11;
}  // namespace event_column

// FTPServer and SMTPServer share their first six columns.
namespace server_column {
constexpr int kServerName = 1;  // the notification id
constexpr int kServerAddress = 2;
constexpr int kUserId = 3;
constexpr int kPassword = 4;
constexpr int kPort = 5;
constexpr int kFtpPath = 6;  // FTPServer only: the upload path
}  // namespace server_column

}  // namespace psia

#endif  // PSIA_STORE_SCHEMA_H
