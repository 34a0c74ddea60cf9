#!/usr/bin/env bash
# Writes the seed corpora of the request targets into fuzz/corpus/: every
# route of the resource tree requested with a plausible body (request,
# xml_body), every command the daemon can be sent with its usual reply and
# with broken ones (control_reply), CONTENT_LENGTH right and wrong for every
# body route (content_length), and the database's cells emptied, filled
# and overfilled table by table (database).
#
# Route indices are read from the targets' own tables and cells from
# demo/schema.sql, so the seeds follow when those change. The seeds of the
# other targets are kept as they are.
#
# Usage: fuzz/make-seeds.sh
set -euo pipefail
cd "$(dirname "$0")"

NS=' version="1.0" xmlns="urn:psialliance-org"'
declare -A BODY=(
  ["PUT /PSIA/System/time"]="<Time$NS><timeMode>manual</timeMode><localTime>2010-02-30T25:00:00</localTime><timeZone>CST-8</timeZone></Time>"
  ["PUT /PSIA/System/time/localTime"]="2012-03-04T05:06:07"
  ["PUT /PSIA/System/time/timeZone"]="AKST9AKDT,M3.2.0,M11.1.0"
  ["PUT /PSIA/System/time/ntpServers"]="<NTPServerList$NS><NTPServer><id>1</id><addressingFormatType>hostname</addressingFormatType><hostName>pool.ntp.org</hostName></NTPServer></NTPServerList>"
  ["POST /PSIA/System/time/ntpServers"]="<NTPServer$NS><id>1</id><addressingFormatType>ipaddress</addressingFormatType><ipAddress>10.0.0.1</ipAddress></NTPServer>"
  ["PUT /PSIA/System/time/ntpServers/1"]="<NTPServer$NS><id>1</id><addressingFormatType>NTP</addressingFormatType><hostName>ntp.example.com</hostName></NTPServer>"
  ["PUT /PSIA/System/deviceInfo"]="<DeviceInfo$NS><deviceName>lobby</deviceName></DeviceInfo>"
  ["PUT /PSIA/System/Network/interfaces/eth0/ipAddress"]="<IPAddress$NS><ipVersion>v4</ipVersion><addressingType>static</addressingType><ipAddress>192.168.1.9</ipAddress><subnetMask>255.255.255.0</subnetMask><DefaultGateway><ipAddress>192.168.1.1</ipAddress></DefaultGateway><PrimaryDNS><ipAddress>8.8.8.8</ipAddress></PrimaryDNS><SecondaryDNS><ipAddress>8.8.4.4</ipAddress></SecondaryDNS></IPAddress>"
  ["PUT /PSIA/System/Network/interfaces/eth0/discovery"]="<Discovery$NS><UPnP><enabled>true</enabled></UPnP></Discovery>"
  ["GET /PSIA/System/Network/interfaces/eth0"]="<NetworkInterface$NS><id>eth0</id><IPAddress><ipVersion>v4</ipVersion><addressingType>dhcp</addressingType></IPAddress></NetworkInterface>"
  ["PUT /PSIA/System/Audio/channels/1"]="<AudioChannel$NS><id>1</id><enabled>true</enabled></AudioChannel>"
  ["PUT /PSIA/System/Video/inputs/channels/1"]="<VideoInputChannel$NS><id>1</id><brightnessLevel>60</brightnessLevel><contrastLevel>40</contrastLevel><hueLevel>50</hueLevel></VideoInputChannel>"
  ["PUT /PSIA/Security/AAA/users"]="<UserList$NS><User><userName>operator</userName><password>op2</password></User><User><userName>guest</userName><password>g2</password></User></UserList>"
  ["POST /PSIA/Security/AAA/users"]="<User$NS><userName>viewer</userName><password>pw</password></User>"
  ["PUT /PSIA/Security/AAA/users/guest"]="<User$NS><password>guest2</password></User>"
  ["PUT /PSIA/Streaming/channels"]="<StreamingChannelList$NS><StreamingChannel><id>2</id><enabled>false</enabled><Video><videoCodecType>MJPEG</videoCodecType><maxFrameRate>1500</maxFrameRate></Video></StreamingChannel></StreamingChannelList>"
  ["POST /PSIA/Streaming/channels"]="<StreamingChannel$NS><id>Slave-0</id><enabled>TRUE</enabled><Video><fixedQuality>60</fixedQuality></Video></StreamingChannel>"
  ["PUT /PSIA/Streaming/channels/1"]="<StreamingChannel$NS><id>1</id><enabled>true</enabled><Transport><rtspPortNo>554</rtspPortNo></Transport><Video><videoCodecType>H.264</videoCodecType><videoResolutionWidth>1280</videoResolutionWidth><videoResolutionHeight>720</videoResolutionHeight><videoQualityControlType>CBR</videoQualityControlType><constantBitRate>2048</constantBitRate><maxFrameRate>2500</maxFrameRate></Video><Audio><enabled>true</enabled><audioCompressionType>G.711ulaw</audioCompressionType></Audio></StreamingChannel>"
  ["PUT /PSIA/Streaming/channels/2"]="<StreamingChannel$NS><id>2</id><Transport><rtspPortNo>8554</rtspPortNo></Transport><Video><videoResolutionWidth>640</videoResolutionWidth><videoResolutionHeight>480</videoResolutionHeight><videoQualityControlType>VBR</videoQualityControlType><fixedQuality>40</fixedQuality></Video><Audio><enabled>false</enabled><audioCompressionType>G.726</audioCompressionType><audioBitRate>32</audioBitRate></Audio></StreamingChannel>"
  ["PUT /PSIA/Custom/Event"]="<EventNotification$NS><EventTriggerList><EventTrigger><id>Sensor-0</id><intervalBetweenEvents>3</intervalBetweenEvents></EventTrigger></EventTriggerList><EventSchedule><TimeBlockList><TimeBlock><dayOfWeek>5</dayOfWeek><TimeRange><beginTime>08:00</beginTime><endTime>18:00</endTime></TimeRange></TimeBlock></TimeBlockList></EventSchedule><EventNotificationMethods><FTPNotificationList><FTPNotification><id>ftp-archive</id><portNo>2121</portNo></FTPNotification></FTPNotificationList></EventNotificationMethods></EventNotification>"
  ["PUT /PSIA/Custom/Event/triggers"]="<EventTriggerList$NS><EventTrigger><id>Sensor-0</id><intervalBetweenEvents>7</intervalBetweenEvents><EventTriggerNotificationList><EventTriggerNotification><id>Relay-0</id><notificationMethod>IO</notificationMethod><notificationInterval>3000</notificationInterval></EventTriggerNotification></EventTriggerNotificationList></EventTrigger></EventTriggerList>"
  ["POST /PSIA/Custom/Event/triggers"]="<EventTrigger$NS><id>Sensor-1</id></EventTrigger>"
  ["PUT /PSIA/Custom/Event/triggers/Sensor-0"]="<EventTrigger$NS><id>Sensor-0</id><intervalBetweenEvents>9</intervalBetweenEvents><EventTriggerNotificationList><EventTriggerNotification><id>ftp-archive</id><notificationMethod>FTP</notificationMethod></EventTriggerNotification></EventTriggerNotificationList></EventTrigger>"
  ["PUT /PSIA/Custom/Event/triggers/Sensor-0/notifications"]="<EventTriggerNotificationList$NS><EventTriggerNotification><id>mail-security</id><notificationMethod>SMTP</notificationMethod></EventTriggerNotification></EventTriggerNotificationList>"
  ["POST /PSIA/Custom/Event/triggers/Sensor-0/notifications"]="<EventTriggerNotification$NS><id>Relay-0</id><notificationMethod>IO</notificationMethod><notificationInterval>2000</notificationInterval></EventTriggerNotification>"
  ["PUT /PSIA/Custom/Event/schedule"]="<EventSchedule$NS><TimeBlockList><TimeBlock><dayOfWeek>1</dayOfWeek><TimeRange><beginTime>08:00</beginTime><endTime>17:30</endTime></TimeRange></TimeBlock><TimeBlock><dayOfWeek>2</dayOfWeek><bitString>000000001111111100000000</bitString></TimeBlock></TimeBlockList></EventSchedule>"
  ["PUT /PSIA/Custom/Event/notification"]="<EventNotificationMethods$NS><MailingNotificationList><MailingNotification><id>mail-security</id><hostName>smtp.lan</hostName></MailingNotification></MailingNotificationList><FTPNotificationList><FTPNotification><id>ftp-archive</id><ipAddress>10.0.0.9</ipAddress></FTPNotification></FTPNotificationList></EventNotificationMethods>"
  ["PUT /PSIA/Custom/Event/notification/mailing"]="<MailingNotificationList$NS><MailingNotification><id>mail-security</id><hostName>mail.example.com</hostName><accountName>a</accountName><password>p</password><portNo>25</portNo></MailingNotification></MailingNotificationList>"
  ["POST /PSIA/Custom/Event/notification/mailing"]="<MailingNotificationList$NS><MailingNotification><id>m2</id><hostName>mail2.example.com</hostName><portNo>587</portNo></MailingNotification></MailingNotificationList>"
  ["PUT /PSIA/Custom/Event/notification/mailing/mail-security"]="<MailingNotification$NS><id>mail-security</id><password>s3cret</password></MailingNotification>"
  ["PUT /PSIA/Custom/Event/notification/ftp"]="<FTPNotificationList$NS><FTPNotification><id>ftp-archive</id><ipAddress>10.0.0.2</ipAddress><userName>u</userName><password>p</password><portNo>21</portNo><uploadPath>/x</uploadPath></FTPNotification></FTPNotificationList>"
  ["POST /PSIA/Custom/Event/notification/ftp"]="<FTPNotificationList$NS><FTPNotification><id>f2</id><ipAddress>10.0.0.3</ipAddress><uploadPath>/y</uploadPath></FTPNotification></FTPNotificationList>"
  ["PUT /PSIA/Custom/Event/notification/ftp/ftp-archive"]="<FTPNotification$NS><id>ftp-archive</id><portNo>2121</portNo></FTPNotification>"
  ["PUT /PSIA/PTZ/channels"]="<PTZChannelList$NS><PTZChannel><id>0</id><enabled>true</enabled><videoInputID>0</videoInputID></PTZChannel></PTZChannelList>"
  ["PUT /PSIA/PTZ/channels/0"]="<PTZChannel$NS><id>0</id><enabled>false</enabled></PTZChannel>"
  ["PUT /PSIA/PTZ/channels/0/presets"]="<PTZPresetList$NS><PTZPreset><id>2</id><presetName>Yard</presetName></PTZPreset></PTZPresetList>"
  ["POST /PSIA/PTZ/channels/0/presets"]="<PTZPreset$NS><id>3</id><presetName>Gate</presetName></PTZPreset>"
  ["PUT /PSIA/PTZ/channels/0/presets/1"]="<PTZPreset$NS><id>1</id><presetName>Door</presetName></PTZPreset>"
  ["PUT /PSIA/PTZ/channels/0/homePosition"]="<PTZData$NS/>"
  ["PUT /PSIA/PTZ/channels/0/continuous"]="<PTZData$NS><pan>50</pan><tilt>-20</tilt><zoom>10</zoom></PTZData>"
  ["PUT /PSIA/PTZ/channels/0/absolute"]="<PTZData$NS><elevation>10</elevation><azimuth>90.5</azimuth><absoluteZoom>20</absoluteZoom></PTZData>"
  ["PUT /PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-archive"]="<EventTriggerNotification$NS><notificationMethod>FTP</notificationMethod></EventTriggerNotification>"
  ["PUT /PSIA/System/updateFirmware"]="KT3050 firmware image 1.4.3"
  ["PUT /PSIA/System/configurationData"]="[camera]
model=KTA3050"
)

