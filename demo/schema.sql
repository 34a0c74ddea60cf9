-- The camera's configuration database, as the firmware creates it: the
-- tables and columns the responder reads, in the order the responder
-- relies on (several documents read cells by position of a "select *").
-- The responder never creates or alters these tables; this schema exists
-- for the demo and the tests.

create table Spec (model text, max_sensor integer, max_relay integer);
create table Spec2 (PTZSupport integer);
create table System (uuid text, SWVersion text, HWVersion text);
create table DateTime (DateTimeSync integer, TimeZone text,
                       NTPServerName text, NTPInterval integer);
create table Network (ConnectionType integer, IpAddress text,
                      SubnetMask text, Gateway text, PrimaryDNS text,
                      SecondaryDNS text, DDNSHostname text);
create table Services (RTSPPort integer, HTTPPort integer);

-- 0 UserID, 1 Password (clear), 2 access level 0..3.
create table UserAccount (UserID text, Password text, Authority integer);

-- 0 VideoChannelID, 1 Name, 2 VideoStandard, 3 Brightness, 4 Contrast,
-- 5 Hue, 6 Saturation.
create table VideoChannel (VideoChannelID integer primary key, Name text,
                           VideoStandard integer, Brightness integer,
                           Contrast integer, Hue integer,
                           Saturation integer);
create table VideoStream (VideoStreamID integer primary key, Enable integer,
                          Codec integer, Resolution integer,
                          QualityType integer, Bitrate integer,
                          Quality integer, Framerate integer,
                          GOPSize integer);
-- 0 AudioStreamID, 1 Enable, 2 SampleRate, 3 BitsPerSample, 4 Codec.
create table AudioStream (AudioStreamID integer primary key, Enable integer,
                          SampleRate integer, BitsPerSample integer,
                          Codec integer);
create table Audio (AudioID integer primary key, Enable integer,
                    InputGain integer);

-- Written by the camera's streaming server: 0 ClientID, 1 StreamName,
-- 2 the client's IP address, 3 its port.
create table ClientList (ClientID integer primary key, StreamName text,
                         ClientIP text, ClientPort integer);

-- 0 VideoChannelID, 1 Protocol, 2 Enable.
create table PTZControl (VideoChannelID integer primary key, Protocol text,
                         Enable integer);
-- 0 key, 1 VideoChannelID, 2 PresetAlias, 3 Sequence (preset number),
-- 4 Speed, 5 DwellTime.
create table Preset (PresetID integer primary key, VideoChannelID integer,
                     PresetAlias text, Sequence integer, Speed integer,
                     DwellTime integer);

-- 0 Trigger, 1 Enable, 2 Week (weekday bits), 3 StartTime, 4 EndTime
-- (hours * 100 + minutes), 5 MinTimeInterval (seconds), 6 SensorID,
-- 7 Motion, 8 RelayID, 9 Snapshot, 10 FTPServerID, 11 SMTPServerID
-- (-1 = none).
create table Event (Trigger integer primary key, Enable integer,
                    Week integer, StartTime integer, EndTime integer,
                    MinTimeInterval integer, SensorID integer,
                    Motion integer, RelayID integer, Snapshot integer,
                    FTPServerID integer, SMTPServerID integer);
create table Sensor (SensorID integer primary key, Name text,
                     NormalState integer);
create table Relay (RelayID integer primary key, Name text,
                    ControlDuration integer);

-- 0 key, 1 ServerName (the notification id), 2 ServerAddress, 3 UserID,
-- 4 Password, 5 Port, 6 Path.
create table FTPServer (FTPServerID integer primary key, ServerName text,
                        ServerAddress text, UserID text, Password text,
                        Port integer, Path text);
-- 0 key, 1 ServerName, 2 ServerAddress, 3 UserID, 4 Password, 5 Port,
-- 6 Subject, 7 Sender, 8 Receiver, 9 CC, 10 Authentication.
create table SMTPServer (SMTPServerID integer primary key, ServerName text,
                         ServerAddress text, UserID text, Password text,
                         Port integer, Subject text, Sender text,
                         Receiver text, CC text, Authentication integer);