# The rows of a route table in a source file, "METHOD URI" each, in order.
table_rows() {
  awk -v table="$2" '
    index($0, table) { inside = 1; next }
    inside && /^};/ { exit }
    inside && match($0, /^    \{"[A-Z]+", "[^"]*"/) {
      row = substr($0, 7, RLENGTH - 7); sub(/", "/, " ", row); print row }' "$1"
}

write() {  # FILE, then the bytes as printf's format without arguments
  printf "$2" >"$1"
}

fresh() { rm -rf "corpus/$1"; mkdir -p "corpus/$1"; }
octal() { printf '\\%03o' "$1"; }

# ---- request: every route and method of the tree
fresh request
n=0
request() {  # METHOD URI QUERY AUTHORIZATION [BODY]
  n=$((n + 1))
  printf '%s\n%s\n%s\n%s\n%s' "$1" "$2" "$3" "$4" "${5:-}" >"corpus/request/seed-$(printf %03d $n)"
}
gets=(/PSIA/indexr /PSIA/index /PSIA/description /PSIA/System/index /PSIA/System/description
  /PSIA/System/configurationData /PSIA/System/deviceInfo /PSIA/System/status /PSIA/System/time
  /PSIA/System/time/localTime /PSIA/System/time/timeZone /PSIA/System/time/ntpServers
  /PSIA/System/time/ntpServers/1 /PSIA/System/Network/index /PSIA/System/Network/description
  /PSIA/System/Network/interfaces /PSIA/System/Network/interfaces/eth0/ipAddress
  /PSIA/System/Network/interfaces/eth0/discovery /PSIA/System/Audio/index
  /PSIA/System/Audio/description /PSIA/System/Audio/channels /PSIA/System/Audio/channels/1
  /PSIA/System/Video/index /PSIA/System/Video/description /PSIA/System/Video/inputs
  /PSIA/System/Video/inputs/channels /PSIA/System/Video/inputs/channels/1 /PSIA/Security/index
  /PSIA/Security/description /PSIA/Security/AAA/index /PSIA/Security/AAA/description
  /PSIA/Security/AAA/users /PSIA/Security/AAA/users/guest /PSIA/Streaming/index
  /PSIA/Streaming/description /PSIA/Streaming/status /PSIA/Streaming/channels
  /PSIA/Streaming/channels/1 /PSIA/Streaming/channels/2/status
  /PSIA/Streaming/channels/1/capabilities /PSIA/Custom/index /PSIA/Custom/description
  /PSIA/Custom/Event /PSIA/Custom/Event/index /PSIA/Custom/Event/description
  /PSIA/Custom/Event/triggers /PSIA/Custom/Event/triggers/Sensor-0
  /PSIA/Custom/Event/triggers/Sensor-0/notifications
  /PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-archive /PSIA/Custom/Event/schedule
  /PSIA/Custom/Event/notification /PSIA/Custom/Event/notification/mailing
  /PSIA/Custom/Event/notification/mailing/mail-security /PSIA/Custom/Event/notification/ftp
  /PSIA/Custom/Event/notification/ftp/ftp-archive /PSIA/PTZ/index /PSIA/PTZ/description
  /PSIA/PTZ/channels /PSIA/PTZ/channels/description /PSIA/PTZ/channels/0
  /PSIA/PTZ/channels/0/status /PSIA/PTZ/channels/0/presets /PSIA/PTZ/channels/0/presets/1)
for path in "${gets[@]}"; do request GET "$path" "" admin; done
while read -r method uri; do
  request "$method" "$uri" "" admin "${BODY["$method $uri"]}"
done < <(table_rows fuzz_driver.cc kBodyRoutes)
for path in /PSIA/System/time/ntpServers/1 /PSIA/System/time/ntpServers /PSIA/Security/AAA/users/guest \
  /PSIA/Security/AAA/users /PSIA/Streaming/channels/1 /PSIA/Streaming/channels \
  /PSIA/Custom/Event/triggers/Sensor-0 /PSIA/Custom/Event/triggers/Sensor-0/notifications/ftp-archive \
  /PSIA/Custom/Event/triggers/Sensor-0/notifications /PSIA/Custom/Event/triggers \
  /PSIA/Custom/Event/notification/mailing/mail-security /PSIA/Custom/Event/notification/mailing \
  /PSIA/Custom/Event/notification/ftp/ftp-archive /PSIA/Custom/Event/notification/ftp \
  /PSIA/PTZ/channels/0 /PSIA/PTZ/channels/0/presets/1 /PSIA/PTZ/channels/0/presets /PSIA/PTZ/channels; do
  request DELETE "$path" "" admin
done
request PUT /PSIA/System/reboot "" admin
request PUT "/PSIA/System/factoryReset?MODE=BASIC" "MODE=BASIC" admin
request PUT /PSIA/System/Network/interfaces/eth0 "" admin
request PUT /PSIA/PTZ/channels/0/presets/1/goto "" admin
request PUT /PSIA/PTZ/channels/0/momentary "" admin
request POST /PSIA/PTZ/channels "" admin
request PUT /PSIA/PTZ/channels/0/continuous "PAN=-30&TILT=0&ZOOM=5" admin "<PTZData/>"
request PUT /PSIA/PTZ/channels/0/absolute "AZIMUTH=180.5&ELEVATION=-45&ABSOLUTEZOOM=50" admin "<PTZData/>"
request PUT "/PSIA/System/factoryReset?MODE=PARTIAL" "MODE=PARTIAL" admin
request PUT /PSIA/System/deviceInfo "" admin '<?xml version="1.0"?><!DOCTYPE DeviceInfo><DeviceInfo/>'
request PATCH /PSIA/System/deviceInfo "" admin
request GET /PSIA/Nowhere "" admin
request GET /PSIA/index "" "Basic Z3Vlc3Q6Z3Vlc3Q="
request PUT /PSIA/System/reboot "" "Basic Z3Vlc3Q6Z3Vlc3Q="
request GET /PSIA/index "" "Basic YWRtaW46d3Jvbmc="
request GET /PSIA/index "" -
request GET /PSIA/index "" "Basic $(printf 'ad\001"\\min\377:x' | base64)"

# ---- xml_body: every body route, by its index
fresh xml_body
i=0
while read -r method uri; do
  write "corpus/xml_body/seed-$(printf %02d $i)" "$(octal $i)"
  printf '%s' "${BODY["$method $uri"]}" >>"corpus/xml_body/seed-$(printf %02d $i)"
  i=$((i + 1))
done < <(table_rows fuzz_driver.cc kBodyRoutes)

# ---- content_length: each body route with its right length read in pieces
# of 7, then wrong lengths and lengths at the 1 MiB limit on a few
fresh content_length
i=0
length_seed() {  # NAME ROUTE PIECE CONTENT_LENGTH BODY_LENGTH BODY
  { printf "$(octal "$2")$(octal "$3")"; printf '%s\n%s\n%s' "$4" "$5" "$6"; } >"corpus/content_length/$1"
}
while read -r method uri; do
  body=${BODY["$method $uri"]}
  length_seed "seed-$(printf %02d $i)" $i 7 "${#body}" "" "$body"
  case "$uri" in
    */updateFirmware|*/deviceInfo|*/schedule|*/timeZone)
      length_seed "short-$i" $i 0 $((${#body} + 10)) "" "$body"
      length_seed "long-$i" $i 0 $((${#body} - 3)) "" "$body"
      length_seed "limit-$i" $i 0 1048576 1048576 "$body"
      length_seed "over-$i" $i 0 1048577 1048577 "$body"
      length_seed "under-$i" $i 0 1048576 1048575 "$body"
      length_seed "none-$i" $i 0 - "" "$body"
      length_seed "text-$i" $i 0 " +${#body}x" "" "$body"
      length_seed "huge-$i" $i 0 99999999999999999999 "" "$body"
      length_seed "negative-$i" $i 0 -1 "" "$body" ;;
  esac
  i=$((i + 1))
done < <(table_rows fuzz_driver.cc kBodyRoutes)

# ---- control_reply: every request that sends a command, answered as the
# daemon answers it, then with broken replies on a few
fresh control_reply
reply() {  # ADDRESSEE STATUS SIZE [PAYLOAD]: one reply record, as printf format
  local payload=${4:-} n
  n=$(printf "$payload" | wc -c)
  printf '%s' "$(octal "$1")"
  printf '\\%03o\\%03o\\%03o\\%03o' $(($2 & 255)) $((($2 >> 8) & 255)) $((($2 >> 16) & 255)) $((($2 >> 24) & 255))
  printf '\\%03o\\%03o\\%03o\\%03o%s' $(($3 & 255)) $(($3 >> 8)) $((n & 255)) $((n >> 8)) "$payload"
}
i=0
while read -r method uri; do
  payload=
  [[ $uri == */configurationData ]] && payload='fuzz-configuration.dat'
  [[ $uri == */status ]] && payload='\000\000\000\000\000\000\000\241\000\113\000\047\164\003\160'
  ok=$(reply 0 1 1128 "$payload")
  write "corpus/control_reply/seed-$(printf %02d $i)" "$(octal $i)\000$ok$ok$ok$ok"
  case "$uri" in
    */reboot|*/ipAddress|*/status|*/configurationData)
      write "corpus/control_reply/silent-$i" "$(octal $i)\000"
      write "corpus/control_reply/busy-$i" "$(octal $i)\000$(reply 0 2 1128)"
      write "corpus/control_reply/above-$i" "$(octal $i)\000$(reply 0 7 1128 "$payload")"
      write "corpus/control_reply/negative-$i" "$(octal $i)\000$(reply 0 -1 1128)"
      write "corpus/control_reply/other-$i" "$(octal $i)\000$(reply 1 1 1128 "$payload")$(reply 2 1 1128)"
      write "corpus/control_reply/short-$i" "$(octal $i)\000$(reply 0 1 4 "$payload")"
      write "corpus/control_reply/large-$i" "$(octal $i)\000$(reply 0 1 4096 "$payload")$ok"
      write "corpus/control_reply/hung-$i" "$(octal $i)\001$ok"
      write "corpus/control_reply/gone-$i" "$(octal $i)\002$ok"
      write "corpus/control_reply/restarted-$i" "$(octal $i)\004$ok$ok"
      write "corpus/control_reply/restarted-waiting-$i" "$(octal $i)\010$(reply 1 1 1128)" ;;
    # Handlers that go on sending after a failed command.
    */Streaming/channels*)
      write "corpus/control_reply/gone-$i" "$(octal $i)\002$ok"
      write "corpus/control_reply/hung-$i" "$(octal $i)\001$ok" ;;
  esac
  # A file name that fills the whole payload, unterminated.
  [[ $uri == */configurationData ]] &&
    write "corpus/control_reply/long-name-$i" "$(octal $i)\000$(reply 0 1 1128 "$(printf "%01120d" 0 | tr 0 a)")"
  i=$((i + 1))
done < <(table_rows fuzz_control_reply.cc kControlRoutes)

# ---- database: the cells of each table emptied, overfilled with text, with
# small numbers and with numbers too large for 32 bits; every table emptied;
# a new row in each; the database locked
fresh database
long=$(printf "%0300d" 0 | tr 0 "x")"%s%n'\"<&>"
cells=$(sqlite3 :memory: ".read ../demo/schema.sql" \
  "select m.name, p.cid from sqlite_master m, pragma_table_info(m.name) p where m.type = 'table' order by m.name, p.cid")
cell=0
empty_all=
new_rows=
previous=
while IFS='|' read -r table column; do
  { printf "\\000$(octal $cell)\\200$(octal $((${#long} & 255)))$(octal $((${#long} >> 8)))"
    printf '%s' "$long"; } >>"corpus/database/text-$table"
  printf "\\001$(octal $cell)\\200\\377\\377\\377\\177\\001\\000\\000\\000" >>"corpus/database/number-$table"
  printf "\\002$(octal $cell)\\200" >>"corpus/database/null-$table"
  printf "\\001$(octal $cell)\\200$(octal $((cell % 5)))\\000\\000\\000\\000\\000\\000\\000" >>"corpus/database/small-$table"
  if [ "$table" != "$previous" ]; then
    empty_all+="\\004$(octal $cell)\\200"
    new_rows+="\\003$(octal $cell)\\000"
    previous=$table
  fi
  cell=$((cell + 1))
done <<<"$cells"
write corpus/database/empty-tables "$empty_all"
write corpus/database/new-rows "$new_rows"
: >corpus/database/unchanged
write corpus/database/locked '\005\000\000'

ls corpus/*/ | awk '/:$/ { dir = $0; next } NF { count[dir]++ } END { for (d in count) print d, count[d] }' | sort
